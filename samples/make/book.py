#!/usr/bin/env python3
"""Writes samples/book.epub, a publication of two chapters with a table of contents and a cover, and samples/page.xps,
two fixed pages with a font, a picture and properties."""

import os
import struct
import zipfile
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))
TIME = (2024, 2, 29, 12, 0, 0)


def picture(size=4):
    """A small PNG of one colour."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    rows = b"".join(b"\0" + b"\x2a\x80\x55" * size for _ in range(size))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", size, size, 8, 2, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def write(name, parts):
    with zipfile.ZipFile(os.path.join(HERE, "..", name), "w") as package:
        for part, data in parts.items():
            info = zipfile.ZipInfo(part, TIME)
            info.compress_type = zipfile.ZIP_STORED if part == "mimetype" else zipfile.ZIP_DEFLATED
            package.writestr(info, data)


def chapter(title, body):
    return ('<?xml version="1.0" encoding="UTF-8"?>\n<html xmlns="http://www.w3.org/1999/xhtml" xml:lang="en"><head>'
            f"<title>{title}</title></head><body><h1>{title}</h1>{body}</body></html>")


def book():
    items = [("nav", "nav.xhtml", "application/xhtml+xml", ' properties="nav"'),
             ("cover", "images/cover.png", "image/png", ' properties="cover-image"'),
             ("two", "text/chapter%202.xhtml", "application/xhtml+xml", ""),
             ("one", "text/chapter1.xhtml", "application/xhtml+xml", ""),
             ("style", "style.css", "text/css", "")]
    manifest = "".join(f'<item id="{i}" href="{href}" media-type="{kind}"{more}/>' for i, href, kind, more in items)
    spine = "".join(f'<itemref idref="{i}"/>' for i in ("nav", "one", "two"))
    metadata = ("<dc:title>A walk in the garden</dc:title><dc:creator>Ada Lovelace</dc:creator>"
                "<dc:publisher>Samples</dc:publisher><dc:language>en</dc:language>"
                "<dc:identifier>urn:sample:book</dc:identifier><dc:subject>gardens</dc:subject>"
                "<dc:date>2024-02-29</dc:date>"
                '<meta property="dcterms:modified">2024-02-29T12:00:00Z</meta>')
    return {
        "mimetype": "application/epub+zip",
        "META-INF/container.xml":
            '<container xmlns="urn:oasis:names:tc:opendocument:xmlns:container" version="1.0"><rootfiles><rootfile '
            'full-path="OPS/book.opf" media-type="application/oebps-package+xml"/></rootfiles></container>',
        "OPS/book.opf":
            '<package xmlns="http://www.idpf.org/2007/opf" version="3.0"><metadata '
            f'xmlns:dc="http://purl.org/dc/elements/1.1/">{metadata}</metadata><manifest>{manifest}</manifest>'
            f"<spine>{spine}</spine></package>",
        "OPS/nav.xhtml": chapter("Contents", "<nav><ol><li>Roses</li><li>Bees</li></ol></nav>"),
        "OPS/text/chapter1.xhtml": chapter("Roses", "<p>There are <em>red</em> and white ones &amp; wild ones.</p>"
                                           "<table><tr><td>red</td><td>12</td></tr><tr><td>white</td><td>7</td></tr></table>"),
        "OPS/text/chapter 2.xhtml": chapter("Bees", "<p>They come at noon.<br/>They leave at dusk.</p>"
                                            '<p><img src="../images/cover.png" alt="A bee"/></p>'),
        "OPS/images/cover.png": picture(),
        "OPS/style.css": "p { margin: 0 }",
    }


def run(x, y, text, more=""):
    return (f'<Glyphs Fill="#FF000000" FontUri="/Resources/font.odttf" FontRenderingEmSize="12" OriginX="{x}" OriginY="{y}" '
            f'UnicodeString="{text}" Indices="{";".join([",50"] * len(text))}"{more}/>')


def page(content):
    return ('<FixedPage xmlns="http://schemas.microsoft.com/xps/2005/06" Width="816" Height="1056" xml:lang="en">'
            f"{content}</FixedPage>")


def relationships(*rows):
    return ('<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">' +
            "".join(f'<Relationship Id="r{i}" Type="{kind}" Target="{target}"/>' for i, (kind, target) in enumerate(rows)) +
            "</Relationships>")


def fixed_document():
    space = "http://schemas.microsoft.com/xps/2005/06/"
    first = (run(96, 96, "A fixed ") + run(144, 96, "page") + run(96, 120, "Item") + run(240, 120, "Price") +
             '<Canvas RenderTransform="1,0,0,1,0,140">' + run(96, 0, "Tea") + run(240, 0, "2.50") + "</Canvas>" +
             run(300, 200, "שלום", ' BidiLevel="1"') + run(96, 230, "{}{braces}"))
    return {
        "[Content_Types].xml":
            '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">'
            '<Default Extension="fdseq" ContentType="application/vnd.ms-package.xps-fixeddocumentsequence+xml"/>'
            '<Default Extension="fdoc" ContentType="application/vnd.ms-package.xps-fixeddocument+xml"/>'
            '<Default Extension="fpage" ContentType="application/vnd.ms-package.xps-fixedpage+xml"/>'
            '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
            '<Default Extension="odttf" ContentType="application/vnd.ms-package.obfuscated-opentype"/>'
            '<Default Extension="xml" ContentType="application/vnd.openxmlformats-package.core-properties+xml"/>'
            '<Default Extension="png" ContentType="image/png"/></Types>',
        "_rels/.rels": relationships(
            (space + "fixedrepresentation", "/FixedDocSeq.fdseq"),
            ("http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties", "/docProps/core.xml")),
        "docProps/core.xml":
            '<cp:coreProperties xmlns:cp="http://schemas.openxmlformats.org/package/2006/metadata/core-properties" '
            'xmlns:dc="http://purl.org/dc/elements/1.1/"><dc:title>Two pages</dc:title><dc:creator>Ada Lovelace</dc:creator>'
            "</cp:coreProperties>",
        "FixedDocSeq.fdseq": f'<FixedDocumentSequence xmlns="{space[:-1]}"><DocumentReference '
                             'Source="/Documents/1/FixedDoc.fdoc"/></FixedDocumentSequence>',
        "Documents/1/FixedDoc.fdoc": f'<FixedDocument xmlns="{space[:-1]}"><PageContent Source="Pages/1.fpage"/>'
                                     '<PageContent Source="Pages/2.fpage"/></FixedDocument>',
        "Documents/1/Pages/2.fpage": page(run(96, 96, "The second page")),
        "Documents/1/Pages/1.fpage": page(first),
        "Documents/1/Pages/_rels/1.fpage.rels": relationships(
            (space + "required-resource", "/Resources/font.odttf"), (space + "required-resource", "/Resources/image.png")),
        "Resources/font.odttf": "no font at all",
        "Resources/image.png": picture(),
    }


if __name__ == "__main__":
    write("book.epub", book())
    write("page.xps", fixed_document())
