#!/usr/bin/env python3
"""Writes samples/deck.pptx: slides with a table, a chart, a diagram, notes, comments, a hidden one."""

import os

from ooxml_package import Package, chart, diagram

HERE = os.path.dirname(os.path.abspath(__file__))
POWER = "application/vnd.openxmlformats-officedocument.presentationml."
PRESENTATION = "ppt/presentation.xml"


def text(*paragraphs, element="p:txBody"):
    rows = "".join(
        item if item.startswith("<") else f"<a:p><a:r><a:t>{item}</a:t></a:r></a:p>"
        for item in paragraphs
    )
    return f"<{element}><a:bodyPr/><a:lstStyle/>{rows}</{element}>"


def shape(body, placeholder="", attributes=""):
    placeholder = f'<p:ph type="{placeholder}"/>' if placeholder else ""
    return (
        f'<p:sp><p:nvSpPr><p:cNvPr id="2" name="Shape"{attributes}/><p:cNvSpPr/>'
        f"<p:nvPr>{placeholder}</p:nvPr></p:nvSpPr><p:spPr/>{body}</p:sp>"
    )


def numbered(content, level=0):
    return (
        f'<a:p><a:pPr lvl="{level}"><a:buAutoNum type="arabicPeriod"/></a:pPr>'
        f"<a:r><a:t>{content}</a:t></a:r></a:p>"
    )


def frame(content):
    return (
        '<p:graphicFrame><p:nvGraphicFramePr><p:cNvPr id="4" name="Frame"/></p:nvGraphicFramePr>'
        f"<a:graphic><a:graphicData>{content}</a:graphicData></a:graphic></p:graphicFrame>"
    )


def table(*rows):
    content = "".join(
        "<a:tr>" + "".join(f"<a:tc>{text(cell, element='a:txBody')}</a:tc>" for cell in row) + "</a:tr>"
        for row in rows
    )
    return frame(f"<a:tbl><a:tblPr/><a:tblGrid/>{content}</a:tbl>")


def tree(*shapes):
    return f"<p:cSld><p:spTree>{''.join(shapes)}</p:spTree></p:cSld>"


def main():
    package = Package()
    package.relate("", "officeDocument", PRESENTATION)
    package.properties("A deck", "Grace Hopper", "deck.py")
    slides = []

    def slide(number, *shapes, attributes=""):
        name = f"ppt/slides/slide{number}.xml"
        package.add(name, "p:sld", tree(*shapes), POWER + "slide+xml", attributes)
        package.relate(name, "slideLayout", "ppt/slideLayouts/slideLayout1.xml")
        slides.append(package.relate(PRESENTATION, "slide", name))
        return name

    layout = "ppt/slideLayouts/slideLayout1.xml"
    master = "ppt/slideMasters/slideMaster1.xml"
    package.add(layout, "p:sldLayout", tree(shape(text("Click to edit"), "title")),
                POWER + "slideLayout+xml")
    package.add(
        master,
        "p:sldMaster",
        tree(shape(text("Click to edit"), "title"), shape(text("Navy"))),
        POWER + "slideMaster+xml",
    )
    package.relate(layout, "slideMaster", master)

    # The presentation shows them in another order than their names.
    second = slide(
        2,
        shape(text("Compilers"), "title"),
        shape(
            text(
                "<a:p><a:r><a:t>A compiler</a:t></a:r><a:br/><a:r><a:t>translates</a:t></a:r></a:p>",
                numbered("Read"),
                numbered("Parse", 1),
                numbered("Write"),
            ),
            "body",
        ),
        "<p:grpSp><p:nvGrpSpPr><p:cNvPr id=\"7\" name=\"Group\"/></p:nvGrpSpPr><p:grpSpPr/>"
        + shape(text("in a group"))
        + "</p:grpSp>",
        shape(text('<a:p><a:fld type="datetime1"><a:t>9 December 1906</a:t></a:fld></a:p>'), "dt"),
        shape(text('<a:p><a:fld type="slidenum"><a:t>1</a:t></a:fld></a:p>'), "sldNum"),
    )
    first = slide(
        1,
        shape(text("Machines"), "title"),
        table(["Machine", "Year"], ["Mark I", "1944"], ["", "1951"]),
        '<p:pic><p:nvPicPr><p:cNvPr id="5" name="Picture" descr="A moth in a logbook"/></p:nvPicPr></p:pic>',
        frame('<c:chart r:id="rId2"/>'),
        frame('<dgm:relIds r:dm="rId3"/>'),
    )
    hidden = slide(3, shape(text("Kept back"), "title"), attributes=' show="0"')
    slide(4, shape(text("Thank you"), "title"), shape(text("under the stage"), attributes=' hidden="1"'))

    package.add(
        "ppt/charts/chart1.xml",
        "c:chartSpace",
        chart("Speed", ["add", "multiply"], {"Mark I": [0.3, 6], "UNIVAC": [0.0005, 0.0021]}),
        "application/vnd.openxmlformats-officedocument.drawingml.chart+xml",
    )
    package.relate(first, "chart", "ppt/charts/chart1.xml")
    package.add(
        "ppt/diagrams/data1.xml",
        "dgm:dataModel",
        diagram(["Source", "Object"]),
        "application/vnd.openxmlformats-officedocument.drawingml.diagramData+xml",
    )
    package.relate(first, "diagramData", "ppt/diagrams/data1.xml")

    def notes(number, source, content):
        name = f"ppt/notesSlides/notesSlide{number}.xml"
        package.add(
            name,
            "p:notes",
            tree(shape("", "sldImg"), shape(text(content), "body"), shape(text("1"), "sldNum")),
            POWER + "notesSlide+xml",
        )
        package.relate(source, "notesSlide", name)

    notes(1, second, "Tell the story of the first one.")
    notes(2, hidden, "Do not show.")
    package.add(
        "ppt/comments/comment1.xml",
        "p:cmLst",
        '<p:cm authorId="0" idx="1"><p:pos x="10" y="10"/><p:text>Which year?</p:text></p:cm>',
        POWER + "comments+xml",
    )
    package.relate(second, "comments", "ppt/comments/comment1.xml")

    rows = "".join(f'<p:sldId id="{256 + i}" r:id="{name}"/>' for i, name in enumerate(slides))
    package.add(
        PRESENTATION,
        "p:presentation",
        f"<p:sldIdLst>{rows}</p:sldIdLst>",
        POWER + "presentation.main+xml",
    )
    package.write(os.path.join(HERE, "..", "deck.pptx"))


if __name__ == "__main__":
    main()
