#!/usr/bin/env python3
"""Writes samples/people.dbf, a table of Visual FoxPro with the types that are text, dates and numbers, in code page
1252, one record of it deleted."""

import os
import struct

SAMPLES = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

FIELDS = [("NAME", b"C", 12, 0), ("BORN", b"D", 8, 0), ("HEIGHT", b"N", 6, 2), ("MEMBER", b"L", 1, 0),
          ("VISITS", b"I", 4, 0), ("PAID", b"Y", 8, 4), ("LAST", b"T", 8, 0), ("NOTES", b"M", 4, 0)]

RECORDS = [
    (b" ", "Jürgen", "19780214", "1.82", "T", 31, 1_205_000, (2_461_300, 36_000_000)),
    (b"*", "Gone", "19600101", "1.70", "F", 1, 0, (0, 0)),
    (b" ", "Zoë", "19910930", "", "F", -2, -5_000, (0, 0)),
]


def table():
    fields = b""
    size = 1
    for name, kind, length, decimals in FIELDS:
        fields += struct.pack("<11scIBB14x", name.encode(), kind, size, length, decimals)
        size += length
    fields += b"\r" + bytes(263)  # the database that the table belongs to: none
    records = b""
    for mark, name, born, height, member, visits, paid, last in RECORDS:
        records += mark + name.encode("cp1252").ljust(12) + born.encode() + height.encode().rjust(6) + \
            member.encode() + struct.pack("<iqII", visits, paid, *last) + bytes(4)
    head = struct.pack("<B3BIHH16xBB2x", 0x30, 26, 11, 22, len(RECORDS), 32 + len(fields), size, 0, 3)
    return head + fields + records + b"\x1A"


def main():
    with open(os.path.join(SAMPLES, "people.dbf"), "wb") as out:
        out.write(table())


if __name__ == "__main__":
    main()
