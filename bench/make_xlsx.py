#!/usr/bin/env python3
"""Writes large spreadsheets for measurements, always the same bytes for the same arguments.

usage: make_xlsx.py OUTPUT ROWS [mixed|numbers|strings|inline]

mixed    eight columns: a shared word, a unique shared string, integers, decimals, a date, a percentage
numbers  eight columns of decimals
strings  one column of unique shared strings of 40 bytes
inline   four columns of inline strings
"""
import random
import sys
import zipfile

MAIN = "http://schemas.openxmlformats.org/spreadsheetml/2006/main"
RELATIONS = "http://schemas.openxmlformats.org/officeDocument/2006/relationships"
PACKAGE = "http://schemas.openxmlformats.org/package/2006/relationships"
HEAD = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'
WORDS = ["north", "south", "east", "west", "spring", "summer", "autumn", "winter"]

CONTENT_TYPES = HEAD + (
    '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">'
    '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
    '<Default Extension="xml" ContentType="application/xml"/>'
    '<Override PartName="/xl/workbook.xml" ContentType='
    '"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml"/>'
    '<Override PartName="/xl/worksheets/sheet1.xml" ContentType='
    '"application/vnd.openxmlformats-officedocument.spreadsheetml.worksheet+xml"/></Types>')
ROOT = HEAD + (f'<Relationships xmlns="{PACKAGE}"><Relationship Id="rId1" '
               f'Type="{RELATIONS}/officeDocument" Target="xl/workbook.xml"/></Relationships>')
WORKBOOK = HEAD + (f'<workbook xmlns="{MAIN}" xmlns:r="{RELATIONS}"><sheets>'
                   '<sheet name="Data" sheetId="1" r:id="rId1"/></sheets></workbook>')
WORKBOOK_RELATIONS = HEAD + (
    f'<Relationships xmlns="{PACKAGE}">'
    f'<Relationship Id="rId1" Type="{RELATIONS}/worksheet" Target="worksheets/sheet1.xml"/>'
    f'<Relationship Id="rId2" Type="{RELATIONS}/styles" Target="styles.xml"/>'
    f'<Relationship Id="rId3" Type="{RELATIONS}/sharedStrings" Target="sharedStrings.xml"/>'
    '</Relationships>')
STYLES = HEAD + (f'<styleSheet xmlns="{MAIN}"><cellXfs count="4"><xf numFmtId="0"/><xf numFmtId="4"/>'
                 '<xf numFmtId="14"/><xf numFmtId="10"/></cellXfs></styleSheet>')


def unique(row):
    return f"row {row:08d} of forty bytes in all its parts"[:40]


def cells(kind, row, chance):
    if kind == "numbers":
        return "".join(f'<c r="{c}{row}"><v>{chance.uniform(-1e6, 1e6):.4f}</v></c>' for c in "ABCDEFGH")
    if kind == "strings":
        return f'<c r="A{row}" t="s"><v>{row - 1}</v></c>'
    if kind == "inline":
        return "".join(f'<c r="{c}{row}" t="inlineStr"><is><t>{unique(row)}</t></is></c>' for c in "ABCD")
    word = chance.randrange(len(WORDS))
    return (f'<c r="A{row}" t="s"><v>{word}</v></c><c r="B{row}" t="s"><v>{len(WORDS) + row - 1}</v></c>'
            f'<c r="C{row}"><v>{row}</v></c><c r="D{row}"><v>{chance.randrange(10**6)}</v></c>'
            f'<c r="E{row}" s="1"><v>{chance.uniform(0, 1e5):.3f}</v></c>'
            f'<c r="F{row}" s="2"><v>{40000 + row % 8000}</v></c>'
            f'<c r="G{row}" s="3"><v>{chance.random():.4f}</v></c>'
            f'<c r="H{row}"><f>C{row}*2</f><v>{row * 2}</v></c>')


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    output, rows = sys.argv[1], int(sys.argv[2])
    kind = sys.argv[3] if len(sys.argv) == 4 else "mixed"
    chance = random.Random(rows)

    def member(package, name):
        info = zipfile.ZipInfo(name, (2024, 1, 1, 0, 0, 0))
        info.compress_type = zipfile.ZIP_DEFLATED
        return package.open(info, "w", force_zip64=True)

    with zipfile.ZipFile(output, "w", zipfile.ZIP_DEFLATED) as package:
        for name, content in (("[Content_Types].xml", CONTENT_TYPES), ("_rels/.rels", ROOT),
                              ("xl/workbook.xml", WORKBOOK),
                              ("xl/_rels/workbook.xml.rels", WORKBOOK_RELATIONS),
                              ("xl/styles.xml", STYLES)):
            with member(package, name) as part:
                part.write(content.encode())
        with member(package, "xl/sharedStrings.xml") as part:
            part.write((HEAD + f'<sst xmlns="{MAIN}">').encode())
            words = WORDS if kind == "mixed" else []
            part.write("".join(f"<si><t>{word}</t></si>" for word in words).encode())
            if kind in ("mixed", "strings"):
                for row in range(1, rows + 1):
                    part.write(f"<si><t>{unique(row)}</t></si>".encode())
            part.write(b"</sst>")
        with member(package, "xl/worksheets/sheet1.xml") as part:
            part.write((HEAD + f'<worksheet xmlns="{MAIN}"><sheetData>').encode())
            for row in range(1, rows + 1):
                part.write(f'<row r="{row}">{cells(kind, row, chance)}</row>'.encode())
            part.write(b"</sheetData></worksheet>")


if __name__ == "__main__":
    main()
