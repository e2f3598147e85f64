#!/usr/bin/env python3
"""Checks what the shared libraries export: their interface, and nothing else."""

import argparse
import os
import re
import subprocess
import sys

ENGINE = {"TR_GetFilterInterfaceEx", "TRGetExtractInterface"}
# Names of the library's namespaces: functions and data, and what the compiler makes for their classes.
LIBRARY = re.compile(r"^_Z(NK?|T[ISVT]N|Thn[0-9]+_NK?)(6tarnis|6ostrel)")
# What a reader module offers: its readers, or the fallback of detection.
MODULE = re.compile(r"^trfilter_(reader_[a-z0-9_]+|[a-z_]+)$")
# What sanitizers add to every library.
SANITIZER = re.compile(r"^(__(asan|odr|ubsan|sanitizer)|_ZN?[0-9]*__(asan|ubsan))")


def exported(path):
    output = subprocess.run(["nm", "-D", "--defined-only", "--format=posix", path],
                            capture_output=True, text=True, check=True).stdout
    names = {line.split()[0].split("@")[0] for line in output.splitlines()}
    return {name for name in names if not SANITIZER.match(name)}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--library", required=True)
    parser.add_argument("--engine", required=True)
    parser.add_argument("--readers", required=True)
    arguments = parser.parse_args()
    failures = []

    engine = exported(arguments.engine)
    if engine != ENGINE:
        failures.append(f"trfilter.so exports {sorted(engine ^ ENGINE)} too many or too few")
    library = exported(arguments.library)
    failures += [f"libtrfilterwrapper.so exports {name}" for name in sorted(library)
                 if not LIBRARY.match(name)]
    for needed in ("_ZN6tarnis2v17SessionC1ENSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
                   "bNS0_13ConfigurationE",
                   "_ZN6tarnis2v111error_namesE"):
        if needed not in library:
            failures.append(f"libtrfilterwrapper.so lacks {needed}")
    modules = [name for name in os.listdir(arguments.readers) if name.endswith(".so")]
    if not modules:
        failures.append("there are no reader modules")
    for module in modules:
        names = exported(os.path.join(arguments.readers, module))
        failures += [f"{module} exports {name}" for name in sorted(names) if not MODULE.match(name)]
        if not names:
            failures.append(f"{module} exports nothing")
    print("\n".join(failures) or "every library exports its interface alone")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
