#!/usr/bin/env python3
"""Checks where the programs and libraries of the build tree let the loader search for others: in absolute
folders or beside themselves. An empty or relative folder is the one that the program is run in, where
anybody's documents may lie, and with them libraries."""

import os
import re
import subprocess
import sys


def searched_folders(path):
    output = subprocess.run(["readelf", "-d", path], capture_output=True, text=True, check=False).stdout
    for folders in re.findall(r"\((?:RPATH|RUNPATH)\).*\[(.*)\]", output):
        yield from folders.split(":")


def binaries(root):
    for folder, _, names in os.walk(root):
        for name in names:
            path = os.path.join(folder, name)
            if not os.path.islink(path) and open(path, "rb").read(4) == b"\x7fELF":
                yield path


def main():
    found = [path for root in sys.argv[1:] for path in binaries(root)]
    failures = [f"{path} searches libraries in '{folder}'" for path in found
                for folder in searched_folders(path) if not folder.startswith(("/", "$ORIGIN"))]
    if not any(path.endswith("trfilter.so") for path in found):
        failures.append("the engine is not among " + ", ".join(sys.argv[1:]))
    if not any(os.path.basename(path) == "tarnis" for path in found):
        failures.append("the host program is not among " + ", ".join(sys.argv[1:]))
    print("\n".join(failures) or "no library is searched for where the program is run")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
