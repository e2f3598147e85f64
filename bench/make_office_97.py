#!/usr/bin/env python3
"""Writes a document of the binary Office formats: make_office_97.py PATH doc|xls SIZE

Word: paragraphs of plain and formatted text, a character a byte, of about SIZE characters. Excel: a sheet
of about SIZE rows of shared strings, whole and broken numbers. Deterministic; the compound file around
them is the one of samples/make."""

import os
import random
import struct
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "samples", "make"))
from compound_file import Storage, compound_file  # noqa: E402
from make_documents import WORDS, paragraph, sentence  # noqa: E402

PAGE = 512
TEXT_AT = 1536
BOLD = struct.pack("<HB", 0x0835, 1)


def pages(runs, paragraphs, main):
    """Appends pages of formatting ([MS-DOC] 2.9.33, 2.9.175) and returns the table that finds them."""
    width = 13 if paragraphs else 1
    firsts, numbers = [], []
    at = 0
    while at < len(runs):
        page, high, count = bytearray(PAGE), PAGE - 1, 0
        places = []
        for begin, end, modifiers in runs[at:]:
            if paragraphs:
                content = struct.pack("<H", 0) + modifiers
                content = bytes([0, len(content) // 2]) + content
            else:
                content = bytes([len(modifiers)]) + modifiers if modifiers else b""
            place = (high - len(content)) // 2 * 2 if content else high
            if (count + 2) * 4 + (count + 1) * width > place:
                break
            page[place:place + len(content)] = content
            places.append(place // 2 if content else 0)
            high, count = place, count + 1
        for i, (begin, end, _) in enumerate(runs[at:at + count]):
            struct.pack_into("<II", page, i * 4, begin, end)
            page[(count + 1) * 4 + i * width] = places[i]
        page[PAGE - 1] = count
        firsts.append(runs[at][0])
        numbers.append(len(main) // PAGE)
        main += page
        at += count
    return struct.pack(f"<{len(firsts) + 1}I", *firsts, runs[-1][1]) + struct.pack(f"<{len(numbers)}I", *numbers)


def styles():
    """A style sheet of one style, Normal."""
    name = "Normal"
    style = struct.pack("<5H", 0, 0xFFF1, 2 | 0xFFF0, 0, 0)
    style += struct.pack("<H", len(name)) + name.encode("utf-16-le") + b"\0\0" + struct.pack("<HH", 2, 0) + struct.pack("<H", 0)
    head = struct.pack("<9H", 1, 10, 1, 91, 15, 0, 0, 0, 0)
    return struct.pack("<H", len(head)) + head + struct.pack("<H", len(style)) + style


def document(size, chance):
    text, characters, paragraphs = bytearray(), [], []
    while len(text) < size:
        begin = TEXT_AT + len(text)
        text += sentence(chance).encode("cp1252")
        characters.append((begin, TEXT_AT + len(text), BOLD))
        plain = TEXT_AT + len(text)
        text += (" " + paragraph(chance) + " \u2013 caf\u00e9\r").encode("cp1252")
        characters.append((plain, TEXT_AT + len(text), b""))
        paragraphs.append((begin, TEXT_AT + len(text), b""))
    main = bytearray(TEXT_AT) + text
    text_end = len(main)
    main += bytes(-len(main) % PAGE)
    tables = {
        1: styles(),
        12: pages(characters, False, main),
        13: pages(paragraphs, True, main),
        33: b"\2" + struct.pack("<IIIHIH", 16, 0, len(text), 0, TEXT_AT * 2 | 0x40000000, 0),
    }
    struct.pack_into("<HHHH", main, 0, 0xA5EC, 193, 0, 0x0409)
    struct.pack_into("<H", main, 10, 0x1200)
    struct.pack_into("<H", main, 12, 191)
    struct.pack_into("<II", main, 24, TEXT_AT, text_end)
    struct.pack_into("<H", main, 32, 14)
    struct.pack_into("<H", main, 62, 22)
    struct.pack_into("<I", main, 64, len(main))
    struct.pack_into("<I", main, 76, len(text))
    struct.pack_into("<H", main, 152, 93)
    table = bytearray()
    for number, content in tables.items():
        struct.pack_into("<II", main, 154 + number * 8, len(table), len(content))
        table += content
    # Streams of less than 4,096 bytes lie in small sectors, which not every program reads.
    return {"WordDocument": bytes(main).ljust(4096, b"\0"), "1Table": bytes(table).ljust(4096, b"\0")}


def record(kind, data=b""):
    return struct.pack("<HH", kind, len(data)) + data


def begin(kind):
    return record(0x809, struct.pack("<HHHHII", 0x600, kind, 0x0DBB, 0x07CC, 0, 0x306))


def shared_strings(texts, uses):
    records, data = b"", struct.pack("<II", uses, len(texts))
    kind = 0xFC
    for text in texts:
        string = struct.pack("<HB", len(text), 0) + text.encode("latin-1")
        if len(data) + len(string) > 8224:
            records += record(kind, data)
            kind, data = 0x3C, b""
        data += string
    return records + record(kind, data)


def workbook(rows, chance):
    texts = [sentence(chance) for _ in range(min(rows, 5000))] + WORDS
    cells = [record(0x200, struct.pack("<IIHHH", 0, rows, 0, 8, 0))]
    for row in range(rows):
        def place(column):
            return struct.pack("<HHH", row, column, 0)
        for column in (0, 1, 2):
            cells.append(record(0xFD, place(column) + struct.pack("<I", chance.randrange(len(texts)))))
        packed = b"".join(struct.pack("<HI", 0, chance.randrange(100000) << 2 | 2) for _ in range(3))
        cells.append(record(0xBD, struct.pack("<HH", row, 3) + packed + struct.pack("<H", 5)))
        cells.append(record(0x203, place(6) + struct.pack("<d", chance.randrange(10**6) / 64)))
        cells.append(record(0x203, place(7) + struct.pack("<d", float(row))))
    sheet = begin(0x10) + b"".join(cells) + record(0xA)
    head = begin(5) + record(0x42, struct.pack("<H", 1200)) + record(0xE0, bytes(20))
    tail = shared_strings(texts, rows * 3) + record(0xA)
    name = b"\5\0Sheet"
    offset = len(head) + 4 + 6 + len(name) + len(tail)
    return {"Workbook": (head + record(0x85, struct.pack("<IBB", offset, 0, 0) + name) + tail + sheet).ljust(4096, b"\0")}


def main():
    path, kind, size = sys.argv[1], sys.argv[2], int(sys.argv[3])
    chance = random.Random(97)
    make = {"doc": document, "xls": workbook}[kind]
    with open(path, "wb") as file:
        file.write(compound_file(Storage(make(size, chance))))


if __name__ == "__main__":
    main()
