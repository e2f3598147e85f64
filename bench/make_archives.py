#!/usr/bin/env python3
"""Writes the archives that bench/containers.sh measures, each once: 10,000 files of one to sixteen
kilobytes in a hundred folders, deterministic, from the standard library alone."""

import io
import os
import random
import sys
import tarfile
import zipfile

from make_documents import sentence

FILES = 10_000


def members():
    chance = random.Random(4)
    text = " ".join(sentence(chance) for _ in range(20_000)).encode()
    for number in range(FILES):
        size = chance.randint(1 << 10, 16 << 10)
        begin = chance.randint(0, len(text) - size)
        yield f"folder{number % 100:02}/document{number:05}.txt", text[begin:begin + size]


def main(folder):
    path = os.path.join(folder, "files.zip")
    if not os.path.exists(path):
        with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as archive:
            for name, content in members():
                archive.writestr(name, content)
    path = os.path.join(folder, "files.tar.gz")
    if not os.path.exists(path):
        with tarfile.open(path, "w:gz", compresslevel=6) as archive:
            for name, content in members():
                entry = tarfile.TarInfo(name)
                entry.size = len(content)
                archive.addfile(entry, io.BytesIO(content))


if __name__ == "__main__":
    main(sys.argv[1])
