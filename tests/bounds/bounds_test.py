#!/usr/bin/env python3
"""Opens archives that are made to exhaust whoever opens them: each must end within seconds and 128 MiB
with its own code, sound siblings must still come out, and nothing may be written elsewhere."""

import bz2
import glob
import gzip
import io
import lzma
import os
import re
import shutil
import struct
import subprocess
import sys
import tarfile
import tempfile
import time
import unittest
import zipfile
import zlib

sys.dont_write_bytecode = True
import self_containing_zip

TARNIS = sys.argv.pop(1)
SANITIZED = "--sanitized" in sys.argv
if SANITIZED:
    sys.argv.remove("--sanitized")

MEMORY = 128 << 20
SECONDS = 20 if not SANITIZED else 200
MIB = 1 << 20
PIECE = 64 * MIB
PIECES = 160  # of zeros: 10 GiB
ZEROS = bytes(PIECE)
NOTE = b"a sound sibling\n"


class Outcome:
    def __init__(self, run, seconds):
        self.status = run.returncode
        self.output = run.stdout.decode("utf-8", "replace")
        self.messages = run.stderr.decode("utf-8", "replace")
        self.seconds = seconds

    def codes(self):
        found = {int(code) for code in re.findall(r"error (\d+)", self.messages)}
        found |= {int(code) for code in re.findall(r"\(code (\d+)\)", self.messages)}
        if "password protected" in self.messages:
            found.add(8)
        return found


def tar_header(name, size, kind=b"0"):
    block = bytearray(512)
    block[0:len(name)] = name
    block[100:108] = b"0000644\0"
    block[124:136] = b"%011o\0" % size
    block[136:148] = b"00000000000\0"
    block[148:156] = b" " * 8
    block[156:157] = kind
    block[257:265] = b"ustar\x0000"
    block[148:156] = b"%06o\0 " % sum(block)
    return bytes(block)


def padded(content):
    return content + bytes(-len(content) % 512)


def zip_of(*members):
    out = io.BytesIO()
    with zipfile.ZipFile(out, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, content in members:
            archive.writestr(name, content)
    return out.getvalue()


def raw_deflated_zeros(pieces):
    """Zeros as a deflate stream: blocks that refer to nothing before them can be repeated."""
    packer = zlib.compressobj(9, zlib.DEFLATED, -15)
    block = packer.compress(ZEROS) + packer.flush(zlib.Z_FULL_FLUSH)
    return block * pieces + zlib.compressobj(9, zlib.DEFLATED, -15).flush()


def zip_entry(name, data, size, offset, method=8, crc=0):
    local = struct.pack("<4s5H3I2H", b"PK\3\4", 20, 0, method, 0, 33, crc, len(data), size,
                        len(name), 0) + name
    central = struct.pack("<4s6H3I5H2I", b"PK\1\2", 20, 20, 0, method, 0, 33, crc, len(data), size,
                          len(name), 0, 0, 0, 0, 0, offset) + name
    return local + data, central


def zip_end(count, size, offset):
    return struct.pack("<4s4H2IH", b"PK\5\6", 0, 0, count, count, size, offset, 0)


def raw_zip(entries):
    """A zip archive of (name, data, size, method) as they are."""
    body, directory = b"", b""
    for name, data, size, method, crc in entries:
        local, central = zip_entry(name, data, size, len(body), method, crc)
        body += local
        directory += central
    return body + directory + zip_end(len(entries), len(directory), len(body))


class Bounds(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)

    def tarnis(self, job, name, content):
        path = os.path.join(self.folder, name)
        with open(path, "wb") as file:
            file.write(content)
        output = os.path.join(self.folder, "output")
        os.makedirs(output, exist_ok=True)
        limit = [] if SANITIZED else ["prlimit", f"--data={MEMORY}"]
        command = limit + [TARNIS, job, "--ip", path]
        environment = dict(os.environ, TMPDIR=output)
        started = time.monotonic()
        run = subprocess.run(command, capture_output=True, timeout=SECONDS * 3, check=False,
                             env=environment)
        outcome = Outcome(run, time.monotonic() - started)
        self.assertGreaterEqual(outcome.status, 0, f"{job} {name} dies of a signal")
        self.assertLess(outcome.seconds, SECONDS, f"{job} {name}")
        if job == "extract" and outcome.output.strip():
            outcome.place = outcome.output.strip().splitlines()[-1]
            self.addCleanup(shutil.rmtree, outcome.place, ignore_errors=True)
        return outcome

    def check_bomb(self, name, content):
        outcome = self.tarnis("container", name, content)
        self.assertEqual(outcome.codes() - {11}, {4}, outcome.messages)

    # ---- expansion

    def test_ends_a_gzip_of_10_gib_of_zeros(self):
        self.check_bomb("zeros.gz", gzip.compress(ZEROS) * PIECES)

    def test_ends_a_bzip2_of_10_gib_of_zeros(self):
        self.check_bomb("zeros.bz2", bz2.compress(ZEROS) * PIECES)

    def test_ends_an_xz_of_10_gib_of_zeros(self):
        self.check_bomb("zeros.xz", lzma.compress(ZEROS, preset=0) * PIECES)

    def test_ends_a_zstandard_file_of_10_gib_of_zeros(self):
        blocks = 10 * 1024 * 8
        repeat = struct.pack("<I", 1 << 1 | (128 << 10) << 3)[:3] + b"\0"
        last = struct.pack("<I", 1 | 1 << 1 | 1 << 3)[:3] + b"\0"
        self.check_bomb("zeros.zst", b"\x28\xB5\x2F\xFD\x00\x38" + repeat * blocks + last)

    def test_ends_a_zip_of_10_gib_of_zeros_and_gives_its_sibling(self):
        crc = zlib.crc32(NOTE)
        content = raw_zip([(b"zeros", raw_deflated_zeros(PIECES), 0xFFFFFFFE, 8, 0),
                           (b"note.txt", NOTE, len(NOTE), 0, crc)])
        outcome = self.tarnis("container", "zeros.zip", content)
        self.assertEqual(outcome.codes(), {4}, outcome.messages)
        self.assertIn("a sound sibling", outcome.output)

    def test_ends_a_compressed_tar_with_a_member_of_10_gib_of_zeros(self):
        size = PIECE * PIECES
        begin = tar_header(b"note.txt", len(NOTE)) + padded(NOTE)
        self.assertGreater(size, 1 << 33)
        for name, compress in (("zeros.tar.gz", gzip.compress), ("zeros.tar.bz2", bz2.compress),
                               ("zeros.tar.xz", lzma.compress)):
            content = compress(begin + tar_header(b"zeros", 0o77777777777)) + \
                compress(ZEROS) * PIECES
            outcome = self.tarnis("container", name, content)
            self.assertIn(4, outcome.codes(), name + ": " + outcome.messages)
            self.assertIn("a sound sibling", outcome.output)

    def test_ends_a_sparse_file_of_a_terabyte(self):
        fields = b"GNU.sparse.major=1\n", b"GNU.sparse.minor=0\n", b"GNU.sparse.name=holes\n", \
            b"GNU.sparse.realsize=1099511627776\n"
        records = b""
        for field in fields:
            length = len(field) + 1
            length += len(str(length + 1))
            records += b"%d " % length + field
        sparse_map = padded(b"1\n0\n512\n")
        content = tar_header(b"pax", len(records), b"x") + padded(records) + \
            tar_header(b"holes", len(sparse_map) + 512) + sparse_map + b"x" * 512 + bytes(1024)
        outcome = self.tarnis("container", "sparse.tar", content)
        self.assertEqual(outcome.codes(), {4}, outcome.messages)

    def test_ends_entries_that_share_their_data(self):
        packer = zlib.compressobj(9, zlib.DEFLATED, -15)
        size = 31 * MIB
        data = packer.compress(ZEROS[:size]) + packer.flush()
        crc = zlib.crc32(ZEROS[:size])
        local, _ = zip_entry(b"0", data, size, 0, crc=crc)
        count = 2000
        directory = b"".join(zip_entry(b"%d" % i, data, size, 0, crc=crc)[1] for i in range(count))
        content = local + directory + zip_end(count, len(directory), len(local))
        outcome = self.tarnis("container", "overlapping.zip", content)
        self.assertIn(4, outcome.codes(), outcome.messages)

    def test_ends_zips_of_zips_of_zips(self):
        content = zip_of(("zeros", ZEROS[:33 * MIB]))
        for _ in range(5):
            content = zip_of(*((f"{i}.zip", content) for i in range(16)))
        outcome = self.tarnis("container", "zips.zip", content)
        self.assertIn(4, outcome.codes(), outcome.messages[-1000:])

    def test_ends_a_workbook_that_repeats_a_long_text(self):
        main = "http://schemas.openxmlformats.org/spreadsheetml/2006/main"
        links = "http://schemas.openxmlformats.org/package/2006/relationships"
        kinds = "http://schemas.openxmlformats.org/officeDocument/2006/relationships"
        relationship = '<Relationship Id="%s" Type="' + kinds + '/%s" Target="%s"/>'
        cell = '<row><c t="s"><v>0</v></c></row>'
        content = zip_of(
            ("[Content_Types].xml", '<Types xmlns="http://schemas.openxmlformats.org/package/2006/'
             'content-types"><Override PartName="/xl/workbook.xml" ContentType="application/vnd.'
             'openxmlformats-officedocument.spreadsheetml.sheet.main+xml"/></Types>'),
            ("_rels/.rels", f'<Relationships xmlns="{links}">' +
             relationship % ("1", "officeDocument", "xl/workbook.xml") + "</Relationships>"),
            ("xl/_rels/workbook.xml.rels", f'<Relationships xmlns="{links}">' +
             relationship % ("1", "worksheet", "sheet.xml") +
             relationship % ("2", "sharedStrings", "strings.xml") + "</Relationships>"),
            ("xl/workbook.xml", f'<workbook xmlns="{main}" xmlns:r="{kinds}"><sheets>'
             '<sheet name="S" r:id="1"/></sheets></workbook>'),
            ("xl/strings.xml", f'<sst xmlns="{main}"><si><t>{"text " * 200_000}</t></si></sst>'),
            ("xl/sheet.xml", f'<worksheet xmlns="{main}"><sheetData>{cell * 30_000}</sheetData>'
             '</worksheet>'))
        outcome = self.tarnis("text", "repeats.xlsx", content)
        self.assertEqual(outcome.codes(), {16}, outcome.messages)
        self.assertIn("text text", outcome.output)

    # ---- nesting

    def test_ends_archives_in_each_other(self):
        content = NOTE
        for i in range(40):
            content = zip_of((f"{i}.zip" if i else "note.txt", content))
        outcome = self.tarnis("container", "deep.zip", content)
        self.assertEqual(outcome.codes(), {31}, outcome.messages)

    def test_ends_an_archive_that_contains_itself(self):
        outcome = self.tarnis("container", "again.zip", self_containing_zip.make())
        self.assertEqual(outcome.codes(), {31}, outcome.messages)

    # ---- lies

    def test_tells_a_member_whose_size_is_a_lie(self):
        content = tar_header(b"note.txt", len(NOTE)) + padded(NOTE) + \
            tar_header(b"lie", 0o77777777777) + b"short"
        outcome = self.tarnis("container", "lie.tar", content)
        self.assertTrue(outcome.codes() & {4, 21}, outcome.messages)
        self.assertIn("a sound sibling", outcome.output)

    def test_tells_an_archive_without_anything(self):
        for name, content in (("empty.zip", b"PK\3\4" + bytes(100)),
                              ("empty.7z", b"7z\xBC\xAF\x27\x1C" + b"\xAA" * 100),
                              ("empty.rar", b"Rar!\x1A\x07\x00" + bytes(100)),
                              ("empty.gz", b"\x1F\x8B\x08" + bytes(100)),
                              ("empty.cab", b"MSCF" + bytes(100))):
            outcome = self.tarnis("list", name, content)
            self.assertIn(21, outcome.codes(), name + ": " + outcome.messages)

    def test_tells_an_unknown_compression_and_gives_the_sibling(self):
        crc = zlib.crc32(NOTE)
        content = raw_zip([(b"odd", b"????", 4, 77, 0), (b"note.txt", NOTE, len(NOTE), 0, crc)])
        outcome = self.tarnis("container", "odd.zip", content)
        self.assertEqual(outcome.codes(), {43}, outcome.messages)
        self.assertIn("a sound sibling", outcome.output)

    def test_writes_nothing_outside_of_the_extraction_directory(self):
        mark = "tarnis-bounds-%d" % os.getpid()
        for name in ("../../" + mark, "/tmp/" + mark, "a/../../../" + mark, "..\\..\\" + mark,
                     "n\0" + mark, "x" * 65000 + mark):
            stored = name.encode()
            crc = zlib.crc32(NOTE)
            content = raw_zip([(b"first.txt", NOTE, len(NOTE), 0, crc),
                               (stored, NOTE, len(NOTE), 0, crc),
                               (b"last.txt", NOTE, len(NOTE), 0, crc)])
            outcome = self.tarnis("extract", "names.zip", content)
            self.assertEqual(outcome.status, 0, outcome.messages)
            self.assertEqual(len([file for _, _, files in os.walk(outcome.place) for file in files]), 3)
            places = [path for base in ("/tmp", self.folder, os.path.dirname(self.folder), "/")
                      for path in glob.glob(base + "/*" + mark + "*")]
            self.assertEqual(places, [], name)

    # ---- many members

    def many(self, count):
        return b"".join(tar_header(b"folder%03d/document-%06d.txt" % (i % 1000, i), 5) + padded(b"hello")
                        for i in range(count)) + bytes(1024)

    def test_lists_a_hundred_thousand_members_quickly(self):
        tar = self.many(100_000)
        for name, content in (("many.tar", tar), ("many.tar.gz", gzip.compress(tar, 1)),
                              ("many.tar.bz2", bz2.compress(tar, 9)),
                              ("many.tar.xz", lzma.compress(tar, preset=0))):
            outcome = self.tarnis("list", name, content)
            self.assertEqual(outcome.status, 0, outcome.messages)
            self.assertEqual(outcome.output.count("\n"), 100_000)

    def test_extracts_a_solid_archive_in_one_pass(self):
        for name, content in (("many.tar.gz", gzip.compress(self.many(20_000), 1)),
                              ("many.tar.bz2", bz2.compress(self.many(60_000), 9))):
            outcome = self.tarnis("container", name, content)
            self.assertEqual(outcome.status, 0, outcome.messages)
            self.assertEqual(outcome.output.count("hello"), 20_000 if name.endswith("gz") else 60_000)


if __name__ == "__main__":
    unittest.main()
