#!/usr/bin/env python3
"""Writes html_entities.inc: the named character references of the HTML standard, sorted by name."""
import os
from html.entities import html5

PER_LINE = 4


def literal(text):
    return '"' + "".join("\\x%02x" % byte for byte in text.encode()) + '"'


def main():
    with_semicolon = sorted(name[:-1] for name in html5 if name.endswith(";"))
    legacy = {name for name in html5 if not name.endswith(";")}
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "html_entities.inc")
    with open(path, "w", encoding="ascii") as out:
        out.write("// Written by make_entities.py: {name, UTF-8, whether it counts without its semicolon}.\n")
        for at in range(0, len(with_semicolon), PER_LINE):
            row = with_semicolon[at : at + PER_LINE]
            out.write(
                " ".join(
                    '{"%s", %s, %s},'
                    % (name, literal(html5[name + ";"]), "true" if name in legacy else "false")
                    for name in row
                )
                + "\n"
            )


if __name__ == "__main__":
    main()
