#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/engine/compound_writer.h"
#include "tests/engine/doc_writer.h"
#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

// Modifications of characters and paragraphs.
const std::string deleted = sprm(0x0800, 1);
const std::string inserted = sprm(0x0801, 1);
const std::string hidden = sprm(0x083C, 1);
const std::string in_table = sprm(0x2416, 1);
const std::string row_end = in_table + sprm(0x2417, 1);

std::string depth(std::uint32_t tables) {
  return sprm(0x2416, 1) + sprm(0x6649, tables, 4);
}

Reading read(const DocWriter& document, const Options& options = {}) {
  return read_document(document.bytes(), Format::word_97, options);
}

std::string text_of(const DocWriter& document, const Options& options = {}) {
  const Reading reading = read(document, options);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

Options with(bool Options::*option) {
  Options options;
  options.*option = true;
  return options;
}

// Text and its pieces.

TEST(DocReader, GivesALineForEachParagraph) {
  EXPECT_EQ(text_of(DocWriter().paragraph(u"one").paragraph(u"").paragraph(u"two")), "one\ntwo\n");
}

TEST(DocReader, ReadsCharactersBeyondTheBasicPlane) {
  EXPECT_EQ(text_of(DocWriter().paragraph(u"\u0416\u65E5\U0001F600")),
            "\xD0\x96\xE6\x97\xA5\xF0\x9F\x98\x80\n");
}

TEST(DocReader, ReadsBytesOfWindows1252) {
  EXPECT_EQ(text_of(DocWriter().narrow().paragraph(u"\u0093caf\u00E9\u0094 \u0080")),
            "\xE2\x80\x9C"
            "caf\xC3\xA9\xE2\x80\x9D \xE2\x82\xAC\n");
}

TEST(DocReader, FollowsThePieceTable) {
  DocWriter document;
  document.paragraph(u"The quick brown fox").paragraph(u"jumps over").scattered(7);
  EXPECT_EQ(text_of(document), "The quick brown fox\njumps over\n");
}

TEST(DocReader, JoinsASurrogatePairThatTwoPiecesShare) {
  EXPECT_EQ(text_of(DocWriter().paragraph(u"a\U0001F600").scattered(2)), "a\xF0\x9F\x98\x80\n");
}

TEST(DocReader, ReadsTextWithoutFormatting) {
  DocWriter document;
  document.paragraph(u"one").text(u"a\7b\7\7").paragraph(u"two").unformatted();
  EXPECT_EQ(text_of(document), "one\na\tb\ntwo\n");
}

TEST(DocReader, WritesSpecialCharacters) {
  EXPECT_EQ(text_of(DocWriter().paragraph(u"a\tb\vc\x1E"
                                          u"d\x0E"
                                          u"e\1f")),
            "a\tb\nc\xE2\x80\x91"
            "d\nef\n");
  EXPECT_EQ(text_of(DocWriter().paragraph(u"soft\x1Fhyphen"), with(&Options::soft_hyphens)),
            "soft\xC2\xADhyphen\n");
}

TEST(DocReader, EndsPagesAtPageBreaks) {
  EXPECT_EQ(text_of(DocWriter().paragraph(u"one\x0Ctwo")), "one\n\ftwo\n");
}

TEST(DocReader, ShowsSymbolsOfSymbolFonts) {
  DocWriter document;
  document.font_table({"Arial", "Symbol"}, {0, 2});
  document.text(u"x ").text(u"(", sprm(0x0855, 1) + sprm(0x6A09, 0xF0B3u << 16 | 1, 4));
  document.text(u" ").text(u"\uF061", sprm(0x4A4F, 1, 2)).end();
  EXPECT_EQ(text_of(document), "x \xE2\x89\xA5 \xCE\xB1\n");
}

// Regions.

TEST(DocReader, ShowsHiddenTextOnlyWhenAsked) {
  DocWriter document;
  document.text(u"seen ").text(u"unseen ", hidden).text(u"again").end();
  EXPECT_EQ(text_of(document), "seen again\n");
  EXPECT_EQ(text_of(document, with(&Options::hidden_text)), "seen unseen again\n");
}

TEST(DocReader, TakesHiddenFromStyles) {
  DocWriter document;
  document.styles({{}, {1, 0, {}, hidden}, {2, 0xFFF, {}, hidden}});
  document.paragraph(u"plain").paragraph(u"hidden", {}, 1);
  document.text(u"a").text(u"b", sprm(0x4A30, 2, 2)).text(u"c").end();
  document.text(u"both", sprm(0x4A30, 2, 2)).end({}, 1);
  document.text(u"shown", sprm(0x083C, 0)).end({}, 1);
  document.text(u"other", sprm(0x083C, 0x81)).end({}, 1);
  EXPECT_EQ(text_of(document), "plain\nac\nbothshownother\n");
}

TEST(DocReader, TakesModificationsFromPieces) {
  // Two pieces: the text of the second is hidden, by a short modification or by one of the table.
  for (const bool of_table : {false, true}) {
    DocWriter document;
    document.paragraph(u"seen").paragraph(u"unseen");
    const std::uint32_t text = document.text_offset();
    const std::string modifiers = "\1" + le(hidden.size(), 2) + hidden;
    const std::uint32_t modifier = of_table ? 1 : 0x0100 | 0x5C << 1;
    const std::string table = DocWriter::positions({0, 5, 12}) + le(0, 2) + le(text, 4) + le(0, 2) +
                              le(0, 2) + le(text + 10, 4) + le(modifier, 2);
    document.table(DocWriter::pieces,
                   (of_table ? modifiers : "") + "\2" + le(table.size(), 4) + table);
    EXPECT_EQ(text_of(document), "seen\n");
    EXPECT_EQ(text_of(document, with(&Options::hidden_text)), "seen\nunseen\n");
  }
}

TEST(DocReader, MarksRevisions) {
  DocWriter document;
  document.text(u"stay ").text(u"old", deleted).text(u"new", inserted).end();
  EXPECT_EQ(text_of(document), "stay new\n");
  EXPECT_EQ(text_of(document, with(&Options::revision_marks)), "stay [-old-]{+new+}\n");
}

TEST(DocReader, JoinsParagraphsWhoseMarkIsDeleted) {
  DocWriter document;
  document.text(u"one ").end({}, 0, u'\r', deleted).paragraph(u"two");
  EXPECT_EQ(text_of(document), "one two\n");
}

TEST(DocReader, ShowsNotesBehindTheBody) {
  DocWriter document;
  document.paragraph(u"body\2");
  document.part(DocWriter::footnotes).paragraph(u"\2 first").paragraph(u"\2 second").paragraph(u"");
  document.table(DocWriter::footnote_texts, DocWriter::positions({0, 8, 17, 18}));
  document.part(DocWriter::endnotes).paragraph(u"\2 end").paragraph(u"");
  document.table(DocWriter::endnote_texts, DocWriter::positions({0, 6, 7}));
  document.part(DocWriter::comments).paragraph(u"\5 remark").paragraph(u"");
  document.table(DocWriter::comment_texts, DocWriter::positions({0, 9, 10}));
  EXPECT_EQ(text_of(document), "body\nfirst\nsecond\nend\nremark\n");
  EXPECT_EQ(text_of(document, with(&Options::skip_comments)), "body\nfirst\nsecond\nend\n");
}

/// ATRDPre10 ([MS-DOC] 2.9.6), or that of Word 6.
std::string comment_reference(bool word_6, std::string_view initials, unsigned author) {
  const std::size_t width = word_6 ? 1 : 2;
  std::string bytes = le(initials.size(), width);
  for (const char c : initials) bytes += le(static_cast<unsigned char>(c), width);
  bytes.resize(10 * width);
  bytes += le(author, 2);
  bytes.resize(word_6 ? 20 : 30);
  return bytes;
}

TEST(DocReader, ShowsAuthorsOfComments) {
  for (const bool word_6 : {false, true}) {
    DocWriter document(word_6);
    document.paragraph(u"body").part(DocWriter::comments);
    document.paragraph(u"\5 one").paragraph(u"\5 two").paragraph(u"\5 three").paragraph(u"");
    document.table(DocWriter::comment_texts, DocWriter::positions({0, 6, 12, 20, 21}));
    document.table(DocWriter::comment_references,
                   DocWriter::positions({1, 2, 3, 4}, comment_reference(word_6, "A", 1) +
                                                          comment_reference(word_6, "B", 0) +
                                                          comment_reference(word_6, "CD", 9)));
    const std::size_t width = word_6 ? 1 : 2;
    std::string names;
    for (const std::string_view name : {"Bob", "Ann"}) {
      names += le(name.size(), width);
      for (const char c : name) names += le(static_cast<unsigned char>(c), width);
    }
    document.table(DocWriter::comment_authors, names);
    EXPECT_EQ(text_of(document), "body\nAnn: one\nBob: two\nCD: three\n") << word_6;
  }
}

TEST(DocReader, ShowsNotesWithoutTheirTable) {
  DocWriter document;
  document.paragraph(u"body").part(DocWriter::footnotes).paragraph(u"\2 note");
  EXPECT_EQ(text_of(document), "body\nnote\n");
}

DocWriter with_headers() {
  DocWriter document;
  document.text(u"one\x0C").paragraph(u"two");
  document.table(DocWriter::sections, DocWriter::positions({0, 4, 8}, std::string(24, '\0')));
  document.part(DocWriter::headers);
  for (const char16_t* text : {u"head 1", u"foot 1", u"foot 2", u"first foot"}) {
    document.paragraph(text);
  }
  // Six separators; even and odd header, even and odd footer, first header and footer, twice.
  document.table(
      DocWriter::header_texts,
      DocWriter::positions({0, 0, 0, 0, 0, 0, 0, 0, 7, 7, 14, 14, 14, 14, 14, 14, 21, 21, 32, 32}));
  return document;
}

TEST(DocReader, ShowsHeadersBeforeAndFootersBehindTheirSection) {
  EXPECT_EQ(text_of(with_headers()), "one\ntwo\n");
  EXPECT_EQ(text_of(with_headers(), with(&Options::header_and_footer)),
            "head 1\none\nfoot 1\ntwo\nfoot 2\nfirst foot\n");
  EXPECT_EQ(text_of(with_headers(), with(&Options::header_and_footer_tags)),
            "<header>head 1</header>\none\n<footer>foot 1</footer>\ntwo\n"
            "<footer>foot 2</footer>\n<footer>first foot</footer>\n");
}

// Tables.

TEST(DocReader, WritesRowsWithTabsBetweenCells) {
  DocWriter document;
  document.paragraph(u"before");
  document.text(u"a").end(in_table, 0, u'\7').text(u"b").end(in_table, 0, u'\7');
  document.end(row_end, 0, u'\7');
  document.text(u"c1").end(in_table).text(u"c2").end(in_table, 0, u'\7');
  document.text(u"d").end(in_table, 0, u'\7').end(row_end, 0, u'\7');
  document.paragraph(u"behind");
  EXPECT_EQ(text_of(document), "before\na\tb\nc1\nc2\td\nbehind\n");
}

TEST(DocReader, WritesTablesWithinCellsAsLines) {
  const std::string inner_cell = depth(2) + sprm(0x244B, 1);
  DocWriter document;
  document.text(u"a").end(depth(1), 0, u'\7');
  document.text(u"x").end(inner_cell).text(u"y").end(inner_cell);
  document.end(depth(2) + sprm(0x244B, 1) + sprm(0x244C, 1));
  document.text(u"b").end(depth(1), 0, u'\7').end(depth(1) + sprm(0x2417, 1), 0, u'\7');
  document.paragraph(u"behind");
  EXPECT_EQ(text_of(document), "a\tx\ty\nb\nbehind\n");
}

// Fields.

TEST(DocReader, ShowsTheResultOfFields) {
  EXPECT_EQ(text_of(DocWriter().paragraph(u"see \x13 HYPERLINK \"x\" \x14the page\x15.")),
            "see the page.\n");
  EXPECT_EQ(text_of(DocWriter().paragraph(u"a\x13 IF \x13 PAGE \x14"
                                          u"1\x15 \x14yes\x15"
                                          u"b")),
            "ayesb\n");
}

TEST(DocReader, ShowsCodesOfDateAndFileNameFieldsWhenAsked) {
  DocWriter document;
  document.paragraph(
      u"on \x13 DATE \\@ \"d\" \x14"
      u"1 May\x15 in \x13 FILENAME \x14"
      u"a.doc\x15");
  EXPECT_EQ(text_of(document), "on 1 May in a.doc\n");
  EXPECT_EQ(text_of(document, with(&Options::date_time_field_codes)),
            "on DATE \\@ \"d\" in a.doc\n");
  EXPECT_EQ(text_of(document, with(&Options::filename_field_code)), "on 1 May in FILENAME\n");
}

TEST(DocReader, ShowsSymbolsAndEquationsThatAreFields) {
  EXPECT_EQ(text_of(DocWriter().paragraph(u"a \x13 SYMBOL 183 \\f \"Symbol\" \\s 10 \x15 "
                                          u"b \x13 symbol 65\x15"
                                          u"\x13 SYMBOL \\* MERGEFORMAT\x15")),
            "a \xE2\x80\xA2 b A\n");
  // The reading of characters stands above them.
  EXPECT_EQ(text_of(DocWriter().paragraph(u"\x13 EQ \\* jc2 \\* hps10 \\o\\ad(\\s\\up 9(\u304B),"
                                          u"\u6F22) \x15 \x13 EQ \\f(1,2)\x15")),
            "\xE3\x81\x8B \xE6\xBC\xA2 1/2\n");
}

/// The data of a form field ([MS-DOC] 2.9.78 FFData behind 2.9.157 NilPICFAndBinData).
std::string form_data(unsigned kind, unsigned result, unsigned by_default,
                      const std::vector<std::u16string_view>& entries = {}) {
  const auto string = [](std::u16string_view text) {
    std::string bytes = le(text.size(), 2);
    for (const char16_t unit : text) bytes += le(unit, 2);
    return bytes;
  };
  std::string data = le(0xFFFFFFFF, 4) + le(kind | result << 2, 2) + le(0, 4);
  data += string(u"Name") + le(0, 2) + le(by_default, 2);
  for (int i = 0; i < 5; ++i) data += string(u"x") + le(0, 2);
  data += le(0xFFFF, 2) + le(entries.size(), 2) + le(0, 2);
  for (const std::u16string_view entry : entries) data += string(entry);
  return le(0x44 + data.size(), 4) + le(0x44, 2) + std::string(62, '\0') + data;
}

TEST(DocReader, ShowsStatesOfFormFields) {
  constexpr unsigned by_default = 25;
  DocWriter document;
  std::string data;
  for (const std::string& field :
       {form_data(1, 1, 0), form_data(1, by_default, 0), form_data(1, by_default, 1),
        form_data(2, 1, 0, {u"red", u"blue"}), form_data(2, by_default, 0, {u"red", u"blue"}),
        form_data(2, 7, 0, {u"red"})}) {
    const auto at = static_cast<std::uint32_t>(data.size());
    document.text(u"\x13 FORM ");
    document.text(u"\1", sprm(0x6A03, at, 4) + sprm(0x0855, 1) + sprm(0x0806, 1));
    document.text(u"\x15;");
    data += field;
  }
  document.end();
  EXPECT_EQ(text_of(document.data(data)), "\xE2\x98\x92;\xE2\x98\x90;\xE2\x98\x92;blue;red;;\n");
  for (std::size_t size = 0; size < data.size(); size += 3) {
    text_of(document.data(data.substr(0, size)));
  }
}

TEST(DocReader, DoesNotHideTextBehindAFieldThatNeverEnds) {
  EXPECT_EQ(text_of(DocWriter()
                        .paragraph(u"a\x13"
                                   u"b")
                        .paragraph(u"c\x13 PAGE \x14"
                                   u"1\x15")),
            "ab\nc1\n");
  EXPECT_EQ(text_of(DocWriter().paragraph(u"a\x15"
                                          u"b\x14"
                                          u"c")),
            "abc\n");
}

// Lists.

/// A level of a list; units below 9 of its text stand for numbers.
std::string level(std::uint32_t start, unsigned format, std::u16string_view text,
                  unsigned follow = 0) {
  std::string bytes = le(start, 4) + le(format, 1) + le(0, 1) + std::string(9, '\0') +
                      le(follow, 1) + std::string(12, '\0') + le(text.size(), 2);
  for (const char16_t unit : text) bytes += le(unit, 2);
  return bytes;
}

DocWriter with_list() {
  using namespace std::literals;
  std::string levels = level(1, 0, u"\0."sv) + level(1, 4, u"\0.\1)"sv);
  for (int i = 2; i < 9; ++i) levels += level(1, 0, u"\0"sv);
  DocWriter document;
  document.table(DocWriter::lists, le(2, 2) + le(77, 4) + std::string(24, '\0') + le(78, 4) +
                                       std::string(22, '\0') + le(1, 2));
  document.behind(DocWriter::lists, levels + level(1, 23, u"\uF0B7"sv));
  document.table(DocWriter::list_overrides,
                 le(3, 4) + le(77, 4) + std::string(12, '\0') + le(78, 4) + std::string(12, '\0') +
                     le(77, 4) + std::string(8, '\0') + le(1, 4) + le(0xFFFFFFFF, 4) +
                     le(0xFFFFFFFF, 4) + le(0xFFFFFFFF, 4) + le(5, 4) + le(0x10, 4));
  return document;
}

std::string of_list(std::uint32_t list, std::uint32_t at = 0) {
  return sprm(0x260A, at) + sprm(0x460B, list, 2);
}

TEST(DocReader, NumbersLists) {
  DocWriter document = with_list();
  document.paragraph(u"one", of_list(1)).paragraph(u"sub", of_list(1, 1));
  document.paragraph(u"sub", of_list(1, 1)).paragraph(u"two", of_list(1));
  document.paragraph(u"bullet", of_list(2)).paragraph(u"none");
  document.paragraph(u"five", of_list(3));
  EXPECT_EQ(text_of(document),
            "1. one\n1.a) sub\n1.b) sub\n2. two\n\xE2\x80\xA2 bullet\nnone\n5. five\n");
}

TEST(DocReader, TakesListsFromStyles) {
  DocWriter document = with_list();
  document.styles({{}, {1, 0, of_list(1), {}}, {1, 1, sprm(0x260A, 1), {}}});
  document.paragraph(u"one", {}, 1).paragraph(u"sub", {}, 2);
  document.paragraph(u"off", sprm(0x460B, 0, 2), 1).paragraph(u"two", {}, 1);
  EXPECT_EQ(text_of(document), "1. one\n1.a) sub\noff\n2. two\n");
}

// Text boxes and shapes.

std::string record(unsigned version, unsigned instance, unsigned type, std::string_view data) {
  return le(version | instance << 4, 2) + le(type, 2) + le(data.size(), 4) + std::string(data);
}

std::string shape(std::uint32_t id, std::string_view more = {}) {
  return record(0xF, 0, 0xF004, record(2, 0, 0xF00A, le(id, 4) + le(0, 4)) + std::string(more));
}

std::string utf16(std::u16string_view text) {
  std::string bytes;
  for (const char16_t unit : text) bytes += le(unit, 2);
  return bytes + le(0, 2);
}

TEST(DocReader, ShowsTextBoxesBehindTheParagraphOfTheirAnchor) {
  DocWriter document;
  document.paragraph(u"a\10b").paragraph(u"c\10").paragraph(u"d");
  document.table(DocWriter::body_anchors,
                 DocWriter::positions({1, 5, 8}, le(1025, 4) + std::string(22, '\0') + le(1026, 4) +
                                                     std::string(22, '\0')));
  document.part(DocWriter::boxes).paragraph(u"in group").paragraph(u"box").paragraph(u"lost");
  const auto box = [](std::uint32_t id) {
    return std::string(14, '\0') + le(id, 4) + std::string(4, '\0');
  };
  document.table(DocWriter::box_texts,
                 DocWriter::positions({0, 9, 13, 18}, box(1030) + box(1025) + box(1)));
  const std::string description = utf16(u"A cat");
  const std::string words = utf16(u"WORDS");
  const std::string options = record(3, 2, 0xF00B,
                                     le(0x80C0, 2) + le(words.size(), 4) + le(0x8381, 2) +
                                         le(description.size(), 4) + words + description);
  const std::string group = record(0xF, 0, 0xF003, shape(1026) + shape(1030));
  document.table(DocWriter::drawings,
                 record(0xF, 0, 0xF000, "") + le(0, 1) +
                     record(0xF, 0, 0xF002,
                            record(0xF, 0, 0xF003, shape(1024) + shape(1025, options) + group)));
  EXPECT_EQ(text_of(document), "ab\nA cat\nWORDS\nbox\nc\nin group\nd\nlost\n");
}

TEST(DocReader, ShowsTextBoxesOfHeadersWithTheirHeader) {
  DocWriter document;
  document.paragraph(u"text");
  document.table(DocWriter::sections, DocWriter::positions({0, 5}, std::string(12, '\0')));
  document.part(DocWriter::headers).paragraph(u"head\10").paragraph(u"foot");
  document.table(DocWriter::header_texts,
                 DocWriter::positions({0, 0, 0, 0, 0, 0, 0, 0, 6, 6, 11, 11, 11}));
  document.part(DocWriter::header_boxes).paragraph(u"box").paragraph(u"lost");
  document.table(DocWriter::header_anchors,
                 DocWriter::positions({4, 11}, le(2049, 4) + std::string(22, '\0')));
  const auto box = [](std::uint32_t id) {
    return std::string(14, '\0') + le(id, 4) + std::string(4, '\0');
  };
  document.table(DocWriter::header_box_texts, DocWriter::positions({0, 4, 9}, box(2049) + box(1)));
  EXPECT_EQ(text_of(document), "text\n");
  EXPECT_EQ(text_of(document, with(&Options::header_and_footer)), "head\nbox\ntext\nfoot\nlost\n");
}

// Members.

std::string png_record() {
  return record(0, 0x6E0, 0xF01E, std::string(16, '\1') + '\xFF' + "\x89PNG picture");
}

std::string picture(std::string_view content) {
  return le(0x44 + content.size(), 4) + le(0x44, 2) + le(0x64, 2) + std::string(0x3C, '\0') +
         std::string(content);
}

TEST(DocReader, ListsThePicturesOfTextAndDrawings) {
  DocWriter document;
  document.text(u"\1", sprm(0x6A03, 0, 4) + sprm(0x0855, 1)).end();
  const std::string description = utf16(u"A dog");
  const std::string options =
      record(3, 1, 0xF00B, le(0x8381, 2) + le(description.size(), 4) + description);
  document.data(picture(record(0xF, 0, 0xF004, options) + png_record()));
  const std::uint32_t at = document.add_main(
      record(0, 0x46A, 0xF01D, std::string(16, '\1') + '\xFF' + "\xFF\xD8 photo"));
  const std::string entry =
      record(2, 5, 0xF007, std::string(20, '\0') + le(33, 4) + le(1, 4) + le(at, 4) + le(0, 4));
  document.table(DocWriter::drawings, record(0xF, 0, 0xF000, record(0xF, 1, 0xF001, entry)));
  const Listing listing = list_members(document.bytes(), Format::word_97);
  ASSERT_EQ(listing.members.size(), 2u) << listing.reason;
  EXPECT_EQ(listing.members[0].name, "image1.png");
  EXPECT_EQ(listing.members[1].name, "image2.jpg");
  EXPECT_EQ(listing.members[0].size, 12);
  EXPECT_EQ(extract_member(document.bytes(), Format::word_97, 0).bytes, "\x89PNG picture");
  EXPECT_EQ(extract_member(document.bytes(), Format::word_97, 1).bytes, "\xFF\xD8 photo");
  EXPECT_EQ(text_of(document), "A dog\n");
}

/// A zlib stream of one stored block.
std::string stored(std::string_view text) {
  std::uint32_t low = 1;
  std::uint32_t high = 0;
  for (const char character : text) {
    low = (low + static_cast<unsigned char>(character)) % 65521;
    high = (high + low) % 65521;
  }
  const std::string checksum = le(high << 16 | low, 4);
  return "\x78\x01\x01" + le(text.size(), 2) + le(~text.size(), 2) + std::string(text) +
         std::string(checksum.rbegin(), checksum.rend());
}

/// A document with one picture in its text.
DocWriter with_picture(std::string_view blip) {
  DocWriter document;
  document.text(u"\1", sprm(0x6A03, 0, 4) + sprm(0x0855, 1)).end();
  // Within an entry of the kind that the store of a drawing has.
  const std::string entry =
      record(2, 5, 0xF007, std::string(33, '\0') + le(0, 3) + std::string(blip));
  return document.data(picture(shape(1) + entry));
}

TEST(DocReader, UnpacksMetafiles) {
  const std::string metafile = "the records of a metafile";
  const auto blip = [&](unsigned compression, const std::string& data) {
    return record(0, 0x3D4, 0xF01A,
                  std::string(16, '\1') + le(metafile.size(), 4) + std::string(24, '\0') +
                      le(data.size(), 4) + le(compression, 1) + le(0xFE, 1) + data);
  };
  for (const std::string& record : {blip(0, stored(metafile)), blip(0xFE, metafile)}) {
    const std::string bytes = with_picture(record).bytes();
    const Listing listing = list_members(bytes, Format::word_97);
    ASSERT_EQ(listing.members.size(), 1u) << listing.reason;
    EXPECT_EQ(listing.members[0].name, "image1.emf");
    EXPECT_EQ(listing.members[0].size, static_cast<std::int64_t>(metafile.size()));
    EXPECT_EQ(extract_member(bytes, Format::word_97, 0).bytes, metafile);
  }
  std::string damaged = stored(metafile);
  damaged.back() = static_cast<char>(damaged.back() + 1);
  EXPECT_EQ(extract_member(with_picture(blip(0, damaged)).bytes(), Format::word_97, 0).code, 4);
}

TEST(DocReader, GivesBitmapsTheHeadOfTheirFile) {
  const std::string bitmap = le(40, 4) + le(1, 4) + le(1, 4) + le(1, 2) + le(8, 2) + le(0, 24) +
                             std::string(256 * 4, '\0') + le(7, 4);
  const std::string bytes =
      with_picture(record(0, 0x7A8, 0xF01F, std::string(16, '\1') + '\xFF' + bitmap)).bytes();
  const Extracted extracted = extract_member(bytes, Format::word_97, 0);
  EXPECT_EQ(extracted.bytes,
            "BM" + le(14 + bitmap.size(), 4) + le(0, 4) + le(14 + 40 + 1024, 4) + bitmap);
  EXPECT_EQ(static_cast<std::int64_t>(extracted.bytes.size()),
            list_members(bytes, Format::word_97).members.at(0).size);
}

TEST(DocReader, TellsThatAPictureIsCut) {
  std::string content = picture(png_record());
  content.resize(content.size() - 4);
  DocWriter document;
  document.text(u"\1", sprm(0x6A03, 0, 4) + sprm(0x0855, 1)).end().data(content);
  const Extracted extracted = extract_member(document.bytes(), Format::word_97, 0);
  EXPECT_EQ(extracted.bytes, "\x89PNG pic");
  EXPECT_EQ(extracted.code, 4);
}

TEST(DocReader, ListsEmbeddedObjects) {
  const DocWriter::Streams inner = DocWriter().paragraph(u"inner").streams();
  const DocWriter::Streams outer = DocWriter().paragraph(u"outer").streams();
  CompoundWriter file;
  file.add("WordDocument", outer.main).add("0Table", outer.table);
  file.add("ObjectPool/_12/WordDocument", inner.main).add("ObjectPool/_12/0Table", inner.table);
  file.add("ObjectPool/_13/\1Ole10Native", le(4, 4) + "data");
  const Listing listing = list_members(file.bytes(), Format::word_97);
  ASSERT_EQ(listing.members.size(), 2u) << listing.reason;
  EXPECT_EQ(listing.members[0].name, "_12.doc");
  const Extracted extracted = extract_member(file.bytes(), Format::word_97, 0);
  EXPECT_EQ(read_document(extracted.bytes, Format::word_97).text, "inner\n");
  EXPECT_EQ(extract_member(file.bytes(), Format::word_97, 1).bytes, "data");
}

TEST(DocReader, ListsNothingForADocumentOfTextAlone) {
  EXPECT_TRUE(list_members(DocWriter().paragraph(u"x").bytes(), Format::word_97).members.empty());
}

// Word 6.

TEST(DocReader, ReadsWord6InTheCodePageOfItsFonts) {
  DocWriter document(true);
  document.font_table({"Arial", "Arial Cyr", "Gothic", "Symbol"}, {0, 204, 128, 2});
  const auto font = [](unsigned number) { return le(93, 1) + le(number, 2); };
  document.text(u"caf\u00E9 ", font(0)).text(u"\u00C4\u00E0 ", font(1));
  document.text(u"\u0093\u00FA ", font(2)).text(u"a", font(3)).end();
  EXPECT_EQ(text_of(document), "caf\xC3\xA9 \xD0\x94\xD0\xB0 \xE6\x97\xA5 \xCE\xB1\n");
}

TEST(DocReader, ReadsWord6InTheCodePageOfItsLanguage) {
  DocWriter document(true);
  document.language(0x0419).font_table({"Arial"}, {0}).paragraph(u"\u00C4\u00E0");
  EXPECT_EQ(text_of(document), "\xD0\x94\xD0\xB0\n");
}

TEST(DocReader, ReadsWord6WithItsFormatting) {
  const std::string cell = le(24, 1) + le(1, 1);
  DocWriter document(true);
  document.text(u"seen").text(u"unseen", le(92, 1) + le(1, 1)).end();
  document.text(u"a").end(cell, 0, u'\7').text(u"b").end(cell, 0, u'\7');
  document.end(cell + le(25, 1) + le(1, 1), 0, u'\7').paragraph(u"z");
  document.part(DocWriter::endnotes).paragraph(u"\2 end");
  document.table(DocWriter::endnote_texts, DocWriter::positions({0, 6}));
  EXPECT_EQ(text_of(document), "seen\na\tb\nz\nend\n");
}

TEST(DocReader, MarksRevisionsOfWord6) {
  DocWriter document(true);
  document.text(u"stay ").text(u"old", le(65, 1) + le(1, 1)).text(u"new", le(66, 1) + le(1, 1));
  document.end();
  EXPECT_EQ(text_of(document), "stay new\n");
  EXPECT_EQ(text_of(document, with(&Options::revision_marks)), "stay [-old-]{+new+}\n");
}

TEST(DocReader, ShowsFieldsOfWord6) {
  DocWriter document(true);
  document.paragraph(
      u"on \x13 DATE \x14"
      u"1 May\x15, page \x13 PAGE \x14"
      u"7\x15");
  EXPECT_EQ(text_of(document), "on 1 May, page 7\n");
  EXPECT_EQ(text_of(document, with(&Options::date_time_field_codes)), "on DATE, page 7\n");
}

TEST(DocReader, ShowsNotesAndTextBoxesOfWord6) {
  DocWriter document(true);
  document.paragraph(u"body\2");
  document.part(DocWriter::footnotes).paragraph(u"\2 first").paragraph(u"\2 second");
  document.table(DocWriter::footnote_texts, DocWriter::positions({0, 8, 17}));
  document.part(DocWriter::boxes).paragraph(u"box");
  document.part(DocWriter::header_boxes).paragraph(u"header box");
  EXPECT_EQ(text_of(document), "body\nbox\nfirst\nsecond\n");
  EXPECT_EQ(text_of(document, with(&Options::header_and_footer)),
            "body\nbox\nheader box\nfirst\nsecond\n");
}

/// ANLV, the description of a number.
std::string old_level(unsigned format, std::size_t before, std::size_t after, unsigned flags = 0,
                      unsigned font = 0, unsigned start = 1) {
  return le(format, 1) + le(before, 1) + le(after, 1) + le(flags, 1) + le(0, 2) + le(font, 2) +
         le(0, 2) + le(start, 2) + le(0, 4);
}

/// The modifications that give a paragraph of Word 6 its number (ANLD).
std::string old_number(unsigned kind, unsigned format, std::string_view before,
                       std::string_view after, unsigned font = 0) {
  return le(13, 1) + le(kind, 1) + le(12, 1) + le(52, 1) +
         old_level(format, before.size(), after.size(), 0, font) + std::string(4, '\0') +
         std::string(before) + std::string(after) +
         std::string(32 - before.size() - after.size(), '\0');
}

std::string old_kind(unsigned kind) {
  return le(13, 1) + le(kind, 1);
}

TEST(DocReader, NumbersParagraphsOfWord6) {
  DocWriter document(true);
  document.paragraph(u"one", old_number(10, 0, "(", ")."));
  document.paragraph(u"passed over", old_kind(12));
  document.paragraph(u"two", old_number(10, 0, "(", ")."));
  document.paragraph(u"plain").paragraph(u"again", old_number(10, 4, "", ")"));
  document.paragraph(u"bullet", old_number(11, 0, "*", ""));
  document.paragraph(u"anew", old_number(10, 0, "", "."));
  EXPECT_EQ(text_of(document),
            "(1). one\npassed over\n(2). two\nplain\na) again\n* bullet\n1. anew\n");
}

TEST(DocReader, NumbersColumnsOfWord6Downwards) {
  const std::string cell = le(24, 1) + le(1, 1);
  DocWriter document(true);
  for (const char16_t* text : {u"a", u"b"}) {
    document.text(text).end(cell + old_number(10, 0, "", "."), 0, u'\7');
    document.text(u"beside").end(cell, 0, u'\7').end(cell + le(25, 1) + le(1, 1), 0, u'\7');
  }
  document.paragraph(u"c", old_number(10, 0, "", ".")).paragraph(u"plain");
  document.paragraph(u"d", old_number(10, 0, "", "."));
  EXPECT_EQ(text_of(document), "1. a\tbeside\n2. b\tbeside\n3. c\nplain\n1. d\n");
}

TEST(DocReader, TakesNumbersOfWord6FromStyles) {
  DocWriter document(true);
  document.styles(
      {{}, {1, 0, old_number(10, 0, "", "."), {}}, {1, 1, old_number(11, 255, "-", ""), {}}});
  document.paragraph(u"one", {}, 1).paragraph(u"two", {}, 1).paragraph(u"bullet", {}, 2);
  document.paragraph(u"off", old_kind(0), 1).paragraph(u"one", {}, 1);
  EXPECT_EQ(text_of(document), "1. one\n2. two\n- bullet\noff\n1. one\n");
}

TEST(DocReader, ShowsTextAroundNumbersOfWord6InTheirFont) {
  DocWriter document(true);
  document.font_table({"Arial", "Symbol", "Arial Cyr"}, {0, 2, 204});
  document.paragraph(u"a", old_number(11, 255, "\xB7", "", 1));
  document.paragraph(u"b", old_number(11, 255, "\x95", ""));
  document.paragraph(u"c", old_number(10, 0, "\xCF ", "", 2));
  EXPECT_EQ(text_of(document), "\xE2\x80\xA2 a\n\xE2\x80\xA2 b\n\xD0\x9F 1 c\n");
}

/// The modification that describes the outline of a section (OLST).
std::string old_outline(std::string_view levels, std::string_view text, bool restart = false) {
  std::string bytes(levels);
  bytes.resize(144);
  bytes += le(restart ? 1 : 0, 4) + std::string(text);
  bytes.resize(212);
  return le(133, 1) + le(bytes.size(), 1) + bytes;
}

/// Sets the properties of the sections of a body.
void set_old_sections(DocWriter& document, const std::vector<std::uint32_t>& bounds,
                      const std::vector<std::string>& properties) {
  std::string data;
  for (const std::string& own : properties) {
    const std::uint32_t at = document.add_main(le(own.size(), 2) + own);
    data += le(0, 2) + le(at, 4) + le(0, 6);
  }
  document.table(DocWriter::sections, DocWriter::positions(bounds, data));
}

TEST(DocReader, NumbersTheOutlineOfWord6ByItsSections) {
  constexpr unsigned with_levels_above = 4;
  const std::string levels = old_level(0, 0, 1) + old_level(0, 0, 0, with_levels_above) +
                             old_level(4, 1, 1, with_levels_above, 0, 3);
  DocWriter document(true);
  document.styles({{}, {1, 0, old_kind(1), {}}, {1, 0, old_kind(2), {}}, {1, 0, old_kind(3), {}}});
  document.paragraph(u"A", {}, 1).paragraph(u"B", {}, 2).paragraph(u"text");
  document.paragraph(u"C", {}, 2).paragraph(u"D", {}, 3).paragraph(u"E", {}, 1);
  document.text(u"F").end({}, 2, u'\x0C');
  const std::uint32_t second = document.length(DocWriter::body);
  document.paragraph(u"G", {}, 1).text(u"H").end({}, 2, u'\x0C');
  const std::uint32_t third = document.length(DocWriter::body);
  document.paragraph(u"I", {}, 1);
  const std::uint32_t end = document.length(DocWriter::body);
  set_old_sections(document, {0, second, third, end},
                   {old_outline(levels, ".<>"), old_outline(levels, ")<>"),
                    old_outline(old_level(1, 8, 0), "Chapter ", true)});
  EXPECT_EQ(text_of(document),
            "1. A\n1.1 B\ntext\n1.2 C\n<1.2.c> D\n2. E\n2.1 F\n3) G\n3.1 H\nChapter I I\n");
}

TEST(DocReader, NumbersTheOutlineOfWord6ByItsParagraphsWhereNoSectionDoes) {
  DocWriter document(true);
  document.paragraph(u"A", old_number(1, 1, "", ".")).paragraph(u"B", old_number(2, 3, "", "."));
  document.paragraph(u"text").paragraph(u"C", old_number(2, 3, "", "."));
  document.paragraph(u"none", old_kind(3)).paragraph(u"D", old_number(1, 1, "", "."));
  EXPECT_EQ(text_of(document), "I. A\nA. B\ntext\nB. C\nnone\nII. D\n");
}

TEST(DocReader, ReadsHeadersOfWord6ByTheFlagsOfTheirSection) {
  DocWriter document(true);
  document.paragraph(u"text");
  document.table(DocWriter::document_properties, le(0, 1) + le(1, 1));  // one separator
  const std::string properties = le(153, 1) + le(0x0A, 1);              // odd header, odd footer
  const std::uint32_t at = document.add_main(le(properties.size(), 2) + properties);
  document.table(DocWriter::sections,
                 DocWriter::positions({0, 5}, le(0, 2) + le(at, 4) + le(0, 6)));
  document.part(DocWriter::headers).paragraph(u"-").paragraph(u"head").paragraph(u"foot");
  document.table(DocWriter::header_texts, DocWriter::positions({0, 2, 7, 12}));
  EXPECT_EQ(text_of(document, with(&Options::header_and_footer)), "head\ntext\nfoot\n");
}

TEST(DocReader, ReadsAMainStreamAlone) {
  const std::string stream = DocWriter(true).paragraph(u"alone").streams().main;
  EXPECT_EQ(read_document(stream, Format::word_windows).text, "alone\n");
}

TEST(DocReader, ReadsTheTextOfWord2) {
  std::string stream(0x300, '\0');
  stream.replace(0, 4, le(0xA5DB, 2) + le(45, 2));
  stream.replace(24, 8, le(0x300, 4) + le(0x300 + 12, 4));
  stream.replace(0x34, 4, le(12, 4));
  const Reading reading = read_document(stream + "old\rdocument", Format::word_windows);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text, "old\ndocument\n");
}

// Damage.

TEST(DocReader, GivesTheTextOfADocumentWithoutItsTables) {
  DocWriter::Streams streams = DocWriter().narrow().paragraph(u"still here").streams();
  streams.table.clear();
  const Reading reading = read_document(DocWriter::bytes(streams), Format::word_97);
  EXPECT_EQ(reading.text, "still here\n");
  EXPECT_EQ(reading.code, 4);
}

TEST(DocReader, GivesWhatIsLeftOfCutText) {
  DocWriter document;
  document.unformatted();
  for (int i = 0; i < 100; ++i) document.paragraph(u"paragraph");
  DocWriter::Streams streams = document.streams();
  streams.main.resize(streams.main.size() - 1024);
  const Reading reading = read_document(DocWriter::bytes(streams), Format::word_97);
  EXPECT_TRUE(reading.text.starts_with("paragraph\nparagraph\n"));
  EXPECT_EQ(reading.code, 4);
}

TEST(DocReader, RefusesWhatIsNoDocument) {
  EXPECT_EQ(read_document("short", Format::word_97).code, 4);
  EXPECT_EQ(read_document(std::string(4096, 'x'), Format::word_97).code, 4);
  EXPECT_EQ(read_document(CompoundWriter().add("Other", "x").bytes(), Format::word_97).code, 4);
  DocWriter::Streams streams = DocWriter().paragraph(u"text").streams();
  streams.main.resize(100);
  EXPECT_EQ(read_document(DocWriter::bytes(streams), Format::word_97).code, 4);
}

TEST(DocReader, RefusesDocumentsUnderRightsManagement) {
  const DocWriter::Streams streams = DocWriter().paragraph(u"placeholder").streams();
  CompoundWriter file;
  file.add("WordDocument", streams.main).add("0Table", streams.table).add("\tDRMContent", "x");
  EXPECT_EQ(read_document(file.bytes(), Format::word_97).code, 8);
}

TEST(DocReader, EndsOnEveryCutAndFlippedDocument) {
  DocWriter document = with_list();
  document.paragraph(u"one", of_list(1))
      .paragraph(
          u"a\x13 DATE \x14"
          u"b\x15");
  document.text(u"c").end(in_table, 0, u'\7').end(row_end, 0, u'\7').scattered(5);
  const DocWriter::Streams whole = document.streams();
  for (std::size_t i = 0; i < whole.table.size(); i += 3) {
    DocWriter::Streams streams = whole;
    streams.table[i] = static_cast<char>(streams.table[i] ^ 0xFF);
    read_document(DocWriter::bytes(streams), Format::word_97, with(&Options::header_and_footer));
    streams.table.resize(i);
    read_document(DocWriter::bytes(streams), Format::word_97);
  }
  for (std::size_t i = 0; i < 900; i += 2) {
    DocWriter::Streams streams = whole;
    streams.main[i] = static_cast<char>(streams.main[i] ^ 0xFF);
    read_document(DocWriter::bytes(streams), Format::word_97, with(&Options::header_and_footer));
  }
  for (std::size_t i = whole.main.size() - 1024; i < whole.main.size(); i += 5) {
    DocWriter::Streams streams = whole;
    streams.main[i] = static_cast<char>(streams.main[i] ^ 0xFF);
    read_document(DocWriter::bytes(streams), Format::word_97);
  }
}

TEST(DocReader, EndsOnEveryFlippedDocumentOfWord6) {
  DocWriter document(true);
  document.paragraph(u"a", old_kind(1)).paragraph(u"b", old_number(10, 0, "(", ")"));
  set_old_sections(document, {0, 4}, {old_outline(old_level(0, 1, 1), "()")});
  const std::string whole = document.streams().main;
  for (std::size_t i = 0; i < whole.size(); i += i < 1024 || i > 10200 ? 1 : 7) {
    std::string flipped = whole;
    flipped[i] = static_cast<char>(flipped[i] ^ 0xFF);
    read_document(flipped, Format::word_windows, with(&Options::header_and_footer));
  }
}

}  // namespace
}  // namespace trfilter::test
