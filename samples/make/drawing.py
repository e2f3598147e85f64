#!/usr/bin/env python3
"""Writes the drawings of samples/: plan_2000.dwg, plan_2004.dwg, plan_2007.dwg, plan_2018.dwg and plan.dxf.

They hold what a reader needs to find texts and properties, after the "Open Design Specification for .dwg
files": objects with their map, classes and the summary information. Checksums and parity are right where
they are one line of arithmetic, and 0 elsewhere."""

import os
import struct

SAMPLES = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
R2000, R2004, R2007, R2018 = range(4)
MARKS = {R2000: b"AC1015", R2004: b"AC1018", R2007: b"AC1021", R2018: b"AC1032"}
WINDOWS_1252 = 30

TEXT, ATTRIB, ATTDEF, INSERT, LINEAR, MTEXT, TOLERANCE, BLOCK = 1, 2, 3, 7, 21, 44, 46, 49
MULTILEADER = 500
OWNER, PAPER, MODEL = range(3)


class Bits:
    def __init__(self):
        self.bits = []

    def put(self, value, count):
        self.bits += [value >> shift & 1 for shift in reversed(range(count))]
        return self

    def raw(self, data):
        for byte in data:
            self.put(byte, 8)
        return self

    def bs(self, value):
        if value in (0, 256):
            return self.put(2 if value == 0 else 3, 2)
        if value < 256:
            return self.put(1, 2).put(value, 8)
        return self.put(0, 2).raw(struct.pack("<H", value))

    def bl(self, value):
        if value == 0:
            return self.put(2, 2)
        if value < 256:
            return self.put(1, 2).put(value, 8)
        return self.put(0, 2).raw(struct.pack("<I", value))

    def bd(self, *values):
        for value in values:
            if value in (0, 1):
                self.put(2 if value == 0 else 1, 2)
            else:
                self.put(0, 2).raw(struct.pack("<d", value))
        return self

    def rd(self, *values):
        return self.raw(struct.pack(f"<{len(values)}d", *values))

    def h(self, code, value):
        data = value.to_bytes((value.bit_length() + 7) // 8, "big")
        return self.put(code, 4).put(len(data), 4).raw(data)

    def add(self, other):
        self.bits += other.bits
        return self

    def __len__(self):
        return len(self.bits)

    def bytes(self):
        padded = self.bits + [0] * (-len(self.bits) % 8)
        return bytes(int("".join(map(str, padded[i:i + 8])), 2) for i in range(0, len(padded), 8))


def modular(value):
    """A modular character without sign."""
    out = b""
    while value > 0x7F:
        out += bytes([value & 0x7F | 0x80])
        value >>= 7
    return out + bytes([value])


def signed_modular(value):
    sign, value = (0x40, -value) if value < 0 else (0, value)
    out = b""
    while value > 0x3F:
        out += bytes([value & 0x7F | 0x80])
        value >>= 7
    return out + bytes([value | sign])


def checksum(data):
    value = 0xC0C1
    for byte in data:
        value ^= byte
        for _ in range(8):
            value = value >> 1 ^ 0xA001 if value & 1 else value >> 1
    return value


def with_strings(release, data, strings):
    """Data and strings: the strings are in the data, or from release 2007 on behind it."""
    if release < R2007:
        return data
    stream = Bits()
    for string in strings:
        stream.bs(len(string)).raw(string.encode("utf-16-le"))
    data.add(stream)
    if strings:
        data.raw(struct.pack("<H", len(stream)))
    return data.put(1 if strings else 0, 1)


def inline(release, bits, string):
    if release < R2007:
        raw = string.encode("cp1252")
        bits.bs(len(raw)).raw(raw)


def an_object(release, kind, handle, space, content, strings, owner=0, invisible=False):
    """`content` adds the type's own data before its first string."""
    head = Bits()
    if release == R2018:
        head.put(0, 2).put(kind, 8) if kind < 256 else head.put(1, 2).put(kind - 0x1F0, 8)
    else:
        head.bs(kind)
    rest = Bits().h(0, handle)
    # Data that a program has attached, then none.
    rest.bs(3).h(5, 0x12).raw(b"abc").bs(0)
    if kind == BLOCK:
        rest.bl(0)
    else:
        rest.put(0, 1).put(space, 2).bl(0)
    if release >= R2004:
        rest.put(1, 1)
    elif kind != BLOCK:
        rest.put(1, 1)
    if release == R2018:
        rest.put(0, 1)
    if kind != BLOCK:
        if release >= R2004:
            rest.bs(0x8000).bl(0xC3123456)  # a colour by its parts
        else:
            rest.bs(256)
        rest.bd(1).put(0, 4)
        if release >= R2007:
            rest.put(0, 2).put(0, 8)
        if release == R2018:
            rest.put(0, 3)
        rest.bs(1 if invisible else 0).put(29, 8)
    content(rest)
    if strings:
        inline(release, rest, strings[0])
    with_strings(release, rest, strings)
    handles = Bits()
    if kind != BLOCK and space == OWNER:
        handles.h(4, owner)
    handles.h(5, 0x10)
    prefix = b""
    if release == R2018:
        data = head.add(rest).add(handles).bytes()
        prefix = modular(len(data) * 8 - (len(head) - len(handles)))
    else:
        size = len(head) + 32 + len(rest)
        data = head.raw(struct.pack("<I", size)).add(rest).add(handles).bytes()
    framed = struct.pack("<H", len(data)) + prefix + data
    return framed + struct.pack("<H", checksum(framed))


def line_data(release):
    def add(bits):
        if release < R2007:
            # No elevation, an alignment point near the first, neither slant nor rotation.
            bits.put(0xFF & ~0x02 & ~0x10, 8).rd(3.5, 4).put(0, 2).put(3, 2).rd(9).put(1, 1).put(1, 1)
            bits.rd(2.5).rd(0.8)
    return add


def paragraph_data(release):
    def add(bits):
        if release < R2007:
            bits.bd(1, 2, 0, 0, 0, 1, 1, 0, 0, 60, 2.5).bs(1).bs(5).bd(12, 55.5)
    return add


def dimension_data(release):
    def add(bits):
        if release < R2007:
            bits.bd(0, 0, 1).rd(4, 5).bd(0).put(0, 8)
    return add


def tolerance_data(release):
    def add(bits):
        if release < R2007:
            bits.bd(1, 2, 0, 1, 0, 0, 0, 0, 1)
    return add


def nothing(_bits):
    pass


PARAGRAPHS = (r"{\fSerif|b1;Kitchen\P}Walls \H2.5x;\Spaint^tiles; and 3\~m \S1/2; {\C1;of \Lpine\l} "
              r"\\ \{unpainted\}\PBetween 18%%d and 22%%d, %%p2")


def objects(release):
    """Pairs of handle and bytes."""
    def entity(kind, handle, space, content, strings, **more):
        return handle, an_object(release, kind, handle, space, content(release), strings, **more)

    def block(handle, name):
        return handle, an_object(release, BLOCK, handle, 0, nothing, [name])

    found = [
        block(0x1F, "*Model_Space"),
        block(0x20, "*Paper_Space0"),
        block(0x21, "Door"),
        entity(TEXT, 0x30, PAPER, line_data, ["Sheet 1 of 2"]),
        entity(TEXT, 0x31, MODEL, line_data, ["Ground floor, %%c12 %%utimber%%u"]),
        entity(MTEXT, 0x32, MODEL, paragraph_data, [PARAGRAPHS]),
        entity(TEXT, 0x33, OWNER, line_data, ["Door of oak"], owner=0x21),
        entity(ATTDEF, 0x34, OWNER, line_data, ["Width 900", "WIDTH", "How wide?"], owner=0x21),
        (0x35, an_object(release, INSERT, 0x35, MODEL, nothing, [])),
        entity(ATTRIB, 0x36, OWNER, line_data, ["Width 1010", "WIDTH"], owner=0x35),
        entity(TEXT, 0x37, MODEL, line_data, ["Not to be built"], invisible=True),
        entity(LINEAR, 0x38, MODEL, dimension_data, ["about 4.2 m"]),
        entity(TOLERANCE, 0x39, MODEL, tolerance_data, [r"{\Fgdt;j}%%v{\Fgdt;n}0.2{\Fgdt;m}%%v%%vA^J%%v"]),
        entity(TEXT, 0x3A, OWNER, line_data, ["Sheet 2 of 2"], owner=0x20),
        entity(TEXT, 0x3B, MODEL, line_data, [r"Caf\U+00E9 \M+18350\U+D83D\U+DE00"]),
    ]
    if release >= R2007:
        found.append(entity(MULTILEADER, 0x3C, MODEL, lambda _: nothing, [r"To the {\Lgarden}"]))
    if release == R2018:
        found.append(entity(ATTRIB, 0x3D, OWNER, line_data, ["", r"First\PSecond", "", "NOTE"], owner=0x35))
    filler = "Every room has a window to the south, and a door to the north. "
    found += [entity(TEXT, 0x40 + i, MODEL, line_data, [filler + str(i * i)]) for i in range(12)]
    return found


def section_of_objects(release, start=b""):
    """The objects one behind another, not in the order of their handles, and the map of them."""
    places, content = {}, start
    for handle, data in sorted(objects(release), key=lambda pair: pair[0] * 7 % 31):
        places[handle] = len(content)
        content += data
    blocks, block, last_handle, last_place = b"", b"", 0, 0
    for handle, place in sorted(places.items()):
        pair = modular(handle - last_handle) + signed_modular(place - last_place)
        last_handle, last_place = handle, place
        block += pair
        if len(block) > 40:
            blocks += map_block(block)
            block, last_handle, last_place = b"", 0, 0
    blocks += map_block(block) + map_block(b"")
    return content, blocks


def map_block(pairs):
    block = struct.pack(">H", len(pairs) + 2) + pairs
    return block + struct.pack(">H", checksum(block))


def classes(release):
    data = Bits().bs(MULTILEADER).put(0, 8).put(0, 8).put(1, 1)
    data.bs(MULTILEADER).bs(0xFFF).put(0, 1).bs(0x1F2).bl(1).bl(0).bl(0).bl(0).bl(0)
    with_strings(release, data, ["ACDB_MLEADER_CLASS", "AcDbMLeader", "MULTILEADER"])
    content = struct.pack("<I", len(data) + 32) + data.bytes()
    size = struct.pack("<I", len(content)) + (bytes(4) if release == R2018 else b"")
    return bytes(range(16)) + size + content + bytes(2) + bytes(reversed(range(16)))


def summary(release):
    def string(value):
        if release >= R2007:
            return struct.pack("<H", len(value) + 1) + (value + "\0").encode("utf-16-le")
        return struct.pack("<H", len(value) + 1) + (value + "\0").encode("cp1252")

    def julian(seconds):
        return struct.pack("<II", 2440588 + seconds // 86400, seconds % 86400 * 1000)

    out = b"".join(map(string, ("House by the sea", "Plans", "Zoë Brook", "house, plan", "For the owner",
                                "bo", "7", "https://example.org/plans")))
    out += struct.pack("<II", 1, 3 * 3600000) + julian(1714979289) + julian(1715065690)
    return out + struct.pack("<H", 1) + string("Scale") + string("1:50") + bytes(8)


def matches_of(data, least, most_distance, most_length):
    """Yields the literals and the repeat behind them: bytes, distance, length (0 at the end)."""
    seen, at, begin = {}, 0, 0
    while at < len(data):
        key = data[at:at + least]
        place = seen.get(key, -1) if len(key) == least else -1
        seen[key] = at
        length = 0
        # What comes before the first repeat, and what ends the data, are literals.
        if place >= 0 and at - place <= most_distance and at >= 16:
            while length < most_length and at + length < len(data) - 16 and data[place + length] == data[at + length]:
                length += 1
        if length >= least:
            yield data[begin:at], at - place, length
            at += length
            begin = at
        else:
            at += 1
    yield data[begin:], 0, 0


def run_length(count):
    zeros = (count - 1) // 255
    return bytes(zeros) + bytes([count - zeros * 255])


def pack_2004(data):
    out = bytearray()
    last = None  # where the bits for literals are
    for literals, distance, length in matches_of(data, 4, 0x7000, 700):
        if last is not None and 0 < len(literals) < 4:
            out[last] |= len(literals)
        elif len(literals) >= 4:
            out += bytes([len(literals) - 3]) if len(literals) <= 18 else b"\0" + run_length(len(literals) - 18)
        out += literals
        if not length:
            break
        away = distance - 1
        if length <= 14 and away < 0x400:
            last = len(out)
            out += bytes([length + 1 << 4 | (away & 3) << 2, away >> 2])
            continue
        if away < 0x4000:
            out += bytes([length + 0x1E]) if length <= 33 else b"\x20" + run_length(length - 0x21)
        else:
            away -= 0x3FFF
            out += bytes([length - 2 + 0x10]) if 4 <= length <= 17 else b"\x10" + run_length(length - 9)
        last = len(out)
        out += bytes([(away & 0x3F) << 2, away >> 6])
    return bytes(out) + b"\x11\0\0"


# Where the pieces of a run of literals stand in it, see the order of 5.11.
ORDER = {1: "0.1", 2: "0.2", 3: "0.3", 4: "0.4", 5: "4.1 0.4", 6: "5.1 1.4 0.1", 7: "5.2 1.4 0.1", 8: "0.8",
         9: "8.1 0.8", 10: "9.1 1.8 0.1", 11: "9.2 1.8 0.1", 12: "8.4 0.8", 13: "12.1 8.4 0.8",
         14: "13.1 9.4 1.8 0.1", 15: "13.2 9.4 1.8 0.1", 16: "0.16", 17: "9.8 8.1 0.8", 18: "17.1 1.16 0.1",
         19: "16.3 0.16", 20: "16.4 0.16", 21: "20.1 16.4 0.16", 22: "20.2 16.4 0.16", 23: "20.3 16.4 0.16",
         24: "16.8 0.16", 25: "17.8 16.1 0.16", 26: "25.1 17.8 16.1 0.16", 27: "25.2 17.8 16.1 0.16",
         28: "24.4 16.8 0.16", 29: "28.1 24.4 16.8 0.16", 30: "28.2 24.4 16.8 0.16",
         31: "30.1 26.4 18.8 2.16 0.2", 32: "16.16 0.16"}


def disordered(literals):
    out = b""
    for begin in range(0, len(literals), 32):
        run = literals[begin:begin + 32]
        stored, at = bytearray(len(run)), 0
        for piece in ORDER[len(run)].split():
            place, length = map(int, piece.split("."))
            part = run[at:at + length]
            at += length
            if length in (2, 3):
                part = part[::-1]
            if length == 16:
                part = part[8:] + part[:8]
            stored[place:place + length] = part
        out += bytes(stored)
    return out


def pack_2007(data):
    out = bytearray()
    last = None
    for literals, distance, length in matches_of(data, 4, 0xFFFF, 255):
        direct = True  # whether any kind of instruction may follow
        count = len(literals)
        if last is not None and count < 8:
            out[last] |= count
            direct = count != 0
        elif count < 0x17:
            out.append(count - 8)
        elif count < 0x17 + 0xFF:
            out += bytes([0x0F, count - 0x17])
        else:
            out += b"\x0F\xFF" + struct.pack("<H", count - 0x17 - 0xFF)
        out += disordered(literals)
        if not length:
            break
        away = distance - 1
        if length <= 14 and away < 0x200:
            out += bytes([length << 4 | away & 15, away >> 4 << 3])
        elif length <= 18 and away < 0x2000:
            out += bytes([0x10 | length - 3, away & 0xFF, away >> 8 << 3])
        elif 19 <= length <= 50 and away < 0x1000:
            more = length - 0x13
            out += bytes([(0 if direct else 0xF0) | more & 15, away & 0xFF, (more >> 4) << 7 | away >> 8 << 3])
        else:
            out += bytes([0x20 | length & 7]) + struct.pack("<H", distance) + bytes([length & 0xF8])
        last = len(out) - 1
    return bytes(out)


def file_header(release, summary_at):
    head = MARKS[release] + bytes(5) + bytes([6, 1]) + bytes(4) + bytes([0x17, 6])
    head += struct.pack("<H", WINDOWS_1252) + bytes(3) + struct.pack("<III", 0, 0, summary_at)
    return (head + struct.pack("<II", 0, 0x80)).ljust(0x80, b"\0")


def drawing_2000():
    names = 3
    begin = 0x15 + 4 + names * 9 + 2 + 16
    content, places = section_of_objects(R2000, bytes(begin))
    records = struct.pack("<BII", 0, begin, 0) + struct.pack("<BII", 1, begin, 0)
    records += struct.pack("<BII", 2, len(content), len(places))
    head = MARKS[R2000] + bytes(5) + bytes([6, 1]) + bytes(4) + bytes([0x17, 6]) + struct.pack("<H", WINDOWS_1252)
    head += struct.pack("<I", names) + records
    return head + content[len(head):] + places


def drawing_2004(release):
    """Also of release 2010 and later."""
    content, places = section_of_objects(release, struct.pack("<I", 0xDCA))
    sections = [("AcDb:SummaryInfo", summary(release), 0x100, False), ("AcDb:Handles", places, 0x7400, True),
                ("AcDb:AcDbObjects", content, 0x400, True)]
    if release == R2018:
        sections.insert(1, ("AcDb:Classes", classes(release), 0x7400, True))
    body, sizes, described = b"", [], b""
    for identifier, (name, data, page_size, packed) in enumerate(sections, 1):
        pages = [data[at:at + page_size] for at in range(0, len(data), page_size)]
        described += struct.pack("<QIIIIII", len(data), len(pages), page_size, 1, 2 if packed else 1, identifier, 0)
        described += name.encode().ljust(64, b"\0")
        for number, page in enumerate(pages):
            stored = pack_2004(page) if packed else page
            place = 0x100 + len(body)
            header = (0x4163043B, identifier, len(stored), page_size, number * page_size, 0, 0, 0)
            mask = 0x4164536B ^ place
            whole = struct.pack("<8I", *(word ^ mask for word in header)) + stored
            whole += bytes(-len(whole) % 0x20)
            body += whole
            sizes.append((len(sizes) + 1, len(whole)))
            described += struct.pack("<iIQ", sizes[-1][0], len(stored), number * page_size)

    def system_page(kind, data):
        stored = pack_2004(data)
        page = struct.pack("<IIIII", kind, len(data), len(stored), 2, 0) + stored
        return page + bytes(-len(page) % 0x20)

    # A gap in the file, which a real editor leaves when it saves again.
    gap = 0x40
    body += bytes(gap)
    section_map = system_page(0x4163003B, struct.pack("<IIIII", len(sections), 2, 0x7400, 0, len(sections)) + described)
    pages = b"".join(struct.pack("<iI", *pair) for pair in sizes) + struct.pack("<iIiiii", -1, gap, 0, 0, 0, 0)
    map_number = len(sizes) + 1
    page_map_at = len(body) + len(section_map)
    pages += struct.pack("<iIiI", map_number, len(section_map), map_number + 1, 0x100)
    body += section_map + system_page(0x41630E3B, pages)
    secret = b"AcFssFcAJMB\0" + struct.pack("<III", 0, 0x6C, 4) + bytes(12) + struct.pack("<I", 1)
    secret = secret.ljust(0x50, b"\0") + struct.pack("<IQI", map_number + 1, page_map_at, map_number)
    secret = bytearray(secret.ljust(0x6C, b"\0"))
    seed = 1
    for i in range(len(secret)):
        seed = (seed * 0x343FD + 0x269EC3) & 0xFFFFFFFF
        secret[i] ^= seed >> 16 & 0xFF
    return file_header(release, 0x120) + bytes(secret).ljust(0x80, b"\0") + body


def interleaved(data, count, block):
    """Blocks of 255 bytes, `block` of them data, the parity left at 0."""
    data = data.ljust(count * block, b"\0")
    out = bytearray(count * 255)
    for number in range(count):
        for i in range(block):
            out[i * count + number] = data[number * block + i]
    return bytes(out)


def drawing_2007():
    content, places = section_of_objects(R2007, struct.pack("<I", 0xDCA))
    sections = [("AcDb:SummaryInfo", summary(R2007), 0x400, 1), ("AcDb:Classes", classes(R2007), 0xF800, 4),
                ("AcDb:Handles", places, 0xF800, 4), ("AcDb:AcDbObjects", content, 0x800, 4)]
    body, sizes, described = b"", [], b""

    def add(page):
        nonlocal body
        page += bytes(-len(page) % 0x20)
        sizes.append((len(page), len(sizes) + 1))
        body += page
        return len(sizes)

    def system_page(data):
        packed = pack_2007(data)
        aligned = packed + bytes(-len(packed) % 8)
        return len(packed), interleaved(aligned, (len(aligned) + 238) // 239, 239)

    for name, data, page_size, encoding in sections:
        pages = [data[at:at + page_size] for at in range(0, len(data), page_size)]
        raw_name = (name + "\0").encode("utf-16-le")
        described += struct.pack("<8Q", len(data), page_size, 0, 0, len(raw_name), 0, encoding, len(pages)) + raw_name
        for number, page in enumerate(pages):
            stored = page if encoding == 1 else pack_2007(page)
            aligned = stored + bytes(-len(stored) % 8)
            coded = stored + bytes(16) if encoding == 1 else interleaved(aligned, (len(aligned) + 250) // 251, 251)
            described += struct.pack("<7Q", number * page_size, len(page), add(coded), len(page), len(stored), 0, 0)
    map_stored, map_page = system_page(described)
    map_number = add(map_page)
    pages_at = len(body)
    pages = b"".join(struct.pack("<qq", *pair) for pair in sizes)
    pages_stored, pages_page = system_page(pages)
    body += pages_page
    header = bytearray(0x110)
    for at, value in ((0x00, 0x70), (0x18, 1), (0x38, pages_at), (0x50, pages_stored), (0x58, len(pages)),
                      (0xB0, map_stored), (0xC0, map_number), (0xC8, len(described)), (0xD8, 1)):
        struct.pack_into("<Q", header, at, value)
    packed = pack_2007(bytes(header))
    coded = interleaved(bytes(0x18) + struct.pack("<ii", len(packed), 0) + packed, 3, 239)
    return file_header(R2007, 0x480) + coded.ljust(0x400, b"\0") + body


def interchange():
    def entity(*groups):
        return "".join(f"{code:3}\n{value}\n" for code, value in groups)

    def section(name, content):
        return entity((0, "SECTION"), (2, name)) + content + entity((0, "ENDSEC"))

    header = entity((9, "$ACADVER"), (1, "AC1015"), (9, "$DWGCODEPAGE"), (3, "ANSI_1252"), (9, "$LASTSAVEDBY"),
                    (1, "bo"), (9, "$TDUCREATE"), (40, "2460436.5"), (9, "$TDUUPDATE"), (40, "2460437.25"),
                    (9, "$TDINDWG"), (40, "0.125"), (9, "$CUSTOMPROPERTYTAG"), (1, "Scale"),
                    (9, "$CUSTOMPROPERTY"), (1, "1:50"))
    blocks = entity((0, "BLOCK"), (2, "Door"), (0, "TEXT"), (8, "0"), (1, "Door of oak"), (0, "ATTDEF"), (2, "WIDTH"),
                    (3, "How wide?"), (1, "Width 900"), (0, "ENDBLK"))
    texts = entity((0, "TEXT"), (8, "0"), (10, "1.5"), (1, "Ground floor, %%c12 %%utimber%%u"),
                   (0, "LINE"), (8, "0"), (1, "no text"), (0, "MTEXT"), (3, PARAGRAPHS[:40]), (3, PARAGRAPHS[40:70]),
                   (1, PARAGRAPHS[70:]), (0, "TEXT"), (60, "1"), (1, "Not to be built"),
                   (0, "INSERT"), (2, "Door"), (66, "1"), (0, "ATTRIB"), (2, "WIDTH"), (1, "Width 1010"),
                   (0, "ATTRIB"), (2, "NOTE"), (1, ""), (101, "Embedded Object"), (3, r"First\P"), (1, "Second"),
                   (0, "MULTILEADER"), (300, "CONTEXT_DATA{"), (304, r"To the {\Lgarden}"), (302, "LEADER{"),
                   (304, "LEADER_LINE{"), (0, "DIMENSION"), (2, "*D1"), (1, "in its block"), (0, "DIMENSION"),
                   (1, "about 4.2 m"), (0, "TEXT"), (1, r"Caf\U+00E9 für alle"))
    whole = entity((999, "by hand")) + section("HEADER", header) + section("BLOCKS", blocks)
    whole += section("ENTITIES", texts) + entity((0, "EOF"))
    return whole.replace("\n", "\r\n").encode("cp1252")


def main():
    for name, content in (("plan_2000.dwg", drawing_2000()), ("plan_2004.dwg", drawing_2004(R2004)),
                          ("plan_2007.dwg", drawing_2007()), ("plan_2018.dwg", drawing_2004(R2018)),
                          ("plan.dxf", interchange())):
        with open(os.path.join(SAMPLES, name), "wb") as file:
            file.write(content)


if __name__ == "__main__":
    main()
