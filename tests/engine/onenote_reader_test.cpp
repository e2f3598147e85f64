#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/core/engine_error.h"
#include "engine/core/property_names.h"
#include "tests/engine/read_document.h"

// samples/make/notes.py tells what the sample holds.

namespace trfilter::test {
namespace {

constexpr int corrupt = 4;
constexpr int no_text = 7;

std::string sample() {
  return source_file("samples/notes.one");
}

TEST(OneNoteReader, GivesThePagesInTheirOrder) {
  const Reading reading = read_document(sample(), Format::onenote);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text,
            "Tides\nMöwen\nand gulls\nOn the pier, see the timetable\nA newer word\n"
            "Day\tHigh water\nMonday\t8:30\n\fPacking list\n");
}

TEST(OneNoteReader, GivesTheAuthors) {
  const Properties facts = read_properties(sample(), Format::onenote);
  ASSERT_EQ(facts.items().size(), 2u);
  EXPECT_EQ(facts.items()[0].name, property::author);
  EXPECT_EQ(std::get<std::string>(facts.items()[0].value), "Zoë Brook");
  EXPECT_EQ(std::get<std::string>(facts.items()[1].value), "Ada");
}

TEST(OneNoteReader, RefusesWhatAServerKeeps) {
  constexpr std::size_t format = 48;
  std::string section = sample();
  section[format] = static_cast<char>(section[format] ^ 1);
  EXPECT_EQ(read_document(section, Format::onenote).code, no_text);
}

TEST(OneNoteReader, FindsNothingWithoutItsLists) {
  EXPECT_EQ(read_document(sample().substr(0, 40), Format::onenote).code, corrupt);
  EXPECT_EQ(read_document(sample().substr(0, 1024), Format::onenote).code, corrupt);
}

TEST(OneNoteReader, GivesAllPagesWhenTheirOrderIsLost) {
  // The section's own object is the first of its kind.
  std::string section = sample();
  const std::string pages("\x63\x1D\x00\x2C", 4);
  for (std::size_t at = section.find(pages); at != std::string::npos;
       at = section.find(pages, at + 1)) {
    section[at] = 0;
  }
  const Reading reading = read_document(section, Format::onenote);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_NE(reading.text.find("Tides\n"), std::string::npos);
  EXPECT_NE(reading.text.find("Packing list\n"), std::string::npos);
}

TEST(OneNoteReader, SurvivesDamage) {
  const std::string section = sample();
  const auto try_it = [](const std::string& bytes) {
    const int code = read_document(bytes, Format::onenote).code;
    EXPECT_TRUE(code == 0 || code == corrupt || code == no_text) << code;
    try {
      read_properties(bytes, Format::onenote);
    } catch (const EngineError& error) {
      EXPECT_TRUE(error.code() == Code::corrupt || error.code() == Code::unsupported_format);
    }
  };
  for (std::size_t size = 1; size < section.size(); size += 13) try_it(section.substr(0, size));
  for (std::size_t at = 0; at < section.size(); at += 3) {
    std::string flipped = section;
    flipped[at] = static_cast<char>(flipped[at] ^ (at % 2 == 0 ? 0xFF : 0x10));
    try_it(flipped);
  }
}

}  // namespace
}  // namespace trfilter::test
