#!/usr/bin/env python3
"""Writes samples/protected.pdf, which everybody may read, and samples/locked.pdf, which needs the password
"sésame" (or its owner's, "aladdin")."""

import os

from pdf_file import PdfFile, show


def main():
    folder = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    for name, password in (("protected.pdf", ""), ("locked.pdf", "sésame")):
        document = PdfFile()
        document.page(show(72, 700, "Open, and read what is inside."))
        with open(os.path.join(folder, name), "wb") as file:
            file.write(document.bytes(password, "aladdin"))


if __name__ == "__main__":
    main()
