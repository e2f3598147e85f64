#!/usr/bin/env python3
"""Writes samples/columns.pdf: pages whose content stream is not in reading order."""

import os

from pdf_file import PdfFile, literal, show, text_string

LEFT = ["The left column tells how the ferry came to the island in the",
        "early morning, when the fishing boats were still out and the",
        "harbour lay empty but for two yachts that had waited there",
        "for better weather since the beginning of the week. Nobody",
        "had seen their owners, and nobody had asked. At ten the",
        "shop opened, late as ever on Tuesdays, and the first of the",
        "passengers walked up the hill to the old lighthouse."]
RIGHT = ["The right column goes on after the left one has come to its",
         "end. From the lighthouse one saw the mainland, a thin line",
         "under the clouds, and the second ferry, which would be the",
         "last one of the day. The keeper sold coffee and postcards",
         "from a window of his kitchen; the lamp itself had been dark",
         "for thirty years. He did not miss it, he said, but he kept",
         "the lens clean all the same."]
TABLE = [["Station", "Opened", "Closed"], ["North Quay", "1871", "1964"], ["Mill Lane", "1874", "1931"],
         ["Hill Top", "1880", "1964"], ["Lighthouse", "1902", "1950"]]


def column(lines, x, y):
    return b"".join(show(x, y - 12 * row, line, 9) for row, line in enumerate(lines))


def main():
    document = PdfFile()
    document.information = (b"<</Title%s/Author%s/Subject(Reading order)/Keywords(columns, tables)"
                            b"/Creator(A typesetter)/Producer(pdf_file)/CreationDate(D:20240229123000+01'30')"
                            b"/ModDate(D:20240301000000Z)/Shelf(B 7)>>" % (text_string("Two columns"), text_string("Żaneta Ångström")))
    document.catalog = b"/Lang(en-GB)"
    # Columns one after the other; the running title and the page number are drawn last.
    document.page(column(LEFT, 54, 700) + column(RIGHT, 324, 700) +
                  show(54, 760, "Island Journal") + show(300, 40, "1"))
    # The same drawn line by line across both columns, the number first.
    across = b"".join(show(54, 700 - 12 * row, left, 9) + show(324, 700 - 12 * row, right, 9)
                      for row, (left, right) in enumerate(zip(LEFT, RIGHT)))
    document.page(show(300, 40, "2") + across)
    # A table that is drawn column by column, below its title.
    cells = b"".join(show(72 + 140 * number, 680 - 16 * row, cells[number])
                     for number in range(3) for row, cells in enumerate(TABLE))
    document.page(show(72, 720, "Stations of the island railway", 14) + cells)
    # A page on its side, with a line that is turned against it, and a line that is struck out bold.
    bold = b"".join(b"BT /F1 12 Tf %g 500 Td %s Tj ET\n" % (72 + shift, literal("Printed bold by printing it twice"))
                    for shift in (0, 0.3))
    letters = b"BT /F1 12 Tf 72 480 Td " + b"".join(
        b"%s Tj %g 0 Td %s Tj %g 0 Td " % (literal(letter), 0.2, literal(letter), advance)
        for letter, advance in (("B", 7.804), ("o", 6.472), ("l", 2.464), ("d", 6.472))) + b"ET\n"
    turned = b"BT /F1 9 Tf 0 1 -1 0 40 200 Tm %s Tj ET\n" % literal("Turned against the page")
    document.page(turned + bold + letters + show(72, 460, "Page on its side"), b"/Rotate 90", box=(0, 0, 792, 612))
    with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "columns.pdf"), "wb") as file:
        file.write(document.bytes())


if __name__ == "__main__":
    main()
