#!/usr/bin/env python3
"""Writes samples/sheet.xls: shared strings, formats, dates, hidden parts, a comment, a text box, a chart."""

import os
import struct

from compound_file import Storage, compound_file

HERE = os.path.dirname(os.path.abspath(__file__))
LONG = "A list that is too long for one record, " * 210


def record(kind, data=b""):
    return struct.pack("<HH", kind, len(data)) + data


def string(text, count="<H"):
    wide = any(ord(c) > 255 for c in text)
    body = text.encode("utf-16-le" if wide else "latin-1")
    return struct.pack(count, len(text)) + bytes([wide]) + body


def begin(kind):
    return record(0x809, struct.pack("<HHHHII", 0x600, kind, 0x0DBB, 0x07CC, 0, 0x306))


def cell(row, column, style=0):
    return struct.pack("<HHH", row, column, style)


def shared_strings(texts):
    """SST, cut into records of a length that ends within the long one."""
    data = struct.pack("<II", len(texts), len(texts)) + b"".join(string(text) for text in texts)
    limit = 8224
    records = record(0xFC, data[:limit])
    rest = data[limit:]
    while rest:
        # Characters that go on say again how wide they are.
        records += record(0x3C, b"\0" + rest[:limit - 1])
        rest = rest[limit - 1:]
    return records


def object_record(kind, number):
    return record(0x5D, struct.pack("<HHHHH", 0x15, 0x12, kind, number, 0x6011) + bytes(12) + bytes(4))


def text_object(kind, number, text):
    return (object_record(kind, number) +
            record(0x1B6, bytes(10) + struct.pack("<HH", len(text), 16) + bytes(4)) +
            record(0x3C, b"\0" + text.encode("latin-1")) + record(0x3C, bytes(16)))


def chart():
    def name(text):
        return record(0x100D, b"\0\0" + string(text, "<B"))

    records = begin(0x20) + name("Orders by day") + name("Ordered") + record(0x1065, b"\2\0")
    for number, day in enumerate(["29 Feb", "1 Mar"]):
        records += record(0x204, cell(number, 0) + string(day))
    return records + record(0xA)


def main():
    texts = ["Item", "Ordered on", "Price", "Share", LONG, "Café au lait", "Лампа", "Total"]
    formats = {164: "yyyy\\-mm\\-dd", 165: "#,##0.00;[Red]\\-#,##0.00", 166: "0.0%"}

    def text(row, column, item):
        return record(0xFD, cell(row, column) + struct.pack("<I", texts.index(item)))

    def number(row, column, value, style=0):
        return record(0x203, cell(row, column, style) + struct.pack("<d", value))

    def order(row, item, day, price, share):
        packed = struct.pack("<iHiH", int(price * 100) << 2 | 3, 3, int(share * 100) << 2 | 3, 3)
        return (text(row, 0, item) + number(row, 1, day, 1) +
                record(0xBD, struct.pack("<HHH", row, 2, 2) + packed))

    stores = (record(0x14, string("&LStores&C&\"Arial,Bold\"&A&R&P")) + record(0x7D, struct.pack("<6H", 5, 5, 0, 0, 1, 0)) +
              record(0x208, struct.pack("<8H", 3, 0, 6, 0, 0, 0, 0x20, 0)))
    for column, title in enumerate(["Item", "Ordered on", "Price", "Share"]):
        stores += text(0, column, title)
    stores += order(1, "Café au lait", 45351, 12.5, 0.4) + order(2, "Лампа", 45352, -3.95, 0.35)
    stores += text(3, 0, "Item") + number(3, 1, 1)
    stores += text(4, 0, "Total")
    stores += record(0x6, cell(4, 2, 2) + struct.pack("<d", 8.55) + bytes(8))
    stores += record(0x6, cell(4, 3) + bytes(6) + b"\xFF\xFF" + bytes(8)) + record(0x207, string("of both"))
    stores += record(0x205, cell(5, 0) + b"\1\0") + record(0x205, cell(5, 1) + b"\7\1") + number(5, 5, 7)
    stores += text_object(6, 1, "A note in a box") + text_object(0x19, 2, "Deliver by boat\nbefore noon")
    stores += object_record(5, 3) + chart()

    sheets = [("Stores", 0, 0x10, stores),
              ("Long", 0, 0x10, text(0, 0, LONG)),
              ("Kept back", 1, 0x10, text(0, 0, "Item"))]
    head = begin(5) + record(0x42, struct.pack("<H", 1200))
    for index, code in formats.items():
        head += record(0x41E, struct.pack("<H", index) + string(code))
    for index in [0, *formats]:
        head += record(0xE0, struct.pack("<HH", 0, index) + bytes(16))
    tail = shared_strings(texts) + record(0xA)

    def bound(sheet, offset):
        return record(0x85, struct.pack("<IBB", offset, sheet[1], 0) + string(sheet[0], "<B"))

    streams = [begin(sheet[2]) + sheet[3] + record(0xA) for sheet in sheets]
    offset = len(head) + sum(len(bound(sheet, 0)) for sheet in sheets) + len(tail)
    bounds = b""
    for sheet, stream in zip(sheets, streams):
        bounds += bound(sheet, offset)
        offset += len(stream)
    workbook = head + bounds + tail + b"".join(streams)
    with open(os.path.join(HERE, "..", "sheet.xls"), "wb") as file:
        file.write(compound_file(Storage({"Workbook": workbook})))


main()
