#!/usr/bin/env python3
"""Writes samples/report.odt, samples/table.ods and samples/slides.odp: a text with lists, tables, notes,
comments, tracked changes, a formula and a chart; a spreadsheet with repeated and hidden parts; slides with notes."""

import os
import zipfile

NAMES = {"office": "office", "text": "text", "table": "table", "draw": "drawing", "style": "style", "meta": "meta",
         "presentation": "presentation", "chart": "chart", "svg": "svg-compatible", "manifest": "manifest"}
SPACES = "".join(f' xmlns:{prefix}="urn:oasis:names:tc:opendocument:xmlns:{name}:1.0"' for prefix, name in NAMES.items()) + (
    ' xmlns:dc="http://purl.org/dc/elements/1.1/" xmlns:xlink="http://www.w3.org/1999/xlink"')
HEAD = '<?xml version="1.0" encoding="UTF-8"?>\n'
TYPE = "application/vnd.oasis.opendocument."


def document(root, content):
    return f'{HEAD}<office:document-{root}{SPACES} office:version="1.3">{content}</office:document-{root}>'


def content(kind, body, styles=""):
    return document("content", f"<office:automatic-styles>{styles}</office:automatic-styles><office:body><office:{kind}>"
                    f"{body}</office:{kind}></office:body>")


def p(text, style="Standard"):
    return f'<text:p text:style-name="{style}">{text}</text:p>'


def cell(text="", attributes="", inside=""):
    return f"<table:table-cell{attributes}>{inside}{p(text) if text else ''}</table:table-cell>"


def row(*cells, attributes=""):
    return f"<table:table-row{attributes}>{''.join(cells)}</table:table-row>"


def frame(inside, attributes=""):
    return f"<draw:frame{attributes}>{inside}</draw:frame>"


def box(*paragraphs):
    return f"<draw:text-box>{''.join(p(each) for each in paragraphs)}</draw:text-box>"


def note(kind, text):
    return (f'<text:note text:note-class="{kind}"><text:note-citation>1</text:note-citation><text:note-body>{p(text)}'
            "</text:note-body></text:note>")


def comment(text):
    return f"<office:annotation><dc:creator>Ann</dc:creator><dc:date>2024-02-29</dc:date>{p(text)}</office:annotation>"


def meta(title, statistics=""):
    return document("meta", f"<office:meta><dc:title>{title}</dc:title><dc:subject>Samples</dc:subject>"
                    "<meta:initial-creator>Żaneta Ångström</meta:initial-creator><dc:creator>Ann</dc:creator>"
                    "<meta:creation-date>2024-02-29T12:30:00</meta:creation-date><dc:date>2024-03-01T08:00:00Z</dc:date>"
                    "<meta:keyword>island</meta:keyword><meta:keyword>ferry</meta:keyword><meta:editing-cycles>3"
                    f"</meta:editing-cycles><meta:editing-duration>PT1H5M</meta:editing-duration>{statistics}"
                    '<meta:user-defined meta:name="Shelf">B 7</meta:user-defined></office:meta>')


HIDDEN_TEXT = ('<style:style style:name="Unseen" style:family="text"><style:text-properties text:display="none"/>'
               "</style:style>")
LISTS = ('<text:list-style style:name="Numbers"><text:list-level-style-number text:level="1" style:num-format="1"'
         ' style:num-suffix="."/><text:list-level-style-bullet text:level="2" text:bullet-char="&#x2013;"/>'
         "</text:list-style>")


def item(*content_of_item):
    return f"<text:list-item>{''.join(content_of_item)}</text:list-item>"


def items(*list_items):
    return f'<text:list text:style-name="Numbers">{"".join(list_items)}</text:list>'


def report():
    change = ('<text:tracked-changes><text:changed-region text:id="c1"><text:deletion><office:change-info><dc:creator>Ann'
              f"</dc:creator></office:change-info>{p('at noon')}</text:deletion></text:changed-region>"
              '<text:changed-region text:id="c2"><text:insertion/></text:changed-region></text:tracked-changes>')
    body = change + (
        '<text:h text:outline-level="1">The ferry</text:h>' +
        p(f"It leaves{note('footnote', 'In winter only on weekdays.')} the mainland twice<text:s text:c=\"2\"/>a day,"
          f" and{comment('Check the timetable')} comes back <text:change text:change-id=\"c1\"/>"
          '<text:change-start text:change-id="c2"/>before dark<text:change-end text:change-id="c2"/>'
          '<text:span text:style-name="Unseen"> unseen by anybody</text:span>.') +
        items(item(p("Buy a ticket"), items(item(p("at the harbour")), item(p("or on board")))), item(p("Mind the step"))) +
        '<text:h text:outline-level="2">Fares<text:tab/>and times</text:h><table:table table:name="Fares">' +
        row(cell("Passage"), cell("Single"), cell("Return")) +
        row(cell("Adult" + note("endnote", "From sixteen.")), cell("7.50"), cell("12.00")) +
        row(cell("Bicycle"), cell(), cell("4.00")) + "</table:table>" +
        p("Written on <text:date>29 February</text:date> in <text:file-name>report.odt</text:file-name>.") +
        p("A picture" + frame('<draw:image xlink:href="Pictures/none.png"/><svg:title>Harbour</svg:title>'
                              "<svg:desc>The harbour at low tide</svg:desc>") + " and a box" +
          frame(box("Boxed in", "Twice")) + " follow.") +
        p(frame('<draw:object xlink:href="./Object 1"/>') + "The chart") +
        p(frame('<draw:object xlink:href="./Object 2"/>') + "The formula") +
        '<text:section text:name="s" text:display="none">' + p("A hidden section") + "</text:section>" +
        p("<text:ruby><text:ruby-base>島</text:ruby-base><text:ruby-text>shima</text:ruby-text></text:ruby> is an island."))
    styles = document("styles", '<office:styles><text:outline-style text:style-name="Outline">'
                      '<text:outline-level-style text:level="1" style:num-format="1" style:num-suffix="."/>'
                      '<text:outline-level-style text:level="2" style:num-format="a" text:display-levels="2"/>'
                      "</text:outline-style></office:styles><office:master-styles><style:master-page style:name=\"Standard\">"
                      f"<style:header>{p('Island report')}</style:header><style:footer>{p('Page <text:page-number>1</text:page-number>')}"
                      "</style:footer></style:master-page></office:master-styles>")
    chart = content("chart", f"<chart:chart><chart:title>{p('Passengers')}</chart:title><chart:plot-area/>"
                    '<table:table table:name="local-table">' + row(cell(), cell("Single"), cell("Return")) +
                    row(cell("Monday"), cell("17"), cell("4")) + "</table:table></chart:chart>")
    formula = HEAD + ('<math xmlns="http://www.w3.org/1998/Math/MathML"><semantics><mrow><mi>v</mi><mo>=</mo><mfrac><mi>s'
                      '</mi><mi>t</mi></mfrac></mrow><annotation encoding="StarMath 5.0">v = s over t</annotation>'
                      "</semantics></math>")
    return [("content.xml", content("text", body, LISTS + HIDDEN_TEXT)), ("styles.xml", styles),
            ("meta.xml", meta("Island report", '<meta:document-statistic meta:page-count="1" meta:word-count="70"/>')),
            ("Object 1/content.xml", chart), ("Object 2/content.xml", formula)]


def spreadsheet():
    styles = ('<style:style style:name="away" style:family="table"><style:table-properties table:display="false"/>'
              "</style:style>")
    many = ' table:number-columns-repeated="1000"'
    body = ('<table:table table:name="Catch"><table:table-column table:number-columns-repeated="3"/>'
            '<table:table-column table:visibility="collapse"/>' +
            row(cell("Fish"), cell("Weight"), cell("Price"), cell("Cost"), f"<table:table-cell{many}/>") +
            row(cell("Cod", inside=comment("Fresh")), cell("12.5 kg"), cell("87.50 €"), cell("40.00 €")) +
            row(cell("Herring", ' table:number-columns-repeated="2"'), cell("3 €"), attributes=' table:number-rows-repeated="2"') +
            row(cell("Old"), attributes=' table:visibility="collapse"') +
            row(f"<table:table-cell{many}/>", attributes=' table:number-rows-repeated="1048000"') +
            row(cell("Two") + '<table:table-cell office:value-type="float" office:value="0.30000000000000004"/>',
                f"<table:table-cell{many}/>", cell("far")) +
            row("<table:table-cell>" + p("First line") + p("second line") + "</table:table-cell>") + "</table:table>"
            '<table:table table:name="Away" table:style-name="away">' + row(cell("Nobody reads this")) + "</table:table>"
            '<table:table table:name="Boats"><table:shapes>' + frame(box("A box on the sheet")) + "</table:shapes>" +
            row(cell("Seagull")) + "</table:table>")
    page = document("styles", '<office:master-styles><style:master-page style:name="Default"><style:header><style:region-left>'
                    f"{p('<text:sheet-name>???</text:sheet-name>')}</style:region-left><style:region-right>{p('Fishery')}"
                    "</style:region-right></style:header></style:master-page></office:master-styles>")
    return [("content.xml", content("spreadsheet", body, styles)), ("styles.xml", page), ("meta.xml", meta("Catch of the week"))]


def slides():
    styles = ('<style:style style:name="dp" style:family="drawing-page"><style:drawing-page-properties'
              ' presentation:visibility="hidden"/></style:style>')
    number = p("<text:page-number>&lt;number&gt;</text:page-number>")
    body = ('<presentation:footer-decl presentation:name="f">Harbour board</presentation:footer-decl>'
            '<draw:page draw:name="page1">' + frame(box("The new pier"), ' presentation:class="title"') +
            frame(f"<draw:text-box>{items(item(p('Longer')), item(p('Wider'), items(item(p('for lorries')))))}</draw:text-box>") +
            f"<draw:custom-shape>{p('An arrow')}</draw:custom-shape><draw:g><draw:rect>{p('In a group')}</draw:rect></draw:g>"
            "<presentation:notes>" + frame(box("Say why it is needed")) + frame(f"<draw:text-box>{number}</draw:text-box>") +
            '</presentation:notes></draw:page><draw:page draw:name="page2" draw:style-name="dp">' + frame(box("Skipped")) +
            '</draw:page><draw:page draw:name="page3">' + frame("<table:table>" + row(cell("Year"), cell("Cost")) +
                                                             row(cell("2025"), cell("3 million")) + "</table:table>") +
            "</draw:page>")
    return [("content.xml", content("presentation", body, styles + LISTS)), ("meta.xml", meta("The new pier"))]


def write(name, kind, parts):
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", name)
    manifest = HEAD + f'<manifest:manifest{SPACES}><manifest:file-entry manifest:full-path="/" manifest:media-type="{TYPE}{kind}"/>' + "".join(
        f'<manifest:file-entry manifest:full-path="{part}" manifest:media-type="text/xml"/>' for part, _ in parts) + "</manifest:manifest>"
    with zipfile.ZipFile(path, "w") as package:
        for part, text in [("mimetype", TYPE + kind), *parts, ("META-INF/manifest.xml", manifest)]:
            member = zipfile.ZipInfo(part, (2024, 2, 29, 12, 30, 0))
            member.compress_type = zipfile.ZIP_STORED if part == "mimetype" else zipfile.ZIP_DEFLATED
            package.writestr(member, text)


if __name__ == "__main__":
    write("report.odt", "text", report())
    write("table.ods", "spreadsheet", spreadsheet())
    write("slides.odp", "presentation", slides())
