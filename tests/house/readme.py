#!/usr/bin/env python3
"""Checks README.md against the product: the table of formats, the example, the exit statuses, the files.

With --example the first C++ program of README.md goes to standard output.
"""

import os
import re
import sys

ROW = re.compile(r"^READER\(([a-z0-9_]+), ([a-z0-9_]+), ([0-9, ]+)\)", re.MULTILINE)

# From here on the numbers are the engine's own: no user meets them.
UNNUMBERED = 65536


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def example():
    return re.search(r"```cpp\n(.*?)```", read("README.md"), re.DOTALL).group(1)


def main():
    if "--example" in sys.argv:
        print(example(), end="")
        return 0
    readme = read("README.md")
    failures = []
    promised = {}
    for line in readme.splitlines():
        cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
        match = re.fullmatch(r"`([a-z0-9_]+)`", cells[0])
        if match and len(cells) == 4:
            promised[match.group(1)] = (cells[2].strip("`"),
                                        {int(n) for n in re.findall(r"\d+", cells[3])})
    built = {name: (module, {int(n) for n in numbers.split(",")
                      if int(n) < UNNUMBERED})
             for name, module, numbers in ROW.findall(read("engine/readers/readers.def"))}
    for name in sorted(promised.keys() | built.keys()):
        if promised.get(name) != built.get(name):
            failures.append(f"reader {name}: README.md says {promised.get(name)}, "
                            f"readers.def says {built.get(name)}")
    lines = [line for line in example().splitlines() if line.strip()]
    if len(lines) > 25:
        failures.append(f"the example has {len(lines)} lines")
    for path in re.findall(r"\]\(((?!https?:)[^)#]+)\)", readme):
        if not os.path.exists(path):
            failures.append(f"README.md links to {path}, which is not there")
    print("\n".join(failures) or "README.md tells the truth")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
