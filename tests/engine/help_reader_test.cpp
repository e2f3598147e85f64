// The help reader over a sample cabinet and over help files made here.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/core/fields.h"
#include "tests/engine/help_writer.h"
#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

std::string usual_help() {
  return help_file({{"/", ""},
                    {"/#SYSTEM", "internal"},
                    {"/garden.css", "p {}"},
                    {"/garden.htm", "<html><body><p>How to plant a tree.</p></body></html>"},
                    {"/sub/W\xC3\xA4sser.HTML", "<p>How to water it.</p>"}});
}

TEST(HelpReader, ListsTheFilesOfItsAuthor) {
  const Listing listing = list_members(usual_help(), Format::chm);
  ASSERT_EQ(listing.code, 0) << listing.reason;
  ASSERT_EQ(listing.members.size(), 3u);
  EXPECT_EQ(listing.members[0].name, "garden.css");
  EXPECT_EQ(listing.members[0].size, 4);
  EXPECT_EQ(listing.members[2].name, "sub/W\xC3\xA4sser.HTML");
}

TEST(HelpReader, ExtractsFiles) {
  const auto extracted = extract_members(usual_help(), Format::chm, {2, 0});
  EXPECT_EQ(extracted[0].bytes, "<p>How to water it.</p>");
  EXPECT_EQ(extracted[1].bytes, "p {}");
}

TEST(HelpReader, GivesTheTextOfTopics) {
  const Reading reading = read_document(usual_help(), Format::chm);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text, "How to plant a tree.\n\fHow to water it.\n");
}

TEST(HelpReader, GivesTheTextBeforeDamageAndThenTellsOfIt) {
  const std::string bytes = usual_help();
  const Reading reading = read_document(bytes.substr(0, bytes.size() - 10), Format::chm);
  EXPECT_EQ(reading.code, 4);
  EXPECT_TRUE(reading.text.starts_with("How to plant a tree.\n")) << reading.text;
}

TEST(HelpReader, RefusesAHelpFileWithoutADirectory) {
  EXPECT_EQ(list_members(usual_help().substr(0, 0x90), Format::chm).code, 21);
  EXPECT_EQ(read_document(usual_help().substr(0, 0x90), Format::chm).code, 21);
}

TEST(HelpReader, ExtractsTheFilesOfACabinet) {
  const std::string bytes = source_file("samples/bundle.cab");
  const Listing listing = list_members(bytes, Format::cab);
  ASSERT_EQ(listing.code, 0) << listing.reason;
  ASSERT_EQ(listing.members.size(), 4u);
  EXPECT_EQ(listing.members[0].name, "papers/note.txt");
  // 2024-05-17 10:30:00
  EXPECT_EQ(listing.members[0].time.ticks, FileTime::from_unix_seconds(1'715'941'800).ticks);
  const auto extracted = extract_members(bytes, Format::cab, {2, 0, 1});
  EXPECT_EQ(extracted[0].bytes, source_file("samples/form.pdf"));
  EXPECT_EQ(extracted[1].bytes, "Bring the blue folder on Friday.\nThe meeting is in room 12.\n");
  EXPECT_EQ(extracted[2].bytes, source_file("samples/letter.docx"));
  EXPECT_EQ(listing.members[2].size, static_cast<std::int64_t>(extracted[0].bytes.size()));
}

TEST(HelpReader, HasNoTextOfACabinet) {
  EXPECT_EQ(read_document(source_file("samples/bundle.cab"), Format::cab).code, 7);
}

TEST(HelpReader, TellsAnUnknownCompressionOfACabinet) {
  std::string bytes = source_file("samples/bundle.cab");
  constexpr std::size_t compression_of_folder = 36 + 6;
  bytes[compression_of_folder] = 9;
  EXPECT_EQ(extract_member(bytes, Format::cab, 0).code, 43);
}

TEST(HelpReader, TellsDamageOfACabinet) {
  std::string bytes = source_file("samples/bundle.cab");
  bytes[bytes.size() - 100] = static_cast<char>(bytes[bytes.size() - 100] ^ 1);
  EXPECT_EQ(extract_member(bytes, Format::cab, 3).code, 4);
  EXPECT_EQ(list_members(bytes.substr(0, 40), Format::cab).code, 21);
}

TEST(HelpReader, TellsThatAFolderGoesOnInACabinetThatIsNotThereEachTime) {
  std::string bytes = source_file("samples/bundle.cab");
  const auto block = static_cast<std::size_t>(le32(bytes, 36));
  // Neither a checksum nor sizes: the block's rest is in the next cabinet.
  bytes.replace(block, 8, 8, '\0');
  bytes[40] = 2;  // blocks
  bytes[42] = 0;  // stored
  for (const Extracted& extracted : extract_members(bytes, Format::cab, {0, 1, 0})) {
    EXPECT_EQ(extracted.code, 4);
  }
}

TEST(HelpReader, SurvivesDamage) {
  std::mt19937 random(11);
  for (const auto& [bytes, format] : {std::pair{usual_help(), Format::chm},
                                      std::pair{source_file("samples/bundle.cab"), Format::cab}}) {
    for (int round = 0; round < 100; ++round) {
      std::string damaged =
          bytes.substr(0, round % 4 == 0 ? random() % bytes.size() : bytes.size());
      for (int i = 0; i < 5 && !damaged.empty(); ++i) {
        damaged[random() % std::min<std::size_t>(damaged.size(), 400)] =
            static_cast<char>(random());
      }
      const Listing listing = list_members(damaged, format);
      EXPECT_NE(listing.code, 19);
      std::vector<std::size_t> all(std::min<std::size_t>(listing.members.size(), 8));
      for (std::size_t i = 0; i < all.size(); ++i) all[i] = i;
      for (const Extracted& extracted : extract_members(damaged, format, all)) {
        EXPECT_NE(extracted.code, 19);
      }
      EXPECT_NE(read_document(damaged, format).code, 19);
    }
  }
}

}  // namespace
}  // namespace trfilter::test
