#include "engine/core/utf8.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace trfilter {
namespace {

using std::string_literals::operator""s;
using std::string_view_literals::operator""sv;

std::string encoded(char32_t code_point) {
  std::string out;
  append_utf8(out, code_point);
  return out;
}

/// The first and last sequences of each row of the table of well-formed sequences.
const std::vector<std::string_view>& well_formed() {
  static const std::vector<std::string_view> sequences = {"\x01"sv,
                                                          "\x7F"sv,
                                                          "\xC2\x80"sv,
                                                          "\xDF\xBF"sv,
                                                          "\xE0\xA0\x80"sv,
                                                          "\xE0\xBF\xBF"sv,
                                                          "\xE1\x80\x80"sv,
                                                          "\xEC\xBF\xBF"sv,
                                                          "\xED\x80\x80"sv,
                                                          "\xED\x9F\xBF"sv,
                                                          "\xEE\x80\x80"sv,
                                                          "\xEF\xBF\xBF"sv,
                                                          "\xF0\x90\x80\x80"sv,
                                                          "\xF0\xBF\xBF\xBF"sv,
                                                          "\xF1\x80\x80\x80"sv,
                                                          "\xF3\xBF\xBF\xBF"sv,
                                                          "\xF4\x80\x80\x80"sv,
                                                          "\xF4\x8F\xBF\xBF"sv};
  return sequences;
}

/// One step outside of each of its bounds, and sequences that end early.
const std::vector<std::string_view>& ill_formed() {
  static const std::vector<std::string_view> sequences = {"\x80"sv,
                                                          "\xBF"sv,
                                                          "\xC0\x80"sv,
                                                          "\xC1\xBF"sv,
                                                          "\xC2"sv,
                                                          "\xC2\x7F"sv,
                                                          "\xC2\xC0"sv,
                                                          "\xDF\xC0"sv,
                                                          "\xE0\x9F\xBF"sv,
                                                          "\xE0\xA0"sv,
                                                          "\xE0\xA0\x7F"sv,
                                                          "\xE1\x80\xC0"sv,
                                                          "\xED\xA0\x80"sv,
                                                          "\xED\xBF\xBF"sv,
                                                          "\xEF\xBF"sv,
                                                          "\xF0\x8F\xBF\xBF"sv,
                                                          "\xF0\x90\x80"sv,
                                                          "\xF0\x90\x80\x7F"sv,
                                                          "\xF1\x80\x80\xC0"sv,
                                                          "\xF4\x90\x80\x80"sv,
                                                          "\xF5\x80\x80\x80"sv,
                                                          "\xFE"sv,
                                                          "\xFF"sv};
  return sequences;
}

TEST(Utf8, AcceptsTheBoundsOfWellFormedSequences) {
  for (const std::string_view sequence : well_formed()) {
    EXPECT_TRUE(is_valid_utf8(sequence)) << sequence;
    EXPECT_EQ(clean_utf8_prefix(sequence), sequence.size()) << sequence;
  }
}

TEST(Utf8, RefusesWhatLiesOutsideOfTheBounds) {
  for (const std::string_view sequence : ill_formed()) {
    EXPECT_FALSE(is_valid_utf8(sequence)) << testing::PrintToString(sequence);
    EXPECT_EQ(clean_utf8_prefix(sequence), 0u) << testing::PrintToString(sequence);
  }
}

TEST(Utf8, StopsAtTheFirstBadByteWhereverItStands) {
  // Every place relative to the words of eight bytes in which plain text is tested.
  for (std::size_t before = 0; before < 24; ++before) {
    for (const std::string_view bad : {"\0"sv, "\r"sv, "\xFF"sv, "\xE2\x82"sv}) {
      const std::string text = std::string(before, 'a') + std::string(bad) + std::string(16, 'b');
      EXPECT_EQ(clean_utf8_prefix(text), before);
    }
    const std::string good = std::string(before, '\x01') + "\xE2\x82\xAC" + std::string(9, '\x7F');
    EXPECT_EQ(clean_utf8_prefix(good), good.size());
  }
}

TEST(Utf8, TellsNulAndCarriageReturnFromTheirNeighbours) {
  for (int c = 1; c < 0x80; ++c) {
    const std::string text(16, static_cast<char>(c));
    EXPECT_EQ(clean_utf8_prefix(text), c == '\r' ? 0u : 16u) << c;
    EXPECT_TRUE(is_valid_utf8(text)) << c;
  }
  EXPECT_TRUE(is_valid_utf8("a\0b\rc"sv));
  EXPECT_FALSE(is_valid_utf8("a\0b\r\xFF"sv));
  EXPECT_TRUE(is_valid_utf8(""));
  EXPECT_EQ(clean_utf8_prefix(""), 0u);
}

TEST(Utf8, EncodesTheBoundsOfEachLength) {
  EXPECT_EQ(encoded(0), "\0"s);
  EXPECT_EQ(encoded(0x7F), "\x7F");
  EXPECT_EQ(encoded(0x80), "\xC2\x80");
  EXPECT_EQ(encoded(0x7FF), "\xDF\xBF");
  EXPECT_EQ(encoded(0x800), "\xE0\xA0\x80");
  EXPECT_EQ(encoded(0xD7FF), "\xED\x9F\xBF");
  EXPECT_EQ(encoded(0xE000), "\xEE\x80\x80");
  EXPECT_EQ(encoded(0xFFFF), "\xEF\xBF\xBF");
  EXPECT_EQ(encoded(0x10000), "\xF0\x90\x80\x80");
  EXPECT_EQ(encoded(0x10FFFF), "\xF4\x8F\xBF\xBF");
}

TEST(Utf8, EncodesWhatIsNoCharacterAsTheReplacement) {
  for (const char32_t bad : {0xD800u, 0xDBFFu, 0xDC00u, 0xDFFFu, 0x110000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(encoded(bad), "\uFFFD");
  }
}

TEST(Utf8, EncodesIntoAnArrayWithTheLength) {
  std::array<char, 4> bytes{};
  EXPECT_EQ(encode_utf8(U'a', bytes), 1u);
  EXPECT_EQ(encode_utf8(U'\u00E9', bytes), 2u);
  EXPECT_EQ(encode_utf8(U'\u20AC', bytes), 3u);
  EXPECT_EQ(encode_utf8(U'\U0001F600', bytes), 4u);
  EXPECT_EQ(std::string_view(bytes.data(), 4), "\U0001F600");
}

TEST(Utf8, ConvertsUtf16BothWays) {
  const std::u16string units = u"a\u00E9\u20AC\U00010000\U0010FFFF\uFFFF";
  const std::string bytes = "a\u00E9\u20AC\U00010000\U0010FFFF\uFFFF";
  EXPECT_EQ(utf16_to_utf8(units), bytes);
  EXPECT_EQ(utf8_to_utf16(bytes), units);
  EXPECT_EQ(utf16_to_utf8(u""), "");
  EXPECT_EQ(utf8_to_utf16(""), u"");
}

TEST(Utf8, ReplacesUnpairedSurrogates) {
  EXPECT_EQ(utf16_to_utf8(std::u16string{0xD800}), "\uFFFD");
  EXPECT_EQ(utf16_to_utf8(std::u16string{0xDC00}), "\uFFFD");
  EXPECT_EQ(utf16_to_utf8(std::u16string{0xD800, u'a'}), "\uFFFDa");
  EXPECT_EQ(utf16_to_utf8(std::u16string{0xD800, 0xD800, 0xDC00}), "\uFFFD\U00010000");
  EXPECT_EQ(utf16_to_utf8(std::u16string{0xDC00, 0xD800}), "\uFFFD\uFFFD");
}

TEST(Utf8, ReplacesEachBadByteOnTheWayToUtf16) {
  for (const std::string_view sequence : ill_formed()) {
    // Bytes of a bad sequence that are ASCII or begin a good one stand for themselves.
    const std::u16string units = utf8_to_utf16("a" + std::string(sequence.substr(0, 1)) + "b");
    EXPECT_EQ(units, u"a\uFFFDb");
  }
  EXPECT_EQ(utf8_to_utf16("\xE2\x82"
                          "a"),
            u"\uFFFD\uFFFDa");
}

}  // namespace
}  // namespace trfilter
