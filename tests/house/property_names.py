#!/usr/bin/env python3
"""Compares the names in engine/core/property_names.h with the table of docs/properties.md, and keeps readers
from adding a property of that table by a name of their own spelling."""

import pathlib
import re
import sys

CONSTANT = re.compile(r'inline constexpr std::string_view \w+\s*=\s*"(\w+)";')
ROW = re.compile(r"^\| `(\w+)` \|", re.MULTILINE)
ADDED = re.compile(r'properties_?(?:\.|->)add\("(\w+)"')


def main():
    header = pathlib.Path("engine/core/property_names.h").read_text(encoding="utf-8")
    names = CONSTANT.findall(header)
    documented = ROW.findall(pathlib.Path("docs/properties.md").read_text(encoding="utf-8"))
    problems = []
    if len(names) < 10:
        problems.append("the header's constants are not found")
    if names != documented:
        for name in names:
            if name not in documented:
                problems.append(f"docs/properties.md lacks {name}")
        for name in documented:
            if name not in names:
                problems.append(f"docs/properties.md has {name}, which no constant names")
        if not problems:
            problems.append("the header and docs/properties.md list the names in different orders")
    for name in sorted({name for name in names if names.count(name) > 1}):
        problems.append(f"{name} stands twice in the header")
    for path in sorted(pathlib.Path("engine").rglob("*.cpp")):
        for name in ADDED.findall(path.read_text(encoding="utf-8")):
            if name in names:
                problems.append(f'{path}: "{name}" instead of its constant')
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
