"""Makes a zip archive whose one member is the archive itself.

The member's deflate stream (RFC 1951) is a program of two operations, each a block: L[n] writes the n units that
follow it, R[n] writes the last n units again; a unit is five bytes, as long as an operation. With a head H of h units
before the stream and a tail T behind it, what these write is what they are:

    L[h+1] H L[h+1]                 writes H L[h+1]
    R[h+1]                          the same again
    L[1] R[h+1]  L[1] L[1]          R[h+1] L[1]
    L[4] R[h+1] L[1] L[1] L[4]      R[h+1] L[1] L[1] L[4]
    R[4]                            the same again
    L[4] R[4] L[4] R[4] L[4]        R[4] L[4] R[4] L[4]
    R[4]                            the same again
    L[4] R[4] L[0] L[0] L[t+r]      R[4] L[0] L[0] L[t+r]
    R[4]                            the same again
    L[0] L[0]
    L[t+r] R[t+r] T                 R[t+r] T, where this R takes r units
    R[t+r]                          the same again
"""

import struct
import zlib

UNIT = 5
NAME = b"again.zip"
LENGTHS = [(length, extra) for extra, first, step in
           ((0, 3, 1), (0, 7, 1), (1, 11, 2), (2, 19, 4), (3, 35, 8), (4, 67, 16)) for length in
           range(first, first + 4 * step, step)]
DISTANCES = [(distance, extra) for extra, first, step in
             ((0, 1, 1), (0, 3, 1), (1, 5, 2), (2, 9, 4), (3, 17, 8), (4, 33, 16), (5, 65, 32)) for distance in
             range(first, first + 2 * step, step)]


def literal(units):
    size = units * UNIT
    return struct.pack("<BHH", 0, size, size ^ 0xFFFF)


def repetition(units, lengths, empty_blocks):
    """The last `units` units again, as matches of these lengths, and so many blocks of nothing behind
    them that the operation ends with a byte."""
    bits = []

    def number(value, count):
        bits.extend(value >> i & 1 for i in range(count))

    def code(value, count):
        bits.extend(value >> i & 1 for i in reversed(range(count)))

    def begin_block():
        number(0b010, 3)  # not the last, of fixed codes

    begin_block()
    for length in lengths:
        symbol, (first, extra) = [row for row in enumerate(LENGTHS, 257) if row[1][0] <= length][-1]
        code(symbol - 256, 7)
        number(length - first, extra)
        symbol, (first, extra) = [row for row in enumerate(DISTANCES) if row[1][0] <= units * UNIT][-1]
        code(symbol, 5)
        number(units * UNIT - first, extra)
    code(0, 7)
    for _ in range(empty_blocks):
        begin_block()
        code(0, 7)
    assert len(bits) % (8 * UNIT) == 0
    return bytes(sum(bit << i for i, bit in enumerate(bits[at:at + 8])) for at in range(0, len(bits), 8))


def program(head, tail):
    begin, four, end = repetition(13, [65], 1), repetition(4, [10, 10], 0), repetition(19, [47, 48], 3)
    h, t, r = len(head) // UNIT, len(tail) // UNIT, len(end) // UNIT
    assert len(head) == 12 * UNIT and len(tail) == 17 * UNIT and r == 2
    one, four_more, rest = literal(1), literal(4), literal(t + r)
    return (literal(h + 1) + head + literal(h + 1) + begin + one + begin + one + one +
            four_more + begin + one + one + four_more + four + (four_more + four) * 4 +
            literal(0) * 2 + rest + four + literal(0) * 2 + rest + end + tail + end)


def archive(crc, salt):
    extra = struct.pack("<HH17x", 0x5151, 17)
    comment = struct.pack("<Hx", salt)

    def parts(packed, size, offset):
        facts = struct.pack("<5H3IH", 20, 0, 8, 0, 33, crc, packed, size, len(NAME))
        head = b"PK\3\4" + facts + struct.pack("<H", len(extra)) + NAME + extra
        central = b"PK\1\2\24\0" + facts + struct.pack("<4H2I", 0, 0, 0, 0, 0, 0) + NAME
        tail = struct.pack("<BHH", 1, 0, 0xFFFF) + central + b"PK\5\6" + \
            struct.pack("<4H2IH", 0, 0, 1, 1, len(central), offset, len(comment)) + comment
        return head, tail

    head, tail = parts(0, 0, 0)
    last_block = 5
    packed = len(program(head, tail)) + last_block
    head, tail = parts(packed, len(head) + packed - last_block + len(tail), len(head) + packed)
    return head + program(head, tail) + tail


def make():
    """A checksum is an affine function of the bytes, the field that it stands in among them: equations of bits."""
    for salt in range(1 << 16):
        wanted = zlib.crc32(archive(0, salt))
        crc = 0
        basis = {}
        for i in range(32):
            row, bits = zlib.crc32(archive(1 << i, salt)) ^ wanted ^ 1 << i, 1 << i
            while row and row.bit_length() in basis:
                row, bits = row ^ basis[row.bit_length()][0], bits ^ basis[row.bit_length()][1]
            if row:
                basis[row.bit_length()] = row, bits
        rest = wanted
        while rest and rest.bit_length() in basis:
            row, bits = basis[rest.bit_length()]
            rest, crc = rest ^ row, crc ^ bits
        if not rest:
            return archive(crc, salt)
    raise AssertionError("no archive has its own checksum")
