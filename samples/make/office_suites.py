#!/usr/bin/env python3
"""Writes samples of office programs beyond the usual ones: plan.pages and show.key (iWork '09), floor.vsdx (Visio),
ledger.wk1 (1-2-3, Lotus File Formats) and minutes.wpd (WordPerfect 5.1)."""

import os
import struct
import zipfile

HERE = os.path.dirname(os.path.abspath(__file__))
TIME = (2024, 2, 29, 12, 0, 0)
NAMESPACE = "http://developer.apple.com/namespaces/"
GEOMETRY = ('<sf:geometry><sf:naturalSize sfa:w="300" sfa:h="60"/><sf:size sfa:w="300" sfa:h="60"/>'
            '<sf:position sfa:x="0" sfa:y="0"/></sf:geometry>')
DECLARATION = '<?xml version="1.0" encoding="UTF-8"?>\n'


def write(name, data):
    with open(os.path.join(HERE, "..", name), "wb") as file:
        file.write(data)


def write_package(name, parts):
    with zipfile.ZipFile(os.path.join(HERE, "..", name), "w") as package:
        for part, data in parts.items():
            info = zipfile.ZipInfo(part, TIME)
            info.compress_type = zipfile.ZIP_DEFLATED
            package.writestr(info, data)


def namespaces(*prefixes):
    uris = {"sfa": "sfa", "sf": "sf", "sl": "sl", "key": "keynote2"}
    return "".join(f' xmlns:{prefix}="{NAMESPACE}{uris[prefix]}"' for prefix in prefixes)


def stated(prefix, element, kind, attribute, value):
    return f'<{prefix}:{element}><{prefix}:{kind} {attribute}="{value}"/></{prefix}:{element}>'


def text_storage(kind, *paragraphs):
    body = "".join(f"<sf:p>{paragraph}<sf:br/></sf:p>" for paragraph in paragraphs)
    return f'<sf:text-storage sf:kind="{kind}"><sf:text-body>{body}</sf:text-body></sf:text-storage>'


def section(*paragraphs):
    text = "".join(f"<sf:p>{paragraph}<sf:br/></sf:p>" for paragraph in paragraphs)
    return (f'<sf:text-storage sf:kind="body"><sf:stylesheet-ref sfa:IDREF="styles"/><sf:text-body>'
            f'<sf:section sf:style="section"><sf:layout>{text}</sf:layout>'
            "</sf:section></sf:text-body></sf:text-storage>")


def table(rows):
    columns = len(rows[0])
    cells = "".join(f'<sf:t{first}><sf:ct sfa:s="{cell}"/></sf:t>' if isinstance(cell, str)
                    else f'<sf:n sf:v="{cell}"/>'
                    for number, cell in enumerate(cell for row in rows for cell in row)
                    for first in [' sf:ct="0"' if number == 0 else ""])
    column = '<sf:grid-column sf:width="100"/>' * columns
    row = '<sf:grid-row sf:height="20"/>' * len(rows)
    return (f'<sf:tabular-info sfa:ID="table">{GEOMETRY}'
            f'<sf:tabular-model sfa:ID="model" sf:name="Plants"><sf:grid sf:numcols="{columns}" '
            f'sf:numrows="{len(rows)}" sf:ocnt="{columns * len(rows)}"><sf:columns>{column}</sf:columns>'
            f'<sf:rows>{row}</sf:rows><sf:datasource>{cells}</sf:datasource></sf:grid></sf:tabular-model>'
            '</sf:tabular-info>')


def pages():
    info = (stated("sl", "SLCreationDateProperty", "date", "sf:val", "2024-02-29T12:00:00+0200") +
            stated("sl", "language", "string", "sfa:string", "en") +
            stated("sl", "SLLastModifiedDateProperty", "date", "sf:val", "2024-03-01T08:30:00+0200"))
    metadata = (stated("sf", "title", "string", "sfa:string", "A plan") +
                '<sf:authors><sf:array><sf:string sfa:string="Ada"/><sf:string sfa:string="Charles"/></sf:array>'
                "</sf:authors>")
    header = text_storage("header", "Garden society")
    footer = text_storage("header", 'Page<sf:tab/><sf:page-number sf:format="lower-roman" sf:value="i"/>')
    furniture = (f'<sf:headers><sf:header sf:name="odd header">{header}</sf:header></sf:headers>'
                 f'<sf:footers><sf:footer sf:name="odd footer">{footer}</sf:footer></sf:footers>')
    master = ('<sf:oddPageMaster><sf:pagemaster sl:header="odd header" sl:footer="odd footer"/></sf:oddPageMaster>')
    page_style = (f'<sl:stylesheet sfa:ID="styles"><sf:styles><sf:sectionstyle sfa:ID="section" sf:ident="section">'
                  f"<sf:property-map>{master}</sf:property-map></sf:sectionstyle></sf:styles></sl:stylesheet>")
    body = section("Hedges first.<sf:tab/>Then roses.", 'Word <sf:span>by</sf:span> word &amp; line.',
                        f'<sf:page-start sf:page-index="0"/>{"Before the table."}',
                        '<sf:page-start sf:page-index="1"/>The end.')
    return (f'{DECLARATION}<sl:document{namespaces("sfa", "sf", "sl")} sl:version="92008102400">'
            f"<sl:publication-info>{info}</sl:publication-info><sf:metadata>{metadata}</sf:metadata>{page_style}"
            f"<sl:section-prototypes/>{furniture}{body}</sl:document>\n")


def keynote():
    def slide(number, title, note, drawable=""):
        box = (f'<sf:shape sfa:ID="shape-{number}">{GEOMETRY}<sf:path><sf:bezier-path><sf:bezier sfa:path="M 0 0 L 300 0 '
               f'L 300 60 L 0 60 Z"/></sf:bezier-path></sf:path><sf:text>{text_storage("textbox", title)}</sf:text>'
               "</sf:shape>")
        return (f'<key:slide sfa:ID="slide-{number}"><key:page sfa:ID="page-{number}"><sf:layers>'
                f'<sf:layer sfa:ID="layer-{number}"><sf:drawables>{box}{drawable}</sf:drawables></sf:layer></sf:layers>'
                f"</key:page><key:notes>{text_storage('note', note)}</key:notes></key:slide>")

    plants = table([["Plant", "Number"], ["Box tree", 12], ["Rose", 7.5]])
    slides = slide(1, "Welcome to the garden", "Smile.") + slide(2, "Roses", "Speak of 1840.", plants)
    metadata = (stated("key", "title", "string", "sfa:string", "A show") +
                stated("key", "authors", "string", "sfa:string", "Ada"))
    return (f'{DECLARATION}<key:presentation{namespaces("sfa", "sf", "key")} key:version="92008102400">'
            f'<key:size sfa:w="800" sfa:h="600"/><key:theme-list/><key:slide-list>{slides}</key:slide-list>'
            f"<key:metadata>{metadata}</key:metadata></key:presentation>\n")


def visio():
    main = "http://schemas.microsoft.com/office/visio/2012/main"
    office = "http://schemas.openxmlformats.org/officeDocument/2006/relationships"
    visio_relations = "http://schemas.microsoft.com/visio/2010/relationships/"
    package = "http://schemas.openxmlformats.org/package/2006/"

    def relations(*rows):
        inside = "".join(f'<Relationship Id="rId{n}" Type="{kind}" Target="{target}"/>'
                         for n, (kind, target) in enumerate(rows, 1))
        return f'{DECLARATION}<Relationships xmlns="{package}relationships">{inside}</Relationships>'

    def shape(number, text):
        cells = "".join(f'<Cell N="{name}" V="{value}"/>' for name, value in
                        {"PinX": number, "PinY": 1, "Width": 1, "Height": 1, "LocPinX": 0.5, "LocPinY": 0.5}.items())
        return f'<Shape ID="{number}" Type="Shape">{cells}<Text>{text}\n</Text></Shape>'

    def page(*texts):
        shapes = "".join(shape(n, text) for n, text in enumerate(texts, 1))
        return f'{DECLARATION}<PageContents xmlns="{main}"><Shapes>{shapes}</Shapes></PageContents>'

    sheet = '<PageSheet><Cell N="PageWidth" V="8"/><Cell N="PageHeight" V="11"/></PageSheet>'
    listed = "".join(f'<Page ID="{n}" Name="{name}" NameU="{name}">{sheet}<Rel r:id="rId{n}"/></Page>'
                     for n, name in enumerate(("Ground floor", "First floor"), 1))
    types = "".join(f'<Override PartName="/{part}" ContentType="application/vnd.ms-visio.{kind}+xml"/>' for part, kind in
                    {"visio/document.xml": "drawing.main", "visio/pages/pages.xml": "pages",
                     "visio/pages/page1.xml": "page", "visio/pages/page2.xml": "page"}.items())
    return {
        "[Content_Types].xml": f'{DECLARATION}<Types xmlns="{package}content-types"><Default Extension="rels" '
                               f'ContentType="application/vnd.openxmlformats-package.relationships+xml"/>{types}</Types>',
        "_rels/.rels": relations((visio_relations + "document", "visio/document.xml")),
        "visio/document.xml": f'{DECLARATION}<VisioDocument xmlns="{main}"/>',
        "visio/_rels/document.xml.rels": relations((visio_relations + "pages", "pages/pages.xml")),
        "visio/pages/pages.xml": f'{DECLARATION}<Pages xmlns="{main}" xmlns:r="{office}">{listed}</Pages>',
        "visio/pages/_rels/pages.xml.rels": relations(*((visio_relations + "page", f"page{n}.xml") for n in (1, 2))),
        "visio/pages/page1.xml": page("Kitchen", "Hall &amp; stairs"),
        "visio/pages/page2.xml": page("Library"),
    }


def lotus():
    def record(kind, data=b""):
        return struct.pack("<HH", kind, len(data)) + data

    def at(column, row, shown=0xFF):
        return struct.pack("<BHH", shown, column, row)

    def label(column, row, text):
        return record(0x0F, at(column, row) + b"'" + text.encode("cp437") + b"\0")

    def number(column, row, value, shown=0xFF):
        return record(0x0E, at(column, row, shown) + struct.pack("<d", value))

    fixed_2, percent_0, day_month_year = 0x82, 0xB0, 0xF2
    return (record(0x00, struct.pack("<H", 0x0406)) + record(0x06, struct.pack("<4H", 0, 0, 3, 2)) +
            label(0, 0, "Plant") + label(1, 0, "Price") + label(2, 0, "Rise") + label(3, 0, "Bought") +
            label(0, 1, "Box tree") + number(1, 1, 12.5, fixed_2) + number(2, 1, 0.25, percent_0) +
            number(3, 1, 45351, day_month_year) +
            label(0, 2, "Rose") + record(0x0D, at(1, 2) + struct.pack("<h", 7)) + record(0x01))


def wordperfect():
    text = (b"Minutes of the garden society\x0a" + b"Present:\xc1\x00\x00\x00\x00\x00\x00\x00\xc1Ada, Charles\x0a" +
            b"The caf\xc0\x29\x01\xc0 was closed.\x0a")
    begin = 16 + 10
    prefix = struct.pack("<HHHI", 0xFFFB, 5, 50, 0)
    return b"\xffWPC" + struct.pack("<IBBBBHH", begin, 1, 10, 0, 1, 0, 0) + prefix + text


if __name__ == "__main__":
    write_package("plan.pages", {"index.xml": pages()})
    write_package("show.key", {"index.apxl": keynote()})
    write_package("floor.vsdx", visio())
    write("ledger.wk1", lotus())
    write("minutes.wpd", wordperfect())
