#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/core/engine_error.h"
#include "engine/core/property_names.h"
#include "tests/engine/read_document.h"
#include "tests/engine/zip_writer.h"

// samples/make/brochure.py tells what the sample holds.

namespace trfilter::test {
namespace {

constexpr int corrupt = 4;

const std::string spreads =
    "The island\nBoats leave daily & return.\nWeather permitting.\nDay\tFerry\nMonday\t8:30\n"
    "By the sea\n\fShells\nand sand\nand wind\n";

std::string text_with(const Options& options) {
  const Reading reading =
      read_document(source_file("samples/brochure.idml"), Format::idml, options);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

std::string story_text(const std::string& runs) {
  ZipWriter writer;
  writer.add("designmap.xml", "<Document/>");
  writer.add("Stories/Story_u1.xml", "<Story><Story>" + runs + "</Story></Story>");
  return read_document(writer.bytes(), Format::idml).text;
}

TEST(IdmlReader, GivesStoriesInTheOrderOfTheirFrames) {
  EXPECT_EQ(text_with({}), spreads);
}

TEST(IdmlReader, GivesMasterSpreadsAsHeaders) {
  Options options;
  options.header_and_footer = true;
  EXPECT_EQ(text_with(options), spreads + "\fIsland news\n");
}

TEST(IdmlReader, MarksTrackedChanges) {
  Options options;
  options.revision_marks = true;
  EXPECT_NE(text_with(options).find("twice"), std::string::npos);
  EXPECT_EQ(text_with({}).find("twice"), std::string::npos);
}

TEST(IdmlReader, GivesNotesAsComments) {
  const std::string runs =
      "<Content>a</Content><Note><ParagraphStyleRange><Content>why?</Content><Br/></"
      "ParagraphStyleRange></Note><Content>b</Content><Br/><Content>c</Content>";
  EXPECT_EQ(story_text(runs), "ab\nwhy?\nc\n");
}

TEST(IdmlReader, LeavesAnchorsOut) {
  EXPECT_EQ(story_text("<Content>a\uFEFFb\u2029c\u2026\u2028d</Content>"), "ab\nc\u2026\nd\n");
}

TEST(IdmlReader, KeepsTheTextOfTablesInTables) {
  const std::string inner = "<Table><Cell Name='0:0'><Content>x</Content></Cell></Table>";
  EXPECT_EQ(story_text("<Table><Cell Name='0:0'><Content>a</Content></Cell><Cell "
                       "Name='1:0'>" +
                       inner + "</Cell></Table><Content>end</Content>"),
            "a\tx\nend\n");
}

TEST(IdmlReader, GivesPropertiesOfThePacketAndTheNumberOfPages) {
  const Properties facts = read_properties(source_file("samples/brochure.idml"), Format::idml);
  const auto value_of = [&](std::string_view name) -> const PropertyValue* {
    for (const auto& item : facts.items()) {
      if (item.name == name) return &item.value;
    }
    return nullptr;
  };
  ASSERT_NE(value_of(property::title), nullptr);
  EXPECT_EQ(std::get<std::string>(*value_of(property::title)), "A day out");
  EXPECT_EQ(std::get<std::string>(*value_of(property::application)), "by hand");
  EXPECT_EQ(std::get<std::int32_t>(*value_of(property::page_count)), 3);
  EXPECT_EQ(std::get<FileTime>(*value_of(property::created)).ticks,
            FileTime::from_unix_seconds(1'709'204'400).ticks);
}

TEST(IdmlReader, ListsTheMembersOfTheArchive) {
  const Listing listing = list_members(source_file("samples/brochure.idml"), Format::idml);
  EXPECT_EQ(listing.members.size(), 10u);
  EXPECT_EQ(host_number(Format::idml), host_number(Format::zip));
}

TEST(IdmlReader, GivesWhatIsLeftOfADamagedPackage) {
  ZipWriter writer;
  writer.add("designmap.xml", "<Document><Spread src='Spreads/s.xml'/>");
  writer.add("Stories/Story_u1.xml",
             "<Story><Story><Change ChangeType='InsertedText'><Content>left");
  const Reading reading = read_document(writer.bytes(), Format::idml);
  EXPECT_EQ(reading.text, "left\n");
  EXPECT_EQ(reading.code, corrupt);

  ZipWriter empty;
  empty.add("mimetype", "application/vnd.adobe.indesign-idml-package");
  EXPECT_EQ(read_document(empty.bytes(), Format::idml).code, corrupt);
}

TEST(IdmlReader, SurvivesDamage) {
  const std::string package = source_file("samples/brochure.idml");
  const auto try_it = [](const std::string& bytes) {
    read_document(bytes, Format::idml);
    list_members(bytes, Format::idml);
    try {
      read_properties(bytes, Format::idml);
    } catch (const EngineError& error) {
      EXPECT_NE(error.code(), Code::timed_out);
    }
  };
  for (std::size_t size = 0; size < package.size(); size += 29) try_it(package.substr(0, size));
  for (std::size_t at = 0; at < package.size(); at += 11) {
    std::string flipped = package;
    flipped[at] = static_cast<char>(flipped[at] ^ 0xFF);
    try_it(flipped);
  }
}

}  // namespace
}  // namespace trfilter::test
