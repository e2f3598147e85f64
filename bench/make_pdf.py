#!/usr/bin/env python3
"""Writes PDF documents for measurements, always the same bytes for the same arguments.

usage: make_pdf.py OUTPUT [--pages N] [--kind mixed|columns|prose|tables]

columns  two justified columns with kerning, as typesetting systems write them
prose    one column, a show operator a line, as word processors write it
tables   forty rows of six cells each, positioned one by one
mixed    all of them in turn
"""

import argparse
import os
import random
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "samples", "make"))

from pdf_file import PdfFile, literal, show, width  # noqa: E402

SYLLABLES = ["ka", "ro", "min", "tel", "sor", "va", "lum", "per", "dis", "on", "fi", "gra", "the", "ing"]


def words(chance, count):
    return ["".join(chance.choice(SYLLABLES) for _ in range(chance.randint(1, 4))) for _ in range(count)]


def lines(chance, size, length, count):
    """Lines of words that fill `length` points."""
    result, line, used = [], [], 0.0
    while len(result) < count:
        word = words(chance, 1)[0]
        if line and used + width(word, size) > length:
            result.append(line)
            line, used = [], 0.0
        line.append(word)
        used += width(word, size) + width(" ", size)
    return result


def justified(line, size, length):
    """A TJ array that spreads a line over `length`, with kerns within words."""
    gap = (length - sum(width(word, size) for word in line)) / max(1, len(line) - 1)
    parts = []
    for number, word in enumerate(line):
        if number:
            parts.append(b"%d" % round(-gap * 1000 / size))
        middle = len(word) // 2
        parts += [literal(word[:middle]), b"15", literal(word[middle:])] if middle else [literal(word)]
    return b"[" + b"".join(parts) + b"]TJ\n"


def columns(chance, number):
    size, length = 9, 240
    out = [show(54, 752, f"Proceedings of a Conference, page {number}", 8)]
    for left in (54, 318):
        out.append(b"BT /F1 %d Tf %d 730 Td 11 TL\n" % (size, left))
        out += [justified(line, size, length) + b"T*\n" for line in lines(chance, size, length, 60)]
        out.append(b"ET\n")
    return b"".join(out)


def prose(chance, number):
    out = [show(72, 730 - 14 * row, " ".join(line), 11)
           for row, line in enumerate(lines(chance, 11, 468, 46))]
    out.append(show(300, 40, str(number), 9))
    return b"".join(out)


def tables(chance, number):
    out = [show(72, 740, f"Table {number}", 12)]
    for row in range(40):
        for cell in range(6):
            text = words(chance, 1)[0] if cell == 0 else f"{chance.randint(0, 99999) / 100:.2f}"
            out.append(show(72 + 78 * cell, 710 - 16 * row, text, 10))
    return b"".join(out)


KINDS = {"columns": [columns], "prose": [prose], "tables": [tables], "mixed": [columns, prose, columns, tables]}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("output")
    parser.add_argument("--pages", type=int, default=300)
    parser.add_argument("--kind", choices=KINDS, default="mixed")
    arguments = parser.parse_args()
    chance = random.Random(arguments.pages)
    makers = KINDS[arguments.kind]
    document = PdfFile()
    document.information = b"<</Title(Measured pages)/Producer(make_pdf)>>"
    for number in range(1, arguments.pages + 1):
        document.page(makers[number % len(makers)](chance, number))
    with open(arguments.output, "wb") as file:
        file.write(document.bytes())


if __name__ == "__main__":
    main()
