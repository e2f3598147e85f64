#include <gtest/gtest.h>

#include <random>

#include "tests/detect/made_documents.h"

namespace trfilter::test {
namespace {

struct Sample {
  std::string name;
  std::string bytes;
  Format format;
};

std::ostream& operator<<(std::ostream& out, const Sample& sample) {
  return out << sample.name;
}

class TextSample : public testing::TestWithParam<Sample> {};

TEST_P(TextSample, IsItsFormat) {
  EXPECT_EQ(detect_bytes(GetParam().bytes).format, GetParam().format);
}

const std::string header =
    "From: One <one@example.org>\r\nTo: two@example.org\r\nSubject: Hello\r\n"
    "Date: Mon, 1 Jan 2024 10:00:00 +0000\r\n";

INSTANTIATE_TEST_SUITE_P(
    Plain, TextSample,
    testing::Values(
        Sample{"ASCII", "A line.\nAnother line.\n", Format::text},
        Sample{"one letter", "x", Format::text}, Sample{"blanks", " \n \n", Format::text},
        Sample{"UTF-8",
               "\xC3\x9C"
               "ber die Br\xC3\xBC"
               "cke\n",
               Format::text},
        Sample{"UTF-8 with a mark", "\xEF\xBB\xBFtext\n", Format::text},
        Sample{"Latin-1",
               "Stra\xDF"
               "e und Br\xFC"
               "cke, gr\xFC\xDF"
               "e\n",
               Format::text},
        Sample{"KOI8-R", "\xF0\xD2\xC9\xD7\xC5\xD4, \xCD\xC9\xD2! \xEB\xC1\xCB \xC4\xC5\xCC\xC1?\n",
               Format::text},
        Sample{"Shift-JIS",
               "\x93\xFA\x96{\x8C\xEA\x82\xCC\x83"
               "e\x83L\x83X\x83g\x81"
               "B\n\n",
               Format::text},
        Sample{"EUC-JP", "\xC6\xFC\xCB\xDC\xB8\xEC\xA4\xCE\xA5\xC6\xA5\xAD\n\xA5\xB9\xA5\xC8\n",
               Format::text},
        Sample{"ISO-2022-JP", "\x1B$BF|K\\8l\x1B(B\nand more\n", Format::text},
        Sample{"DOS end mark", "text\r\n\x1A", Format::text},
        Sample{"overstruck print", "N\bNA\bAM\bME\bE\n   ls - list\n", Format::text},
        Sample{"padded with NULs", std::string("a log line\n") + std::string(200, '\0'),
               Format::text},
        Sample{"C", "#include <stdio.h>\nint main(void) { return 0; }\n", Format::text},
        Sample{"a script", "#!/bin/sh\necho hello; exit 0\n", Format::text},
        Sample{"Markdown", "# Title\n\n| a | b |\n|---|---|\n| 1 | 2 |\n| 3 | 4 |\n", Format::text},
        Sample{"a log", "2024-01-01 10:00:00 started\n2024-01-01 10:00:01 ended\n", Format::text},
        Sample{"JSON", "{\"a\": [1, 2, 3],\n \"b\": [4, 5, 6],\n \"c\": [7, 8, 9]}\n",
               Format::text}));

INSTANTIATE_TEST_SUITE_P(
    Wide, TextSample,
    testing::Values(
        Sample{"UTF-16LE with a mark", "\xFF\xFE" + utf16("Hello there.\n", false), Format::text},
        Sample{"UTF-16BE with a mark", "\xFE\xFF" + utf16("Hello there.\n", true), Format::text},
        Sample{"UTF-16LE", utf16("Hello there, 1000 times.\n", false), Format::text},
        Sample{"UTF-16BE", utf16("Hello there, 1000 times.\n", true), Format::text},
        Sample{"Chinese UTF-16LE", std::string("\x2D\x4E\x87\x65\x02\x30\x0A\0\x2D\x4E", 10),
               Format::text},
        Sample{"UTF-32LE with a mark", std::string("\xFF\xFE\0\0H\0\0\0i\0\0\0", 12), Format::text},
        Sample{"UTF-32BE", std::string("\0\0\0H\0\0\0i\0\0\0!", 12), Format::text},
        Sample{"HTML in UTF-16", utf16("<html><body>x</body></html>", false), Format::html},
        Sample{"XML in UTF-16", "\xFE\xFF" + utf16("<?xml version='1.0'?><a/>", true), Format::xml},
        Sample{"mail in UTF-16BE", utf16(header + "\r\nx", true), Format::mime},
        Sample{"EBCDIC",
               "\xC8\x85\x93\x93\x96@\xA3\x88\x85\x99\x85K@\xE3\x88\x89\xA2@\x89\xA2@\xA3\x85\xA7"
               "\xA3K\x25",
               Format::ebcdic_text}));

INSTANTIATE_TEST_SUITE_P(
    Markup, TextSample,
    testing::Values(
        Sample{"HTML", "<!DOCTYPE html>\n<html><head></head></html>", Format::html},
        Sample{"HTML 4", "<!doctype HTML PUBLIC \"-//W3C//DTD HTML 4.01//EN\">\n<p>x",
               Format::html},
        Sample{"HTML without a type", "<html>\n<body>x</body>\n</html>", Format::html},
        Sample{"HTML without html", "<TABLE border=1><TR><TD>x</TABLE>", Format::html},
        Sample{"HTML after a comment", "<!-- a -- b -->\n\n<Head><title>x</title>", Format::html},
        Sample{"HTML after text", "Saved page\n<html>\n<head><title>x</title></head></html>",
               Format::html},
        Sample{"XHTML", "<?xml version=\"1.0\"?><html xmlns=\"http://www.w3.org/1999/xhtml\"/>",
               Format::xhtml},
        Sample{"bookmarks", "<!DOCTYPE NETSCAPE-Bookmark-file-1>\n<TITLE>Bookmarks</TITLE>",
               Format::netscape_bookmarks},
        Sample{"a text about a tag", "<b> is a tag of which I never know what it is for\n",
               Format::text},
        Sample{"a text about pages", "A page has \"<html>\" first.\n  <html>\n<head>\n",
               Format::text},
        Sample{"XML", "<?xml version=\"1.0\" encoding=\"koi8-r\"?>\n<a>x</a>", Format::xml},
        Sample{"XML without a declaration", "<note date='1'><to>x</to></note>", Format::xml},
        Sample{"SVG", "<svg xmlns=\"http://www.w3.org/2000/svg\"/>", Format::xml},
        Sample{"a placeholder", "<your name here> wrote this letter.\n", Format::text},
        Sample{"a generic", "<T> T max(T a, T b);\n", Format::text},
        Sample{"XML that is called table", "<?xml version='1.0'?>\n<TABLE><ROW/></TABLE>",
               Format::xml},
        Sample{"Word 2003",
               "<?xml version=\"1.0\"?><?mso-application progid=\"Word.Document\"?>"
               "<w:wordDocument xmlns:w=\"http://schemas.microsoft.com/office/word/2003/wordml\">",
               Format::word_2003_xml},
        Sample{"Excel 2003",
               "<?xml version=\"1.0\"?>"
               "<Workbook xmlns=\"urn:schemas-microsoft-com:office:spreadsheet\">",
               Format::excel_2003_xml},
        Sample{"Visio 2003",
               "<?xml version='1.0'?><VisioDocument "
               "xmlns='http://schemas.microsoft.com/visio/2003/core'>",
               Format::visio_2003_xml},
        Sample{"flat ODF",
               "<?xml version=\"1.0\"?><office:document "
               "xmlns:office=\"urn:oasis:names:tc:opendocument:xmlns:office:1.0\" "
               "office:mimetype=\"application/vnd.oasis.opendocument.presentation\">",
               Format::odf_presentation},
        Sample{"property list",
               "<?xml version=\"1.0\"?><!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
               "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\"><plist version=\"1.0\">",
               Format::xml_plist},
        Sample{"OPML", "<?xml version=\"1.0\"?><opml version=\"1.0\">", Format::opml},
        Sample{"DXL", "<?xml version='1.0'?><database xmlns='http://www.lotus.com/dxl'>",
               Format::dxl},
        Sample{"XFDL", "<?xml version=\"1.0\"?><XFDL version=\"5\">", Format::xfdl},
        Sample{"SGML", "<!DOCTYPE book PUBLIC \"-//OASIS//DTD DocBook V4.1//EN\" [\n]>\n<book>",
               Format::sgml}));

INSTANTIATE_TEST_SUITE_P(
    Messages, TextSample,
    testing::Values(
        Sample{"mail", header + "\r\nText\r\n", Format::mime},
        Sample{"mail that quotes HTML", header + "\r\n<html><body>x</body></html>\r\n",
               Format::mime},
        Sample{"mail with unfolded lines", "Received: from a\n\tby b\nMessage-ID: <x>\n\nText\n",
               Format::mime},
        Sample{"mail that begins with an unheard field",
               "Importance: high\r\n" + header + "MIME-Version: 1.0\r\n\r\nText\r\n", Format::mime},
        Sample{"mailbox", "From one@example.org Mon Jan  1 10:00:00 2024\nSubject: x\n\nText\n",
               Format::mime},
        Sample{"news",
               "Path: a!b\nFrom: x@y\nNewsgroups: a.b\nSubject: x\nMessage-ID: <1@y>\n\nText\n",
               Format::usenet},
        Sample{"web archive",
               "From: <Saved by Browser>\r\nSubject: x\r\nMIME-Version: 1.0\r\n"
               "Content-Type: multipart/related;\r\n\ttype=\"text/html\"\r\n\r\n",
               Format::mhtml},
        Sample{"a letter", "From: here\nThe weather is fine.\n", Format::text},
        Sample{"prose that begins with From", "From Monday to Friday: 10:00 to 12:00.\n",
               Format::text},
        Sample{"settings", "name: value\nother: value\nto: x\n", Format::text},
        Sample{"contact", "BEGIN:VCARD\r\nVERSION:3.0\r\nEND:VCARD\r\n", Format::vcard},
        Sample{"calendar", "begin:vcalendar\r\nVERSION:2.0\r\n", Format::icalendar}));

INSTANTIATE_TEST_SUITE_P(
    Rows, TextSample,
    testing::Values(
        Sample{"CSV", "name,city,age\nAnn,Bonn,30\nBob,\"Rome, Italy\",40\n", Format::csv},
        Sample{"two columns", "a,1\nb,2\nc,3\nd,4\n", Format::csv},
        Sample{"semicolons", "a;b;c\n1;2;3\n4;5;6\n", Format::csv},
        Sample{"tabulators", "a\tb\tc\n1\t2\t3\n4\t5\t6\n", Format::csv},
        Sample{"quoted line ends", "a,b,c\n1,\"two\nlines\",3\n4,5,6\n", Format::csv},
        Sample{"prose", "First, this, then that.\nNothing here.\nOne, two, three, four, five.\n",
               Format::text},
        Sample{"a list in prose", "Apples, pears, plums\nRed, green, blue\nOne, two, three\n",
               Format::text},
        Sample{"statements", "int a;\nint b;\nint c;\nint d;\nint e;\n", Format::text},
        Sample{"indented", "\tone\n\ttwo\n\tthree\n\tfour\n\tfive\n", Format::text},
        Sample{"one row", "a,b,c\n", Format::text}));

INSTANTIATE_TEST_SUITE_P(
    Known, TextSample,
    testing::Values(
        Sample{"batch file", "@echo off\r\ndir\r\n", Format::batch_file},
        Sample{"RTF", "{\\rtf1\\ansi x}", Format::rtf},
        Sample{"RTF after blanks", "\r\n{\\rtf1\\ansi x}", Format::rtf},
        Sample{"PostScript", "%!PS-Adobe-3.0\n%%Title: x\n", Format::postscript},
        Sample{"EPS", "%!PS-Adobe-3.0 EPSF-3.0\n", Format::eps},
        Sample{"uuencoded", "begin 644 a.txt\n#0V%T\n`\nend\n", Format::uuencoded},
        Sample{"prose that begins with begin", "begin 100 metres from here\nand walk\n",
               Format::text},
        Sample{"BinHex", "(This file must be converted with BinHex 4.0)\n:x:", Format::binhex},
        Sample{"shell archive", "#!/bin/sh\n# This is a shell archive.\n", Format::shar},
        Sample{"DIF", "TABLE\n0,1\n\"x\"\nVECTORS\n0,2\n\"\"\n", Format::dif},
        Sample{"SYLK", "ID;PX\nP;F\nC;Y1;X1;K1\nE\n", Format::sylk},
        Sample{"DXF", "  0\nSECTION\n  2\nHEADER\n", Format::dxf},
        Sample{"DXF with a comment", "999\nmade by x\n  0\nSECTION\n  2\n", Format::dxf},
        Sample{"font metrics", "StartFontMetrics 4.1\nFontName A\n", Format::font_metrics},
        Sample{"XPM", "/* XPM */\nstatic char *x[] = {\n", Format::xpm},
        Sample{"XBM", "#define a_width 8\n#define a_height 8\nstatic char a_bits[] = {0};\n",
               Format::xbm},
        Sample{"VRML", "#VRML V2.0 utf8\n", Format::vrml},
        Sample{"HL7", "MSH|^~\\&|A|B|C\rPID|1\r", Format::hl7},
        Sample{"HPGL", "IN;SP1;PU0,0;PD100,100;PU;\n", Format::hpgl},
        Sample{"prose in capitals", "SPRING; SUMMER; AUTUMN; WINTER; all year\n", Format::text},
        Sample{"armoured message", "-----BEGIN PGP MESSAGE-----\n\nx\n",
               Format::pgp_armored_message},
        Sample{"MIF", "<MIFFile 5.50> # x\n", Format::mif},
        Sample{"PBM", "P1\n# x\n2 2\n0 1 1 0\n", Format::pbm_ascii},
        Sample{"P1 as a word", "P1 is the first point.\n", Format::text}));

TEST(Text, OfNothingIsNoFormat) {
  EXPECT_EQ(detect_bytes("").format, Format::none);
}

TEST(Text, IsNotWhatRandomBytesAre) {
  std::mt19937 random(11);
  for (int round = 0; round < 200; ++round) {
    std::string bytes(1000, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    const Format format = detect_bytes(bytes).format;
    EXPECT_EQ(format, Format::none) << "round " << round;
  }
}

TEST(Text, AfterAMarkOfUtf16MustStillBeText) {
  std::mt19937 random(12);
  std::string bytes = "\xFF\xFE";
  for (int i = 0; i < 1000; ++i) bytes += static_cast<char>(random());
  EXPECT_EQ(detect_bytes(bytes).format, Format::none);
}

TEST(Text, IsDecidedByItsBegin) {
  const std::string text(10000, 'a');
  EXPECT_EQ(detect_bytes(text + std::string(1000, '\0')).format, Format::text);
}

TEST(Text, OfAMessageMayHoldBinaryParts) {
  EXPECT_EQ(detect_bytes(header + "X-Fill: " + std::string(500, 'x') + "\r\n\r\n" +
                         std::string(3000, '\0'))
                .format,
            Format::mime);
}

}  // namespace
}  // namespace trfilter::test
