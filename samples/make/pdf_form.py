#!/usr/bin/env python3
"""Writes samples/form.pdf: a form with values, remarks, layers, invisible text, other scripts."""

import os

from pdf_file import PdfFile, literal, show, text_string

HERE = os.path.dirname(os.path.abspath(__file__))
# In logical order; drawn from right to left.
HEBREW = "שלום (עולם) 2024"
ARABIC = "مرحبا"


def right_to_left(document, name, text, x, y, size):
    """Content that shows a right-to-left line ending at `x`, each letter where it is seen; digits keep
    their direction."""
    visual = text[::-1]
    for number in [part for part in text.split() if part.isdigit()]:
        visual = visual.replace(number[::-1], number)
    visual = visual.translate(str.maketrans("()", ")("))
    letters = "".join(dict.fromkeys(visual.replace(" ", "")))
    document.fonts += b"/%s %d 0 R" % (name.encode(), document.unicode_font(letters))
    out, at = b"", x - len(visual) * size / 2
    for character in visual:
        if character != " ":
            code = letters.index(character) + 1
            out += b"BT /%s %g Tf %g %g Td <%04X> Tj ET\n" % (name.encode(), size, at, y, code)
        at += size / 2
    return out


def main():
    document = PdfFile()
    appearance = [document.stream(b"/Tx BMC q BT /F1 10 Tf 2 4 Td %s Tj ET Q EMC" % literal(text),
                                  b"/Type/XObject/Subtype/Form/BBox[0 0 200 16]/Resources<</Font<</F1 3 0 R>>>>")
                  for text in ("Ada Lovelace", "Analytical engines", "This is free text.")]
    field = (b"<</Type/Annot/Subtype/Widget/FT/Tx/T(%s)/V(%s)/F 4/Rect[160 %d 360 %d]/DA(/F1 10 Tf 0 g)/AP<</N %d 0 R>>>>")
    name = document.add(field % (b"name", b"Ada Lovelace", 696, 712, appearance[0]))
    subject = document.add(field % (b"subject", b"Analytical engines", 676, 692, appearance[1]))
    free = document.add(b"<</Type/Annot/Subtype/FreeText/Contents(This is free text.)/F 4/Rect[72 640 272 656]"
                        b"/DA(/F1 10 Tf)/AP<</N %d 0 R>>>>" % appearance[2])
    note = document.add(b"<</Type/Annot/Subtype/Text/T(Reviewer)/Contents%s/F 4/Rect[400 700 420 720]>>"
                        % text_string("Who checks this?\rNobody – yet."))
    highlight = document.add(b"<</Type/Annot/Subtype/Highlight/Contents(A good word.)/F 4/Rect[72 700 120 712]"
                             b"/QuadPoints[72 712 120 712 72 700 120 700]>>")
    shown = document.add(b"<</Type/OCG/Name(Shown)>>")
    hidden = document.add(b"<</Type/OCG/Name(Hidden)>>")
    document.catalog = (b"/AcroForm<</Fields[%d 0 R %d 0 R]/DR<</Font<</F1 3 0 R>>>>>>"
                        b"/OCProperties<</OCGs[%d 0 R %d 0 R]/D<</ON[%d 0 R]/OFF[%d 0 R]>>>>"
                        % (name, subject, shown, hidden, shown, hidden))
    hebrew = right_to_left(document, "F2", HEBREW, 540, 600, 12)
    arabic = right_to_left(document, "F3", ARABIC, 540, 580, 12)
    ligatures = "ofice ﬁnds ﬂour"
    document.fonts += b"/F4 %d 0 R" % document.unicode_font(ligatures.replace("ofice", "oﬃce"))
    codes = b"".join(b"%04X" % (i + 1) for i in range(len("oﬃce ﬁnds ﬂour")))
    content = [show(72, 700, "Name:"), show(72, 680, "Subject:"),
               hebrew, arabic,
               b"BT /F4 12 Tf 72 560 Td <%s> Tj ET\n" % codes,
               b"BT 3 Tr /F1 10 Tf 72 540 Td (Recognised under a picture) Tj ET\n",
               b"/OC /Shown BDC BT 0 Tr /F1 10 Tf 72 520 Td (On a layer that is shown) Tj ET EMC\n",
               b"/OC /Hidden BDC BT /F1 10 Tf 72 500 Td (On a layer that is hidden) Tj ET EMC\n",
               b"BT /F1 10 Tf 72 480 Td (Divided at a soft hy) Tj /Span<</ActualText<FEFF00AD>>>BDC (-) Tj EMC "
               b"0 -12 Td (phen.) Tj ET\n",
               b"BT /F1 10 Tf 72 440 Td (caf) Tj (e) Tj 14.4 0.5 Td (\xb4) Tj ET\n"]
    document.page(b"".join(content),
                  b"/Annots[%s]" % b" ".join(b"%d 0 R" % n for n in (name, subject, free, note, highlight)),
                  b"/Properties<</Shown %d 0 R/Hidden %d 0 R>>" % (shown, hidden))
    with open(os.path.join(HERE, "..", "form.pdf"), "wb") as file:
        file.write(document.bytes())


if __name__ == "__main__":
    main()
