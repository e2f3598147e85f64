#!/usr/bin/env python3
"""Writes samples/letter.docx: a letter with lists, tables, fields, revisions, notes and the like."""

import os

from ooxml_package import Package, chart, diagram

HERE = os.path.dirname(os.path.abspath(__file__))
WORD = "application/vnd.openxmlformats-officedocument.wordprocessingml."


def run(text, properties=""):
    properties = f"<w:rPr>{properties}</w:rPr>" if properties else ""
    return f'<w:r>{properties}<w:t xml:space="preserve">{text}</w:t></w:r>'


def paragraph(*runs, properties=""):
    properties = f"<w:pPr>{properties}</w:pPr>" if properties else ""
    runs = "".join(item if item.startswith("<") else run(item) for item in runs)
    return f"<w:p>{properties}{runs}</w:p>"


def item(text, level=0, number=1):
    return paragraph(
        text, properties=f'<w:numPr><w:ilvl w:val="{level}"/><w:numId w:val="{number}"/></w:numPr>'
    )


def field(instruction, result):
    return (
        '<w:r><w:fldChar w:fldCharType="begin"/></w:r>'
        f'<w:r><w:instrText xml:space="preserve"> {instruction} </w:instrText></w:r>'
        f'<w:r><w:fldChar w:fldCharType="separate"/></w:r>{run(result)}'
        '<w:r><w:fldChar w:fldCharType="end"/></w:r>'
    )


def cell(*content, properties=""):
    return f"<w:tc><w:tcPr>{properties}</w:tcPr>{''.join(content)}</w:tc>"


def row(*cells, properties=""):
    properties = f"<w:trPr>{properties}</w:trPr>" if properties else ""
    return f"<w:tr>{properties}{''.join(cells)}</w:tr>"


def table(*rows):
    return f"<w:tbl><w:tblPr/><w:tblGrid/>{''.join(rows)}</w:tbl>"


def level(number, kind, text, more=""):
    return (
        f'<w:lvl w:ilvl="{number}"><w:start w:val="1"/><w:numFmt w:val="{kind}"/>{more}'
        f'<w:lvlText w:val="{text}"/></w:lvl>'
    )


def box(*content):
    inner = f"<w:txbxContent>{''.join(content)}</w:txbxContent>"
    return (
        '<w:r><mc:AlternateContent><mc:Choice Requires="wps"><w:drawing><wp:anchor><wp:docPr id="9"'
        f' name="Box"/><wps:wsp><wps:txbx>{inner}</wps:txbx></wps:wsp></wp:anchor></w:drawing></mc:Choice>'
        f"<mc:Fallback><w:pict><v:shape><v:textbox>{inner}</v:textbox></v:shape></w:pict></mc:Fallback>"
        "</mc:AlternateContent></w:r>"
    )


def main():
    package = Package()
    document = "word/document.xml"
    package.relate("", "officeDocument", document)
    package.properties("A letter", "Ada Lovelace", "letter.py")

    def part(name, root, content, kind, relationship):
        package.add(f"word/{name}.xml", root, content, WORD + kind + "+xml")
        return package.relate(document, relationship, f"word/{name}.xml")

    part(
        "styles",
        "w:styles",
        '<w:style w:type="paragraph" w:styleId="Heading1"><w:pPr><w:numPr><w:numId w:val="2"/></w:numPr>'
        '</w:pPr></w:style><w:style w:type="character" w:styleId="Secret"><w:rPr><w:vanish/></w:rPr>'
        "</w:style>",
        "styles",
        "styles",
    )
    part(
        "numbering",
        "w:numbering",
        '<w:abstractNum w:abstractNumId="0">'
        + level(0, "decimal", "%1.")
        + level(1, "lowerLetter", "%2)")
        + level(2, "bullet", "\uf0b7")
        + '</w:abstractNum><w:abstractNum w:abstractNumId="1">'
        + level(0, "upperRoman", "%1", '<w:pStyle w:val="Heading1"/>')
        + '</w:abstractNum><w:num w:numId="1"><w:abstractNumId w:val="0"/></w:num>'
        '<w:num w:numId="2"><w:abstractNumId w:val="1"/></w:num>'
        '<w:num w:numId="3"><w:abstractNumId w:val="0"/><w:lvlOverride w:ilvl="0">'
        '<w:startOverride w:val="1"/></w:lvlOverride></w:num>',
        "numbering",
        "numbering",
    )
    header = part("header1", "w:hdr", paragraph("Analytical Engine Company"), "header", "header")
    footer = part("footer1", "w:ftr", paragraph("Page ", field("PAGE", "1")), "footer", "footer")
    part(
        "footnotes",
        "w:footnotes",
        '<w:footnote w:type="separator" w:id="-1"><w:p><w:r><w:separator/></w:r></w:p></w:footnote>'
        '<w:footnote w:id="1">' + paragraph("<w:r><w:footnoteRef/></w:r>", " Jacquard, 1804.")
        + "</w:footnote>",
        "footnotes",
        "footnotes",
    )
    part(
        "endnotes",
        "w:endnotes",
        '<w:endnote w:id="1">' + paragraph("<w:r><w:endnoteRef/></w:r>", " See the notes.")
        + "</w:endnote>",
        "endnotes",
        "endnotes",
    )
    part(
        "comments",
        "w:comments",
        '<w:comment w:id="0" w:author="Charles">' + paragraph("Is this so?") + "</w:comment>",
        "comments",
        "comments",
    )
    package.add(
        "word/charts/chart1.xml",
        "c:chartSpace",
        chart("Wheels", ["1833", "1842"], {"Difference": [2000, 4000.5], "Analytical": [0, 8000]}),
        "application/vnd.openxmlformats-officedocument.drawingml.chart+xml",
    )
    chart_id = package.relate(document, "chart", "word/charts/chart1.xml")
    package.add(
        "word/diagrams/data1.xml",
        "dgm:dataModel",
        diagram(["Mill", "Store"]),
        "application/vnd.openxmlformats-officedocument.drawingml.diagramData+xml",
    )
    diagram_id = package.relate(document, "diagramData", "word/diagrams/data1.xml")
    link = package.relate(document, "hyperlink", "https://example.org/engine")

    nested = table(row(cell(paragraph("inner 1")), cell(paragraph("inner 2"))))
    body = [
        paragraph("London, ", field('DATE \\@ "d MMMM yyyy"', "10 July 1843")),
        paragraph("Dear Mr Babbage,"),
        paragraph("The engine", properties='<w:pStyle w:val="Heading1"/>'),
        paragraph(
            "The engine weaves algebraic patterns",
            '<w:r><w:footnoteReference w:id="1"/></w:r>',
            " just as the loom weaves flowers",
            '<w:r><w:commentReference w:id="0"/></w:r><w:r><w:endnoteReference w:id="1"/></w:r>',
            ".",
            run(" Not for print.", '<w:rStyle w:val="Secret"/>'),
        ),
        paragraph(
            "It has ",
            "<w:del><w:r><w:delText>no</w:delText></w:r></w:del>",
            "<w:ins>" + run("four") + "</w:ins>",
            " operations:",
            box(paragraph("A box beside the text,"), paragraph("of two lines.")),
        ),
        item("addition"),
        item("of whole numbers", 1),
        item("of fractions", 1),
        item("with carriage", 2),
        item("multiplication"),
        paragraph("and of cards"),
        item("numbers", 0, 3),
        paragraph("The plan", properties='<w:pStyle w:val="Heading1"/>'),
        table(
            row(
                cell(paragraph("Part"), properties='<w:gridSpan w:val="2"/>'),
                cell(paragraph("Wheels")),
            ),
            row(cell(paragraph("Mill")), cell(nested, paragraph()), cell(paragraph("50"))),
            row(cell(paragraph("never built")), properties="<w:hidden/>"),
            row(cell(paragraph("Store"), paragraph("(memory)")), cell(paragraph()), cell(paragraph())),
        ),
        paragraph(
            '<w:r><w:drawing><wp:inline><wp:docPr id="1" name="Picture 1" descr="A portrait"/>'
            "</wp:inline></w:drawing></w:r>"
        ),
        paragraph(
            f'<w:r><w:drawing><wp:inline><wp:docPr id="2" name="Chart"/><c:chart r:id="{chart_id}"/>'
            "</wp:inline></w:drawing></w:r>"
        ),
        paragraph(
            f'<w:r><w:drawing><wp:inline><wp:docPr id="3" name="Diagram"/><dgm:relIds r:dm="{diagram_id}"/>'
            "</wp:inline></w:drawing></w:r>"
        ),
        paragraph(
            "<m:oMath><m:sSup><m:e><m:r><m:t>x</m:t></m:r></m:e><m:sup><m:r><m:t>n</m:t></m:r></m:sup>"
            "</m:sSup><m:f><m:num><m:r><m:t>1</m:t></m:r></m:num><m:den><m:r><m:t>n</m:t></m:r></m:den>"
            "</m:f></m:oMath>",
            '<w:r><w:sym w:font="Wingdings" w:char="F0E0"/></w:r>',
            "<w:r><w:t>co</w:t><w:softHyphen/><w:t>operate</w:t><w:tab/><w:t>self</w:t>"
            "<w:noBreakHyphen/><w:t>acting</w:t><w:br/><w:t>on two lines</w:t></w:r>",
        ),
        paragraph(f'<w:hyperlink r:id="{link}">', run("A link"), "</w:hyperlink>", " and ",
                  '<w:sdt><w:sdtPr><w:alias w:val="x"/></w:sdtPr><w:sdtContent>' + run("a control")
                  + "</w:sdtContent></w:sdt>", "<w:r><w:br w:type=\"page\"/></w:r>"),
        paragraph("Yours, A. A. L."),
        f'<w:sectPr><w:headerReference w:type="default" r:id="{header}"/>'
        f'<w:footerReference w:type="default" r:id="{footer}"/></w:sectPr>',
    ]
    package.add(document, "w:document", f"<w:body>{''.join(body)}</w:body>", WORD + "document.main+xml")
    package.write(os.path.join(HERE, "..", "letter.docx"))


if __name__ == "__main__":
    main()
