#!/usr/bin/env python3
"""Writes samples/notice.doc: a notice in Word's binary format with a table, fields, notes and a list."""

import os
import struct

from compound_file import Storage, compound_file

HERE = os.path.dirname(os.path.abspath(__file__))
PAGE = 512
TEXT_AT = 2048

# Modifications of characters and paragraphs.
HIDDEN = struct.pack("<HB", 0x083C, 1)
DELETED = struct.pack("<HB", 0x0800, 1)
INSERTED = struct.pack("<HB", 0x0801, 1)
CELL = struct.pack("<HB", 0x2416, 1)
ROW_END = CELL + struct.pack("<HB", 0x2417, 1)
NUMBERED = struct.pack("<HBHH", 0x260A, 0, 0x460B, 1)


class Part:
    """A part of the text: runs of characters and paragraphs with their modifications."""

    def __init__(self):
        self.runs, self.paragraphs, self.length = [], [], 0

    def text(self, text, modifiers=b""):
        self.runs.append((text, modifiers))
        self.length += len(text.encode("utf-16-le")) // 2
        return self

    def end(self, modifiers=b"", mark="\r"):
        self.text(mark)
        self.paragraphs.append((self.length, modifiers))
        return self

    def paragraph(self, text, modifiers=b""):
        return self.text(text).end(modifiers)


def pages(runs, paragraphs, main):
    """Appends one page of formatting to the main stream and returns the table that finds it."""
    page, high = bytearray(PAGE), PAGE - 1
    width = 13 if paragraphs else 1
    for i, (begin, _, modifiers) in enumerate(runs):
        if paragraphs:
            content = struct.pack("<H", 0) + modifiers
            half = (len(content) + 1) // 2
            content = (bytes([half]) if len(content) % 2 else bytes([0, half])) + content
        else:
            content = bytes([len(modifiers)]) + modifiers
        high = (high - len(content)) // 2 * 2
        page[high:high + len(content)] = content
        struct.pack_into("<I", page, i * 4, begin)
        page[(len(runs) + 1) * 4 + i * width] = high // 2
    struct.pack_into("<I", page, len(runs) * 4, runs[-1][1])
    page[PAGE - 1] = len(runs)
    assert (len(runs) + 1) * 4 + len(runs) * width <= high
    number = len(main) // PAGE
    main += page
    return struct.pack("<III", runs[0][0], runs[-1][1], number)


def document(parts, tables, behind):
    """Main and table stream of parts in their order, and of structures by their numbers."""
    main, table = bytearray(TEXT_AT), bytearray()
    character_runs, paragraph_runs = [], []
    for part in parts:
        begin = paragraph_begin = len(main)
        at = begin
        for text, modifiers in part.runs:
            units = text.encode("utf-16-le")
            main += units
            character_runs.append((at, at + len(units), modifiers))
            at += len(units)
        for length, modifiers in part.paragraphs:
            paragraph_runs.append((paragraph_begin, begin + 2 * length, modifiers))
            paragraph_begin = begin + 2 * length
    total = sum(part.length for part in parts)
    tables[33] = b"\2" + struct.pack("<IIIHIH", 16, 0, total, 0, TEXT_AT, 0)
    text_end = len(main)
    main += bytes(-len(main) % PAGE)
    tables[12] = pages(character_runs, False, main)
    tables[13] = pages(paragraph_runs, True, main)
    struct.pack_into("<HHHH", main, 0, 0xA5EC, 193, 0, 0x0409)
    struct.pack_into("<H", main, 10, 0x1000)
    struct.pack_into("<II", main, 24, TEXT_AT, text_end)
    struct.pack_into("<H", main, 32, 14)
    struct.pack_into("<H", main, 62, 22)
    struct.pack_into("<8I", main, 76, *(part.length for part in parts))
    struct.pack_into("<H", main, 152, 93)
    for number, content in tables.items():
        struct.pack_into("<II", main, 154 + number * 8, len(table), len(content))
        table += content + behind.get(number, b"")
    return {"WordDocument": bytes(main), "0Table": bytes(table)}


def main():
    body = Part()
    body.paragraph("Notice of the harbour office")
    body.text("The crane will be ").text("rebuilt", DELETED).text("repaired", INSERTED)
    body.text(" on ").text("\x13 DATE \\@ \"d MMMM\" \x14").text("3 May\x15.").text(" Draft.", HIDDEN).end()
    body.paragraph("Ships of more than 40\u00A0m use the quay at \u00C6r\u00F8 \u2013 see the plan.\x02")
    body.paragraph("Close the gate", NUMBERED).paragraph("Warn the ferry", NUMBERED)
    for row in (("Quay", "Depth"), ("North", "6.5 m"), ("\u5357", "4 m")):
        for cell in row:
            body.text(cell).end(CELL, "\x07")
        body.end(ROW_END, "\x07")
    body.paragraph("Questions go to \x13 HYPERLINK \"mailto:office@example.org\" \x14the office\x15.\x05")
    notes = Part().paragraph("\x02 The plan hangs at the gate.").paragraph("")
    headers = Part().paragraph("Harbour office").paragraph("Page \x13 PAGE \x141\x15")
    comments = Part().paragraph("\x05Is the address right?").paragraph("")
    parts = [body, notes, headers, Part(), comments, Part(), Part(), Part()]
    first, second = headers.paragraphs[0][0], headers.paragraphs[1][0]
    level = struct.pack("<IBB9sB12sH", 1, 0, 0, bytes(9), 0, bytes(12), 2) + "\0.".encode("utf-16-le")
    tables = {
        3: struct.pack("<III", 0, notes.paragraphs[0][0], notes.length),
        5: struct.pack("<III", 0, comments.paragraphs[0][0], comments.length),
        11: struct.pack("<14I", *[0] * 8, first, first, second, second, second, second),
        73: struct.pack("<HI22sH", 1, 5, bytes(22), 1),
        74: struct.pack("<II12sI", 1, 5, bytes(12), 0xFFFFFFFF),
    }
    with open(os.path.join(HERE, "..", "notice.doc"), "wb") as file:
        file.write(compound_file(Storage(document(parts, tables, {73: level}))))


if __name__ == "__main__":
    main()
