#!/usr/bin/env python3
"""Checks that every source is as clang-format leaves it."""

import os
import subprocess
import sys


def main():
    sources = [os.path.join(folder, name)
               for top in ("api", "wrapper", "bufferstream", "engine", "cli", "tests", "bench")
               for folder, _, names in os.walk(top)
               for name in names if name.endswith((".h", ".cpp"))]
    run = subprocess.run(["clang-format", "--dry-run", "--Werror", *sources], check=False)
    return run.returncode


if __name__ == "__main__":
    sys.exit(main())
