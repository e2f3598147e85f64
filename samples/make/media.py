#!/usr/bin/env python3
"""Makes photo.jpg, tone.flac, tone.mp3, letters.ttf, film.mkv and film.avi: a picture with EXIF, sound with
tags and covers, a font with names, film with headers and tags. The picture and the sound hold no more than a reader needs to find their metadata."""

import os
import struct
import sys

# The smallest picture: one white point, without colour.
PNG = bytes.fromhex("89504e470d0a1a0a0000000d4948445200000001000000010800000000"
                    "3a7e9b550000000a49444154789c63f80f0000010100011c1b1fb20000000049454e44ae426082")


def tiff(entries, offset):
    """A directory of EXIF: entries of tag, type, count and value bytes, written at `offset`."""
    body = struct.pack("<H", len(entries))
    data = b""
    free = offset + 2 + len(entries) * 12 + 4
    for tag, kind, count, value in sorted(entries):
        if len(value) <= 4:
            field = value.ljust(4, b"\0")
        else:
            field = struct.pack("<I", free + len(data))
            data += value + b"\0" * (len(value) % 2)
        body += struct.pack("<HHI", tag, kind, count) + field
    return body + struct.pack("<I", 0) + data


def text(value):
    raw = value.encode() + b"\0"
    return 2, len(raw), raw


def ratios(*pairs):
    return 5, len(pairs), b"".join(struct.pack("<II", *pair) for pair in pairs)


def photo():
    camera = [(0x829A, *ratios((1, 250))), (0x9003, *text("2024:05:06 07:08:09")),
              (0x9011, *text("+02:00"))]
    place = [(1, *text("N")), (2, *ratios((52, 1), (30, 1), (0, 1))),
             (3, *text("W")), (4, *ratios((13, 1), (15, 1), (0, 1)))]
    main = [(0x010E, *text("A lighthouse")), (0x010F, *text("Glassworks")), (0x0110, *text("Eye 3")),
            (0x013B, *text("Ada Brook")), (0x8298, *text("Public domain"))]
    # Where the other two directories stand depends on the length of the first.
    size = len(tiff(main + [(0x8769, 4, 1, bytes(4)), (0x8825, 4, 1, bytes(4))], 8))
    camera_at = 8 + size
    place_at = camera_at + len(tiff(camera, camera_at))
    pointers = [(0x8769, 4, 1, struct.pack("<I", camera_at)), (0x8825, 4, 1, struct.pack("<I", place_at))]
    exif = b"II*\0" + struct.pack("<I", 8) + tiff(main + pointers, 8) + tiff(camera, camera_at)
    exif += tiff(place, place_at)
    segment = b"Exif\0\0" + exif
    frame = struct.pack(">BHHB", 8, 32, 48, 1) + b"\1\x11\0"
    return (b"\xFF\xD8\xFF\xE1" + struct.pack(">H", len(segment) + 2) + segment +
            b"\xFF\xC0" + struct.pack(">H", len(frame) + 2) + frame + b"\xFF\xD9")


def flac():
    def block(kind, body, last=False):
        return bytes([kind | (0x80 if last else 0)]) + struct.pack(">I", len(body))[1:] + body

    # 44,100 samples a second, one channel, 16 bits, one second.
    rate = 44100 << 44 | 0 << 41 | 15 << 36 | 44100
    stream = struct.pack(">HH", 4096, 4096) + bytes(6) + rate.to_bytes(8, "big") + bytes(16)
    comments = [f"{key}={value}".encode() for key, value in
                (("TITLE", "Fog horn"), ("ARTIST", "The Beacons"), ("ALBUM", "Coast"), ("DATE", "2024"),
                 ("TRACKNUMBER", "3"), ("COMMENT", "From the pier"))]
    maker = b"by hand"
    tags = struct.pack("<I", len(maker)) + maker + struct.pack("<I", len(comments))
    tags += b"".join(struct.pack("<I", len(c)) + c for c in comments)
    cover = struct.pack(">II", 3, 9) + b"image/png" + struct.pack(">IIIIII", 0, 1, 1, 8, 0, len(PNG)) + PNG
    return b"fLaC" + block(0, stream) + block(4, tags) + block(6, cover, last=True)


def mp3():
    def frame(name, body):
        return name.encode() + struct.pack(">IH", len(body), 0) + body

    frames = frame("TIT2", b"\1" + "Möwen".encode("utf-16")) + frame("TPE1", b"\0The Beacons")
    frames += frame("COMM", b"\0eng\0At low tide")
    frames += frame("APIC", b"\0image/png\0\3\0" + PNG)
    size = len(frames)
    length = bytes((size >> shift) & 0x7F for shift in (21, 14, 7, 0))
    # Frames of silence: MPEG 1 layer 3, 128 kbit/s, 44.1 kHz, one channel.
    sound = (b"\xFF\xFB\x90\xC4" + bytes(413)) * 8
    return b"ID3\3\0\0" + length + frames + sound


def font():
    def name_table(names):
        strings = b""
        records = b""
        for identifier, value in names:
            raw = value.encode("utf-16-be")
            records += struct.pack(">HHHHHH", 3, 1, 0x409, identifier, len(raw), len(strings))
            strings += raw
        return struct.pack(">HHH", 0, len(names), 6 + len(records)) + records + strings

    tables = {
        b"head": struct.pack(">IIIIHHqqhhhhHHhhh", 0x10000, 0x10000, 0, 0x5F0F3CF5, 0, 1000, 0, 0, 0, 0, 0, 0,
                             0, 8, 2, 0, 0),
        b"hhea": struct.pack(">IhhhHhhhhhhhhhhhH", 0x10000, 800, -200, 0, 500, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0,
                             0, 1),
        b"hmtx": struct.pack(">Hh", 500, 0),
        b"loca": struct.pack(">HH", 0, 0),
        b"glyf": bytes(4),
        b"maxp": struct.pack(">IHHHHHHHHHHHHHH", 0x10000, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0),
        b"name": name_table([(0, "Public domain"), (1, "Pebble"), (4, "Pebble Regular"), (5, "Version 1.5"),
                             (8, "Shore Types"), (9, "Bo Chen")]),
    }
    directory = b"\0\1\0\0" + struct.pack(">HHHH", len(tables), 64, 2, len(tables) * 16 - 64)
    offset = len(directory) + len(tables) * 16
    body = b""
    for tag, table in sorted(tables.items()):
        directory += tag + struct.pack(">III", 0, offset + len(body), len(table))
        body += table + bytes(-len(table) % 4)
    return directory + body


def element(identifier, *content):
    """An element of EBML, its length in eight bytes as most programs write it."""
    body = b"".join(content)
    return bytes.fromhex(identifier) + (len(body) | 1 << 56).to_bytes(8, "big") + body


def film_mkv():
    """Information, tracks, a cluster, and behind it the tags, which the list of places leads to."""
    information = element("1549a966", element("2ad7b1", struct.pack(">I", 1000000)), element("4489", struct.pack(">d", 2500)),
                          element("4461", struct.pack(">q", (1714979289 - 978307200) * 10**9)),
                          element("7ba9", "Möwen am Strand".encode()), element("4d80", b"hand"),
                          element("5741", b"by hand"))
    tracks = element("1654ae6b",
                     element("ae", element("d7", b"\1"), element("83", b"\1"), element("86", b"V_VP9"),
                             element("23e383", struct.pack(">I", 40000000)),
                             element("e0", element("b0", struct.pack(">H", 640)), element("ba", struct.pack(">H", 360)))),
                     element("ae", element("d7", b"\2"), element("83", b"\2"), element("86", b"A_OPUS"),
                             element("e1", element("b5", struct.pack(">f", 48000)), element("9f", b"\2"))))
    tags = element("1254c367",
                   element("7373", element("63c0"), element("67c8", element("45a3", b"ARTIST"), element("4487", b"The Beacons")),
                           element("67c8", element("45a3", b"TITLE"), element("4487", "Möwen am Strand".encode()))),
                   element("7373", element("63c0", element("63c5", b"\2")),
                           element("67c8", element("45a3", b"COMMENT"), element("4487", b"of a track"))))
    cluster = element("1f43b675", element("e7", b"\0"), element("a3", bytes(32)))

    def places(tags_at):
        return element("114d9b74", element("4dbb", element("53ab", bytes.fromhex("1254c367")),
                                           element("53ac", struct.pack(">Q", tags_at))))

    before = len(places(0)) + len(information) + len(tracks) + len(cluster)
    header = element("1a45dfa3", b"\x42\x82\x88matroska")
    return header + \
        element("18538067", places(before), information, tracks, cluster, tags)


def film_avi():
    def chunk(name, body):
        return name.encode() + struct.pack("<I", len(body)) + body + b"\0" * (len(body) % 2)

    def group(kind, *chunks):
        return chunk("LIST", kind.encode() + b"".join(chunks))

    headers = group("hdrl", chunk("avih", struct.pack("<10I", 40000, 0, 0, 0, 50, 0, 2, 0, 320, 240) + bytes(16)),
                    group("strl", chunk("strh", b"vidsXVID" + struct.pack("<7I", 0, 0, 0, 1, 25, 0, 50) + bytes(20)),
                          chunk("strf", bytes(40))),
                    group("strl", chunk("strh", b"auds" + bytes(44)),
                          chunk("strf", struct.pack("<HHIIHH", 0x55, 2, 44100, 16000, 1, 0))))
    texts = group("INFO", chunk("INAM", b"Low tide\0"), chunk("IART", b"The Beacons\0"), chunk("ICMT", b"caf\xe9\0"),
                  chunk("ISFT", b"by hand\0"))
    body = headers + group("movi", chunk("00dc", bytes(64))) + texts
    return chunk("RIFF", b"AVI " + body)


if __name__ == "__main__":
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    for name, content in (("photo.jpg", photo()), ("tone.flac", flac()), ("tone.mp3", mp3()),
                          ("letters.ttf", font()), ("film.mkv", film_mkv()), ("film.avi", film_avi())):
        with open(os.path.join(folder, name), "wb") as file:
            file.write(content)
