// Binary workbooks in packages ([MS-XLSB]), built record by record.

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "engine/core/engine_error.h"
#include "tests/engine/ooxml_package.h"
#include "tests/engine/read_document.h"
#include "tests/engine/workbook_writer.h"

namespace trfilter::test {
namespace {

constexpr int corrupt = static_cast<int>(Code::corrupt);

/// A record: its number and its size in groups of seven bits ([MS-XLSB] 2.1.4).
std::string record(unsigned type, std::string_view data = {}) {
  std::string bytes;
  if (type < 0x80) {
    bytes += u8(type);
  } else {
    bytes += u8((type & 0x7F) | 0x80) + u8(type >> 7);
  }
  std::size_t size = data.size();
  for (; size >= 0x80; size >>= 7) bytes += u8(static_cast<unsigned>(size & 0x7F) | 0x80);
  return bytes + u8(static_cast<unsigned>(size)) + std::string(data);
}

std::string wide_string(std::u16string_view text) {
  return u32(static_cast<std::uint32_t>(text.size())) + utf16(text);
}

std::string rich_string(std::u16string_view text) {
  return u8(0) + wide_string(text);
}

std::string place(unsigned column, unsigned style = 0) {
  return u32(column) + u32(style);
}

std::string row(unsigned number, bool hidden = false) {
  return record(0,
                u32(number) + u32(0) + u16(300) + u8(0) + u8(hidden ? 0x10 : 0) + u8(0) + u32(0));
}

std::string text_cell(unsigned column, std::u16string_view text) {
  return record(6, place(column) + wide_string(text));
}

std::string rows(std::string_view records) {
  return record(129) + record(145) + std::string(records) + record(146) + record(130);
}

/// A workbook of parts in binary records.
class BinaryWorkbook {
 public:
  BinaryWorkbook() : package_("xl/workbook.bin", "spreadsheetml.sheet") {}

  /// Sheets from here on are listed as the drafts of the format did.
  BinaryWorkbook& draft() {
    draft_ = true;
    return *this;
  }

  BinaryWorkbook& sheet(std::u16string_view name, const std::string& records, unsigned state = 0) {
    const std::string number = std::to_string(++sheets_);
    list_ += record(156, u32(state) + (draft_ ? u32(0) : std::string()) + u32(sheets_) +
                             wide_string(u"rId" + std::u16string(number.begin(), number.end())) +
                             wide_string(name));
    package_.relate("xl/workbook.bin", "rId" + number, "worksheet",
                    "worksheets/sheet" + number + ".bin");
    package_.part("xl/worksheets/sheet" + number + ".bin", records);
    return *this;
  }

  BinaryWorkbook& related(std::string_view kind, std::string_view name, std::string records) {
    package_.relate("xl/workbook.bin", kind, kind, name);
    package_.part("xl/" + std::string(name), std::move(records));
    return *this;
  }

  BinaryWorkbook& properties(std::uint32_t flags) {
    properties_ = record(153, u32(flags) + u32(0) + wide_string(u""));
    return *this;
  }

  OoxmlPackage& package() { return package_; }

  std::string bytes() {
    package_.part("xl/workbook.bin",
                  record(131) + properties_ + record(143) + list_ + record(144) + record(132));
    return package_.bytes();
  }

 private:
  bool draft_ = false;
  OoxmlPackage package_;
  std::string properties_;
  std::string list_;
  unsigned sheets_ = 0;
};

std::string text_of(BinaryWorkbook& workbook, const Options& options = {}) {
  const Reading reading = read_document(workbook.bytes(), Format::xlsb, options);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

std::string sheet_text(const std::string& records, const Options& options = {}) {
  BinaryWorkbook workbook;
  workbook.sheet(u"S", records);
  return text_of(workbook, options);
}

Options with(bool Options::*option) {
  Options options;
  options.*option = true;
  return options;
}

TEST(XlsbReader, ListsTheSheetsOfADraft) {
  BinaryWorkbook workbook;
  workbook.draft().sheet(u"Old", rows(row(0) + text_cell(0, u"a"))).sheet(u"New", rows(""));
  const Reading reading = read_document(workbook.bytes(), Format::xlsb);
  EXPECT_EQ(reading.code, 0);
  EXPECT_EQ(reading.text, "Old\na\n\fNew\n");
}

TEST(XlsbReader, ShowsEachKindOfCell) {
  const std::string cells =
      row(0) + record(2, place(0) + u32(7u << 2 | 2)) + record(2, place(1) + u32(150u << 2 | 3)) +
      record(5, place(2) + f64(0.25)) + record(4, place(3) + u8(1)) + record(3, place(4) + u8(7)) +
      text_cell(5, u"f\u00FCr") + record(62, place(6) + rich_string(u"rich") + u32(0)) + row(1) +
      record(8, place(0) + wide_string(u"result") + u16(0) + u32(0)) +
      record(9, place(1) + f64(1.5) + u16(0)) + record(10, place(2) + u8(0) + u16(0)) +
      record(11, place(3) + u8(0x2A) + u16(0)) + record(1, place(4)) + text_cell(6, u"far");
  EXPECT_EQ(sheet_text(rows(cells)),
            "S\n7\t1.5\t0.25\tTRUE\t#DIV/0!\tf\u00FCr\trich\nresult\t1.5\tFALSE\t#N/A\t\t\tfar\n");
}

TEST(XlsbReader, ShowsSharedStringsAndNumberFormats) {
  const auto style = [](unsigned format) { return record(47, u16(0) + u16(format) + u32(0)); };
  const auto text_by_dates = [&](std::uint32_t flags) {
    BinaryWorkbook workbook;
    workbook.properties(flags);
    workbook.related("sharedStrings", "sharedStrings.bin",
                     record(159, u32(2) + u32(2)) + record(19, rich_string(u"one")) +
                         record(19, rich_string(u"two")) + record(160));
    workbook.related("styles", "styles.bin",
                     record(615, u32(1)) + record(44, u16(164) + wide_string(u"0.00\" m\"")) +
                         record(616) + record(626, u32(1)) + style(9) + record(627) +
                         record(617, u32(3)) + style(0) + style(164) + style(14) + record(618));
    workbook.sheet(u"S", rows(row(0) + record(7, place(0) + u32(1)) + record(7, place(1) + u32(0)) +
                              record(5, place(2, 1) + f64(2.5)) + record(5, place(3, 2) + f64(1))));
    return text_of(workbook);
  };
  EXPECT_EQ(text_by_dates(0), "S\ntwo\tone\t2.50 m\t1/1/1900\n");
  EXPECT_EQ(text_by_dates(1), "S\ntwo\tone\t2.50 m\t1/2/1904\n");
}

TEST(XlsbReader, KeepsHiddenSheetsRowsAndColumnsBack) {
  BinaryWorkbook workbook;
  workbook.sheet(u"First", record(390) + record(60, u32(1) + u32(1) + u32(0) + u32(0) + u16(1)) +
                               record(391) +
                               rows(row(0) + text_cell(0, u"a") + text_cell(1, u"b") +
                                    row(1, true) + text_cell(0, u"c")));
  workbook.sheet(u"Away", rows(row(0) + text_cell(0, u"d")), 1);
  workbook.sheet(u"Far away", rows(row(0) + text_cell(0, u"e")), 2);
  EXPECT_EQ(text_of(workbook), "First\na\n");
  EXPECT_EQ(text_of(workbook, with(&Options::hidden_text)),
            "First\na\tb\nc\n\fAway\nd\n\fFar away\ne\n");
}

TEST(XlsbReader, ShowsCommentsOfBothKindsWithTheirAuthors) {
  BinaryWorkbook workbook;
  workbook.sheet(u"S", rows(row(0) + text_cell(0, u"a")));
  OoxmlPackage& package = workbook.package();
  package.relate("xl/worksheets/sheet1.bin", "c", "comments", "../comments1.bin");
  package.relate("xl/worksheets/sheet1.bin", "t", "threadedComment", "../threads.xml");
  const auto comment = [](unsigned author, std::u16string_view text) {
    return record(635, u32(author) + std::string(32, '\0')) + record(637, rich_string(text)) +
           record(636);
  };
  package.part("xl/comments1.bin", record(628) + record(630) + record(632, wide_string(u"Ann")) +
                                       record(632, wide_string(u"tc={1}")) + record(631) +
                                       record(633) + comment(0, u"why?") + comment(1, u"stand-in") +
                                       record(634) + record(629));
  package.part("xl/threads.xml",
               "<ThreadedComments><threadedComment ref='A2'><text>so?</text></threadedComment>"
               "</ThreadedComments>");
  EXPECT_EQ(text_of(workbook), "S\na\nAnn: why?\nso?\n");
  EXPECT_EQ(text_of(workbook, with(&Options::skip_comments)), "S\na\n");
}

TEST(XlsbReader, ShowsPageHeadersAndFootersWithTheirOption) {
  const std::string null = u32(0xFFFFFFFF);
  const std::string records =
      rows(row(0) + text_cell(0, u"a")) +
      record(479, u16(2) + wide_string(u"&Chead") + wide_string(u"foot of &A") +
                      wide_string(u"even") + null + wide_string(u"first") + null) +
      record(480);
  EXPECT_EQ(sheet_text(records), "S\na\n");
  EXPECT_EQ(sheet_text(records, with(&Options::header_and_footer)),
            "S\na\n\thead\nfoot of S\nfirst\n");
}

TEST(XlsbReader, ShowsShapesAndPropertiesOfThePackage) {
  BinaryWorkbook workbook;
  workbook.sheet(u"S", rows(row(0) + text_cell(0, u"a")) + record(550, wide_string(u"d")));
  OoxmlPackage& package = workbook.package();
  package.relate("xl/worksheets/sheet1.bin", "d", "drawing", "../drawings/drawing1.xml");
  package.part("xl/drawings/drawing1.xml",
               "<xdr:wsDr xmlns:xdr='x' xmlns:a='a'><xdr:sp><xdr:txBody><a:p><a:r><a:t>box</a:t>"
               "</a:r></a:p></xdr:txBody></xdr:sp></xdr:wsDr>");
  package.relate("", "core", "metadata/core-properties", "docProps/core.xml");
  EXPECT_EQ(text_of(workbook), "S\na\nbox\n");
}

TEST(XlsbReader, ReadsRecordsLongerThanAPiece) {
  const std::u16string text(100'000, u'x');
  EXPECT_EQ(sheet_text(rows(row(0) + text_cell(0, text) + text_cell(1, u"b"))),
            "S\n" + std::string(100'000, 'x') + "\tb\n");
}

TEST(XlsbReader, GivesWhatComesBeforeDamage) {
  const auto reading = [](const std::string& records) {
    BinaryWorkbook workbook;
    workbook.sheet(u"S", records);
    return read_document(workbook.bytes(), Format::xlsb);
  };
  const std::string cells = record(145) + row(0) + text_cell(0, u"a");
  for (const std::string& rest :
       {std::string("\x06"), std::string("\x06\x40one"), std::string("\x06\xFF\xFF\xFF\x7Fone"),
        record(7, place(1) + u32(5)), record(5, place(1) + u16(0))}) {
    const Reading damaged = reading(cells + rest);
    EXPECT_EQ(damaged.code, corrupt);
    EXPECT_EQ(damaged.text.substr(0, 3), "S\na");
  }
  BinaryWorkbook without_sheets;
  EXPECT_EQ(read_document(without_sheets.bytes(), Format::xlsb).code, corrupt);
}

TEST(XlsbReader, SurvivesCutsAndFlips) {
  const std::string records = rows(row(0) + text_cell(0, u"a") + record(5, place(1) + f64(2)) +
                                   record(7, place(2) + u32(0))) +
                              record(479, u16(3) + wide_string(u"head"));
  for (std::size_t at = 0; at < records.size(); ++at) {
    for (const bool flip : {false, true}) {
      std::string damaged = flip ? records : records.substr(0, at);
      if (flip) damaged[at] = static_cast<char>(damaged[at] ^ 0xD5);
      BinaryWorkbook workbook;
      workbook.sheet(u"S", damaged);
      const Reading reading = read_document(workbook.bytes(), Format::xlsb);
      EXPECT_TRUE(reading.code == 0 || reading.code == corrupt) << at;
    }
  }
}

}  // namespace
}  // namespace trfilter::test
