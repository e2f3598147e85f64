#!/usr/bin/env python3
"""Writes samples/invitation.msg, an Outlook message with recipients, a body in HTML and in plain text and
attachments, one of them a message, and samples/winmail.dat, the same message as a TNEF stream."""

import os
import struct

from compound_file import Storage, compound_file

STRING, BINARY, INTEGER, TIME, OBJECT = 0x1F, 0x102, 0x03, 0x40, 0x0D
SENT = 134_219_844_000_000_000  # in ticks of 100 nanoseconds since 1601

BODY = ("Dear friends,\r\n\r\nthe garden opens again on the first of May. "
        "Bring seeds, gloves and your M\u00fctze.\r\n\r\nVera\r\n")
HTML = ("<html><body><p>Dear friends,</p><p>the garden opens <b>again</b> on the first of May. "
        "Bring seeds, gloves and your M&uuml;tze.</p><p>Vera</p></body></html>").encode("ascii")


def text(value):
    return value.encode("utf-16-le")


def person(kind, name, address):
    return [(0x0C15, INTEGER, kind), (0x3001, STRING, text(name)), (0x3002, STRING, text("SMTP")),
            (0x3003, STRING, text(address))]


RECIPIENTS = [person(1, "Ivo Blum", "ivo@garden.example"), person(1, "Ana Ruiz", "ana@garden.example"),
              person(2, "Office", "office@garden.example")]
MESSAGE = [(0x001A, STRING, text("IPM.Note")), (0x0037, STRING, text("Opening of the garden")),
           (0x0039, TIME, SENT), (0x0042, STRING, text("Vera Holm")), (0x0064, STRING, text("SMTP")),
           (0x0065, STRING, text("vera@garden.example")), (0x1000, STRING, text(BODY)),
           (0x1013, BINARY, HTML), (0x3FDE, INTEGER, 20127)]
LIST = "Tools that are in the shed:\r\n- two spades\r\n- one rake\r\n".encode("ascii")
ANSWER = [(0x001A, STRING, text("IPM.Note")), (0x0037, STRING, text("Re: Seeds")),
          (0x0042, STRING, text("Ana Ruiz")), (0x1000, STRING, text("I have beans and peas.\r\n"))]


def attached_file(name, data):
    return [(0x3705, INTEGER, 1), (0x3707, STRING, text(name)), (0x3701, BINARY, data)]


def attached_message(name):
    return [(0x3705, INTEGER, 5), (0x3001, STRING, text(name))]


def storage(properties, head):
    """The streams of an object's properties."""
    entries, streams = bytes(head), {}
    for number, kind, value in properties:
        tag = number << 16 | kind
        if isinstance(value, bytes):
            streams[f"__substg1.0_{tag:08X}"] = value
            value = len(value) + (2 if kind == STRING else 0)
        entries += struct.pack("<IIQ", tag, 6, value)
    streams["__properties_version1.0"] = entries
    return Storage(streams)


def outlook_message():
    root = storage(MESSAGE, 32)
    for number, recipient in enumerate(RECIPIENTS):
        root.entries[f"__recip_version1.0_#{number:08X}"] = storage(recipient, 8)
    first = storage(attached_file("tools.txt", LIST), 8)
    second = storage(attached_message("Re: Seeds"), 8)
    second.entries["__substg1.0_3701000D"] = storage(ANSWER, 24)
    root.entries["__attach_version1.0_#00000000"] = first
    root.entries["__attach_version1.0_#00000001"] = second
    root.entries["__nameid_version1.0"] = Storage({f"__substg1.0_000{i}0102": b"" for i in (2, 3, 4)})
    return compound_file(root)


def attribute(level, number, data):
    return struct.pack("<BII", level, number, len(data)) + data + struct.pack("<H", sum(data) & 0xFFFF)


def properties(values):
    data = struct.pack("<I", len(values))
    for number, kind, value in values:
        data += struct.pack("<HH", kind, number)
        if isinstance(value, bytes):
            data += struct.pack("<II", 1, len(value)) + value + b"\0" * (-len(value) % 4)
        else:
            data += struct.pack("<Q" if kind == TIME else "<I", value)
    return data


def tnef(*attributes):
    return struct.pack("<IH", 0x223E9F78, 1) + b"".join(attributes)


def winmail():
    interface = struct.pack("<IHH8B", 0x00020307, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46)
    answer = tnef(attribute(1, 0x00069003, properties(ANSWER)))
    people = struct.pack("<I", len(RECIPIENTS)) + b"".join(properties(person) for person in RECIPIENTS)
    return tnef(
        attribute(1, 0x00089006, struct.pack("<I", 0x10000)), attribute(1, 0x00069007, struct.pack("<II", 1252, 0)),
        attribute(1, 0x00078008, b"IPM.Microsoft Mail.Note\0"), attribute(1, 0x00069004, people),
        attribute(1, 0x00069003, properties(MESSAGE)),
        attribute(2, 0x00069002, struct.pack("<HIHHI", 1, 0xFFFFFFFF, 32, 32, 0)),
        attribute(2, 0x00018010, b"TOOLS.TXT\0"), attribute(2, 0x0006800F, LIST),
        attribute(2, 0x00069005, properties([(0x3707, STRING, text("tools.txt"))])),
        attribute(2, 0x00069002, struct.pack("<HIHHI", 1, 0xFFFFFFFF, 32, 32, 0)),
        attribute(2, 0x00069005, properties(attached_message("Re: Seeds") + [(0x3701, OBJECT, interface + answer)])))


def main():
    folder = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    for name, data in (("invitation.msg", outlook_message()), ("winmail.dat", winmail())):
        with open(os.path.join(folder, name), "wb") as file:
            file.write(data)


if __name__ == "__main__":
    main()
