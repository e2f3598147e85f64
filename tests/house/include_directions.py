#!/usr/bin/env python3
"""Checks which folder may include which: the dependencies of the house point one way."""

import os
import re
import sys

# Folder: what its files may include of the project besides what lies in the folder itself. The first
# prefix that fits a file rules it.
ALLOWED = [
    ("bufferstream/", []),
    ("api/", []),
    ("wrapper/", ["api/", "bufferstream/"]),
    ("cli/", ["wrapper/", "api/"]),
    ("engine/core/", ["engine/readers/readers.def"]),
    ("engine/abi/", ["engine/core/", "engine/opening/", "engine/worker/", "api/engine_abi.h"]),
    ("engine/opening/", ["engine/core/", "engine/detect/"]),
    ("engine/worker/", ["engine/core/", "engine/opening/"]),
    ("engine/detect/", ["engine/core/", "engine/compound/compound_sectors.h"]),
    # The numbers of character sets are the binary interface's.
    ("engine/charset/", ["engine/core/", "api/engine_abi.h"]),
    ("engine/html/", ["engine/charset/", "engine/core/"]),
    ("engine/xml/", ["engine/html/", "engine/charset/", "engine/core/"]),
    ("engine/zip/", ["engine/core/"]),
    ("engine/members/", ["engine/charset/", "engine/core/"]),
    ("engine/compound/", ["engine/charset/", "engine/core/"]),
    ("engine/office_crypt/", ["engine/xml/", "engine/core/"]),
    ("engine/word/", ["engine/charset/", "engine/core/"]),
    ("engine/cad/", ["engine/charset/", "engine/core/"]),
    ("engine/mail/", ["engine/html/", "engine/charset/", "engine/core/"]),
    ("engine/mapi/", ["engine/mail/", "engine/compound/", "engine/charset/", "engine/core/"]),
    ("engine/opc/", ["engine/xml/", "engine/zip/", "engine/core/"]),
    ("engine/spreadsheet/", ["engine/core/"]),
    ("engine/drawing/", ["engine/spreadsheet/", "engine/opc/", "engine/xml/", "engine/zip/",
                         "engine/core/"]),
    # A reader knows what readers share, and no other reader.
    ("engine/readers/", ["engine/core/", "engine/charset/", "engine/html/", "engine/xml/",
                         "engine/zip/", "engine/opc/", "engine/spreadsheet/", "engine/drawing/",
                         "engine/members/", "engine/compound/", "engine/mail/", "engine/mapi/",
                         "engine/office_crypt/", "engine/office_art/", "engine/word/", "engine/cad/",
                         "engine/detect/detect.h"]),
    # The scripted engine is written from the binary interface alone.
    ("tests/scripted_engine/", []),
]
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
SYSTEM = re.compile(r"^\s*#\s*include\s+<([^>]+)>", re.MULTILINE)
PLAIN_C = {"stddef.h", "stdint.h"}


def sources():
    for top in ("api", "wrapper", "bufferstream", "engine", "cli", "tests"):
        for folder, _, names in os.walk(top):
            for name in names:
                if name.endswith((".h", ".cpp", ".inc", ".c")):
                    yield os.path.join(folder, name).replace(os.sep, "/")


def reader_of(path):
    """engine/readers/xlsx_cells.h -> the readers it may belong to: xlsx_cells, xlsx."""
    stem = os.path.splitext(os.path.basename(path))[0]
    words = stem.split("_")
    return {"_".join(words[:count]) for count in range(1, len(words) + 1)}


def allowed(path, included):
    for prefix, folders in ALLOWED:
        if not path.startswith(prefix):
            continue
        if any(included.startswith(folder) for folder in folders):
            return True
        if included.startswith(prefix) and prefix != "engine/readers/":
            return True
        # Within a folder of the engine, and within the files of one reader.
        if included.startswith("engine/readers/"):
            return path.startswith("engine/readers/") and bool(
                reader_of(path) & reader_of(included))
        return os.path.dirname(included) == os.path.dirname(path)
    return True


def main():
    failures = []
    for path in sources():
        with open(path, encoding="utf-8") as file:
            text = file.read()
        for included in INCLUDE.findall(text):
            if not allowed(path, included):
                failures.append(f"{path} must not include {included}")
        if path == "api/engine_abi.h":
            for included in SYSTEM.findall(text):
                if included not in PLAIN_C:
                    failures.append(f"{path} is plain C and must not include <{included}>")
    print("\n".join(failures) or "all includes point the right way")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
