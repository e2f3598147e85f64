#include "engine/core/list_number.h"

#include <gtest/gtest.h>

#include "engine/core/symbol_font.h"

namespace trfilter {
namespace {

std::string written(NumberStyle style, std::int64_t number) {
  std::string out;
  append_number(out, style, number);
  return out;
}

TEST(ListNumber, WritesEachStyle) {
  EXPECT_EQ(written(NumberStyle::none, 5), "");
  EXPECT_EQ(written(NumberStyle::decimal, 12), "12");
  EXPECT_EQ(written(NumberStyle::decimal_zero, 7), "07");
  EXPECT_EQ(written(NumberStyle::decimal_zero, 10), "10");
  EXPECT_EQ(written(NumberStyle::upper_roman, 1994), "MCMXCIV");
  EXPECT_EQ(written(NumberStyle::lower_roman, 4), "iv");
  EXPECT_EQ(written(NumberStyle::upper_letter, 26), "Z");
  EXPECT_EQ(written(NumberStyle::lower_letter, 28), "bb");
  EXPECT_EQ(written(NumberStyle::ordinal, 11), "11th");
  EXPECT_EQ(written(NumberStyle::ordinal, 22), "22nd");
  EXPECT_EQ(written(NumberStyle::cardinal_text, 1342), "One thousand three hundred forty-two");
  EXPECT_EQ(written(NumberStyle::ordinal_text, 20), "Twentieth");
  EXPECT_EQ(written(NumberStyle::ordinal_text, 121), "One hundred twenty-first");
  EXPECT_EQ(written(NumberStyle::hexadecimal, 255), "FF");
  EXPECT_EQ(written(NumberStyle::chicago, 5), "**");
  EXPECT_EQ(written(NumberStyle::circled, 20), "⑳");
  EXPECT_EQ(written(NumberStyle::full_width, 10), "１０");
  EXPECT_EQ(written(NumberStyle::russian_lower, 2), "б");
  EXPECT_EQ(written(NumberStyle::cjk_digits, 20), "二〇");
  EXPECT_EQ(written(NumberStyle::cjk_counting, 215), "二百十五");
  EXPECT_EQ(written(NumberStyle::earthly_branches, 12), "亥");
}

TEST(ListNumber, WritesDigitsWhereAStyleHasNoForm) {
  for (const auto style :
       {NumberStyle::upper_roman, NumberStyle::lower_letter, NumberStyle::circled,
        NumberStyle::cjk_counting, NumberStyle::cardinal_text, NumberStyle::earthly_branches}) {
    EXPECT_EQ(written(style, -1), "-1");
    EXPECT_EQ(written(style, 1'000'000'000'000), "1000000000000");
  }
  EXPECT_EQ(written(NumberStyle::circled, 21), "21");
}

TEST(SymbolFont, GivesTheCharacterShown) {
  EXPECT_EQ(symbol_font_character("Symbol", 0x61), U'α');
  EXPECT_EQ(symbol_font_character("SYMBOL", 0xF0B7), U'•');
  EXPECT_EQ(symbol_font_character("Wingdings", 0xF0FE), U'☑');
  EXPECT_EQ(symbol_font_character("Wingdings 2", 0xF050), U'✓');
  EXPECT_EQ(symbol_font_character("Arial", 0x61), char32_t{0});
  EXPECT_EQ(symbol_font_character("Symbol", 0x1F), char32_t{0});
  EXPECT_EQ(symbol_font_character("Symbol", 0x100), char32_t{0});
  EXPECT_EQ(symbol_font_character("Symbol", 0xF100), char32_t{0});
}

}  // namespace
}  // namespace trfilter
