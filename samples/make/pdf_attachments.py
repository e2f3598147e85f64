#!/usr/bin/env python3
"""Writes samples/attachments.pdf: a page with two attached files and an XMP packet."""

import os

from pdf_file import PdfFile, show, text_string

HERE = os.path.dirname(os.path.abspath(__file__))
PACKET = b"""<?xpacket begin="" id="W5M0MpCehiHzreSzNTczkc9d"?>
<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">
<rdf:Description rdf:about="" xmlns:dc="http://purl.org/dc/elements/1.1/" xmlns:xmp="http://ns.adobe.com/xap/1.0/"
 xmp:CreatorTool="pdf_attachments.py"><dc:title><rdf:Alt><rdf:li xml:lang="x-default">Two attachments</rdf:li></rdf:Alt>
</dc:title><dc:creator><rdf:Seq><rdf:li>Ada Lovelace</rdf:li><rdf:li>Charles Babbage</rdf:li></rdf:Seq></dc:creator>
</rdf:Description></rdf:RDF></x:xmpmeta>
<?xpacket end="r"?>"""


def attached(document, name, data):
    stream = document.stream(data, b"/Type/EmbeddedFile/Params<</Size %d/ModDate(D:20240229120000Z)>>" % len(data))
    return document.add(b"<</Type/Filespec/F(file)/UF%s/EF<</F %d 0 R>>>>" % (text_string(name), stream))


def main():
    document = PdfFile()
    notes = attached(document, "notes – first.txt", b"What was noted.\n")
    table = attached(document, "table.csv", b"item,price\ntea,2.50\n")
    pin = document.add(b"<</Type/Annot/Subtype/FileAttachment/Rect[300 690 312 702]/F 4/FS %d 0 R>>" % table)
    packet = document.stream(PACKET, b"/Type/Metadata/Subtype/XML")
    document.catalog = b"/Metadata %d 0 R/Names<</EmbeddedFiles<</Names[(1) %d 0 R]>>>>" % (packet, notes)
    document.page(show(72, 700, "This page has two attachments."), b"/Annots[%d 0 R]" % pin)
    with open(os.path.join(HERE, "..", "attachments.pdf"), "wb") as file:
        file.write(document.bytes())


if __name__ == "__main__":
    main()
