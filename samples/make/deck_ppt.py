#!/usr/bin/env python3
"""Writes samples/deck.ppt: slides with a table, fields, notes, a comment, a footer, an object, a hidden one."""

import os
import struct
import zlib

from compound_file import Storage, compound_file

HERE = os.path.dirname(os.path.abspath(__file__))
MASTER = 0x80000000
FIRST_SLIDE = 256


def atom(kind, data=b"", instance=0, version=0):
    return struct.pack("<HHI", version | instance << 4, kind, len(data)) + data


def container(kind, *records, instance=0):
    return atom(kind, b"".join(records), instance, 15)


def text(content, kind=4):
    head = atom(0xF9F, struct.pack("<I", kind))
    try:
        return head + atom(0xFA8, content.encode("latin-1"))
    except UnicodeEncodeError:
        return head + atom(0xFA0, content.encode("utf-16-le"))


def string(content, instance):
    return atom(0xFBA, content.encode("utf-16-le"), instance)


def shape(*records, placeholder=0, more=b""):
    data = atom(0xF00A, struct.pack("<II", 1025, 0xA00), version=2) + more
    if placeholder:
        data += container(0xF011, atom(0xBC3, struct.pack("<IBBH", 0, placeholder, 0, 0)))
    if records:
        data += container(0xF00D, *records)
    return container(0xF004, data)


def group(*shapes, more=b""):
    return container(0xF003, shape(more=more), *shapes)


def drawing(*shapes):
    return container(0x40C, container(0xF002, group(*shapes)))


def table(*rows):
    cells = []
    for y, row in enumerate(rows):
        for x, content in enumerate(row):
            anchor = atom(0xF00F, struct.pack("<4i", x * 100, y * 50, x * 100 + 100, y * 50 + 50))
            cells.append(shape(text(content), more=anchor))
    return group(*cells, more=atom(0xF122, struct.pack("<HI", 0x39F, 1), instance=1, version=3))


def slide_atom(master, notes):
    return atom(0x3EF, bytes(12) + struct.pack("<III", master, notes, 0), version=2)


def persist(number, identifier):
    return atom(0x3F3, struct.pack("<5I", number, 0, 0, identifier, 0))


def main():
    objects = [None, container(0x3F8, drawing(shape(text("Click to edit"), placeholder=1), shape(text("Navy"))))]
    slide_list, notes_list = [], []

    def slide(*records, outline=b"", notes=None):
        identifier = FIRST_SLIDE + len(slide_list)
        objects.append(container(0x3EE, slide_atom(MASTER, identifier if notes else 0), *records))
        slide_list.append(persist(len(objects), identifier) + outline)
        if notes:
            objects.append(container(0x3F0, drawing(*notes)))
            notes_list.append(persist(len(objects), identifier))

    comment = container(0x2EE0, string("Grace Hopper", 0), string("Which year?", 1), string("GH", 2))
    slide(drawing(shape(atom(0xF9E, struct.pack("<I", 0)), placeholder=13),
                  shape(atom(0xF9E, struct.pack("<I", 1)), placeholder=14),
                  group(shape(text("in a group"))),
                  shape(text("Slide *") + atom(0xFD8, struct.pack("<I", 6)))),
          container(0x1388, container(0x138A, string("___PPT10", 0), atom(0x138B, comment))),
          outline=text("Compilers", 0) + text("A compiler\vtranslates\rRead\rWrite", 1),
          notes=(shape(placeholder=11), shape(text("Tell the story of the first one."), placeholder=12)))
    slide(drawing(shape(text("Machines"), placeholder=13),
                  table(["Machine", "Year"], ["Mark I", "1944"], ["МЭСМ", "1951"])))
    slide(drawing(shape(text("Kept back"), placeholder=13)), atom(0x3F9, bytes(10) + struct.pack("<HI", 4, 0)))

    package = b"\2\0" + b"log.txt\0" + b"C:\\log.txt\0" + struct.pack("<II", 0x30000, 11) + b"C:\\log.txt\0"
    package += struct.pack("<I", 5) + b"moth\n"
    inner = compound_file(Storage({"\1Ole10Native": struct.pack("<I", len(package)) + package}))
    objects.append(atom(0x1011, struct.pack("<I", len(inner)) + zlib.compress(inner), instance=1))
    embedded = container(0xFCC, atom(0xFCD, bytes(8)), atom(0xFC3, struct.pack("<6I", 1, 0, 1, 0, len(objects), 0)))

    footers = container(0xFD9, atom(0xFDA, struct.pack("<HH", 0, 0x20)), string("Lecture notes", 2), instance=3)
    objects[0] = container(0x3E8, container(0x409, atom(0x40A, struct.pack("<I", 1)), embedded), footers,
                           container(0xFF0, *slide_list), container(0xFF0, persist(2, MASTER), instance=1),
                           container(0xFF0, *notes_list, instance=2))

    stream, offsets = b"", []
    for item in objects:
        offsets.append(len(stream))
        stream += item
    directory = len(stream)
    stream += atom(0x1772, struct.pack(f"<I{len(offsets)}I", 1 | len(offsets) << 20, *offsets))
    edit = len(stream)
    stream += atom(0xFF5, struct.pack("<7I", FIRST_SLIDE, 0x3000000, 0, directory, 1, len(objects) + 1, 1))
    user = atom(0xFF6, struct.pack("<4I", 0x14, 0xE391C05F, edit, 0x3F40000) + struct.pack("<4BI", 3, 0, 0, 0, 8))

    # One white pixel.
    pixel = b"\x89PNG\r\n\x1a\n" + b"".join(
        struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
        for kind, data in [(b"IHDR", struct.pack(">IIBBBBB", 1, 1, 8, 0, 0, 0, 0)),
                           (b"IDAT", zlib.compress(b"\0\xFF")), (b"IEND", b"")])
    pictures = atom(0xF01E, bytes(16) + b"\xFF" + pixel, instance=0x6E0)
    with open(os.path.join(HERE, "..", "deck.ppt"), "wb") as file:
        file.write(compound_file(Storage({"PowerPoint Document": stream, "Current User": user,
                                          "Pictures": pictures})))


main()
