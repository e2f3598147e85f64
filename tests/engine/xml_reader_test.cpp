#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <variant>

#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

using namespace std::string_view_literals;

std::string text_of(std::string bytes, const Options& options = {}) {
  const Reading reading = read_document(std::move(bytes), Format::xml, options);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

TEST(XmlReader, ElementsAfterOneAnotherAreParagraphs) {
  EXPECT_EQ(text_of("<people>\n <person><name>Ann</name><age>7</age></person>\n "
                    "<person><name>Ben</name></person></people>"),
            "Ann\n7\nBen\n");
}

TEST(XmlReader, ElementsWithinTextAreAPartOfIt) {
  EXPECT_EQ(text_of("<doc><x>one <y>two</y> three<z>four</z></x><x><y>five</y> six</x></doc>"),
            "one two threefour\nfive six\n");
}

TEST(XmlReader, ElementsWithBlanksBetweenThemAreWords) {
  EXPECT_EQ(text_of("<doc><x><y>one</y> <y>two</y></x>\n<x>three</x></doc>"), "one two\nthree\n");
}

TEST(XmlReader, CommonNamesSayWhatTheyAre) {
  EXPECT_EQ(text_of("<sec><title>T</title><p><bold>B</bold><italic>I</italic> "
                    "x<sub>2</sub></p><P>y</P></sec>"),
            "T\nBI x2\ny\n");
  EXPECT_EQ(text_of("<tt><p>one<br/>two</p></tt>"), "one\ntwo\n");
}

TEST(XmlReader, DocumentsOfWord2003AreTheirTextWithoutSettingsAndPictures) {
  EXPECT_EQ(
      text_of("<w:wordDocument xmlns:w='http://schemas.microsoft.com/office/word/2003/wordml' "
              "xmlns:o='urn:schemas-microsoft-com:office:office'>"
              "<o:DocumentProperties><o:Author>Ann</o:Author></o:DocumentProperties>"
              "<w:docSuppData><w:binData>QUJD</w:binData></w:docSuppData><w:body>"
              "<w:p><w:pPr><w:tabs><w:tab/></w:tabs></w:pPr><w:r><w:t>One</w:t></w:r>"
              "<w:r><w:tab/><w:t>two</w:t></w:r><w:fldSimple><w:r><w:t>3</w:t></w:r>"
              "</w:fldSimple><w:r><w:instrText>PAGE</w:instrText></w:r></w:p>"
              "<w:tbl><w:tr><w:tc><w:p><w:r><w:t>a</w:t></w:r></w:p></w:tc>"
              "<w:tc><w:p><w:r><w:t>b</w:t></w:r></w:p></w:tc></w:tr></w:tbl>"
              "</w:body></w:wordDocument>"),
      "One two3\na\tb\n");
}

TEST(XmlReader, TableRowsAreRows) {
  EXPECT_EQ(text_of("<table><tgroup><tbody><row><entry>a</entry> <entry>b</entry></row>\n"
                    "<row><entry><para>c</para></entry><entry/><entry>d</entry></row></tbody></"
                    "tgroup></table>"),
            "a\tb\nc\t\td\n");
}

TEST(XmlReader, WhiteSpaceCollapsesUnlessItIsMarked) {
  EXPECT_EQ(text_of("<doc><p> a\n  b </p><programlisting>x\n  y</programlisting><q "
                    "xml:space='preserve'>1  2</q></doc>"),
            "a b\nx\n  y\n1  2\n");
}

TEST(XmlReader, AttributesForReadersAreShown) {
  EXPECT_EQ(text_of("<opml><head><title>T</title></head><body><outline text='One' "
                    "type='x'><outline text='Two'/></outline></body></opml>"),
            "T\nOne\nTwo\n");
  EXPECT_EQ(text_of("<doc><p>See <graphic alt='the map' href='x'/> here</p></doc>"),
            "See the map here\n");
}

TEST(XmlReader, FeedsHoldPages) {
  EXPECT_EQ(text_of("<rss><channel><title>N</title><item><title>A &amp;amp; "
                    "B</title><description>&lt;p&gt;one&lt;/p&gt;&lt;p&gt;two"
                    "&lt;/p&gt;</description></item></channel></rss>"),
            "N\nA & B\none\ntwo\n");
  EXPECT_EQ(
      text_of("<feed xmlns='http://www.w3.org/2005/Atom'><entry><title>&lt;b&gt;</title><content "
              "type='html'><![CDATA[<b>x</b>]]>"
              "</content><content type='xhtml'><div "
              "xmlns='http://www.w3.org/1999/xhtml'><p>p</p><ul><li>l</li></ul></div></content></"
              "entry></feed>"),
      "<b>\nx\np\nl\n");
}

TEST(XmlReader, EscapedMarkupElsewhereIsText) {
  EXPECT_EQ(text_of("<doc><p>Use &lt;b&gt;x&lt;/b&gt;</p></doc>"), "Use <b>x</b>\n");
}

TEST(XmlReader, PropertyListsAreLinesOfKeyAndValue) {
  EXPECT_EQ(text_of("<!DOCTYPE plist PUBLIC '-//Apple//DTD PLIST 1.0//EN' 'http://x/'>\n<plist "
                    "version='1.0'><dict>\n<key>Name</key>\n<string>Ann</string>"
                    "<key>Tags</key><array><string>a "
                    "b</string><integer>2</integer></array><key>On</key><true/>"
                    "<key>Raw</key><data>AAAA</data></dict></plist>"),
            "Name\tAnn\nTags\na b\n2\nOn\ttrue\nRaw\n");
}

TEST(XmlReader, DrawingsGiveTheirText) {
  EXPECT_EQ(text_of("<svg "
                    "xmlns='http://www.w3.org/2000/svg'><style>text{}</style><title>T</"
                    "title><g><text>a<tspan>b</tspan></text><text>c</text></g></svg>"),
            "T\nab\nc\n");
}

TEST(XmlReader, WhatDoesNotStateItsEncodingIsLookedAt) {
  EXPECT_EQ(text_of("<r><p>Gr\xFC\xDF"
                    "e aus M\xFCnchen</p></r>"),
            "Grüße aus München\n");
  EXPECT_EQ(text_of("<?xml version='1.0' encoding='UTF-8'?><r><p>Gr\xFC\xDF"
                    "e aus M\xFCnchen</p></r>"),
            "Grüße aus München\n");
  EXPECT_EQ(text_of("<?xml version='1.0' encoding='koi8-r'?><r>\xF7\xC5\xD2\xC1</r>"), "Вера\n");
}

TEST(XmlReader, SeveralDocumentsAreOne) {
  EXPECT_EQ(text_of("<e>1</e>\n<e>2</e>\n"), "1\n2\n");
}

TEST(XmlReader, DamagedXmlGivesAllTextAndAnError) {
  const Reading reading = read_document(
      "<r><p>one</p><p>a < b &amp; c</p><q:x>two</y><p>three</p></r><p>four</p> five", Format::xml);
  EXPECT_EQ(reading.code, 4);
  for (const char* text : {"one", "a", "b & c", "two", "three", "four", "five"}) {
    EXPECT_NE(reading.text.find(text), std::string::npos) << text << " in " << reading.text;
  }
}

TEST(XmlReader, WhatIsNoXmlIsCorrupt) {
  EXPECT_EQ(read_document("just text", Format::xml).code, 4);
  EXPECT_EQ(read_document("", Format::xml).code, 4);
}

TEST(XmlReader, DeepElementsAreReadToTheEnd) {
  std::string text;
  for (int i = 0; i < 20'000; ++i) text += "<a>";
  text += "deep";
  for (int i = 0; i < 20'000; ++i) text += "</a>";
  EXPECT_EQ(text_of(text), "deep\n");
}

TEST(XmlReader, LargeTextComesInPiecesAndWhole) {
  std::string text = "<r><p>";
  for (int i = 0; i < 100'000; ++i) text += "word € ";
  text += "</p></r>";
  EXPECT_EQ(text_of(text).size(), 100'000u * 9);
}

TEST(XmlReader, VocabulariesStateProperties) {
  const Properties properties = read_properties(
      "<rss xmlns:dc='http://purl.org/dc/elements/1.1/'><channel><title>News\n of "
      "it</title><language>de</language><item><title>no</title>"
      "<dc:creator>no</dc:creator></item></channel></rss>",
      Format::xml);
  ASSERT_EQ(properties.items().size(), 2u);
  EXPECT_EQ(properties.items()[0].name, "Title");
  EXPECT_EQ(std::get<std::string>(properties.items()[0].value), "News of it");
  EXPECT_EQ(properties.items()[1].name, "Language");
}

std::string listed(const Properties& properties) {
  std::string out;
  for (const Properties::Item& item : properties.items()) {
    out += item.name + '=';
    if (const auto* text = std::get_if<std::string>(&item.value)) out += *text;
    if (const auto* number = std::get_if<std::int32_t>(&item.value)) out += std::to_string(*number);
    out += ';';
  }
  return out;
}

TEST(XmlReader, OfficeDocumentsStateProperties) {
  EXPECT_EQ(
      listed(read_properties(
          "<w:wordDocument xmlns:w='http://schemas.microsoft.com/office/word/2003/wordml' "
          "xmlns:o='urn:schemas-microsoft-com:office:office'><o:DocumentProperties>"
          "<o:Author>Ann</o:Author><o:Words>38</o:Words><o:Pages>many</o:Pages>"
          "<o:Created>2016-04-27T17:49:00Z</o:Created></o:DocumentProperties></w:wordDocument>",
          Format::xml)),
      "Author=Ann;WordCount=38;Created=;");
}

TEST(XmlReader, BooksStatePropertiesAndKeepTheirPicturesOutOfTheText) {
  const std::string book =
      "<FictionBook xmlns='http://www.gribuser.ru/xml/fictionbook/2.0'><description><title-info>"
      "<genre>prose</genre><author><first-name>Ann</first-name><last-name>Author</last-name>"
      "</author><book-title>A title</book-title><lang>en</lang></title-info><publish-info>"
      "<publisher>House</publisher></publish-info></description><body><section><title><p>One</p>"
      "</title><p>Some <emphasis>text</emphasis>.</p></section></body>"
      "<binary id='a.jpg' content-type='image/jpeg'>YWJj</binary></FictionBook>";
  EXPECT_EQ(listed(read_properties(book, Format::xml)),
            "Genre=prose;Author=Ann Author;Title=A title;Language=en;Publisher=House;");
  const Reading reading = read_document(book, Format::xml);
  EXPECT_NE(reading.text.find("One\nSome text.\n"), std::string::npos) << reading.text;
  EXPECT_EQ(reading.text.find("YWJj"), std::string::npos);
}

}  // namespace
}  // namespace trfilter::test
