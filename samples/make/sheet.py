#!/usr/bin/env python3
"""Writes samples/sheet.xlsx: number formats, dates, hidden parts, comments, page texts, a shape, a chart."""

import os
import zipfile

HEAD = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'
MAIN = "http://schemas.openxmlformats.org/spreadsheetml/2006/main"
OFFICE = "http://schemas.openxmlformats.org/officeDocument/2006/relationships"
PACKAGE = "http://schemas.openxmlformats.org/package/2006"
TYPES = "application/vnd.openxmlformats-officedocument."

STRINGS = ["Item", "Ordered on", "Amount", "Price", "Share", "Length", "Ferry tickets", "Café au lait",
           "Lamp oil", "<r><t xml:space=\"preserve\">Rope, </t></r><r><rPr><b/></rPr><t>hemp</t></r>"
           "<rPh sb=\"0\" eb=\"4\"><t>roup</t></rPh>", "Total"]
FORMATS = {164: "yyyy\\-mm\\-dd", 165: "#,##0.00\\ \"€\";[Red]\\-#,##0.00\\ \"€\"", 166: "0.0%", 167: "#\\ ?/?\\ \"m\"",
           168: "[h]:mm", 169: ";;;"}
STYLES = [0, 164, 165, 166, 167, 168, 169, 11]
DATE, PRICE, SHARE, LENGTH, HOURS, UNSEEN, SCIENTIFIC = range(1, 8)


def relationships(*rows):
    return HEAD + f'<Relationships xmlns="{PACKAGE}/relationships">' + "".join(
        f'<Relationship Id="rId{number}" Type="{kind if "://" in kind else OFFICE + "/" + kind}" Target="{target}"/>'
        for number, (kind, target) in enumerate(rows, 1)) + "</Relationships>"


def cell(reference, value, style=0, kind=None):
    attributes = f' t="{kind}"' if kind else ""
    return f'<c r="{reference}" s="{style}"{attributes}><v>{value}</v></c>'


def text(reference, string):
    index = next(i for i, item in enumerate(STRINGS) if string in item)
    return cell(reference, index, 0, "s")


def order(row, item, day, amount, price, share, length, hidden=False):
    return (f'<row r="{row}"{" hidden=" + chr(34) + "1" + chr(34) if hidden else ""}>' + text(f"A{row}", item) +
            cell(f"B{row}", day, DATE) + cell(f"C{row}", amount) + cell(f"D{row}", price, PRICE) +
            cell(f"E{row}", share, SHARE) + cell(f"F{row}", length, LENGTH) + "</row>")


def first_sheet():
    rows = ('<row r="1">' + "".join(text(f"{column}1", name) for column, name in zip("ABCDEF", STRINGS)) + "</row>" +
            order(2, "Ferry tickets", 45351, 4, 12.5, 0.4, 0) +
            order(3, "Café au lait", 45352, 12, 3.95, 0.35, 0.25) +
            order(4, "Lamp oil", 45353, 1, 99.999, 0.1, 3, True) +
            order(5, "Rope, ", 45354.75, 2, -7, 0.15, 12.5) +
            '<row r="8">' + text("A8", "Total") + '<c r="C8"><f>SUM(C2:C5)</f><v>19</v></c>' +
            '<c r="D8" s="2"><f>SUMPRODUCT(C2:C5,D2:D5)</f><v>183.399</v></c>' + cell("F8", 4711, UNSEEN) + "</row>"
            '<row r="9"><c r="A9" t="inlineStr"><is><t>Inline, on&#10;two lines</t></is></c>' +
            cell("B9", 1, 0, "b") + cell("C9", "#DIV/0!", 0, "e") + cell("D9", 1.25, HOURS) +
            cell("E9", 0.000123456, SCIENTIFIC) + cell("F9", 0.1 + 0.2) +
            '<c r="AA9" t="str"><f>"far"</f><v>far</v></c>' + cell("DA9", 1234567890123) + "</row>")
    return HEAD + (f'<worksheet xmlns="{MAIN}" xmlns:r="{OFFICE}"><cols><col min="8" max="9" hidden="1" width="9"/></cols>'
                   f"<sheetData>{rows}</sheetData><headerFooter><oddHeader>&amp;L&amp;\"Arial,Bold\"Island stores&amp;R"
                   "Page &amp;P of &amp;N</oddHeader><oddFooter>&amp;CPrinted &amp;D</oddFooter></headerFooter>"
                   '<drawing r:id="rId1"/></worksheet>')


def other_sheet(value):
    return HEAD + (f'<worksheet xmlns="{MAIN}"><sheetData><row r="1"><c r="A1" t="inlineStr"><is><t>{value}</t></is></c>'
                   "</row></sheetData></worksheet>")


DRAWING = HEAD + (
    '<xdr:wsDr xmlns:xdr="http://schemas.openxmlformats.org/drawingml/2006/spreadsheetDrawing"'
    ' xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main"><xdr:twoCellAnchor><xdr:sp><xdr:nvSpPr>'
    '<xdr:cNvPr id="2" name="Box" descr="A note in a box"/></xdr:nvSpPr><xdr:txBody><a:p><a:r><a:t>Deliver by </a:t></a:r>'
    "<a:r><a:t>boat</a:t></a:r></a:p><a:p><a:r><a:t>before noon</a:t></a:r></a:p></xdr:txBody></xdr:sp></xdr:twoCellAnchor>"
    "<xdr:twoCellAnchor><xdr:graphicFrame><a:graphic><a:graphicData>"
    '<c:chart xmlns:c="http://schemas.openxmlformats.org/drawingml/2006/chart"'
    f' xmlns:r="{OFFICE}" r:id="rId1"/></a:graphicData></a:graphic></xdr:graphicFrame></xdr:twoCellAnchor></xdr:wsDr>')


def series(name):
    return (f"<c:ser><c:tx><c:strRef><c:strCache><c:pt idx=\"0\"><c:v>{name}</c:v></c:pt></c:strCache></c:strRef></c:tx>"
            "<c:cat><c:numRef><c:numCache><c:formatCode>d\\ mmm</c:formatCode>"
            + "".join(f'<c:pt idx="{i}"><c:v>{45351 + i}</c:v></c:pt>' for i in range(3)) +
            "</c:numCache></c:numRef></c:cat><c:val><c:numRef><c:numCache><c:pt idx=\"0\"><c:v>4</c:v></c:pt></c:numCache>"
            "</c:numRef></c:val></c:ser>")


CHART = HEAD + (
    '<c:chartSpace xmlns:c="http://schemas.openxmlformats.org/drawingml/2006/chart"'
    ' xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main"><c:chart><c:title><c:tx><c:rich><a:p><a:r>'
    "<a:t>Orders by day</a:t></a:r></a:p></c:rich></c:tx></c:title><c:plotArea><c:barChart>" + series("Ordered") +
    series("Delivered") + "</c:barChart></c:plotArea></c:chart></c:chartSpace>")
COMMENTS = HEAD + (
    f'<comments xmlns="{MAIN}"><authors><author>Keeper</author><author>tc={{1}}</author></authors><commentList>'
    '<comment ref="A2" authorId="0"><text><r><t>Return tickets, please</t></r></text></comment>'
    '<comment ref="A3" authorId="1"><text><t>[Threaded comment]</t></text></comment></commentList></comments>')
THREADED = HEAD + (
    '<ThreadedComments xmlns="http://schemas.microsoft.com/office/spreadsheetml/2018/threadedcomments">'
    '<threadedComment ref="A3" id="{1}"><text>With milk?</text></threadedComment>'
    '<threadedComment ref="A3" id="{2}" parentId="{1}"><text>Of course</text></threadedComment></ThreadedComments>')
PROPERTIES = HEAD + (
    f'<cp:coreProperties xmlns:cp="{PACKAGE}/metadata/core-properties" xmlns:dc="http://purl.org/dc/elements/1.1/"'
    ' xmlns:dcterms="http://purl.org/dc/terms/" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">'
    "<dc:title>Stores of the island</dc:title><dc:creator>Żaneta Ångström</dc:creator>"
    '<dcterms:created xsi:type="dcterms:W3CDTF">2024-02-29T12:30:00Z</dcterms:created></cp:coreProperties>')


def parts():
    sheets = [("Stores", ""), ("Harbour", ""), ("Ledger", ' state="hidden"')]
    yield "[Content_Types].xml", HEAD + (
        f'<Types xmlns="{PACKAGE}/content-types"><Default Extension="rels"'
        ' ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
        '<Default Extension="xml" ContentType="application/xml"/><Override PartName="/xl/workbook.xml"'
        f' ContentType="{TYPES}spreadsheetml.sheet.main+xml"/><Override PartName="/docProps/core.xml"'
        ' ContentType="application/vnd.openxmlformats-package.core-properties+xml"/>' + "".join(
            f'<Override PartName="/xl/worksheets/sheet{number}.xml" ContentType="{TYPES}spreadsheetml.worksheet+xml"/>'
            for number in (1, 2, 3)) + "</Types>")
    yield "_rels/.rels", relationships(
        ("officeDocument", "xl/workbook.xml"),
        (PACKAGE + "/relationships/metadata/core-properties", "docProps/core.xml"))
    yield "docProps/core.xml", PROPERTIES
    yield "xl/workbook.xml", HEAD + f'<workbook xmlns="{MAIN}" xmlns:r="{OFFICE}"><sheets>' + "".join(
        f'<sheet name="{name}" sheetId="{number}"{state} r:id="rId{number}"/>'
        for number, (name, state) in enumerate(sheets, 1)) + "</sheets></workbook>"
    yield "xl/_rels/workbook.xml.rels", relationships(
        ("worksheet", "worksheets/sheet1.xml"), ("worksheet", "worksheets/sheet2.xml"),
        ("worksheet", "worksheets/sheet3.xml"), ("styles", "styles.xml"), ("sharedStrings", "sharedStrings.xml"))
    yield "xl/styles.xml", HEAD + f'<styleSheet xmlns="{MAIN}"><numFmts>' + "".join(
        '<numFmt numFmtId="%d" formatCode="%s"/>' % (number, code.replace('"', "&quot;"))
        for number, code in FORMATS.items()) + "</numFmts><cellXfs>" + "".join(
            f'<xf numFmtId="{number}"/>' for number in STYLES) + "</cellXfs></styleSheet>"
    yield "xl/sharedStrings.xml", HEAD + f'<sst xmlns="{MAIN}">' + "".join(
        f"<si>{string}</si>" if string.startswith("<") else f"<si><t>{string}</t></si>"
        for string in STRINGS) + "</sst>"
    yield "xl/worksheets/sheet1.xml", first_sheet()
    yield "xl/worksheets/_rels/sheet1.xml.rels", relationships(
        ("drawing", "../drawings/drawing1.xml"), ("comments", "../comments1.xml"),
        ("http://schemas.microsoft.com/office/2017/10/relationships/threadedComment",
         "../threadedComments/threadedComment1.xml"))
    yield "xl/worksheets/sheet2.xml", other_sheet("Boats_x000D_ at anchor")
    yield "xl/worksheets/sheet3.xml", other_sheet("Nobody reads this")
    yield "xl/drawings/drawing1.xml", DRAWING
    yield "xl/drawings/_rels/drawing1.xml.rels", relationships(("chart", "../charts/chart1.xml"))
    yield "xl/charts/chart1.xml", CHART
    yield "xl/comments1.xml", COMMENTS
    yield "xl/threadedComments/threadedComment1.xml", THREADED


def main():
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "sheet.xlsx")
    with zipfile.ZipFile(path, "w") as package:
        for name, content in parts():
            member = zipfile.ZipInfo(name, (2024, 2, 29, 12, 30, 0))
            member.compress_type = zipfile.ZIP_DEFLATED
            package.writestr(member, content)


if __name__ == "__main__":
    main()
