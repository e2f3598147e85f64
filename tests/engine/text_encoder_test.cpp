#include "engine/core/text_encoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <string_view>

#include "engine/charset/byte_characters.h"
#include "engine/charset/encoding.h"
#include "engine/charset/text_decoder.h"
#include "engine/core/registry.h"
#include "engine/core/utf8.h"
#include "tests/engine/language_samples.h"

namespace trfilter::test {
namespace {

using namespace std::string_view_literals;

std::unique_ptr<TextEncoder> encoder_of(std::uint32_t number) {
  static const ReaderModules modules{TARNIS_ENGINE_DIRECTORY};
  auto* const make =
      reinterpret_cast<MakeTextEncoder*>(modules.function("encode", "trfilter_text_encoder"));
  return std::unique_ptr<TextEncoder>(make(number));
}

std::string encode(const Encoding& target, std::string_view utf8, std::size_t piece = 1u << 20) {
  const auto encoder = encoder_of(target.number);
  std::string out;
  for (; utf8.size() > piece; utf8.remove_prefix(piece)) {
    encoder->encode(utf8.substr(0, piece), false, out);
  }
  encoder->encode(utf8, true, out);
  return out;
}

std::string decode(const Encoding& source, std::string_view bytes) {
  TextDecoder decoder(source);
  return std::string(decoder.decode(bytes, true));
}

const Encoding& set(std::string_view name) {
  const auto found = std::ranges::find(
      encodings(), name, [](const Encoding& encoding) { return std::string_view(encoding.name); });
  EXPECT_NE(found, encodings().end()) << name;
  return *found;
}

TEST(TextEncoder, EverySetOfHostsIsWrittenAndReadBack) {
  for (const Encoding& each : encodings()) {
    ASSERT_NE(encoder_of(each.number), nullptr) << each.name;
    const std::string ascii = "Hello, world 0123456789\nA line\tand a tab.\n";
    EXPECT_EQ(decode(each, encode(each, ascii)), ascii) << each.name;
  }
}

TEST(TextEncoder, WritesEveryCharacterOfTheSetsOfOneByte) {
  for (const Encoding& each : encodings()) {
    if (each.kind != Encoding::Kind::single_byte && each.kind != Encoding::Kind::ebcdic) continue;
    const std::array<char16_t, 256> characters = byte_characters(each);
    std::string text;
    for (const char16_t unit : characters) {
      const bool has_code = unit >= 0x20 && (unit < 0x7F || unit >= 0xA0) && unit != 0xFFFD &&
                            unit != 0xAD && unit != 0x1A && unit < 0xE000;
      if (has_code) append_utf8(text, unit);
    }
    EXPECT_EQ(decode(each, encode(each, text)), text) << each.name;
  }
}

TEST(TextEncoder, GivesTheSameWhereverPiecesEnd) {
  for (const LanguageSample& sample : language_samples()) {
    const std::string text = std::string(sample.utf8) + " \U0001D11E\U0001F600 €\n";
    for (const Encoding& each : encodings()) {
      const std::string whole = encode(each, text);
      for (const std::size_t piece : {1u, 2u, 3u, 7u}) {
        EXPECT_EQ(encode(each, text, piece), whole) << each.name << ' ' << piece;
      }
    }
  }
}

TEST(TextEncoder, FormsOfUnicodeHaveEveryCharacter) {
  const std::string text = "a\u00E4\u20AC\u4E2D\U0001D11E\U0010FFFF\u00AD\u200D|\n";
  for (const char* name :
       {"UTF-8", "UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE", "UTF-7", "GB18030"}) {
    const std::string bytes = encode(set(name), text);
    EXPECT_EQ(decode(set(name), bytes), text) << name;
    EXPECT_TRUE(encoder_of(set(name).number)->has_byte_order_mark()) << name;
  }
  EXPECT_EQ(encode(set("UTF-16LE"), "\U0001F600"), "\x3D\xD8\x00\xDE"sv);
  EXPECT_EQ(encode(set("UTF-16BE"), "\U0001F600"), "\xD8\x3D\xDE\x00"sv);
  EXPECT_EQ(encode(set("UTF-32LE"), "\U0001F600"), "\x00\xF6\x01\x00"sv);
  EXPECT_EQ(encode(set("UTF-32BE"), "\U0001F600"), "\x00\x01\xF6\x00"sv);
}

TEST(TextEncoder, ACharacterThatTheSetLacksIsAQuestionMark) {
  const std::string text = "a中\U0001F600b";
  for (const char* name : {"US-ASCII", "ISO-8859-1", "ISO-8859-16", "windows-1252", "KOI8-R",
                           "IBM437", "macintosh", "windows-1258", "TIS-620"}) {
    EXPECT_EQ(encode(set(name), text), "a??b") << name;
    EXPECT_FALSE(encoder_of(set(name).number)->has_byte_order_mark()) << name;
  }
  for (const char* name : {"Shift_JIS", "EUC-JP", "ISO-2022-JP", "GBK", "Big5", "EUC-KR"}) {
    EXPECT_EQ(decode(set(name), encode(set(name), "aख\U0001F600b")), "a??b") << name;
  }
  EXPECT_EQ(encode(set("IBM037"), text), "\x81\x6F\x6F\x82");
  EXPECT_EQ(encode(set("IBM01140"), "\u20AC中"), "\x9F\x6F");
}

TEST(TextEncoder, SetsWithShiftsEndInTheirFirstState) {
  EXPECT_EQ(encode(set("ISO-2022-JP"), "日本"), "\x1B$BF|K\\\x1B(B");
  EXPECT_EQ(encode(set("HZ-GB-2312"), "中"), "~{VP~}");
  EXPECT_EQ(encode(set("ISO-2022-KR"), "가\n"), "\x1B$)C\x0E\x30\x21\x0F\n");
  EXPECT_EQ(encode(set("UTF-7"), "ä"), "+AOQ-");
}

TEST(TextEncoder, ThereIsNoneForOtherNumbers) {
  EXPECT_EQ(encoder_of(0), nullptr);
  EXPECT_EQ(encoder_of(9999), nullptr);
}

}  // namespace
}  // namespace trfilter::test
