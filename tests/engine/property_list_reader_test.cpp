// Binary property lists and saved pages. samples/make/text_files.py makes the samples; what no
// library would write is made here.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "engine/core/property_names.h"
#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

using namespace std::string_literals;

constexpr int corrupt = 4;
constexpr int no_text = 7;

/// A list of these objects, the first at the top, with references of two bytes.
std::string list_of(const std::vector<std::string>& objects) {
  std::string bytes = "bplist00";
  std::string offsets;
  const auto number = [](std::uint64_t value, int size) {
    std::string text;
    for (int i = size - 1; i >= 0; --i) text += static_cast<char>(value >> (8 * i));
    return text;
  };
  for (const std::string& object : objects) {
    offsets += number(bytes.size(), 4);
    bytes += object;
  }
  const std::uint64_t table = bytes.size();
  return bytes + offsets + "\0\0\0\0\0\0\4\2"s + number(objects.size(), 8) + number(0, 8) +
         number(table, 8);
}

std::string reference(unsigned number) {
  return {static_cast<char>(number >> 8), static_cast<char>(number)};
}

std::string ascii(const std::string& text) {
  return static_cast<char>(0x50 + text.size()) + text;
}

Reading read(const std::string& bytes) {
  return read_document(bytes, Format::binary_plist);
}

TEST(PropertyListReader, GivesKeysAndValuesAsRows) {
  const Reading reading = read(source_file("samples/binary.plist"));
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text, source_file("samples/binary.plist.txt"));
  EXPECT_TRUE(
      list_members(source_file("samples/binary.plist"), Format::binary_plist).members.empty());
}

TEST(PropertyListReader, GivesNumbersOfEverySize) {
  const std::string bytes = list_of({"\xA6" + reference(1) + reference(2) + reference(3) +
                                         reference(4) + reference(5) + reference(6),
                                     "\x10\xFF", "\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE",
                                     "\x14\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x07"s, "\x22\x3F\0\0\0"s,
                                     "\x81\x01\x02", "\x00"s});
  EXPECT_EQ(read(bytes).text, "255\n-2\n7\n0.5\n258\n");
}

TEST(PropertyListReader, EndsWhereListsHoldEachOther) {
  EXPECT_EQ(read(list_of({"\xA2" + reference(0) + reference(1),
                          "\xA2" + reference(0) + reference(2), ascii("once")}))
                .text,
            "once\n");
  // Each level holds the next one twice.
  std::vector<std::string> levels;
  for (unsigned i = 1; i <= 60; ++i) levels.push_back("\xA2" + reference(i) + reference(i));
  levels.push_back(ascii("deep"));
  EXPECT_EQ(read(list_of(levels)).text, "deep\ndeep\n");
}

TEST(PropertyListReader, RefusesListsThatAreTooDeep) {
  std::vector<std::string> levels;
  for (unsigned i = 1; i <= 5000; ++i) levels.push_back("\xA1" + reference(i));
  levels.push_back(ascii("deep"));
  EXPECT_EQ(read(list_of(levels)).code, corrupt);
}

TEST(PropertyListReader, BelievesNoCountBeyondTheFile) {
  EXPECT_EQ(read(list_of({"\xAF\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"})).code, corrupt);
  EXPECT_EQ(read(list_of({"\x4F\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"})).code, corrupt);
  EXPECT_EQ(read(list_of({"\xD1" + reference(1)})).code, corrupt);
  EXPECT_EQ(read(list_of({"\xA1" + reference(9)})).code, corrupt);
  std::string lie = list_of({ascii("a")});
  lie[lie.size() - 24] = '\x7F';
  EXPECT_EQ(read(lie).code, corrupt);
  EXPECT_EQ(read("bplist00").code, corrupt);
}

TEST(PropertyListReader, GivesWhatStandsBeforeDamage) {
  const Reading reading = read(list_of({"\xA2" + reference(1) + reference(7), ascii("first")}));
  EXPECT_EQ(reading.text, "first\n");
  EXPECT_EQ(reading.code, corrupt);
}

TEST(WebArchive, HasThePagesTextInThePagesCharacterSet) {
  const std::string bytes = source_file("samples/page.webarchive");
  const Reading reading = read(bytes);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text, source_file("samples/page.webarchive.txt"));
  const Properties properties = read_properties(bytes, Format::binary_plist);
  ASSERT_FALSE(properties.items().empty());
  EXPECT_EQ(std::get<std::string>(properties.items().front().value), "Garden");
}

TEST(WebArchive, HasWhatBelongsToThePageAsMembers) {
  const std::string bytes = source_file("samples/page.webarchive");
  const Listing listing = list_members(bytes, Format::binary_plist);
  EXPECT_EQ(listing.code, 0) << listing.reason;
  ASSERT_EQ(listing.members.size(), 2u);
  EXPECT_EQ(listing.members[0].name, "garden.css");
  EXPECT_EQ(listing.members[0].size, 18);
  EXPECT_EQ(listing.members[1].name, "herbs.html");
  EXPECT_EQ(extract_member(bytes, Format::binary_plist, 1).bytes, "<p>Sage in a frame");
}

TEST(WebArchive, OfArchivesThatHoldEachOtherEnds) {
  // 0 the archive: main, frames; 5 the frames, which are the archive itself, twice.
  const std::string bytes =
      list_of({"\xD2" + reference(1) + reference(4) + reference(2) + reference(5),
               "\x5F\x10\x0FWebMainResource"s, "\xD0", ascii("x"),
               "\x5F\x10\x13WebSubframeArchives"s, "\xA2" + reference(0) + reference(0)});
  EXPECT_EQ(list_members(bytes, Format::binary_plist).code, 0);
  EXPECT_EQ(read(bytes).code, corrupt);
}

TEST(WebArchive, OfAPictureHasNoText) {
  const std::string bytes =
      list_of({"\xD1" + reference(1) + reference(2), "\x5F\x10\x0FWebMainResource"s,
               "\xD2" + reference(3) + reference(4) + reference(5) + reference(6),
               "\x5F\x10\x0FWebResourceData"s, "\x5F\x10\x13WebResourceMIMEType"s, "\x43pic"s,
               ascii("image/png")});
  EXPECT_EQ(read(bytes).code, no_text);
}

TEST(WebArchive, SurvivesDamage) {
  std::mt19937 random(11);
  for (const char* sample : {"samples/page.webarchive", "samples/binary.plist"}) {
    const std::string bytes = source_file(sample);
    for (std::size_t size = 0; size < bytes.size(); size += 7) read(bytes.substr(0, size));
    for (int round = 0; round < 500; ++round) {
      std::string damaged = bytes;
      for (int i = 0; i < 3; ++i) damaged[random() % damaged.size()] = static_cast<char>(random());
      EXPECT_NE(read(damaged).code, 19);
      const Listing listing = list_members(damaged, Format::binary_plist);
      for (std::size_t i = 0; i < listing.members.size() && i < 4; ++i) {
        extract_member(damaged, Format::binary_plist, i);
      }
    }
  }
}

}  // namespace
}  // namespace trfilter::test
