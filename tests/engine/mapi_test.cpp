#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "engine/core/engine_error.h"
#include "engine/core/limits.h"
#include "engine/core/spooled_bytes.h"
#include "engine/mapi/code_page.h"
#include "engine/mapi/compressed_rtf.h"
#include "engine/mapi/encapsulated_text.h"
#include "engine/mapi/mapi_message.h"
#include "tests/engine/mapi_documents.h"

namespace trfilter::mapi {
namespace {

using test::little_endian;

std::string from_hexadecimal(std::string_view digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 3) {
    bytes.push_back(static_cast<char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
  }
  return bytes;
}

std::string unpacked(std::string_view packed) {
  Limits limits;
  return unpack_rtf(packed, limits);
}

EncapsulatedText unwrapped(std::string_view rtf) {
  Limits limits;
  return unwrap_rtf(rtf, limits);
}

// The two examples of [MS-OXRTFCP] 3.1.
const std::string hello = from_hexadecimal(
    "2d 00 00 00 2b 00 00 00 4c 5a 46 75 f1 c5 c7 a7 03 00 0a 00 72 63 70 67 31 32 35 42 32 0a f3 "
    "20 68 65 6c 09 00 20 62 77 05 b0 6c 64 7d 0a 80 0f a0 ");
const std::string repeated = from_hexadecimal(
    "1a 00 00 00 1c 00 00 00 4c 5a 46 75 e2 d4 4b 51 41 00 04 20 57 58 59 5a 0d 6e 7d 01 0e b0 ");

TEST(CompressedRtf, UnpacksWhatRefersToTheDictionary) {
  EXPECT_EQ(unpacked(hello), "{\\rtf1\\ansi\\ansicpg1252\\pard hello world}\r\n");
}

TEST(CompressedRtf, UnpacksAReferenceThatReachesIntoItself) {
  EXPECT_EQ(unpacked(repeated), "{\\rtf1 WXYZWXYZWXYZWXYZWXYZ}");
}

TEST(CompressedRtf, GivesWhatIsStoredWithoutCompression) {
  const std::string stored =
      little_endian(20, 4) + little_endian(8, 4) + "MELA" + little_endian(0, 4) + "{\\rtf1 }";
  EXPECT_EQ(unpacked(stored), "{\\rtf1 }");
}

TEST(CompressedRtf, GivesWhatThereIsOfDataThatBreaksOff) {
  const std::string whole = unpacked(hello);
  for (std::size_t size = 0; size < hello.size(); ++size) {
    EXPECT_TRUE(whole.starts_with(unpacked(hello.substr(0, size)))) << size;
  }
}

TEST(CompressedRtf, GivesNothingForWhatItIsNot) {
  EXPECT_EQ(unpacked("{\\rtf1 this is RTF as it is}"), "");
}

TEST(EncapsulatedHtml, IsTakenOutOfItsRtf) {
  const EncapsulatedText text = unwrapped(
      "{\\rtf1\\ansi\\ansicpg1251\\fromhtml1 \\deff0\n"
      "{\\fonttbl {\\f0\\fmodern Courier New;}{\\f1\\fswiss\\fcharset204 Arial;}}\n"
      "{\\colortbl\\red0\\green0\\blue0;}\n"
      "{\\*\\htmltag64}\n"
      "{\\*\\htmltag19 <html>}{\\*\\htmltag50 <body>}\\htmlrtf \\lang1033 \\htmlrtf0\n"
      "{\\*\\htmltag96 <p>}\\htmlrtf {\\htmlrtf0 \\f1 \\'cf\\'f0 a{\\*\\htmltag84 "
      "&nbsp;}\\htmlrtf \\'a0\\htmlrtf0 b\\htmlrtf\\par}\\htmlrtf0\n"
      "{\\*\\mhtmltag84 <a href=\"other\">}{\\*\\htmltag104 </p>}\n"
      "\\htmlrtf }\\htmlrtf0{\\*\\htmltag58 </body>}{\\*\\htmltag27 </html>}}");
  EXPECT_EQ(text.kind, EncapsulatedText::Kind::html);
  EXPECT_EQ(text.text, "<html><body><p>\u041F\u0440 a&nbsp;b</p></body></html>");
}

TEST(EncapsulatedHtml, KeepsLineEndsAndCharactersOfControlWords) {
  const EncapsulatedText text = unwrapped(
      "{\\rtf1\\ansi\\fromhtml1{\\*\\htmltag0 <p>\\par \\{x\\}\\tab}a\\emdash b\\~c\\u8364?"
      "\\u-10179?\\u-8704?\\'e9}");
  EXPECT_EQ(text.text, "<p>\r\n{x}\ta&mdash;b&nbsp;c\u20AC\U0001F600\u00E9");
}

TEST(EncapsulatedText, OfPlainTextIsPlain) {
  const EncapsulatedText text =
      unwrapped("{\\rtf1\\ansi\\fromtext \\deff0{\\fonttbl{\\f0 A;}}one\\par\\tab two\\endash}");
  EXPECT_EQ(text.kind, EncapsulatedText::Kind::plain);
  EXPECT_EQ(text.text, "one\n\ttwo\u2013");
}

TEST(EncapsulatedText, IsNoneInRtfOfItsOwn) {
  EXPECT_EQ(unwrapped("{\\rtf1\\ansi hello}").kind, EncapsulatedText::Kind::none);
  EXPECT_EQ(unwrapped("").kind, EncapsulatedText::Kind::none);
}

TEST(EncapsulatedText, SurvivesBrokenRtf) {
  const std::string rtf =
      "{\\rtf1\\ansi\\fromhtml1{\\fonttbl{\\f0\\fcharset128 A;}}{\\*\\htmltag0 "
      "<p>}\\f0\\'83\\'65\\u1234\\bin5 abcde\\'z}}}";
  for (std::size_t size = 0; size <= rtf.size(); ++size) unwrapped(rtf.substr(0, size));
  EXPECT_EQ(unwrapped(rtf).kind, EncapsulatedText::Kind::html);
}

TEST(EncapsulatedText, IsBoundedInTheDepthOfItsGroups) {
  const std::string deep = "{\\rtf1\\fromhtml1" + std::string(100'000, '{');
  EXPECT_THROW(unwrapped(deep), EngineError);
}

TEST(MapiCodePage, KnowsNumbersAndLocales) {
  EXPECT_EQ(decode_text("\xCF\xF0", encoding_of_code_page(1251)), "\u041F\u0440");
  EXPECT_EQ(decode_text("\x82\xA0", encoding_of_code_page(932)), "\u3042");
  EXPECT_EQ(decode_text("\xC1", encoding_of_code_page(20866)), "\u0430");
  EXPECT_EQ(decode_text("caf\xC3\xA9", nullptr), "caf\u00E9");
  EXPECT_EQ(encoding_of_code_page(0), nullptr);
  EXPECT_EQ(encoding_of_code_page(77777), nullptr);
  EXPECT_EQ(code_page_of_locale(0x0419), 1251u);
  EXPECT_EQ(code_page_of_locale(0x0404), 950u);
  EXPECT_EQ(code_page_of_locale(0x0804), 936u);
  EXPECT_EQ(code_page_of_locale(0x0409), 1252u);
}

TEST(OneOffAddress, IsReadInBothForms) {
  const std::string head = little_endian(0, 4) +
                           from_hexadecimal("81 2b 1f a4 be a3 10 19 9d 6e 00 dd 01 0f 54 02 ") +
                           little_endian(0, 2);
  using namespace std::string_literals;
  const MailAddress narrow =
      one_off_address(head + little_endian(0, 2) + "Ada\0SMTP\0ada@example.org\0"s, nullptr);
  EXPECT_EQ(narrow.name, "Ada");
  EXPECT_EQ(narrow.address, "ada@example.org");
  const MailAddress wide =
      one_off_address(head + little_endian(0x9001, 2) + "A\0d\0\0\0S\0\0\0x\0@\0y\0\0\0"s, nullptr);
  EXPECT_EQ(wide.name, "Ad");
  EXPECT_EQ(wide.address, "x@y");
  EXPECT_EQ(one_off_address("something else altogether, and long", nullptr).address, "");
}

TEST(SpooledBytes, GivesManyBytesAsOftenAsTheyAreAsked) {
  class Collect : public ByteOutput {
   public:
    void write(std::string_view bytes) override { all += bytes; }
    std::string all;
  };
  Limits limits;
  SpooledBytes spooled(limits, {});
  std::string expected;
  for (int i = 0; i < 40; ++i) {
    const std::string block(70'000, static_cast<char>('a' + i % 26));
    spooled.write(block);
    expected += block;
  }
  for (int i = 0; i < 2; ++i) {
    Collect collect;
    spooled.copy_to(collect);
    EXPECT_EQ(collect.all, expected);
  }
}

TEST(SpooledBytes, AreBoundedByWhatTheDocumentIsWorth) {
  Limits::Bounds bounds;
  bounds.expansion_floor = 3 << 20;
  Limits limits(bounds);
  limits.set_document_size(1000);
  SpooledBytes spooled(limits, {});
  const std::string block(1 << 20, 'x');
  for (int i = 0; i < 4; ++i) spooled.write(block);
  EXPECT_THROW(spooled.write(block), EngineError);
}

}  // namespace
}  // namespace trfilter::mapi
