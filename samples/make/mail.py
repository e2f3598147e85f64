#!/usr/bin/env python3
"""Writes samples/post.eml, samples/garden.mbox and samples/page.mht: mail with what it may carry."""

import base64
import os
import struct
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))
SAMPLES = os.path.dirname(HERE)


def sample(name):
    with open(os.path.join(SAMPLES, name), "rb") as file:
        return file.read()


def write(name, text):
    with open(os.path.join(SAMPLES, name), "wb") as file:
        file.write(text if isinstance(text, bytes) else text.encode("utf-8"))


def picture():
    """A PNG of one green pixel."""

    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))

    header = struct.pack(">IIBBBBB", 1, 1, 8, 2, 0, 0, 0)
    pixels = zlib.compress(b"\0\0\xb0\x40", 9)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", pixels) + chunk(b"IEND", b"")


def base64_lines(data):
    return base64.encodebytes(data).decode("ascii").replace("\n", "\r\n")


def part(headers, body):
    return "\r\n".join(headers) + "\r\n\r\n" + body


def multipart(boundary, *parts):
    return "".join(f"--{boundary}\r\n{item}\r\n" for item in parts) + f"--{boundary}--\r\n"


def attachment(name, media_type, data, extra=()):
    return part(
        [
            f"Content-Type: {media_type}",
            "Content-Transfer-Encoding: base64",
            f"Content-Disposition: attachment; {name}",
            *extra,
        ],
        base64_lines(data),
    )


def post():
    plain = part(
        [
            "Content-Type: text/plain; charset=utf-8; format=flowed",
            "Content-Transfer-Encoding: quoted-printable",
        ],
        "Dear Bj=C3=B6rn,=20\r\nthe plums are ripe, and there are more of them than=20\r\n"
        "the two of us can eat.\r\n\r\n> Shall I come on Sunday?\r\n\r\nDo.\r\n\r\n-- =20\r\nAda\r\n",
    )
    page = part(
        ["Content-Type: text/html; charset=iso-8859-1", "Content-Transfer-Encoding: 8bit"],
        "<p>Dear Bj&ouml;rn, the plums are ripe.</p><img src=\"cid:plum@example.org\" alt=\"a plum\">",
    )
    shown = part(
        ["Content-Type: image/png; name=plum.png", "Content-ID: <plum@example.org>",
         "Content-Disposition: inline; filename=plum.png", "Content-Transfer-Encoding: base64"],
        base64_lines(picture()),
    )
    related = part(['Content-Type: multipart/related; boundary="related"'],
                   multipart("related", page, shown))
    forms = part(['Content-Type: multipart/alternative; boundary="forms"'],
                 multipart("forms", plain, related))
    forwarded = part(
        ["Content-Type: message/rfc822"],
        part(["From: Bjorn <bjorn@example.org>", "To: ada@example.org",
              "Date: Thu, 22 Aug 2024 20:15:00 +0200", "Subject: Sunday"],
             "Shall I come on Sunday?\r\n"),
    )
    message = part(
        [
            "Received: from garden.example.org by mail.example.org; Fri, 23 Aug 2024 09:30:05 +0200",
            "From: =?utf-8?Q?Ada_L=C3=B6v?= <ada@example.org>",
            'To: "Lind, =?iso-8859-1?Q?Bj=F6rn?=" <bjorn@example.org>,\r\n'
            " Orchard friends: cy@example.org, Di <di@example.org>;",
            "Cc: eve@example.org (Eve)",
            "Subject: =?utf-8?B?UmlwZSBwbHVtcyDwn42R?= and a\r\n letter",
            "Date: Fri, 23 Aug 2024 09:30:00 +0200",
            "Message-ID: <plums.1@example.org>",
            "In-Reply-To: <sunday@example.org>",
            "Importance: high",
            "MIME-Version: 1.0",
            'Content-Type: multipart/mixed; boundary="parts"',
        ],
        "This text is for programs that do not know MIME.\r\n"
        + multipart(
            "parts",
            forms,
            attachment("filename=letter.docx",
                       "application/vnd.openxmlformats-officedocument.wordprocessingml.document",
                       sample("letter.docx")),
            attachment("filename*0*=utf-8''Apfelkuchen%20f%C3%BCr;\r\n filename*1=\" Sonntag.pdf\"",
                       "application/pdf", sample("protected.pdf")),
            attachment("size=0", "image/png", picture()),
            forwarded,
        ),
    )
    write("post.eml", message)


def garden():
    messages = [
        "From ada@example.org Fri Aug 23 09:30:00 2024\n"
        "From: Ada <ada@example.org>\nTo: garden@example.org\nSubject: Plums\n"
        "Date: Fri, 23 Aug 2024 09:30:00 +0200\n\n"
        "They are ripe.\n\n>From tomorrow on I pick them.\nFrom the tree, that is.\n\n",
        "From cy@example.org Fri Aug 23 10:00:00 2024\n"
        "From: cy@example.org\nTo: garden@example.org\nSubject: =?utf-8?Q?Re:_Plums_=F0=9F=8D=91?=\n"
        "Date: Fri, 23 Aug 2024 10:00:00 +0200\n\n"
        "The list is here:\n\nbegin 644 list.txt\n.<&QU;7,@86YD(&IA;0H \n`\nend\n\nCy\n\n",
        "From di@example.org Fri Aug 23 11:00:00 2024\n"
        "From: di@example.org\nTo: garden@example.org\n"
        "Date: Fri, 23 Aug 2024 11:00:00 +0200\n\nI bring the sugar.\n",
    ]
    write("garden.mbox", "".join(messages))


def page():
    html = part(
        ["Content-Type: text/html; charset=windows-1252",
         "Content-Transfer-Encoding: quoted-printable",
         "Content-Location: https://example.org/garden/plums.html"],
        "<html><head><title>Plums</title><link rel=3Dstylesheet href=3D\"style.css\"></head>\r\n"
        "<body><h1>Plums =96 a guide</h1><p>Pick them when they =\r\nyield to the thumb.</p>"
        "<img src=3D\"green%20plum.png\" alt=3D\"a green plum\"></body></html>\r\n",
    )
    style = part(["Content-Type: text/css", "Content-Location: https://example.org/garden/style.css"],
                 "h1 { color: purple }\r\n")
    image = part(["Content-Type: image/png", "Content-Transfer-Encoding: base64",
                  "Content-Location: https://example.org/garden/green%20plum.png?size=1"],
                 base64_lines(picture()))
    write(
        "page.mht",
        part(
            ["From: <Saved by the gardener>", "Snapshot-Content-Location: https://example.org/garden/plums.html",
             "Subject: Plums", "Date: Fri, 23 Aug 2024 12:00:00 +0200", "MIME-Version: 1.0",
             'Content-Type: multipart/related; type="text/html"; boundary="resources"'],
            multipart("resources", html, style, image),
        ),
    )


def main():
    post()
    garden()
    page()


if __name__ == "__main__":
    main()
