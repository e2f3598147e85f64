#!/usr/bin/env python3
"""Writes samples/brochure.idml, a package of the InDesign Markup Language: two spreads, three stories and one on
the master spread, a table, a footnote, a tracked change, and the XMP packet."""

import os
import zipfile

HERE = os.path.dirname(os.path.abspath(__file__))
TIME = (2024, 2, 29, 12, 0, 0)
XML = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'
PACKAGING = 'xmlns:idPkg="http://ns.adobe.com/AdobeInDesign/idml/1.0/packaging" DOMVersion="14.0"'


def run(*content):
    return "<ParagraphStyleRange><CharacterStyleRange>" + "".join(content) + "</CharacterStyleRange></ParagraphStyleRange>"


def text(content):
    return f"<Content>{content}</Content>"


def story(name, *runs):
    return f'{XML}<idPkg:Story {PACKAGING}><Story Self="{name}">{"".join(runs)}</Story></idPkg:Story>'


def spread(kind, pages, *stories):
    frames = "".join(f'<TextFrame Self="f{s}" ParentStory="{s}"/>' for s in stories)
    return f'{XML}<idPkg:{kind} {PACKAGING}><{kind}>{"<Page/>" * pages}{frames}</{kind}></idPkg:{kind}>'


def cell(name, content):
    return f'<Cell Name="{name}">{run(text(content))}</Cell>'


def main():
    table = ("<Table><Row/><Row/><Column/><Column/>" + cell("0:0", "Day") + cell("1:0", "Ferry") +
             cell("0:1", "Monday") + cell("1:1", "8:30") + "</Table>")
    footnote = "<Footnote>" + run(text("Weather permitting.")) + "</Footnote>"
    change = '<Change ChangeType="DeletedText">' + text("twice ") + "</Change>"
    stories = {
        "u10": story("u10", run(text("The island"), "<Br/>", text("Boats leave "), change, text("daily"), footnote,
                                text(" &amp; return."), "<Br/>"), run(table)),
        "u20": story("u20", run(text("By the sea"))),
        "u30": story("u30", run(text("Shells"), "<Br/>", text("and sand\u2028and wind"))),
        "u40": story("u40", run(text("Island news"))),
    }
    packet = ('<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">'
              '<rdf:Description xmlns:dc="http://purl.org/dc/elements/1.1/" xmlns:xmp="http://ns.adobe.com/xap/1.0/">'
              '<dc:title><rdf:Alt><rdf:li xml:lang="x-default">A day out</rdf:li></rdf:Alt></dc:title>'
              "<xmp:CreatorTool>by hand</xmp:CreatorTool><xmp:CreateDate>2024-02-29T12:00:00+01:00</xmp:CreateDate>"
              "</rdf:Description></rdf:RDF></x:xmpmeta>")
    parts = {
        "mimetype": "application/vnd.adobe.indesign-idml-package",
        "designmap.xml": f'{XML}<Document {PACKAGING} StoryList="u40 u30 u20 u10">'
                         '<idPkg:MasterSpread src="MasterSpreads/MasterSpread_m1.xml"/>'
                         '<idPkg:Spread src="Spreads/Spread_s1.xml"/><idPkg:Spread src="Spreads/Spread_s2.xml"/>' +
                         "".join(f'<idPkg:Story src="Stories/Story_{s}.xml"/>' for s in reversed(stories)) + "</Document>",
        "META-INF/metadata.xml": XML + packet,
        "MasterSpreads/MasterSpread_m1.xml": spread("MasterSpread", 2, "u40"),
        "Spreads/Spread_s1.xml": spread("Spread", 1, "u10", "u20"),
        "Spreads/Spread_s2.xml": spread("Spread", 2, "u10", "u30"),
    }
    parts.update({f"Stories/Story_{name}.xml": content for name, content in stories.items()})
    with zipfile.ZipFile(os.path.join(HERE, "..", "brochure.idml"), "w") as package:
        for part, data in parts.items():
            info = zipfile.ZipInfo(part, TIME)
            info.compress_type = zipfile.ZIP_STORED if part == "mimetype" else zipfile.ZIP_DEFLATED
            package.writestr(info, data)


if __name__ == "__main__":
    main()
