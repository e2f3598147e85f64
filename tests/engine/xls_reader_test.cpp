#include <gtest/gtest.h>

#include <bit>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/engine_error.h"
#include "engine/office_crypt/xor_obfuscation.h"
#include "tests/engine/compound_writer.h"
#include "tests/engine/office_encryption.h"
#include "tests/engine/presentation_writer.h"
#include "tests/engine/read_document.h"
#include "tests/engine/workbook_writer.h"

namespace trfilter {
namespace {

using namespace std::string_literals;
using test::cell;
using test::encrypted_workbook;
using test::f64;
using test::for_each_locked_byte;
using test::narrow;
using test::read_document;
using test::Reading;
using test::RecordWriter;
using test::u16;
using test::u32;
using test::u8;
using test::wide;
using test::workbook_file;
using test::workbook_stream;
using test::workbook_stream_5;

constexpr int corrupt = static_cast<int>(Code::corrupt);
constexpr int locked = static_cast<int>(Code::password_protected);

std::string label(unsigned row, unsigned column, std::string_view text, unsigned style = 0) {
  return RecordWriter().add(0x0204, cell(row, column, style) + narrow(text)).bytes();
}

std::string number(unsigned row, unsigned column, double value, unsigned style = 0) {
  return RecordWriter().add(0x0203, cell(row, column, style) + f64(value)).bytes();
}

std::string one_sheet(const std::string& records, const std::string& globals = "") {
  return workbook_file(workbook_stream(globals, {{"S", records}}));
}

std::string text_of(const std::string& file, const Options& options = {}) {
  const Reading reading = read_document(file, Format::excel_97, options);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

/// The text of a sheet of these records, without its name.
std::string sheet_text(const std::string& records, const std::string& globals = "",
                       const Options& options = {}) {
  const std::string text = text_of(one_sheet(records, globals), options);
  EXPECT_TRUE(text.starts_with("S\n")) << text;
  return text.substr(2);
}

Options with(bool Options::*option) {
  Options options;
  options.*option = true;
  return options;
}

/// Formats of numbers 164 on, and a style for each: 0 is General.
std::string styles(const std::vector<std::string>& codes) {
  RecordWriter writer;
  for (std::size_t i = 0; i < codes.size(); ++i) {
    writer.add(0x041E, u16(static_cast<unsigned>(164 + i)) + narrow(codes[i]));
  }
  writer.add(0x00E0, u16(0) + u16(0));
  for (std::size_t i = 0; i < codes.size(); ++i) {
    writer.add(0x00E0, u16(0) + u16(static_cast<unsigned>(164 + i)));
  }
  return writer.bytes();
}

TEST(XlsReader, WritesRowsAsLinesWithATabForEachColumn) {
  EXPECT_EQ(sheet_text(label(0, 0, "a") + label(0, 1, "b") + label(2, 2, "c")), "a\tb\n\t\tc\n");
}

TEST(XlsReader, OrdersTheCellsOfARow) {
  EXPECT_EQ(sheet_text(label(0, 2, "c") + label(0, 0, "a") + label(0, 0, "A")), "A\t\tc\n");
}

TEST(XlsReader, WritesSheetsAsPagesInTheWorkbooksOrder) {
  const std::string stream =
      workbook_stream("", {{"First", label(0, 0, "a")}, {"Second", label(0, 0, "b")}});
  EXPECT_EQ(text_of(workbook_file(stream)), "First\na\n\fSecond\nb\n");
}

TEST(XlsReader, KeepsHiddenSheetsRowsAndColumnsBack) {
  const std::string hidden_row =
      RecordWriter().add(0x0208, u16(1) + std::string(10, '\0') + u32(0x20)).bytes();
  const std::string hidden_column =
      RecordWriter().add(0x007D, u16(1) + u16(1) + u16(0) + u16(0) + u16(1) + u16(0)).bytes();
  const std::string file = workbook_file(
      workbook_stream("", {{"S", hidden_column + hidden_row + label(0, 0, "a") + label(0, 1, "b") +
                                     label(1, 0, "c") + label(2, 0, "d")},
                           {"T", label(0, 0, "e"), 1}}));
  EXPECT_EQ(text_of(file), "S\na\nd\n");
  EXPECT_EQ(text_of(file, with(&Options::hidden_text)), "S\na\tb\nc\nd\n\fT\ne\n");
}

TEST(XlsReader, KeepsVeryHiddenSheetsBack) {
  constexpr unsigned very_hidden = 2;
  const std::vector<test::SheetRecords> sheets{{"S", label(0, 0, "a")},
                                               {"T", label(0, 0, "b"), very_hidden}};
  const std::string file = workbook_file(workbook_stream("", sheets));
  EXPECT_EQ(text_of(file), "S\na\n");
  EXPECT_EQ(text_of(file, with(&Options::hidden_text)), "S\na\n\fT\nb\n");
}

TEST(XlsReader, ShowsNumbersByTheirFormats) {
  const std::string globals = styles({"0.00", "yyyy\\-mm\\-dd", "#,##0;;"});
  EXPECT_EQ(sheet_text(number(0, 0, 1.5) + number(0, 1, 1.5, 1) + number(0, 2, 36526, 2) +
                           number(0, 3, 1234567, 3),
                       globals),
            "1.5\t1.50\t2000-01-01\t1,234,567\n");
}

TEST(XlsReader, ShowsWhatAFormatHidesAsHiddenText) {
  const std::string records = number(0, 0, -5, 1);
  EXPECT_EQ(sheet_text(records, styles({"0;"})), "");
  EXPECT_EQ(sheet_text(records, styles({"0;"}), with(&Options::hidden_text)), "-5\n");
}

TEST(XlsReader, CountsDaysFrom1904WhenTheWorkbookSaysSo) {
  const std::string globals = RecordWriter().add(0x0022, u16(1)).bytes() + styles({"yyyy"});
  EXPECT_EQ(sheet_text(number(0, 0, 1, 1), globals), "1904\n");
}

TEST(XlsReader, ReadsPackedNumbers) {
  RecordWriter records;
  records.add(0x027E, cell(0, 0) + u32(static_cast<std::uint32_t>(-7) << 2 | 2));
  records.add(0x00BD, u16(0) + u16(1) + u16(0) + u32(12345u << 2 | 3) + u16(0) + u32(0x3FF00000) +
                          u16(0) + u32(0x3FF00001) + u16(3));
  EXPECT_EQ(sheet_text(records.bytes()), "-7\t123.45\t1\t0.01\n");
}

TEST(XlsReader, ReadsBooleansAndErrors) {
  RecordWriter records;
  records.add(0x0205, cell(0, 0) + u8(1) + u8(0));
  records.add(0x0205, cell(0, 1) + u8(0) + u8(0));
  records.add(0x0205, cell(0, 2) + u8(7) + u8(1));
  EXPECT_EQ(sheet_text(records.bytes()), "TRUE\tFALSE\t#DIV/0!\n");
}

TEST(XlsReader, ReadsResultsOfFormulas) {
  const auto special = [](unsigned kind, unsigned value) {
    return u8(kind) + u8(0) + u8(value) + std::string(3, '\0') + u16(0xFFFF);
  };
  RecordWriter records;
  records.add(0x0006, cell(0, 0) + f64(2.5));
  records.add(0x0006, cell(0, 1) + special(0, 0));
  records.add(0x0207, wide(u"r\u00E9sult"));
  records.add(0x0006, cell(0, 2) + special(1, 1));
  records.add(0x0006, cell(0, 3) + special(2, 0x2A));
  records.add(0x0006, cell(0, 4) + special(3, 0));
  EXPECT_EQ(sheet_text(records.bytes()), "2.5\tr\u00E9sult\tTRUE\t#N/A\n");
}

TEST(XlsReader, ReadsTextResultsBehindOtherRecordsOfTheirFormula) {
  RecordWriter records;
  const std::string text_follows = u8(0) + std::string(5, '\0') + u16(0xFFFF);
  records.add(0x0006, cell(0, 0) + text_follows);
  records.add(0x04BC, std::string(10, '\0'));
  records.add(0x0207, narrow("shared"));
  records.add(0x0006, cell(0, 1) + text_follows);
  records.add(0x0221, std::string(14, '\0'));
  records.add(0x0207, narrow("array"));
  // One that belongs to no formula.
  records.add(0x0207, narrow("stray"));
  EXPECT_EQ(sheet_text(records.bytes()), "shared\tarray\n");
}

TEST(XlsReader, ReadsLongTextResultsAcrossRecords) {
  RecordWriter records;
  records.add(0x0006, cell(0, 0) + u8(0) + std::string(5, '\0') + u16(0xFFFF));
  records.add(0x0207, u16(8) + u8(1) + test::utf16(u"\u0416\u0417"));
  records.add(0x003C, u8(0) + "abc"s);
  records.add(0x003C, u8(1) + test::utf16(u"\u0418\u0419\u041A"));
  EXPECT_EQ(sheet_text(records.bytes() + label(0, 1, "next")),
            "\u0416\u0417abc\u0418\u0419\u041A\tnext\n");
}

TEST(XlsReader, SaysThatATextResultIsCut) {
  RecordWriter records;
  records.add(0x0006, cell(0, 0) + u8(0) + std::string(5, '\0') + u16(0xFFFF));
  records.add(0x0207, u16(8) + u8(0) + "abc"s);
  const Reading reading = read_document(one_sheet(records.bytes()), Format::excel_97);
  EXPECT_EQ(reading.text, "S\nabc\n");
  EXPECT_EQ(reading.code, corrupt);
}

TEST(XlsReader, ReadsStringsThatChangeTheirWidthBetweenRecords) {
  RecordWriter globals;
  // Wide, narrow, wide again, within one run of characters; a surrogate pair in two records.
  globals.add(0x00FC, u32(2) + u32(2) + u16(7) + u8(1) + test::utf16(u"\u0416\u0417"));
  globals.add(0x003C, u8(0) + "\xE9z"s);
  globals.add(0x003C, u8(1) + test::utf16(u"\u0418\u0419\u041A") + u16(3) + u8(1) +
                          test::utf16(u"\U0001F600").substr(0, 2));
  globals.add(0x003C, u8(1) + test::utf16(u"\U0001F600").substr(2));
  globals.add(0x003C, u8(0) + "!"s);
  RecordWriter records;
  for (unsigned i = 0; i < 2; ++i) records.add(0x00FD, cell(0, i) + u32(i));
  EXPECT_EQ(sheet_text(records.bytes(), globals.bytes()),
            "\u0416\u0417\u00E9z\u0418\u0419\u041A\t\U0001F600!\n");
}

TEST(XlsReader, ReadsTheTableOfStringsAcrossRecords) {
  RecordWriter globals;
  // The first string goes on in wide characters, the third begins with a record of its own.
  globals.add(0x00FC, u32(4) + u32(4) + u16(4) + u8(0) + "ab");
  globals.add(0x003C, u8(1) + test::utf16(u"\u0416\u0417") + u16(3) + u8(8) + u16(1) +
                          "rich"s.substr(0, 3) + u16(0));
  globals.add(0x003C, u16(1) + u16(2) + u8(5) + u32(3) + test::utf16(u"\u65E5\u672C") + "ext");
  globals.add(0x003C, u16(1) + u8(0) + "z");
  RecordWriter records;
  for (unsigned i = 0; i < 4; ++i) records.add(0x00FD, cell(0, i) + u32(i));
  EXPECT_EQ(sheet_text(records.bytes(), globals.bytes()), "ab\u0416\u0417\tric\t\u65E5\u672C\tz\n");
}

TEST(XlsReader, ReadsALongTableOfStringsInPieces) {
  constexpr unsigned count = 20'000;
  std::string table = u32(count) + u32(count);
  for (unsigned i = 0; i < count; ++i) {
    const std::string text = std::to_string(i);
    table += u16(static_cast<unsigned>(text.size())) + u8(0) + text;
  }
  // Records end where strings do.
  RecordWriter globals;
  std::size_t at = 8;
  std::size_t begin = 0;
  bool first = true;
  while (at < table.size()) {
    const std::size_t size = 3 + static_cast<unsigned char>(table[at]);
    if (at + size - begin > 8000) {
      globals.add(first ? 0x00FC : 0x003C, table.substr(begin, at - begin));
      first = false;
      begin = at;
    }
    at += size;
  }
  globals.add(0x003C, table.substr(begin));
  RecordWriter records;
  records.add(0x00FD, cell(0, 0) + u32(0));
  records.add(0x00FD, cell(0, 1) + u32(count - 1));
  EXPECT_EQ(sheet_text(records.bytes(), globals.bytes()), "0\t19999\n");
}

TEST(XlsReader, ReadsByteStringsInTheWorkbooksCodePage) {
  RecordWriter globals;
  globals.add(0x0042, u16(1251));
  RecordWriter records;
  records.add(0x0204, cell(0, 0) + u16(3) + "\xC4\xC0!");
  records.add(0x00D6, cell(0, 1) + u16(1) + "\xE6" + u8(0));
  records.add(0x001C, u16(0) + u16(0) + u16(4) + "note");
  records.add(0x0014, u8(4) + "&Lab");
  const std::string stream = workbook_stream_5(globals.bytes(), {{"S", records.bytes()}});
  const Reading reading = read_document(workbook_file(stream, "Book"), Format::excel_95,
                                        with(&Options::header_and_footer));
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text, "S\n\u0414\u0410!\t\u0436\nnote\nab\n");
}

/// The text of a workbook of version 5.
std::string old_text(const std::vector<test::SheetRecords>& sheets, const Options& options = {}) {
  const Reading reading = read_document(workbook_file(workbook_stream_5("", sheets), "Book"),
                                        Format::excel_95, options);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

TEST(XlsReader, ReadsEveryKindOfCellOfVersion5) {
  RecordWriter records;
  records.add(0x0204, cell(0, 0) + u16(5) + "label");
  records.add(0x0203, cell(0, 1) + f64(0.5));
  records.add(0x027E, cell(0, 2) + u32(7u << 2 | 2));
  records.add(0x00BD,
              u16(0) + u16(3) + u16(0) + u32(8u << 2 | 2) + u16(0) + u32(9u << 2 | 2) + u16(4));
  records.add(0x0205, cell(0, 5) + u8(1) + u8(0));
  records.add(0x0006, cell(0, 6) + u8(0) + std::string(5, '\0') + u16(0xFFFF));
  records.add(0x0207, u16(6) + "result");
  records.add(0x0006, cell(0, 7) + u8(2) + u8(0) + u8(0x17) + std::string(3, '\0') + u16(0xFFFF));
  EXPECT_EQ(old_text({{"S", records.bytes()}}), "S\nlabel\t0.5\t7\t8\t9\tTRUE\tresult\t#REF!\n");
}

TEST(XlsReader, JoinsLongCommentsOfVersion5) {
  RecordWriter records;
  records.add(0x001C, u16(2) + u16(1) + u16(9) + "a long ");
  records.add(0x001C, u16(0xFFFF) + u16(0) + u16(7) + "comment");
  records.add(0x001C, u16(3) + u16(1) + u16(5) + "other");
  EXPECT_EQ(old_text({{"S", records.bytes()}}), "S\na long comment\nother\n");
}

TEST(XlsReader, ShowsTitlesOfChartsOfVersion5) {
  RecordWriter records;
  records.add(0x0809, u16(0x0500) + u16(0x0020) + u32(0));
  records.add(0x100D, u16(0) + u8(5) + "Title");
  records.add(0x000A, "");
  EXPECT_EQ(old_text({{"S", records.bytes()}}), "S\nTitle\n");
}

/// An object of version 5 with a text, a macro's formula before and formats behind it.
std::string old_object(unsigned kind, std::string_view text) {
  const std::string formats(16, '\0');
  std::string object = u32(1) + u16(kind) + u16(1) + std::string(18, '\0') + u16(4) +
                       std::string(6, '\0') + std::string(10, '\1');
  object += u16(static_cast<unsigned>(text.size())) + u16(0);
  object += u16(static_cast<unsigned>(formats.size())) + std::string(16, '\0') + "mac!" +
            std::string(text);
  if (text.size() % 2 != 0) object += '\0';
  return RecordWriter().add(0x005D, object + formats).bytes();
}

TEST(XlsReader, ShowsTextBoxesAndButtonsOfVersion5) {
  const std::string cut = RecordWriter().add(0x005D, std::string(40, '\6')).bytes();
  const std::string label = RecordWriter().add(0x0204, cell(0, 0) + u16(4) + "cell").bytes();
  EXPECT_EQ(old_text({{"S", label + old_object(6, "one\ntwo") + old_object(2, "not shown") + cut +
                                old_object(7, "Press")}}),
            "S\ncell\none\ntwo\nPress\n");
}

TEST(XlsReader, ReadsSheetsWithoutACompoundFile) {
  RecordWriter records;
  records.add(0x0009, u16(2) + u16(0x0010));
  records.add(0x001E, u8(7) + "General");
  records.add(0x001E, u8(4) + "0.00");
  records.add(0x0004, u16(0) + u16(0) + std::string(3, '\0') + u8(3) + "two");
  records.add(0x0002, u16(0) + u16(1) + std::string(3, '\0') + u16(65535));
  records.add(0x0003, u16(0) + u16(2) + u8(0) + u8(1) + u8(0) + f64(0.5));
  records.add(0x0005, u16(0) + u16(3) + std::string(3, '\0') + u8(1) + u8(0));
  records.add(0x0006, u16(1) + u16(0) + std::string(3, '\0') + f64(7));
  records.add(0x000A, "");
  const Reading reading = read_document(records.bytes(), Format::excel_2);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text, "two\t65535\t0.50\tTRUE\n7\n");
}

TEST(XlsReader, ReadsAWorkbookOfVersion4) {
  RecordWriter sheet;
  sheet.add(0x0409, u16(4) + u16(0x0010) + u16(0));
  sheet.add(0x0204, cell(0, 0) + u16(4) + "four");
  sheet.add(0x000A, "");
  RecordWriter records;
  records.add(0x0409, u16(4) + u16(0x0100) + u16(0));
  records.add(0x008F, u32(static_cast<std::uint32_t>(sheet.bytes().size())) + u8(4) + "Name");
  const std::string end = RecordWriter().add(0x000A, "").bytes();
  const Reading reading = read_document(records.bytes() + sheet.bytes() + end, Format::excel_4);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text, "Name\nfour\n");
}

std::string text_object(unsigned kind, std::string_view text, unsigned number = 1) {
  RecordWriter records;
  records.add(0x005D,
              u16(0x15) + u16(0x12) + u16(kind) + u16(number) + std::string(14, '\0') + u32(0));
  records.add(0x01B6, std::string(10, '\0') + u16(static_cast<unsigned>(text.size())) + u16(16) +
                          std::string(4, '\0'));
  // The text is cut in the middle, then come its formats.
  const std::size_t half = text.size() / 2;
  records.add(0x003C, u8(0) + std::string(text.substr(0, half)));
  records.add(0x003C, u8(0) + std::string(text.substr(half)));
  records.add(0x003C, std::string(16, '\0'));
  return records.bytes();
}

TEST(XlsReader, WritesShapesThenCommentsBehindTheRows) {
  const std::string records = label(0, 0, "cell") + text_object(0x19, "Ann:\nremark") +
                              text_object(6, "first line\nsecond");
  EXPECT_EQ(sheet_text(records), "cell\nfirst line\nsecond\nAnn:\nremark\n");
  EXPECT_EQ(sheet_text(records, "", with(&Options::skip_comments)), "cell\nfirst line\nsecond\n");
}

/// NoteSh ([MS-XLS] 2.5.185): the author of the comment that an object shows.
std::string comment_author(unsigned object, std::string_view name) {
  return RecordWriter()
      .add(0x001C, u16(0) + u16(0) + u16(0) + u16(object) + narrow(name) + u8(0))
      .bytes();
}

TEST(XlsReader, WritesAuthorsBeforeCommentsThatDoNotBeginWithThem) {
  const std::string records = label(0, 0, "cell") + text_object(0x19, "Ann:\nremark", 4) +
                              text_object(0x19, "why?", 5) + text_object(0x19, "so?", 6) +
                              comment_author(6, "Cy") + comment_author(4, "Ann") +
                              comment_author(5, "Bob") + comment_author(77, "Dee");
  EXPECT_EQ(sheet_text(records), "cell\nAnn:\nremark\nBob: why?\nCy: so?\n");
}

TEST(XlsReader, WritesWordArtAndAlternativeTexts) {
  const std::string art = test::utf16(u"Curved") + u16(0);
  const std::string description = test::utf16(u"A moth") + u16(0);
  const std::string properties = u16(0x80C0) + u32(static_cast<std::uint32_t>(art.size())) +
                                 u16(0x8381) + u32(static_cast<std::uint32_t>(description.size())) +
                                 art + description;
  // The container goes on in a later record.
  const std::string drawing = test::container(0xF004, std::string(500, 'x')).substr(0, 8) +
                              test::atom(0xF00B, properties, 2);
  const std::string records = RecordWriter().add(0x00EC, drawing).bytes();
  EXPECT_EQ(sheet_text(label(0, 0, "cell") + records), "cell\nCurved\nA moth\n");
}

TEST(XlsReader, WritesPageHeadersAndFootersWithTheirOption) {
  RecordWriter records;
  records.add(0x0014, narrow("&Lleft&C&\"Arial,Bold\"&A&Rright"));
  records.add(0x0015, "");
  records.add(0x089C, std::string(28, '\0') + u16(2) + u16(4) + u16(0) + u16(5) + u16(0) +
                          narrow("even") + narrow("first"));
  const std::string all = records.bytes() + label(0, 0, "cell");
  EXPECT_EQ(sheet_text(all), "cell\n");
  EXPECT_EQ(sheet_text(all, "", with(&Options::header_and_footer)),
            "cell\nleft\tS\tright\nfirst\n");
}

std::string chart() {
  RecordWriter records;
  records.add(0x0809, u16(0x0600) + u16(0x0020) + std::string(12, '\0'));
  records.add(0x100D, u16(0) + u8(5) + u8(0) + "Title");
  records.add(0x1065, u16(2));
  records.add(0x0204, cell(0, 0) + narrow("Q1"));
  records.add(0x0204, cell(0, 1) + narrow("Q1"));
  records.add(0x0204, cell(1, 0) + narrow("Q2"));
  records.add(0x1065, u16(1));
  records.add(0x0203, cell(0, 0) + f64(99));
  records.add(0x000A, "");
  return records.bytes();
}

TEST(XlsReader, WritesTitlesAndCategoriesOfCharts) {
  EXPECT_EQ(sheet_text(label(0, 0, "a") + chart() + label(1, 0, "b")), "a\nTitle\nQ1\tQ2\nb\n");
}

TEST(XlsReader, WritesChartSheets) {
  RecordWriter records;
  records.add(0x100D, u16(0) + u8(5) + u8(0) + "Title");
  const std::string stream = workbook_stream("", {{"Chart1", records.bytes(), 0, 0x0020}});
  EXPECT_EQ(text_of(workbook_file(stream)), "Chart1\nTitle\n");
}

TEST(XlsReader, TakesMisplacedSheetsInTheirOrder) {
  std::string stream =
      workbook_stream("", {{"First", label(0, 0, "a")}, {"Second", label(0, 0, "b")}});
  const std::size_t offset = stream.find("First") - 8;
  stream.replace(offset, 4, u32(3));
  const Reading reading = read_document(workbook_file(stream), Format::excel_97);
  EXPECT_EQ(reading.text, "First\na\n\fSecond\nb\n");
  EXPECT_EQ(reading.code, corrupt);
}

TEST(XlsReader, SaysThatACellNamesAStringThatIsMissing) {
  const std::string records =
      label(0, 0, "a") + RecordWriter().add(0x00FD, cell(0, 1) + u32(5)).bytes();
  const Reading reading = read_document(one_sheet(records), Format::excel_97);
  EXPECT_EQ(reading.text, "S\na\n");
  EXPECT_EQ(reading.code, corrupt);
}

TEST(XlsReader, GivesWhatACutWorkbookHas) {
  const std::string stream = workbook_stream("", {{"S", label(0, 0, "a") + label(1, 0, "bcdef")}});
  const Reading reading =
      read_document(workbook_file(stream.substr(0, stream.size() - 6)), Format::excel_97);
  EXPECT_TRUE(reading.text.starts_with("S\na\n")) << reading.text;
  EXPECT_EQ(reading.code, corrupt);
}

TEST(XlsReader, RefusesWhatHoldsNoWorkbook) {
  EXPECT_EQ(read_document(workbook_file("text", "Other"), Format::excel_97).code, corrupt);
  EXPECT_EQ(read_document(workbook_file("no records at all"), Format::excel_97).code, corrupt);
  EXPECT_EQ(read_document("", Format::excel_2).code, corrupt);
}

TEST(XlsReader, ReadsAnEncryptedWorkbookWithItsPassword) {
  std::string records;
  for (unsigned i = 0; i < 100; ++i) records += label(i, 0, "row " + std::to_string(i));
  const std::string file = encrypted_workbook("secret", records);
  EXPECT_EQ(read_document(file, Format::excel_97).code, locked);
  Options options;
  options.password = "wrong";
  EXPECT_EQ(read_document(file, Format::excel_97, options).code, locked);
  options.password = "secret";
  const std::string text = text_of(file, options);
  EXPECT_TRUE(text.starts_with("S\nrow 0\nrow 1\n")) << text;
  EXPECT_TRUE(text.ends_with("row 99\n"));
}

TEST(XlsReader, ReadsAWorkbookThatTheCryptographicInterfaceEncrypted) {
  const auto encryption = test::Rc4Encryption::of_crypto_api("secret");
  const std::string file_pass = RecordWriter().add(0x002F, u16(1) + encryption.header()).bytes();
  std::string stream = workbook_stream(file_pass, {{"S", label(0, 0, "one") + label(1, 0, "two")}});
  // Each block of 1024 bytes has a key of its own; bytes that stay as they are use it up, too.
  std::string encrypted;
  for (std::uint32_t block = 0; encrypted.size() < stream.size(); ++block) {
    encrypted += encryption.encrypt(block, stream.substr(encrypted.size(), 1024));
  }
  for_each_locked_byte(stream,
                       [&](char& byte, std::size_t at, std::size_t) { byte = encrypted[at]; });
  const std::string file = workbook_file(stream);
  EXPECT_EQ(read_document(file, Format::excel_97).code, locked);
  Options options;
  options.password = "wrong";
  EXPECT_EQ(read_document(file, Format::excel_97, options).code, locked);
  options.password = "secret";
  EXPECT_EQ(text_of(file, options), "S\none\ntwo\n");
}

TEST(XlsReader, OpensAWorkbookThatIsProtectedAgainstChangesOnly) {
  EXPECT_EQ(text_of(encrypted_workbook("VelvetSweatshop", label(0, 0, "open"))), "S\nopen\n");
}

/// A workbook in XOR obfuscation ([MS-OFFCRYPTO] 2.3.7.3): what makes of zeros the bytes that stand
/// for them gives the array that obfuscates.
std::string obfuscated_workbook(std::string_view password, const std::string& records,
                                unsigned version = 8) {
  const XorObfuscation obfuscation(password);
  constexpr std::size_t period = 16;
  std::string array(period, '\0');
  obfuscation.decrypt_record(0, array);
  std::uint16_t verifier = 0;
  while (!obfuscation.opens(0, verifier)) ++verifier;
  std::string key = u16(0) + u16(verifier);
  if (version >= 8) key = u16(0) + key;
  const std::string file_pass = RecordWriter().add(0x002F, key).bytes();
  const std::vector<test::SheetRecords> sheets{{"S", records}};
  std::string stream =
      version < 8 ? workbook_stream_5(file_pass, sheets) : workbook_stream(file_pass, sheets);
  for_each_locked_byte(stream, [&](char& byte, std::size_t at, std::size_t size) {
    const auto mixed = static_cast<unsigned char>(
        static_cast<unsigned char>(byte) ^ static_cast<unsigned char>(array[(at + size) % period]));
    byte = static_cast<char>(std::rotl(mixed, 5));
  });
  return workbook_file(stream);
}

TEST(XlsReader, ReadsAnObfuscatedWorkbookWithItsPassword) {
  const std::string file = obfuscated_workbook("secret", label(0, 0, "one") + label(1, 0, "two"));
  EXPECT_EQ(read_document(file, Format::excel_97).code, locked);
  Options options;
  options.password = "wrong";
  EXPECT_EQ(read_document(file, Format::excel_97, options).code, locked);
  options.password = "secret";
  EXPECT_EQ(text_of(file, options), "S\none\ntwo\n");
}

TEST(XlsReader, ReadsAnObfuscatedWorkbookOfVersion5WithItsPassword) {
  const std::string records = RecordWriter()
                                  .add(0x0204, cell(0, 0) + u16(3) + "one")
                                  .add(0x0203, cell(0, 1) + f64(2))
                                  .bytes();
  const std::string file = obfuscated_workbook("secret", records, 5);
  EXPECT_EQ(read_document(file, Format::excel_95).code, locked);
  Options options;
  options.password = "wrong";
  EXPECT_EQ(read_document(file, Format::excel_95, options).code, locked);
  options.password = "secret";
  EXPECT_EQ(text_of(file, options), "S\none\t2\n");
}

TEST(XlsReader, RefusesXorObfuscationWithoutItsPassword) {
  const std::string file_pass = RecordWriter().add(0x002F, u16(0) + u16(1) + u16(2)).bytes();
  EXPECT_EQ(read_document(one_sheet(label(0, 0, "a"), file_pass), Format::excel_97).code, locked);
}

/// A picture in a store of pictures, in records of a workbook that end within it.
std::string drawing_group(std::string_view picture) {
  const std::string blip = test::atom(0xF01E, std::string(17, '\0') + std::string(picture), 0x6E0);
  std::string entry = u8(6) + u8(6) + std::string(18, '\0');
  entry += u32(static_cast<std::uint32_t>(blip.size())) + u32(1) + u32(0) + u32(0) + blip;
  const std::string group =
      test::container(0xF000, test::atom(0xF006, std::string(16, '\0')) +
                                  test::container(0xF001, test::atom(0xF007, entry, 6), 1));
  constexpr std::size_t first = 90;
  return RecordWriter()
      .add(0x00EB, group.substr(0, first))
      .add(0x003C, group.substr(first))
      .bytes();
}

TEST(XlsReader, ListsPicturesAndObjects) {
  const std::string picture = "\x89PNG and so on";
  test::CompoundWriter writer;
  writer.add("Workbook", workbook_stream(drawing_group(picture), {{"S", ""}}));
  writer.add("MBD00000001/WordDocument", "a document");
  writer.add("Other/Contents", "no object");
  const test::Listing listing = test::list_members(writer.bytes(), Format::excel_97);
  EXPECT_EQ(listing.code, 0) << listing.reason;
  ASSERT_EQ(listing.members.size(), 2u);
  EXPECT_EQ(listing.members[0].name, "MBD00000001.doc");
  EXPECT_EQ(listing.members[1].name, "image1.png");
  EXPECT_EQ(listing.members[1].size, static_cast<std::int64_t>(picture.size()));
  const auto extracted = test::extract_members(writer.bytes(), Format::excel_97, {0, 1});
  EXPECT_TRUE(extracted[0].bytes.starts_with("\xD0\xCF\x11\xE0"));
  EXPECT_EQ(extracted[1].bytes, picture);
  EXPECT_EQ(extracted[1].code, 0) << extracted[1].reason;
}

TEST(XlsReader, SaysThatAPictureIsCut) {
  const std::string stream = drawing_group("\x89PNG and so on");
  const std::string cut =
      workbook_stream("", {}).substr(0, 20) + stream.substr(0, stream.size() - 4);
  const std::string file = workbook_file(cut);
  const test::Listing listing = test::list_members(file, Format::excel_97);
  ASSERT_EQ(listing.members.size(), 1u);
  const test::Extracted extracted = test::extract_member(file, Format::excel_97, 0);
  EXPECT_EQ(extracted.bytes, "\x89PNG and s");
  EXPECT_EQ(extracted.code, corrupt);
}

TEST(XlsReader, SurvivesEveryCutAndManyFlips) {
  RecordWriter globals;
  globals.add(0x00FC, u32(1) + u32(1) + u16(4) + u8(0) + "ab");
  globals.add(0x003C, u8(1) + test::utf16(u"\u0416\u0417"));
  RecordWriter records;
  records.add(0x00FD, cell(0, 0) + u32(0));
  records.add(0x00BD, u16(0) + u16(1) + u16(0) + u32(7) + u16(0) + u32(9) + u16(2));
  const std::string stream = workbook_stream(
      globals.bytes() + styles({"0.0"}) + drawing_group("picture"),
      {{"S", records.bytes() + label(1, 0, "b") + text_object(0x19, "remark") + chart()}});
  for (std::size_t size = 4; size < stream.size(); size += 3) {
    read_document(stream.substr(0, size), Format::excel_97);
  }
  for (std::size_t i = 0; i < stream.size() * 2; ++i) {
    std::string flipped = stream;
    flipped[i % stream.size()] = static_cast<char>(i * 131);
    read_document(flipped, Format::excel_97, with(&Options::hidden_text));
    test::list_members(flipped, Format::excel_97);
  }
}

}  // namespace
}  // namespace trfilter
