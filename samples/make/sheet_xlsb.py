#!/usr/bin/env python3
"""Writes samples/stores.xlsb: a binary workbook of formats, hidden parts, comments and page texts."""

import os
import struct
import zipfile

OFFICE = "http://schemas.openxmlformats.org/officeDocument/2006/relationships"
PACKAGE = "http://schemas.openxmlformats.org/package/2006"
HEAD = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'

STRINGS = ["Item", "Ordered on", "Price", "Share", "Lamp oil", "Café au lait", "Total", "Лампа"]
DATE, PRICE, SHARE = 1, 2, 3


def record(number, data=b""):
    head = bytes([number]) if number < 0x80 else bytes([number & 0x7F | 0x80, number >> 7])
    size = len(data)
    while size >= 0x80:
        head += bytes([size & 0x7F | 0x80])
        size >>= 7
    return head + bytes([size]) + data


def wide(text):
    units = text.encode("utf-16-le")
    return struct.pack("<I", len(units) // 2) + units


def rich(text):
    return b"\0" + wide(text)


def row(number, hidden=False):
    return record(0, struct.pack("<IIHBBBI", number, 0, 300, 0, 0x10 if hidden else 0, 0, 0))


def cell(number, column, data, style=0):
    return record(number, struct.pack("<II", column, style) + data)


def text(column, string):
    return cell(7, column, struct.pack("<I", STRINGS.index(string)))


def real(column, value, style=0):
    return cell(5, column, struct.pack("<d", value), style)


def sheet(rows, before=b"", behind=b""):
    return record(129) + before + record(145) + rows + record(146) + behind + record(130)


def orders():
    rows = row(0) + b"".join(text(i, name) for i, name in enumerate(STRINGS[:4]))
    rows += row(1) + text(0, "Lamp oil") + real(1, 45353, DATE) + real(2, 99.999, PRICE) + real(3, 0.4, SHARE)
    rows += row(2, True) + text(0, "Café au lait") + real(1, 45352, DATE) + real(2, -3.95, PRICE)
    rows += row(3) + text(0, "Лампа") + cell(2, 2, struct.pack("<I", 1250 << 2 | 3), PRICE) + real(5, 4711)
    rows += row(4) + text(0, "Total") + cell(9, 2, struct.pack("<dH", 112.499, 0), PRICE)
    rows += cell(8, 3, wide("of both") + struct.pack("<H", 0)) + cell(4, 4, b"\1") + cell(3, 6, b"\x07")
    columns = record(390) + record(60, struct.pack("<IIIIH", 5, 5, 2340, 0, 1)) + record(391)
    pages = record(479, struct.pack("<H", 0) + wide("&LIsland stores&RPage &P") + wide("&CPrinted &D")) + record(480)
    return sheet(rows, columns, pages)


def styles():
    formats = {164: "yyyy\\-mm\\-dd", 165: '#,##0.00\\ "€"', 166: "0.0%"}
    codes = b"".join(record(44, struct.pack("<H", n) + wide(code)) for n, code in formats.items())
    cells = b"".join(record(47, struct.pack("<HHIHHI", 0, n, 0, 0, 0, 0)) for n in [0, *formats])
    return (record(278) + record(615, struct.pack("<I", 3)) + codes + record(616) +
            record(617, struct.pack("<I", 4)) + cells + record(618) + record(279))


def comments():
    listed = record(635, struct.pack("<I", 0) + bytes(32)) + record(637, rich("Return tickets, please")) + record(636)
    return (record(628) + record(630) + record(632, wide("Keeper")) + record(631) + record(633) + listed +
            record(634) + record(629))


def workbook():
    sheets = b"".join(record(156, struct.pack("<II", state, number) + wide(f"rId{number}") + wide(name))
                      for number, (name, state) in enumerate([("Stores", 0), ("Notes", 1)], 1))
    return record(131) + record(153, struct.pack("<II", 0, 0) + wide("")) + record(143) + sheets + record(144) + record(132)


def relationships(*rows):
    return HEAD + f'<Relationships xmlns="{PACKAGE}/relationships">' + "".join(
        f'<Relationship Id="rId{number}" Type="{kind if "://" in kind else OFFICE + "/" + kind}" Target="{target}"/>'
        for number, (kind, target) in enumerate(rows, 1)) + "</Relationships>"


def main():
    strings = b"".join(record(19, rich(string)) for string in STRINGS)
    parts = {
        "[Content_Types].xml":
            HEAD + f'<Types xmlns="{PACKAGE}/content-types"><Default Extension="bin" '
            'ContentType="application/vnd.ms-excel.sheet.binary.macroEnabled.main"/><Default Extension="rels" '
            'ContentType="application/vnd.openxmlformats-package.relationships+xml"/><Default Extension="xml" '
            'ContentType="application/vnd.openxmlformats-package.core-properties+xml"/></Types>',
        "_rels/.rels": relationships(("officeDocument", "xl/workbook.bin"),
                                     (PACKAGE + "/relationships/metadata/core-properties", "docProps/core.xml")),
        "docProps/core.xml":
            HEAD + f'<cp:coreProperties xmlns:cp="{PACKAGE}/metadata/core-properties" '
            'xmlns:dc="http://purl.org/dc/elements/1.1/"><dc:title>Island stores</dc:title>'
            "<dc:creator>A. Keeper</dc:creator></cp:coreProperties>",
        "xl/workbook.bin": workbook(),
        "xl/_rels/workbook.bin.rels": relationships(("worksheet", "worksheets/sheet1.bin"),
                                                    ("worksheet", "worksheets/sheet2.bin"), ("styles", "styles.bin"),
                                                    ("sharedStrings", "sharedStrings.bin")),
        "xl/styles.bin": styles(),
        "xl/sharedStrings.bin":
            record(159, struct.pack("<II", len(STRINGS), len(STRINGS))) + strings + record(160),
        "xl/worksheets/sheet1.bin": orders(),
        "xl/worksheets/_rels/sheet1.bin.rels": relationships(("comments", "../comments1.bin")),
        "xl/worksheets/sheet2.bin": sheet(row(0) + text(0, "Total")),
        "xl/comments1.bin": comments(),
    }
    target = os.path.join(os.path.dirname(__file__), "..", "stores.xlsb")
    with zipfile.ZipFile(target, "w", zipfile.ZIP_DEFLATED) as package:
        for name, content in parts.items():
            package.writestr(zipfile.ZipInfo(name, (2024, 2, 29, 12, 0, 0)), content, zipfile.ZIP_DEFLATED)


if __name__ == "__main__":
    main()
