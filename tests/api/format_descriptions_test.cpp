#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <type_traits>

#include "api/tarnis.h"

namespace {

using namespace tarnis::v1;

/// FNV-1a over each text and the zero byte behind it.
class Checksum {
 public:
  void add(const std::string& text) {
    for (const char c : text) add(c);
    add('\0');
  }
  std::uint64_t value() const { return value_; }

 private:
  void add(char c) { value_ = (value_ ^ static_cast<unsigned char>(c)) * 0x100000001b3; }
  std::uint64_t value_ = 0xcbf29ce484222325;
};

TEST(FormatDescriptions, HasItsElementTypeAndSize) {
  EXPECT_TRUE(
      (std::is_same_v<decltype(format_descriptions), const std::array<format_description, 481>>));
  EXPECT_TRUE((std::is_same_v<decltype(category_strings), const std::array<std::string, 22>>));
}

TEST(FormatDescriptions, MatchesTheChecksumOfAllRows) {
  Checksum checksum;
  for (const format_description& row : format_descriptions) {
    checksum.add(row.description);
    checksum.add(row.extension);
  }
  EXPECT_EQ(checksum.value(), 0x15d3426fefe53c22U);
}

TEST(CategoryStrings, MatchesTheChecksumOfAllRows) {
  Checksum checksum;
  for (const std::string& name : category_strings) checksum.add(name);
  EXPECT_EQ(checksum.value(), 0x8f0f4ecbd13200d2U);
}

TEST(FormatDescriptions, RowZeroIsNoFormatWithoutExtension) {
  EXPECT_EQ(format_descriptions.at(0).description, "No Format");
  EXPECT_EQ(format_descriptions.at(0).extension, "");
}

TEST(FormatDescriptions, TheLastRowIsEmpty) {
  EXPECT_EQ(format_descriptions.at(480).description, "");
  EXPECT_EQ(format_descriptions.at(480).extension, "");
  EXPECT_EQ(format_descriptions.at(479).description, "Visio 2013 templace macro format");
}

TEST(FormatDescriptions, RowTwoIsTextWithoutExtension) {
  EXPECT_EQ(format_descriptions.at(2).description, "Text");
  EXPECT_EQ(format_descriptions.at(2).extension, "");
}

TEST(FormatDescriptions, KeepsTwoExtensionsAsOneString) {
  EXPECT_EQ(format_descriptions.at(63).extension, "FP5, FP7");
  EXPECT_EQ(format_descriptions.at(102).extension, "WM, PW");
}

TEST(FormatDescriptions, KeepsWordsInPlaceOfAnExtension) {
  EXPECT_EQ(format_descriptions.at(378).extension, "various");
  EXPECT_EQ(format_descriptions.at(377).description, "n/a");
}

TEST(FormatDescriptions, KeepsCutOffWordsDoubledBlanksAndMisspellings) {
  EXPECT_EQ(format_descriptions.at(15).description, "DCA-RFT (IBM Revisable");
  EXPECT_EQ(format_descriptions.at(321).description, "Microsoft Word  2000");
  EXPECT_EQ(format_descriptions.at(383).description, "Advanced Systems  Format");
  EXPECT_EQ(format_descriptions.at(471).description, "iWork 2013 Keynot format");
}

TEST(CategoryStrings, StartsWithNoFormatFoundAndEndsWithAnimation) {
  EXPECT_EQ(category_strings.at(0), "No Format Found");
  EXPECT_EQ(category_strings.at(21), "Animation");
}

}  // namespace
