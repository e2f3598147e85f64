#!/usr/bin/env python3
"""Writes the samples of plain text, delimited text, pages and XML, each with its expected text."""
import datetime
import os
import plistlib

SAMPLES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")

RUSSIAN = (
    "Вчера поздно вечером гости вернулись из долгого путешествия.\n"
    "Они рассказывали, что в горах уже выпал снег и что часть дорог была закрыта.\n"
)
JAPANESE = (
    "昨日の夜遅く、お客さんたちは長い旅行から帰ってきました。\n"
    "山ではもう雪が降っていて、道の一部は通れなかったそうです。\n"
)
GERMAN = (
    "Die Überprüfung der älteren Geräte dauerte länger als erwartet.\n"
    "„Das Büro öffnet pünktlich um acht“, erklärte der Geschäftsführer – für 5 €.\n"
)

ORDERS = (
    'Item;Price;Note\r\n"Bread; dark";1,20;"two\r\nlines"\r\n'
    'Milk;0,99;\r\nTea;;"say ""hot"""\r\n'
)
ORDERS_TEXT = 'Item\tPrice\tNote\nBread; dark\t1,20\ttwo lines\nMilk\t0,99\nTea\t\tsay "hot"\n'

PAGE = """<!DOCTYPE html>
<html lang="en">
<head>
  <meta charset="windows-1252">
  <title>The garden &amp; its visitors</title>
  <meta name="author" content="A. Gardener">
  <style>p { color: green }</style>
  <script>document.write("<p>never shown</p>")</script>
</head>
<body>
  <h1>The garden</h1>
  <p>Open from <b>May</b> to
     <i>October</i>; caf\u00e9 at the gate.<br>Tel. 12&nbsp;34
  <p hidden>Closed this year.
  <ul><li>roses<li>herbs <img src="h.png" alt="a bunch of mint"></ul>
  <table>
    <tr><th>Day<th>Hours
    <tr><td>Monday<td>9 \u2013 17
    <tr><td colspan="2">closed on holidays
  </table>
  <pre>
  bed 1   roses
  bed 2   herbs</pre>
  <form>Name <input value="your name"> <button>Send</button></form>
  <svg><text>north</text></svg>
</body>
</html>
"""
PAGE_TEXT = """The garden & its visitors
The garden
Open from May to October; café at the gate.
Tel. 12\u00a034
roses
herbs a bunch of mint
Day\tHours
Monday\t9 – 17
closed on holidays
  bed 1   roses
  bed 2   herbs
Name your name Send
north
"""

XHTML = """<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE html PUBLIC "-//W3C//DTD XHTML 1.0 Strict//EN" "http://www.w3.org/TR/xhtml1/DTD/xhtml1-strict.dtd">
<html xmlns="http://www.w3.org/1999/xhtml" xml:lang="en">
  <head><title>A strict page</title><script src="x.js" /></head>
  <body><div /><p>One<br />two <em>and</em> <![CDATA[<three>]]></p><p>caf&eacute;</p></body>
</html>
"""
XHTML_TEXT = "A strict page\nOne\ntwo and <three>\ncafé\n"

ARTICLE = """<?xml version="1.0" encoding="ISO-8859-2"?>
<!DOCTYPE article [<!ENTITY firm "Novák &amp; Šedý">]>
<article>
  <title>Report of &firm;</title>
  <sec>
    <title>Results</title>
    <p>In <italic>May</italic> the price rose by 3<sup>rd</sup>; see <xref>Table 1</xref>.</p>
    <p>The bridge <graphic alt="bridge from the east"/> is new.</p>
    <table><tr><th>Town</th><th>People</th></tr><tr><td>Brno</td><td>379 466</td></tr></table>
    <programlisting>if (a &lt; b)
  go();</programlisting>
  </sec>
  <records>
    <record><name>Šárka</name><place>Plzeň</place></record>
    <record><name>Jiří</name></record>
  </records>
</article>
"""
ARTICLE_TEXT = """Report of Novák & Šedý
Results
In May the price rose by 3rd; see Table 1.
The bridge bridge from the east is new.
Town\tPeople
Brno\t379 466
if (a < b)
  go();
Šárka
Plzeň
Jiří
"""

SETTINGS = """<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
  <key>Name</key><string>Garden</string>
  <key>Beds</key><array><string>roses</string><string>herbs</string></array>
  <key>Open</key><true/>
  <key>Icon</key><data>iVBORw0KGgo=</data>
  <key>Since</key><date>1999-05-01T00:00:00Z</date>
</dict>
</plist>
"""
BINARY_SETTINGS = plistlib.dumps({
    "Name": "Gärten",
    "Beds": ["roses", "herbs"],
    "Open": True,
    "Paths": 12,
    "Width": 2.5,
    "Icon": b"icon",
    "Since": datetime.datetime(1999, 5, 1),
}, fmt=plistlib.FMT_BINARY, sort_keys=False)
BINARY_SETTINGS_TEXT = ("Name\tGärten\nBeds\nroses\nherbs\nOpen\ttrue\nPaths\t12\nWidth\t2.5\nIcon\n"
                        "Since\t1999-05-01T00:00:00Z\n")

WEB_ARCHIVE = plistlib.dumps({
    "WebMainResource": {
        "WebResourceURL": "http://example.com/garden/",
        "WebResourceMIMEType": "text/html",
        "WebResourceTextEncodingName": "windows-1252",
        "WebResourceData": "<title>Garden</title><p>Two roses for 5 €".encode("cp1252"),
    },
    "WebSubresources": [{
        "WebResourceURL": "http://example.com/style/garden.css?new",
        "WebResourceMIMEType": "text/css",
        "WebResourceData": b"p { color: green }",
    }],
    "WebSubframeArchives": [{
        "WebMainResource": {
            "WebResourceURL": "http://example.com/herbs.html",
            "WebResourceMIMEType": "text/html",
            "WebResourceData": b"<p>Sage in a frame",
        },
    }],
}, fmt=plistlib.FMT_BINARY, sort_keys=False)

SETTINGS_TEXT = "Name\tGarden\nBeds\nroses\nherbs\nOpen\ttrue\nIcon\nSince\t1999-05-01T00:00:00Z\n"

FILES = {
    "journey_koi8r.text": (RUSSIAN.encode("koi8-r"), RUSSIAN),
    "journey_sjis.text": (JAPANESE.encode("shift_jis"), JAPANESE),
    "report_windows1252.text": (GERMAN.replace("\n", "\r\n").encode("cp1252"), GERMAN),
    "report_utf16.text": (b"\xff\xfe" + GERMAN.encode("utf-16-le"), GERMAN),
    "orders.csv": (ORDERS.encode("utf-8-sig"), ORDERS_TEXT),
    "garden.html": (PAGE.encode("cp1252"), PAGE_TEXT),
    "strict.xhtml": (XHTML.encode("utf-8"), XHTML_TEXT),
    "article.xml": (ARTICLE.encode("iso-8859-2"), ARTICLE_TEXT),
    "settings.plist": (SETTINGS.encode("utf-8"), SETTINGS_TEXT),
    "binary.plist": (BINARY_SETTINGS, BINARY_SETTINGS_TEXT),
    "page.webarchive": (WEB_ARCHIVE, "Garden\nTwo roses for 5 €\n"),
}


def main():
    for name, (content, text) in FILES.items():
        with open(os.path.join(SAMPLES, name), "wb") as out:
            out.write(content)
        with open(os.path.join(SAMPLES, name + ".txt"), "wb") as out:
            out.write(text.encode("utf-8"))


if __name__ == "__main__":
    main()
