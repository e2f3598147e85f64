#!/usr/bin/env python3
"""Writes the documents that bench/peers.sh measures, each once: deterministic, from the standard
library alone. The PDF, spreadsheet and their like come from the makers beside this file."""

import os
import random
import subprocess
import sys
import zipfile

HERE = os.path.dirname(os.path.abspath(__file__))
WORDS = [a + b for a in ("ka", "ro", "min", "tel", "sor", "va", "lum", "per", "dis", "on")
         for b in ("ta", "re", "nor", "li", "s", "den", "mo", "kul", "ver", "an")]
STORED = (1980, 1, 1, 0, 0, 0)


def sentence(chance):
    words = [chance.choice(WORDS) for _ in range(chance.randint(6, 18))]
    return " ".join(words).capitalize() + "."


def paragraph(chance):
    return " ".join(sentence(chance) for _ in range(chance.randint(3, 7)))


def write_zip(path, parts, stored_first=False):
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as package:
        for number, (name, text) in enumerate(parts):
            info = zipfile.ZipInfo(name, STORED)
            info.compress_type = (zipfile.ZIP_STORED if stored_first and number == 0
                                  else zipfile.ZIP_DEFLATED)
            package.writestr(info, text)


def docx(path, size, seed):
    """A Word document of about `size` compressed bytes, one to three runs a paragraph."""
    chance = random.Random(seed)
    body = []
    # Such text deflates to about a ninth.
    while sum(map(len, body)) < size * 9.1:
        texts = [sentence(chance) for _ in range(chance.randint(1, 3))]
        runs = "".join('<w:r><w:rPr><w:rFonts w:ascii="Arial"/><w:sz w:val="22"/></w:rPr>'
                       f'<w:t xml:space="preserve">{text} </w:t></w:r>' for text in texts)
        body.append(f'<w:p><w:pPr><w:jc w:val="both"/></w:pPr>{runs}</w:p>')
    main = "http://schemas.openxmlformats.org/wordprocessingml/2006/main"
    kind = "application/vnd.openxmlformats-officedocument.wordprocessingml.document.main+xml"
    relation = "http://schemas.openxmlformats.org/officeDocument/2006/relationships"
    package = "http://schemas.openxmlformats.org/package/2006"
    head = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'
    write_zip(path, [
        ("[Content_Types].xml",
         f'{head}<Types xmlns="{package}/content-types"><Default Extension="rels" ContentType='
         '"application/vnd.openxmlformats-package.relationships+xml"/>'
         f'<Override PartName="/word/document.xml" ContentType="{kind}"/></Types>'),
        ("_rels/.rels",
         f'{head}<Relationships xmlns="{package}/relationships"><Relationship Id="r1" '
         f'Type="{relation}/officeDocument" Target="word/document.xml"/></Relationships>'),
        ("word/document.xml",
         f'{head}<w:document xmlns:w="{main}"><w:body>{"".join(body)}</w:body></w:document>'),
    ])


def odt(path, size, seed):
    """An OpenDocument text of about `size` compressed bytes."""
    chance = random.Random(seed)
    body = []
    while sum(map(len, body)) < size * 4.4:
        body.append(f'<text:p text:style-name="Standard">{paragraph(chance)}'
                    f'<text:span text:style-name="T1"> {sentence(chance)}</text:span></text:p>')
    office = "urn:oasis:names:tc:opendocument:xmlns:office:1.0"
    text = "urn:oasis:names:tc:opendocument:xmlns:text:1.0"
    kind = "application/vnd.oasis.opendocument.text"
    write_zip(path, [
        ("mimetype", kind),
        ("META-INF/manifest.xml",
         '<manifest:manifest xmlns:manifest="urn:oasis:names:tc:opendocument:xmlns:manifest:1.0">'
         f'<manifest:file-entry manifest:full-path="/" manifest:media-type="{kind}"/>'
         '<manifest:file-entry manifest:full-path="content.xml" manifest:media-type="text/xml"/>'
         '</manifest:manifest>'),
        ("styles.xml",
         f'<?xml version="1.0" encoding="UTF-8"?><office:document-styles xmlns:office="{office}" '
         'office:version="1.2"><office:styles/></office:document-styles>'),
        ("content.xml",
         f'<?xml version="1.0" encoding="UTF-8"?><office:document-content '
         f'xmlns:office="{office}" xmlns:text="{text}" office:version="1.2"><office:body>'
         f'<office:text>{"".join(body)}</office:text></office:body></office:document-content>'),
    ], stored_first=True)


def html(path, size, seed):
    """A web page of about `size` bytes: headings, paragraphs with links, tables and lists."""
    chance = random.Random(seed)
    parts = ["<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>A page</title>"
             "<style>p { margin: 1em; }</style></head><body>\n"]
    length = 0
    while length < size:
        block = f"<h2>{sentence(chance)}</h2>\n"
        for _ in range(4):
            block += (f'<p class="text">{paragraph(chance)} <a href="/page/{length}">'
                      f"{sentence(chance)}</a> caf&eacute; &amp; more</p>\n")
        block += "<ul>" + "".join(f"<li>{sentence(chance)}</li>" for _ in range(5)) + "</ul>\n"
        block += "<table>" + "".join(
            "<tr>" + "".join(f"<td>{chance.choice(WORDS)}</td>" for _ in range(5)) + "</tr>"
            for _ in range(8)) + "</table>\n"
        parts.append(block)
        length += len(block)
    parts.append("</body></html>\n")
    with open(path, "w", encoding="utf-8") as file:
        file.write("".join(parts))


def text(path, size, seed):
    """Plain text of `size` bytes, one character in some hundred outside of ASCII."""
    chance = random.Random(seed)
    block = "\n".join(paragraph(chance) + " naïve café – ½" for _ in range(4000)) + "\n"
    data = block.encode("utf-8")
    with open(path, "wb") as file:
        left = size
        while left > 0:
            file.write(data[:left] if left < len(data) else data)
            left -= len(data)
        file.write(b"\n")


def maker(name, *arguments):
    def run(path):
        subprocess.run([sys.executable, os.path.join(HERE, name), path, *arguments], check=True)
    return run


DOCUMENTS = {
    "small.docx": lambda path: docx(path, 8 << 10, 1),
    "large.docx": lambda path: docx(path, 1 << 20, 2),
    "large.odt": lambda path: odt(path, 1 << 20, 3),
    "large.html": lambda path: html(path, 2 << 20, 4),
    "huge.txt": lambda path: text(path, 1 << 30, 5),
    "small.pdf": maker("make_pdf.py", "--pages", "2"),
    "large.pdf": maker("make_pdf.py", "--pages", "300"),
    "large.xlsx": maker("make_xlsx.py", "105000"),
    "small.doc": maker("make_office_97.py", "doc", "5000"),
    "large.doc": maker("make_office_97.py", "doc", "3000000"),
    "small.xls": maker("make_office_97.py", "xls", "40"),
    "large.xls": maker("make_office_97.py", "xls", "30000"),
    "million.xlsx": maker("make_xlsx.py", "1000000", "strings"),
}


def main():
    folder = sys.argv[1]
    for name, write in DOCUMENTS.items():
        path = os.path.join(folder, name)
        if not os.path.exists(path):
            write(path + ".part")
            os.rename(path + ".part", path)


if __name__ == "__main__":
    main()
