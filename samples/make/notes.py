#!/usr/bin/env python3
"""Writes samples/notes.one, a section of OneNote of two pages, after [MS-ONESTORE] and [MS-ONE]: what a reader needs
to find the newest state of each object. An older revision of a paragraph and an older version of a page are there too."""

import os
import struct

SAMPLES = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
GUID = bytes(range(1, 17))
OTHER_GUID = bytes(range(101, 117))

SECTION, SERIES, PAGE_MANIFEST, PAGE, TITLE, OUTLINE, ELEMENT, TEXT = (
    0x60007, 0x60008, 0x60037, 0x6000B, 0x6002C, 0x6000C, 0x6000D, 0x6000E)
TABLE, ROW, CELL, AUTHOR = 0x60022, 0x60023, 0x60024, 0x120001
STRUCTURE, CONTENT, ELEMENTS, PAGES = 0x24001D5F, 0x24001C1F, 0x24001C20, 0x2C001D63
UNICODE, LATIN, NAME = 0x1C001C22, 0x1C003498, 0x1C001D75


class File:
    def __init__(self):
        self.bytes = bytearray(1024)

    def add(self, data):
        at = len(self.bytes)
        self.bytes += data + bytes(-len(data) % 8)
        return at, len(data)

    def node_list(self, number, nodes, pieces=1):
        """A list of nodes in one fragment or several."""
        share = (len(nodes) + pieces - 1) // pieces
        following = (0xFFFFFFFFFFFFFFFF, 0)
        for piece in reversed(range(pieces)):
            content = b"".join(nodes[piece * share:(piece + 1) * share])
            if piece + 1 < pieces:
                content += node(0xFF)
            fragment = struct.pack("<QII", 0xA4567AB1F5F7F4C4, number, piece) + content
            following = self.add(fragment + struct.pack("<QIQ", *following, 0x8BC215C38233BA4B))
        return following


def node(kind, content=b"", reference=None, base=0, short=False):
    if reference is not None:
        offset, size = reference
        packed = struct.pack("<HB", offset // 8, (size + 7) // 8) if short else struct.pack("<QI", offset, size)
        content = packed + content
    formats = (2 << 23 | 2 << 25) if short else 0
    return struct.pack("<I", kind | (len(content) + 4) << 10 | formats | base << 27) + content


def identifier(guid, number):
    return guid + struct.pack("<I", number)


def compact(number, index=0):
    return number | index << 8


def properties(*pairs):
    """Pairs of an identifier and a value: texts, or numbers of objects, or of pages."""
    objects, spaces, identifiers, data = [], [], b"", b""
    # A set of properties within, which has an object of its own.
    identifiers += struct.pack("<I", 0x44001234)
    data += struct.pack("<HII", 1, 0x20004321, 0)[:6]
    objects.append(99)
    for name, value in pairs:
        identifiers += struct.pack("<I", name)
        if isinstance(value, bytes):
            data += struct.pack("<I", len(value)) + value
        else:
            data += struct.pack("<I", len(value))
            (spaces if name == PAGES else objects).extend(value)
    streams = struct.pack("<I", len(objects) | (0 if spaces else 1 << 31))
    streams += b"".join(struct.pack("<I", compact(number)) for number in objects)
    if spaces:
        streams += struct.pack("<I", len(spaces)) + b"".join(struct.pack("<I", compact(n, 1)) for n in spaces)
    return streams + struct.pack("<H", len(identifiers) // 4) + identifiers + data


def text(value):
    return TEXT, properties((UNICODE, (value + "\0").encode("utf-16-le")))


def group(file, objects, read_only=False):
    nodes = [node(0xB4, identifier(GUID, 1)), node(0x22), node(0x24, struct.pack("<I", 0) + GUID),
             node(0x24, struct.pack("<I", 1) + OTHER_GUID), node(0x28)]
    for number, (kind, data) in objects.items():
        body = struct.pack("<IIBB", compact(number), kind, 0, 1) + (bytes(16) if read_only else b"")
        place = file.add(data)
        nodes.append(node(0xC4 if read_only else 0xA4, body, place, 1, short=place[1] % 8 == 0 and place[0] < 0x70000))
    return file.node_list(2, nodes + [node(0xB8)], pieces=2)


def revisions(file, groups, root, old=None):
    nodes = [node(0x14, bytes(24))]
    if old is not None:
        # A version of the page that is kept in a context of its own.
        nodes += [node(0x1F, bytes(46) + identifier(GUID, 7)), node(0xB0, identifier(GUID, 1), old, 2), node(0x1C)]
    for place in groups:
        nodes += [node(0x1E, bytes(46)), node(0xB0, identifier(GUID, 1), place, 2),
                  node(0x5A, identifier(GUID, root) + struct.pack("<I", 1)),
                  node(0x5A, identifier(GUID, 98) + struct.pack("<I", 2)), node(0x1C)]
    return file.node_list(3, nodes)


def space(file, list_of_revisions):
    return file.node_list(4, [node(0x0C, bytes(20)), node(0x10, b"", list_of_revisions, 2)])


def main():
    file = File()
    link = "\uFDDFHYPERLINK \"https://example.org/\"the timetable"
    first = {
        1: (PAGE_MANIFEST, properties((CONTENT, [2]))), 2: (PAGE, properties((ELEMENTS, [6]), (STRUCTURE, [3]))),
        3: (TITLE, properties((ELEMENTS, [4]))), 4: (OUTLINE, properties((ELEMENTS, [5]))),
        5: (ELEMENT, properties((CONTENT, [10]))), 10: text("Tides"),
        6: (OUTLINE, properties((ELEMENTS, [7, 8, 9]))), 7: (ELEMENT, properties((ELEMENTS, [12]), (CONTENT, [11]))),
        11: text("Möwen\vand gulls"), 12: (ELEMENT, properties((CONTENT, [13]))), 13: text("On the pier, see " + link),
        8: (ELEMENT, properties((CONTENT, [14]))), 14: text("An older word"),
        9: (ELEMENT, properties((CONTENT, [20]))), 20: (TABLE, properties((ELEMENTS, [21, 22]))),
        21: (ROW, properties((ELEMENTS, [23, 24]))), 22: (ROW, properties((ELEMENTS, [25, 26]))),
    }
    for cell, value in ((23, "Day"), (24, "High water"), (25, "Monday"), (26, "8:30")):
        first[cell] = (CELL, properties((ELEMENTS, [cell + 10])))
        first[cell + 10] = (ELEMENT, properties((CONTENT, [cell + 20])))
        first[cell + 20] = text(value)
    newer = {14: (TEXT, properties((LATIN, b"A newer word\0")))}
    old_version = {10: text("Never shown")}
    second = {1: (PAGE_MANIFEST, properties((CONTENT, [2]))), 2: (PAGE, properties((ELEMENTS, [3, 2]))),
              3: (OUTLINE, properties((ELEMENTS, [4]))), 4: (ELEMENT, properties((CONTENT, [5]))), 5: text("Packing list")}
    names = {50: (AUTHOR, properties((NAME, "Zoë Brook\0".encode("utf-16-le")))),
             51: (AUTHOR, properties((NAME, "Ada\0".encode("utf-16-le"))))}
    section = {1: (SECTION, properties((ELEMENTS, [2, 3]))), 2: (SERIES, properties((PAGES, [202]))),
               3: (SERIES, properties((PAGES, [201])))}
    lists = [
        (identifier(GUID, 100), space(file, revisions(file, [group(file, section), group(file, names, True)], 1))),
        (identifier(OTHER_GUID, 201), space(file, revisions(file, [group(file, second)], 1))),
        (identifier(OTHER_GUID, 202), space(file, revisions(file, [group(file, first), group(file, newer)], 1,
                                                            group(file, old_version)))),
    ]
    nodes = [node(0x08, name, place, 2) for name, place in lists] + [node(0x04, identifier(GUID, 100))]
    root = file.node_list(1, nodes, pieces=2)
    header = bytes.fromhex("e4525c7b8cd8a74daeb15378d02996d3") + GUID + bytes(16)
    header += bytes.fromhex("3fdd9a101b91f549a5d01791edc8aed8")
    header = header.ljust(172, b"\0") + struct.pack("<QI", *root)
    file.bytes[:len(header)] = header
    with open(os.path.join(SAMPLES, "notes.one"), "wb") as output:
        output.write(file.bytes)


if __name__ == "__main__":
    main()
