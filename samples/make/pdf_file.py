"""A small writer of PDF files for the samples and the measurements beside: objects, pages, compressed
streams and the oldest encryption, nothing of it depending on the time of day."""

import hashlib
import zlib

HELVETICA = (
    "278 278 355 556 556 889 667 191 333 333 389 584 278 333 278 278 "
    "556 556 556 556 556 556 556 556 556 556 278 278 584 584 584 556 "
    "1015 667 667 722 722 667 611 778 722 278 500 667 556 833 722 778 "
    "667 778 722 667 611 722 667 944 667 667 611 278 278 278 469 556 "
    "333 556 556 500 556 556 278 556 556 222 222 500 222 833 556 556 "
    "556 556 333 500 278 556 500 722 500 500 500 334 260 334 584")
WIDTHS = {chr(32 + i): int(width) for i, width in enumerate(HELVETICA.split())}
PADDING = bytes.fromhex("28BF4E5E4E758A4164004E56FFFA01082E2E00B6D0683E802F0CA9FE6453697A")


def width(text, size):
    """Of Helvetica, in points."""
    return sum(WIDTHS[character] for character in text) * size / 1000


def literal(text):
    """A string object of text for fonts in WinAnsi encoding."""
    return escaped(text.encode("cp1252"))


def text_string(text):
    """A string object of text for people."""
    return escaped(text.encode() if text.isascii() else b"\xfe\xff" + text.encode("utf-16-be"))


def escaped(data):
    for special in (b"\\", b"(", b")"):
        data = data.replace(special, b"\\" + special)
    return b"(" + data.replace(b"\r", b"\\r").replace(b"\n", b"\\n") + b")"


def show(x, y, text, size=10, font="F1"):
    """Content that shows one line."""
    return b"BT /%s %g Tf %g %g Td %s Tj ET\n" % (font.encode(), size, x, y, literal(text))


def rc4(key, data):
    state = list(range(256))
    j = 0
    for i in range(256):
        j = (j + state[i] + key[i % len(key)]) & 255
        state[i], state[j] = state[j], state[i]
    out = bytearray()
    i = j = 0
    for byte in data:
        i = (i + 1) & 255
        j = (j + state[i]) & 255
        state[i], state[j] = state[j], state[i]
        out.append(byte ^ state[(state[i] + state[j]) & 255])
    return bytes(out)


class PdfFile:
    """Objects are numbered as they come; 1 is the catalog, 2 the page tree, 3 Helvetica."""

    def __init__(self, compress=True):
        self.compress = compress
        self.objects = [b"", b"", b"<</Type/Font/Subtype/Type1/BaseFont/Helvetica/Encoding/WinAnsiEncoding>>"]
        self.streams = {}
        self.pages = []
        self.catalog = b""
        self.information = None
        self.fonts = b"/F1 3 0 R"

    def add(self, body):
        """@return the object's number"""
        self.objects.append(body)
        return len(self.objects)

    def stream(self, data, entries=b""):
        if self.compress:
            data = zlib.compress(data, 6)
            entries += b"/Filter/FlateDecode"
        number = self.add(b"<<%s/Length %d>>" % (entries, len(data)))
        self.streams[number] = data
        return number

    def page(self, content, entries=b"", resources=b"", box=(0, 0, 612, 792)):
        """`entries` and `resources` are added to the page's and its resources' dictionary."""
        number = self.stream(content)
        page = self.add(b"<</Type/Page/Parent 2 0 R/MediaBox[%g %g %g %g]/Contents %d 0 R"
                        b"/Resources<</Font<<%s>>%s>>%s>>" % (*box, number, self.fonts, resources, entries))
        self.pages.append(page)
        return page

    def unicode_font(self, text, width=500):
        """A font of two-byte codes without outlines: code i + 1 is character i of `text`, and all are
        `width` wide. @return its object number"""
        pairs = b"".join(b"<%04X> <%s>\n" % (i + 1, character.encode("utf-16-be").hex().encode())
                         for i, character in enumerate(text))
        table = self.stream(b"/CIDInit /ProcSet findresource begin 12 dict begin begincmap\n"
                            b"/CMapName /Map def /CMapType 2 def\n"
                            b"1 begincodespacerange <0000> <FFFF> endcodespacerange\n"
                            b"%d beginbfchar\n%sendbfchar\nendcmap end end\n" % (len(text), pairs))
        descendant = self.add(b"<</Type/Font/Subtype/CIDFontType2/BaseFont/Plain/DW %d/CIDSystemInfo"
                              b"<</Registry(Adobe)/Ordering(Identity)/Supplement 0>>>>" % width)
        return self.add(b"<</Type/Font/Subtype/Type0/BaseFont/Plain/Encoding/Identity-H"
                        b"/DescendantFonts[%d 0 R]/ToUnicode %d 0 R>>" % (descendant, table))

    def bytes(self, user_password=None, owner_password=""):
        """The file; encrypted with RC4 of 40 bits when `user_password`, which may be empty, is given."""
        self.objects[0] = b"<</Type/Catalog/Pages 2 0 R%s>>" % self.catalog
        self.objects[1] = b"<</Type/Pages/Count %d/Kids[%s]>>" % (
            len(self.pages), b" ".join(b"%d 0 R" % page for page in self.pages))
        identifier = hashlib.md5(b"".join(self.objects)).digest()
        trailer = b"/Root 1 0 R/ID[<%s><%s>]" % ((identifier.hex().encode(),) * 2)
        if self.information is not None:
            trailer += b"/Info %d 0 R" % self.add(self.information)
        key = None
        if user_password is not None:
            user = (user_password.encode("latin-1") + PADDING)[:32]
            owner_key = hashlib.md5((owner_password.encode("latin-1") + PADDING)[:32]).digest()[:5]
            owner = rc4(owner_key, user)
            permissions = (-4).to_bytes(4, "little", signed=True)
            key = hashlib.md5(user + owner + permissions + identifier).digest()[:5]
            encrypt = self.add(b"<</Filter/Standard/V 1/R 2/P -4/O<%s>/U<%s>>>" % (
                owner.hex().encode(), rc4(key, PADDING).hex().encode()))
            trailer += b"/Encrypt %d 0 R" % encrypt

        out = bytearray(b"%PDF-1.6\n%\xe2\xe3\xcf\xd3\n")
        offsets = []
        for number, body in enumerate(self.objects, 1):
            offsets.append(len(out))
            out += b"%d 0 obj\n%s\n" % (number, body)
            if number in self.streams:
                data = self.streams[number]
                if key is not None:
                    data = rc4(hashlib.md5(key + number.to_bytes(3, "little") + b"\0\0").digest()[:10], data)
                out += b"stream\n" + data + b"\nendstream\n"
            out += b"endobj\n"
        start = len(out)
        out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(self.objects) + 1)
        out += b"".join(b"%010d 00000 n \n" % offset for offset in offsets)
        out += b"trailer\n<</Size %d%s>>\nstartxref\n%d\n%%%%EOF\n" % (len(self.objects) + 1, trailer, start)
        return bytes(out)
