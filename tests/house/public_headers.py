#!/usr/bin/env python3
"""Checks that every public header compiles alone, as C++17, and the engine's interface as C11 too."""

import argparse
import concurrent.futures
import glob
import os
import subprocess
import sys

WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only", "-I."]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--compiler", required=True)
    compiler = parser.parse_args().compiler
    headers = sorted(path for folder in ("api", "wrapper", "bufferstream")
                     for path in glob.glob(f"{folder}/*.h"))
    runs = [(path, [compiler, "-std=c++17", "-x", "c++"]) for path in headers]
    runs.append(("api/engine_abi.h", ["gcc", "-std=c11", "-x", "c"]))

    def compiled(run):
        path, command = run
        # Included, and not compiled as the main file, where an include guard has nothing to say.
        source = f'#include "{path}"\n#include "{path}"\n'
        result = subprocess.run(command + WARNINGS + ["-"], input=source, capture_output=True,
                                text=True, check=False)
        return None if result.returncode == 0 else f"{path}:\n{result.stderr}"

    with concurrent.futures.ThreadPoolExecutor(max_workers=os.cpu_count()) as pool:
        failures = [failure for failure in pool.map(compiled, runs) if failure]
    print("\n".join(failures) or f"{len(runs)} headers compile alone")
    return 1 if failures or not headers else 0


if __name__ == "__main__":
    sys.exit(main())
