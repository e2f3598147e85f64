#!/usr/bin/env python3
"""Writes the archives of samples/: bundle.zip, .tar.gz, .7z and .cab, locked.7z, note.txt.gz.

7z (p7zip-full) writes the .7z files; bundle.cab is written by hand, as no Debian package writes cabinets
that are compressed.
"""

import gzip
import io
import os
import struct
import subprocess
import tarfile
import tempfile
import zipfile
import zlib

SAMPLES = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
TIME = (2024, 5, 17, 10, 30, 0)
SECONDS = 1715941800
NOTE = b"Bring the blue folder on Friday.\nThe meeting is in room 12.\n"


def sample(name):
    with open(os.path.join(SAMPLES, name), "rb") as file:
        return file.read()


def write(name, content):
    with open(os.path.join(SAMPLES, name), "wb") as file:
        file.write(content)


def zip_of(members):
    out = io.BytesIO()
    with zipfile.ZipFile(out, "w", zipfile.ZIP_DEFLATED) as archive:
        archive.comment = b"Papers for Friday"
        for name, content in members:
            archive.writestr(zipfile.ZipInfo(name, TIME), content, zipfile.ZIP_DEFLATED)
    return out.getvalue()


def tar_of(members):
    out = io.BytesIO()
    with tarfile.open(fileobj=out, mode="w", format=tarfile.USTAR_FORMAT) as archive:
        for name, content in members:
            entry = tarfile.TarInfo(name)
            entry.mtime = SECONDS
            if name.endswith("/"):
                entry.type, entry.mode = tarfile.DIRTYPE, 0o755
            entry.size = len(content)
            archive.addfile(entry, io.BytesIO(content))
        link = tarfile.TarInfo("papers/latest.txt")
        link.type, link.linkname, link.mtime = tarfile.SYMTYPE, "note.txt", SECONDS
        archive.addfile(link)
    return out.getvalue()


def seven_zip(name, members, *options):
    with tempfile.TemporaryDirectory() as folder:
        for member, content in members:
            path = os.path.join(folder, member)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as file:
                file.write(content)
            os.utime(path, (SECONDS, SECONDS))
        result = os.path.join(folder, "result.7z")
        subprocess.run(["7z", "a", "-bd", "-mtc=off", "-mta=off", *options, result,
                        *sorted({m.split("/")[0] for m, _ in members})],
                       cwd=folder, check=True, stdout=subprocess.DEVNULL)
        with open(result, "rb") as file:
            write(name, file.read())


def checksum_of_cabinet_data(data, packed, unpacked):
    """[MS-CAB] 3.1: exclusive or of 32-bit words, what is left in reversed order."""
    value = 0
    for block in (data, struct.pack("<HH", packed, unpacked)):
        whole = len(block) // 4 * 4
        for (word,) in struct.iter_unpack("<I", block[:whole]):
            value ^= word
        rest = block[whole:]
        value ^= int.from_bytes(rest, "big") if rest else 0
    return value


def cabinet_of(members):
    """One MSZIP folder, [MS-CAB] and [MS-MCI]."""
    content = b"".join(data for _, data in members)
    blocks = []
    history = b""
    for at in range(0, len(content), 32768):
        piece = content[at:at + 32768]
        packer = zlib.compressobj(9, zlib.DEFLATED, -15, zdict=history) if history else \
            zlib.compressobj(9, zlib.DEFLATED, -15)
        packed = b"CK" + packer.compress(piece) + packer.flush()
        blocks.append(struct.pack("<IHH", checksum_of_cabinet_data(packed, len(packed), len(piece)),
                                  len(packed), len(piece)) + packed)
        history = piece
    date = (TIME[0] - 1980) << 9 | TIME[1] << 5 | TIME[2]
    time = TIME[3] << 11 | TIME[4] << 5 | TIME[5] // 2
    files, offset = b"", 0
    for name, data in members:
        files += struct.pack("<IIHHHH", len(data), offset, 0, date, time, 0x20) + \
            name.replace("/", "\\").encode("ascii") + b"\0"
        offset += len(data)
    first_file = 36 + 8
    first_block = first_file + len(files)
    size = first_block + sum(map(len, blocks))
    header = struct.pack("<4sIIIIIBBHHHHH", b"MSCF", 0, size, 0, first_file, 0, 3, 1, 1, len(members),
                         0, 1, 0)
    return header + struct.pack("<IHH", first_block, len(blocks), 1) + files + b"".join(blocks)


def main():
    inner = zip_of([("inner.txt", b"A note in an archive in an archive.\n")])
    members = [("papers/note.txt", NOTE), ("papers/letter.docx", sample("letter.docx")),
               ("papers/form.pdf", sample("form.pdf")), ("inner.zip", inner)]
    write("bundle.zip", zip_of(members + [("papers/post.eml", sample("post.eml"))]))
    write("bundle.tar.gz", gzip.compress(tar_of([("papers/", b"")] + members), mtime=SECONDS))
    seven_zip("bundle.7z", members)
    seven_zip("locked.7z", members[:1], "-psecret", "-mhe=on")
    write("bundle.cab", cabinet_of(members))
    packed = io.BytesIO()
    with gzip.GzipFile("note.txt", "wb", fileobj=packed, mtime=SECONDS) as file:
        file.write(NOTE)
    write("note.txt.gz", packed.getvalue())


if __name__ == "__main__":
    main()
