#include "engine/xml/xml_parser.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>

#include "engine/core/engine_error.h"

namespace trfilter::test {
namespace {

using namespace std::string_view_literals;

/// Writes down what a parser finds.
class Events : public XmlHandler {
 public:
  void start_element(const XmlElement& element) override {
    flush();
    list += "<" + std::string(element.name());
    if (!element.uri().empty()) list += "{" + std::string(element.uri()) + "}";
    for (int i = 0; i < element.attribute_count(); ++i) {
      const XmlElement::Attribute attribute = element.attribute_at(i);
      list += " " + std::string(attribute.name) + "=" + std::string(attribute.value);
    }
    list += ">";
  }
  void end_element(std::string_view name, std::string_view) override {
    flush();
    list += "</" + std::string(name) + ">";
  }
  void characters(std::string_view text) override { text_ += text; }
  void flush() {
    list += text_;
    text_.clear();
  }

  std::string list;

 private:
  std::string text_;
};

struct Parsed {
  std::string events;
  bool well_formed = false;
  bool stopped = false;
  std::string unread;
};

Parsed parse(std::string_view bytes, std::size_t piece = 1u << 20, bool more_roots = false,
             const char* encoding = nullptr) {
  Limits limits;
  Events events;
  XmlParser parser(events, limits);
  if (more_roots) parser.allow_more_roots();
  if (encoding != nullptr) parser.set_encoding(*encoding_of_label(encoding));
  Parsed parsed;
  for (; !bytes.empty() && !parser.stopped(); bytes.remove_prefix(std::min(piece, bytes.size()))) {
    parser.feed(bytes.substr(0, piece));
  }
  parser.finish();
  events.flush();
  parsed.events = events.list;
  parsed.well_formed = parser.well_formed();
  parsed.stopped = parser.stopped();
  parsed.unread = parser.unread();
  return parsed;
}

std::string wide(std::string_view ascii, bool little) {
  std::string out;
  for (const char c : ascii) {
    if (!little) out.push_back('\0');
    out.push_back(c);
    if (little) out.push_back('\0');
  }
  return out;
}

TEST(XmlParser, GivesElementsAttributesAndText) {
  const Parsed parsed = parse(
      "<?xml version='1.0'?><r xmlns:p='u' p:a='1' b='&lt;2'>x<p:e/>&amp;<![CDATA[<y>]]></r>\n");
  EXPECT_EQ(parsed.events, "<r a=1 b=<2>x<e{u}></e>&<y></r>");
  EXPECT_TRUE(parsed.well_formed);
}

TEST(XmlParser, GivesTheSameWhereverPiecesEnd) {
  const std::string text =
      "\xEF\xBB\xBF<?xml version='1.0' encoding='UTF-8'?><!DOCTYPE r [<!ENTITY e 'ент&amp;'>]><r "
      "a='&e;д'>д€𝄞&e;&nbsp;"
      "<![CDATA[]]]]><!-- c --><?p i?>&#x20ac;</r><!-- end -->";
  const Parsed whole = parse(text);
  EXPECT_TRUE(whole.well_formed);
  EXPECT_EQ(whole.events, "<r a=ент&д>д€𝄞ент&\u00A0]]€</r>");
  for (const std::size_t piece : {1u, 2u, 3u, 5u, 7u, 64u}) {
    const Parsed parsed = parse(text, piece);
    EXPECT_EQ(parsed.events, whole.events) << piece;
    EXPECT_TRUE(parsed.well_formed) << piece;
  }
}

TEST(XmlParser, ReadsTheEncodingThatIsDeclared) {
  for (const std::size_t piece : {1u, 1000u}) {
    EXPECT_EQ(
        parse("<?xml version='1.0' encoding='windows-1251'?><r>\xC2\xE5\xF0\xE0</r>", piece).events,
        "<r>Вера</r>");
    EXPECT_EQ(
        parse("<?xml version='1.0' encoding=\"Shift_JIS\"?><r>\x93\xFA\x96\x7B</r>", piece).events,
        "<r>日本</r>");
    EXPECT_EQ(parse("<?xml version='1.0' encoding='UTF-16'?><r>д</r>", piece).events, "<r>д</r>");
  }
}

TEST(XmlParser, ReadsUtf16WithAndWithoutAMark) {
  const std::string text = "<?xml version='1.0' encoding='UTF-16'?><r>x</r>";
  for (const std::size_t piece : {1u, 3u, 1000u}) {
    EXPECT_EQ(parse("\xFF\xFE" + wide(text, true), piece).events, "<r>x</r>");
    EXPECT_EQ(parse("\xFE\xFF" + wide(text, false), piece).events, "<r>x</r>");
    EXPECT_EQ(parse(wide(text, true), piece).events, "<r>x</r>");
    EXPECT_EQ(parse(wide("<r>x</r>", false), piece).events, "<r>x</r>");
  }
}

TEST(XmlParser, ReadsTheDeclarationOfMainframes) {
  // <?xml version='1.0' encoding='IBM500'?><r>[</r>; the bracket differs from IBM037.
  const std::string text =
      "\x4C\x6F\xA7\x94\x93\x40\xA5\x85\x99\xA2\x89\x96\x95\x7E\x7D\xF1\x4B\xF0\x7D\x40\x85\x95\x83"
      "\x96\x84\x89\x95\x87\x7E"
      "\x7D\xC9\xC2\xD4\xF5\xF0\xF0\x7D\x6F\x6E\x4C\x99\x6E\x4A\x4C\x61\x99\x6E";
  EXPECT_EQ(parse(text).events, "<r>[</r>");
}

TEST(XmlParser, TheCallersEncodingComesFirst) {
  EXPECT_EQ(parse("<?xml version='1.0' encoding='UTF-8'?><r>\xF7</r>", 1, false, "KOI8-R").events,
            "<r>В</r>");
}

TEST(XmlParser, ReferencesStillResolveBehindAnError) {
  const Parsed parsed = parse("<r><a></b>&amp;x&lt;&e;&#65;</a>&gt;</r>");
  EXPECT_FALSE(parsed.well_formed);
  EXPECT_NE(parsed.events.find("&x<&e;A"), std::string::npos) << parsed.events;
  EXPECT_NE(parsed.events.find(">"), std::string::npos);
}

TEST(XmlParser, AnUnknownEntityIsAnErrorAndStaysAsItStands) {
  const Parsed parsed = parse("<r>&nosuch;</r>");
  EXPECT_EQ(parsed.events, "<r>&nosuch;</r>");
  EXPECT_FALSE(parsed.well_formed);
  EXPECT_TRUE(parse("<!DOCTYPE r SYSTEM 'x.dtd'><r>&nosuch;</r>").well_formed);
}

TEST(XmlParser, EntitiesWithMarkupAreTheirText) {
  EXPECT_EQ(
      parse("<!DOCTYPE r [<!ENTITY a '<b>&#38;amp; Co</b>'><!ENTITY c 'x&a;y'>]><r t='&c;'>&c;</r>")
          .events,
      "<r t=x& Coy>x& Coy</r>");
}

TEST(XmlParser, ExternalEntitiesAreNeverRead) {
  const Parsed parsed = parse(
      "<!DOCTYPE r [<!ENTITY x SYSTEM 'file:///etc/passwd'><!ENTITY % p SYSTEM "
      "'file:///etc/passwd'>%p;]><r>a&x;b</r>");
  EXPECT_EQ(parsed.events, "<r>ab</r>");
}

TEST(XmlParser, EntitiesThatHoldThemselvesEnd) {
  const Parsed parsed = parse("<!DOCTYPE r [<!ENTITY a '&b;x'><!ENTITY b '&a;y'>]><r>&a;</r>");
  EXPECT_FALSE(parsed.well_formed);
}

TEST(XmlParser, EntitiesThatGrowAreBounded) {
  std::string laughs = "<!DOCTYPE r [<!ENTITY a0 'ha'>";
  for (int i = 1; i < 30; ++i) {
    const std::string inner = "&a" + std::to_string(i - 1) + ";";
    laughs +=
        "<!ENTITY a" + std::to_string(i) + " '" + inner + inner + inner + inner + inner + "'>";
  }
  laughs += "]><r>&a29;</r>";
  const Parsed parsed = parse(laughs);
  EXPECT_FALSE(parsed.well_formed);
  EXPECT_LT(parsed.events.size(), 100'000u);
}

TEST(XmlParser, ManyReferencesToALargeEntityAreRefused) {
  std::string text = "<!DOCTYPE r [<!ENTITY a '" + std::string(60'000, 'x') + "'>]><r>";
  for (int i = 0; i < 100'000; ++i) text += "&a;";
  text += "</r>";
  try {
    parse(text, 65536);
    FAIL() << "it grew";
  } catch (const EngineError& error) {
    EXPECT_EQ(error.code(), Code::corrupt);
  }
}

TEST(XmlParser, ACutDocumentIsNotWellFormed) {
  const std::string text = "<r><a>x</a></r>";
  for (std::size_t size = 0; size < text.size(); ++size) {
    EXPECT_FALSE(parse(text.substr(0, size)).well_formed) << size;
  }
  EXPECT_EQ(parse("<r><a>x").events, "<r><a>x\n");
  EXPECT_EQ(parse("<r><a>xyz").events, "<r><a>xyz");
}

TEST(XmlParser, GoesOnBehindMismatchedTags) {
  const Parsed parsed = parse("<r><a><b>x</a>y</b>z</r>");
  EXPECT_FALSE(parsed.well_formed);
  for (const char* text : {"x", "y", "z"}) EXPECT_NE(parsed.events.find(text), std::string::npos);
}

TEST(XmlParser, SaysWhereItHasStopped) {
  for (const std::size_t piece : {1u, 7u, 1000u}) {
    const Parsed parsed = parse("<r>a < b", piece);
    EXPECT_TRUE(parsed.stopped);
    EXPECT_EQ(parsed.events, "<r>a ");
    EXPECT_EQ(parsed.unread, " b");
  }
  EXPECT_EQ(parse("<r>a < b</r>").unread, " b</r>");
}

TEST(XmlParser, ReadsSeveralDocumentsWhenAllowed) {
  const std::string text =
      " <?xml version='1.0'?>\n<a>1</a>\n<?xml version='1.0'?><b/><!-- c --><c>3</c>\n<?p i?>";
  for (const std::size_t piece : {1u, 2u, 5u, 1000u}) {
    const Parsed parsed = parse(text, piece, true);
    EXPECT_EQ(parsed.events, "<a>1</a><b></b><c>3</c>") << piece;
    EXPECT_TRUE(parsed.well_formed) << piece;
  }
  EXPECT_FALSE(parse(text).well_formed);
  EXPECT_FALSE(parse("<a/>text", 1000, true).well_formed);
  EXPECT_FALSE(parse("<a/><b>", 1000, true).well_formed);
}

TEST(XmlParser, NulsAreDroppedAsDamage) {
  const Parsed parsed = parse("<r>a\0b</r>"sv);
  EXPECT_EQ(parsed.events, "<r>ab</r>");
  EXPECT_FALSE(parsed.well_formed);
}

TEST(XmlParser, BadBytesAreReplaced) {
  EXPECT_EQ(parse("<r>a\xFF"
                  "b</r>")
                .events,
            "<r>a\uFFFD"
            "b</r>");
}

TEST(XmlParser, DeepElementsAreRead) {
  std::string text;
  for (int i = 0; i < 3000; ++i) text += "<a>";
  text += "x";
  for (int i = 0; i < 3000; ++i) text += "</a>";
  EXPECT_TRUE(parse(text).well_formed);
}

TEST(XmlParser, WhatAHandlerThrowsComesOut) {
  class Thrower : public XmlHandler {
    void characters(std::string_view) override { throw std::runtime_error("enough"); }
  };
  Limits limits;
  Thrower thrower;
  XmlParser parser(thrower, limits);
  EXPECT_THROW(parser.feed("<r>text</r>"), std::runtime_error);
}

}  // namespace
}  // namespace trfilter::test
