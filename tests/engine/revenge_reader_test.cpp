#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tests/engine/compound_writer.h"
#include "tests/engine/read_document.h"
#include "tests/engine/zip_writer.h"

namespace trfilter::test {
namespace {

std::string le16(unsigned value) {
  return {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8 & 0xFF)};
}

std::string le32(std::uint32_t value) {
  return le16(value & 0xFFFF) + le16(value >> 16);
}

/// A record of 1-2-3.
std::string record(unsigned type, std::string_view data = {}) {
  return le16(type) + le16(static_cast<unsigned>(data.size())) + std::string(data);
}

std::string worksheet_label(unsigned column, unsigned row, std::string_view text) {
  return record(0x0F, "\xFF" + le16(column) + le16(row) + "'" + std::string(text) + '\0');
}

std::string worksheet_integer(unsigned column, unsigned row, unsigned value) {
  return record(0x0D, "\xFF" + le16(column) + le16(row) + le16(value));
}

std::string worksheet_begin() {
  return record(0x00, le16(0x0406)) + record(0x06, le16(0) + le16(0) + le16(9) + le16(9));
}

const std::string worksheet_end = record(0x01);

/// A document of WordPerfect 5.1.
std::string wordperfect(std::string_view text, unsigned key = 0) {
  const std::string prefix = le16(0xFFFB) + le16(5) + le16(50) + le32(0);
  return "\xFFWPC" + le32(16 + 10) + std::string("\x01\x0A\x00\x01", 4) + le16(key) + le16(0) +
         prefix + std::string(text);
}

constexpr std::string_view pages_begin =
    R"(<?xml version="1.0"?><sl:document xmlns:sfa="http://developer.apple.com/namespaces/sfa")"
    R"( xmlns:sf="http://developer.apple.com/namespaces/sf")"
    R"( xmlns:sl="http://developer.apple.com/namespaces/sl" sl:version="92008102400">)";
constexpr std::string_view storage_begin = R"(<sf:text-storage sf:kind="body"><sf:text-body>)";
constexpr std::string_view storage_end = "</sf:text-body></sf:text-storage>";

std::string pages_package(std::string_view index) {
  return ZipWriter().add("index.xml", index).bytes();
}

/// A Pages document of 2009 with these paragraphs in its body.
std::string pages(std::string_view paragraphs) {
  return pages_package(std::string(pages_begin) + std::string(storage_begin) +
                       std::string(paragraphs) + std::string(storage_end) + "</sl:document>");
}

std::string text_of(std::string bytes, Format format, const Options& options = {}) {
  const Reading reading = read_document(std::move(bytes), format, options);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

std::string property_of(const Properties& properties, std::string_view name) {
  for (const Properties::Item& item : properties.items()) {
    if (item.name != name) continue;
    if (const auto* text = std::get_if<std::string>(&item.value)) return *text;
    if (const auto* number = std::get_if<std::int32_t>(&item.value)) return std::to_string(*number);
  }
  return {};
}

// Worksheets.

TEST(RevengeReader, ShowsCellsInTheirColumns) {
  const std::string sheet = worksheet_begin() + worksheet_label(0, 0, "a") +
                            worksheet_label(3, 0, "d") + worksheet_integer(1, 1, 42) +
                            worksheet_end;
  EXPECT_EQ(text_of(sheet, Format::lotus_123), "Sheet1\na\t\t\td\n\t42\n");
}

TEST(RevengeReader, GivesTheCellsBeforeTheDamage) {
  std::string sheet = worksheet_begin();
  for (unsigned row = 0; row < 100; ++row) sheet += worksheet_label(0, row, "cell");
  const Reading reading = read_document(sheet, Format::lotus_123);
  EXPECT_EQ(reading.code, 4);
  EXPECT_TRUE(reading.text.starts_with("Sheet1\ncell\n"));
}

TEST(RevengeReader, TakesAWorksheetOfManyChunksWhole) {
  const std::string text(60, 'x');
  std::string sheet = worksheet_begin();
  std::string expected = "Sheet1\n";
  for (unsigned row = 0; row < 8000; ++row) {
    for (unsigned column = 0; column < 4; ++column) {
      sheet += worksheet_label(column, row, text);
      expected += text + (column == 3 ? '\n' : '\t');
    }
  }
  EXPECT_EQ(text_of(sheet + worksheet_end, Format::lotus_123), expected);
}

TEST(RevengeReader, RefusesAWorksheetThatWouldTakeTooMuchMemory) {
  std::string sheet = worksheet_begin();
  sheet.resize((std::size_t{32} << 20) + 1);
  EXPECT_EQ(read_document(std::move(sheet), Format::lotus_123).code, 2);
}

// WordPerfect.

TEST(RevengeReader, ShowsTabsAndLinesOfWordPerfect) {
  EXPECT_EQ(text_of(wordperfect("one\x0Atwo  words\x0A"), Format::wordperfect),
            "one\ntwo  words\n");
}

TEST(RevengeReader, RefusesWordPerfectWhoseTextIsNotThere) {
  const std::string whole = wordperfect("words\x0A");
  const Reading reading = read_document(whole.substr(0, 20), Format::wordperfect);
  EXPECT_EQ(reading.code, 4);
  EXPECT_TRUE(reading.text.empty());
}

TEST(RevengeReader, AsksForThePasswordOfWordPerfect) {
  EXPECT_EQ(read_document(wordperfect("words\x0A", 0x1234), Format::wordperfect).code, 8);
  Options options;
  options.password = "wrong";
  EXPECT_EQ(read_document(wordperfect("words\x0A", 0x1234), Format::wordperfect, options).code, 8);
}

// iWork.

TEST(RevengeReader, ShowsHeadersOfPagesWhenTheyAreAskedFor) {
  const std::string bytes = source_file("samples/plan.pages");
  EXPECT_EQ(text_of(bytes, Format::pages).find("Garden society"), std::string::npos);
  Options options;
  options.header_and_footer_tags = true;
  EXPECT_TRUE(text_of(bytes, Format::pages, options)
                  .starts_with("<header>Garden society</header>\n<footer>Page"));
}

TEST(RevengeReader, ReadsPagesWithPageNumbersThatAreNoDecimalNumbers) {
  EXPECT_EQ(text_of(pages(R"(<sf:p>Page <sf:page-number sf:format="upper-alpha" sf:value="B"/>)"
                          "<sf:br/></sf:p><sf:p>end<sf:br/></sf:p>"),
                    Format::pages),
            "Page \nend\n");
}

TEST(RevengeReader, GivesWhatIsThereOfPagesThatAreCutShort) {
  const std::string index = std::string(pages_begin) + std::string(storage_begin) +
                            "<sf:p>first<sf:br/></sf:p><sf:p>second<sf:br/></sf:p><sf:p>thi";
  const Reading reading = read_document(pages_package(index), Format::pages);
  EXPECT_EQ(reading.code, 4);
  EXPECT_TRUE(reading.text.starts_with("first\nsecond\n")) << reading.text;
}

TEST(RevengeReader, StatesWhatPagesStates) {
  const Properties properties = read_properties(source_file("samples/plan.pages"), Format::pages);
  EXPECT_EQ(property_of(properties, "Title"), "A plan");
  EXPECT_EQ(property_of(properties, "Author"), "Ada, Charles");
  EXPECT_EQ(property_of(properties, "Language"), "en");
  EXPECT_EQ(property_of(properties, "PageCount"), "2");
  const auto& items = properties.items();
  EXPECT_TRUE(std::any_of(items.begin(), items.end(), [](const Properties::Item& item) {
    return item.name == "Created" && std::holds_alternative<FileTime>(item.value);
  }));
}

TEST(RevengeReader, CountsTheSlidesOfKeynote) {
  const Properties properties = read_properties(source_file("samples/show.key"), Format::keynote);
  EXPECT_EQ(property_of(properties, "Title"), "A show");
  EXPECT_EQ(property_of(properties, "SlideCount"), "2");
}

TEST(RevengeReader, ListsThePicturesOfIWorkAndNotItsPreviews) {
  const std::string bytes = ZipWriter()
                                .add("index.xml", std::string(pages_begin) + "</sl:document>")
                                .add("QuickLook/Preview.pdf", "%PDF-1.4")
                                .add("rose.jpg", "\xFF\xD8\xFFrose")
                                .bytes();
  const Listing listing = list_members(bytes, Format::pages);
  ASSERT_EQ(listing.members.size(), 1u);
  EXPECT_EQ(listing.members[0].name, "rose.jpg");
  EXPECT_EQ(extract_member(bytes, Format::pages, 0).bytes, "\xFF\xD8\xFFrose");
}

TEST(RevengeReader, RefusesIWorkWithoutItsIndex) {
  EXPECT_EQ(read_document(ZipWriter().add("other", "x").bytes(), Format::pages).code, 4);
  EXPECT_EQ(read_document("PK\x03\x04", Format::pages).code, 4);
}

TEST(RevengeReader, LeavesEntitiesOfOtherFilesAlone) {
  std::string index =
      "<?xml version=\"1.0\"?><!DOCTYPE d [<!ENTITY e SYSTEM \"file:///etc/passwd\">]>";
  index += std::string(pages_begin).substr(pages_begin.find("<sl:"));
  index += std::string(storage_begin) + "<sf:p>a&e;b<sf:br/></sf:p>" + std::string(storage_end);
  index += "</sl:document>";
  EXPECT_EQ(read_document(pages_package(index), Format::pages).text.find("root:"),
            std::string::npos);
}

// Visio.

TEST(RevengeReader, NamesAndCountsThePagesOfVisio) {
  const std::string bytes = source_file("samples/floor.vsdx");
  EXPECT_EQ(text_of(bytes, Format::visio_drawing),
            "Ground floor\nKitchen\nHall & stairs\n\fFirst floor\nLibrary\n");
  EXPECT_EQ(property_of(read_properties(bytes, Format::visio_drawing), "PageCount"), "2");
}

// Compound files.

TEST(RevengeReader, RefusesCompoundFilesWithoutADocument) {
  CompoundWriter file;
  file.add("Contents", "bytes");
  for (const Format format : {Format::visio, Format::publisher_98, Format::works_windows_text,
                              Format::quattro_windows, Format::staroffice_binary}) {
    const int code = read_document(file.bytes(), format).code;
    EXPECT_TRUE(code == 4 || code == 7) << static_cast<int>(format) << ": " << code;
  }
}

TEST(RevengeReader, KeepsTheFileThatACompoundFileWraps) {
  CompoundWriter file;
  file.add("Package", "PK\x03\x04 a document of another program");
  const Listing listing = list_members(file.bytes(), Format::visio);
  ASSERT_EQ(listing.members.size(), 1u);
  EXPECT_EQ(extract_member(file.bytes(), Format::visio, 0).bytes,
            "PK\x03\x04 a document of another program");
}

TEST(RevengeReader, RefusesWhatIsOfAnotherKind) {
  for (const Format format :
       {Format::corel_draw, Format::corel_cmx, Format::pagemaker_windows, Format::quark_xpress,
        Format::freehand_mac, Format::publisher, Format::apple_works, Format::word_mac,
        Format::macwrite_2, Format::windows_write, Format::wordperfect_graphics}) {
    const int code = read_document("nothing of the kind", format).code;
    EXPECT_TRUE(code == 4 || code == 7) << static_cast<int>(format) << ": " << code;
  }
}

}  // namespace
}  // namespace trfilter::test
