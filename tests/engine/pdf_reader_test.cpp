#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tests/engine/pdf_builder.h"
#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

std::string show(double x, double y, const std::string& text, double size = 10) {
  return "BT /F1 " + std::to_string(size) + " Tf " + std::to_string(x) + " " + std::to_string(y) +
         " Td (" + text + ") Tj ET\n";
}

std::string text_of_page(const std::string& content, const Options& options = {}) {
  const Reading reading = read_document(PdfBuilder().page(content).bytes(), Format::pdf, options);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

Options with_order(PdfReading order) {
  Options options;
  options.pdf_reading = order;
  return options;
}

const Properties::Item* find(const Properties& properties, std::string_view name) {
  for (const auto& item : properties.items()) {
    if (item.name == name) return &item;
  }
  return nullptr;
}

TEST(PdfReader, SeparatesPagesByFormFeeds) {
  const std::string bytes =
      PdfBuilder().page(show(72, 700, "One")).page("").page(show(72, 700, "Three")).bytes();
  EXPECT_EQ(read_document(bytes, Format::pdf).text, "One\n\fThree\n");
}

TEST(PdfReader, ReadsPagesWithoutTextAsNothing) {
  const Reading reading = read_document(PdfBuilder().page("0 0 100 100 re f").bytes(), Format::pdf);
  EXPECT_EQ(reading.code, 0);
  EXPECT_EQ(reading.text, "");
}

TEST(PdfReader, EndsLinesAndSetsBlocksApart) {
  EXPECT_EQ(text_of_page(show(72, 700, "First line") + show(72, 688, "second line") +
                         show(72, 640, "Next block")),
            "First line\nsecond line\n\nNext block\n");
}

TEST(PdfReader, FindsSpacesInGapsButNotInKerns) {
  EXPECT_EQ(text_of_page("BT /F1 10 Tf 72 700 Td [(Ke)-20(rn)60(ed)-300(wo)10(rds)] TJ ET"),
            "Kerned words\n");
}

TEST(PdfReader, FindsSpacesBetweenLettersThatArePushedTogether) {
  EXPECT_EQ(
      text_of_page("BT /F1 10 Tf 72 700 Td [(S)234(i)34(g)234(n)233(e)235(d)5(o)235(n)] TJ ET"),
      "Signed on\n");
  EXPECT_EQ(text_of_page(
                "BT /F1 10 Tf 2.34 Tc 72 700 Td [(S)234(i)234(g)234(n)233(e)235(do)235(n)] TJ ET"),
            "Signed on\n");
}

TEST(PdfReader, TakesLetterspacedWordsForWords) {
  EXPECT_EQ(text_of_page("BT /F1 10 Tf 3 Tc 72 700 Td (spaced out) Tj ET"), "spaced out\n");
}

TEST(PdfReader, ReadsTextThatIsDrawnTwiceOnce) {
  EXPECT_EQ(text_of_page(show(72, 700, "Shadow") + show(72.4, 700.3, "Shadow")), "Shadow\n");
  EXPECT_EQ(text_of_page(show(72, 700, "Th") + show(72.2, 700, "Th") + show(83.67, 700, "is") +
                         show(83.9, 700, "is")),
            "This\n");
  EXPECT_EQ(text_of_page(show(72, 700, "A line") + show(72, 688, "and another") +
                         show(72.2, 700, "A line") + show(72.2, 688, "and another")),
            "A line\nand another\n");
}

TEST(PdfReader, KeepsTextsThatOnlyBeginAlike) {
  EXPECT_EQ(text_of_page(show(72, 700, "Text of the first") + show(72, 700, "Text of the second")),
            "Text of the first\nText of the second\n");
}

TEST(PdfReader, ReadsInvisibleText) {
  EXPECT_EQ(text_of_page("3 Tr " + show(72, 700, "Recognised")), "Recognised\n");
}

TEST(PdfReader, HidesWhatLiesOutsideThePage) {
  const std::string content = show(72, 700, "Inside") + show(900, 688, "Outside");
  EXPECT_EQ(text_of_page(content), "Inside\n");
  Options options;
  options.hidden_text = true;
  EXPECT_NE(text_of_page(content, options).find("Outside"), std::string::npos);
}

TEST(PdfReader, PutsMarksOnTheirLetters) {
  EXPECT_EQ(text_of_page(show(72, 700, "caf") + show(85.34, 700, "e") + show(86.4, 700.5, "\\264")),
            "caf\u00E9\n");
  EXPECT_EQ(text_of_page(show(72, 700, "caf") + show(86.4, 700.5, "\\264") + show(85.34, 700, "e")),
            "caf\u00E9\n");
}

TEST(PdfReader, JoinsWordsAtSoftHyphensOnly) {
  EXPECT_EQ(text_of_page(
                "BT /F1 10 Tf 72 700 Td (soft hy) Tj /Span<</ActualText<FEFF00AD>>>BDC (-) Tj EMC "
                "0 -12 Td (phen) Tj ET"),
            "soft hyphen\n");
  EXPECT_EQ(text_of_page(show(72, 700, "hard-") + show(72, 688, "hyphen")), "hard-\nhyphen\n");
}

TEST(PdfReader, ReplacesSpansByTheirActualText) {
  EXPECT_EQ(
      text_of_page(
          "BT /F1 10 Tf 72 700 Td /Span<</ActualText(page)>>BDC (P) Tj (g) Tj EMC ( two) Tj ET"),
      "page two\n");
}

TEST(PdfReader, ReadsTurnedText) {
  EXPECT_EQ(text_of_page(
                "BT /F1 10 Tf 0 1 -1 0 100 100 Tm (Up the) Tj 0 1 -1 0 112 100 Tm (margin) Tj ET"),
            "Up the\nmargin\n");
}

TEST(PdfReader, PutsRunningLinesWhereTheyStand) {
  const std::string body = show(72, 700, "Body of the page") + show(72, 688, "goes on");
  const std::string content = show(300, 40, "7") + body + show(72, 770, "Running title");
  EXPECT_EQ(text_of_page(content), "Running title\n\nBody of the page\ngoes on\n\n7\n");
  EXPECT_EQ(text_of_page(content, with_order(PdfReading::raw)),
            "7\n\nBody of the page\ngoes on\n\nRunning title\n");
}

/// Two columns of prose; `across` draws them line by line.
std::string columns(bool across) {
  const std::string left = "The left column has a line of text like this one,";
  const std::string right = "and the right column follows it with such lines.";
  std::string content;
  if (across) {
    for (int row = 0; row < 8; ++row) {
      content += show(54, 700 - 12 * row, left + " L" + std::to_string(row));
      content += show(324, 700 - 12 * row, right + " R" + std::to_string(row));
    }
    return content;
  }
  for (int row = 0; row < 8; ++row)
    content += show(54, 700 - 12 * row, left + " L" + std::to_string(row));
  for (int row = 0; row < 8; ++row)
    content += show(324, 700 - 12 * row, right + " R" + std::to_string(row));
  return content;
}

bool in_order(const std::string& text, const std::vector<std::string>& parts) {
  std::size_t at = 0;
  for (const std::string& part : parts) {
    at = text.find(part, at);
    if (at == std::string::npos) return false;
    at += part.size();
  }
  return true;
}

TEST(PdfReader, ReadsColumnsOneAfterTheOtherHoweverTheyAreDrawn) {
  const std::vector<std::string> order{"L0", "L1", "L7", "R0", "R1", "R7"};
  EXPECT_TRUE(in_order(text_of_page(columns(false)), order));
  EXPECT_TRUE(in_order(text_of_page(columns(true)), order));
  EXPECT_TRUE(in_order(text_of_page(columns(true), with_order(PdfReading::left_to_right)), order));
}

TEST(PdfReader, ReadsColumnsFromTheRightWhenAsked) {
  EXPECT_TRUE(in_order(text_of_page(columns(false), with_order(PdfReading::right_to_left)),
                       {"R0", "R1", "R7", "L0", "L1", "L7"}));
}

TEST(PdfReader, ReadsTablesByRowsHoweverTheyAreDrawn) {
  std::string by_columns;
  std::string by_rows;
  for (int column = 0; column < 3; ++column) {
    for (int row = 0; row < 4; ++row) {
      by_columns += show(72 + 120 * column, 700 - 14 * row,
                         "c" + std::to_string(row) + std::to_string(column));
      by_rows += show(72 + 120 * row, 700 - 14 * column,
                      "c" + std::to_string(column) + std::to_string(row));
    }
  }
  EXPECT_EQ(text_of_page(by_columns), "c00 c01 c02\nc10 c11 c12\nc20 c21 c22\nc30 c31 c32\n");
  EXPECT_EQ(text_of_page(by_rows), "c00 c01 c02 c03\nc10 c11 c12 c13\nc20 c21 c22 c23\n");
}

TEST(PdfReader, ReadsPagesThatAreDrawnFromTheFoot) {
  std::string content;
  std::string expected;
  for (int row = 0; row < 20; ++row) {
    content += show(72, 100 + 12 * row, "line " + std::to_string(20 - row));
    expected += "line " + std::to_string(row + 1) + "\n";
  }
  EXPECT_EQ(text_of_page(content), expected);
}

TEST(PdfReader, PutsFieldValuesBesideTheirLabels) {
  PdfBuilder builder;
  const std::string form =
      "/Type/XObject/Subtype/Form/BBox[0 0 200 16]/Resources<</Font<</F1 3 0 R>>>>";
  const int name = builder.stream("BT /F1 10 Tf 2 4 Td (Ada) Tj ET", form);
  const int field = builder.add(
      "<</Type/Annot/Subtype/Widget/FT/Tx/T(n)/V(Ada)/F 4/Rect[160 696 360 712]/AP<</N " +
      std::to_string(name) + " 0 R>>>>");
  builder.catalog("/AcroForm<</Fields[" + std::to_string(field) + " 0 R]>>");
  builder.page(show(72, 700, "Name:") + show(72, 680, "Place:"),
               "/Annots[" + std::to_string(field) + " 0 R]");
  EXPECT_EQ(read_document(builder.bytes(), Format::pdf).text, "Name: Ada\n\nPlace:\n");
}

TEST(PdfReader, ReadsRemarksAsComments) {
  PdfBuilder builder;
  const int note =
      builder.add("<</Type/Annot/Subtype/Text/Contents(A remark.)/F 4/Rect[400 700 420 720]>>");
  builder.page(show(72, 700, "Text"), "/Annots[" + std::to_string(note) + " 0 R]");
  const std::string bytes = builder.bytes();
  EXPECT_EQ(read_document(bytes, Format::pdf).text, "Text\nA remark.\n");
  Options options;
  options.skip_comments = true;
  EXPECT_EQ(read_document(bytes, Format::pdf, options).text, "Text\n");
}

TEST(PdfReader, ShowsLayersThatAreOffAsHiddenText) {
  PdfBuilder builder;
  const std::string layer = std::to_string(builder.add("<</Type/OCG/Name(Off)>>")) + " 0 R";
  builder.catalog("/OCProperties<</OCGs[" + layer + "]/D<</OFF[" + layer + "]>>>>");
  builder.page(show(72, 700, "Seen") + "/OC /L BDC " + show(72, 688, "Unseen") + "EMC", {},
               "/Properties<</L " + layer + ">>");
  const std::string bytes = builder.bytes();
  EXPECT_EQ(read_document(bytes, Format::pdf).text, "Seen\n");
  Options options;
  options.hidden_text = true;
  EXPECT_EQ(read_document(bytes, Format::pdf, options).text, "Seen\nUnseen\n");
}

TEST(PdfReader, FollowsTheStructureTreeWhenAsked) {
  PdfBuilder builder;
  const int root = 4;
  builder.add("<</Type/StructTreeRoot/K 5 0 R>>");
  builder.add("<</S/Document/P 4 0 R/K[6 0 R 7 0 R]>>");
  builder.add("<</S/P/P 5 0 R/Pg 9 0 R/K 1>>");
  builder.add("<</S/P/P 5 0 R/Pg 9 0 R/K 0>>");
  builder.catalog("/MarkInfo<</Marked true>>/StructTreeRoot " + std::to_string(root) + " 0 R");
  builder.page("/P<</MCID 0>>BDC " + show(72, 700, "Read second") + "EMC /P<</MCID 1>>BDC " +
               show(72, 688, "Read first") + "EMC /Artifact<</Type/Pagination>>BDC " +
               show(72, 40, "Page 1") + "EMC");
  const std::string bytes = builder.bytes();
  EXPECT_EQ(read_document(bytes, Format::pdf).text, "Read second\nRead first\n\nPage 1\n");
  Options options;
  options.tagged_pdf_content = true;
  EXPECT_EQ(read_document(bytes, Format::pdf, options).text, "Read first\n\nRead second\n");
  options.header_and_footer = true;
  EXPECT_EQ(read_document(bytes, Format::pdf, options).text, "Read first\n\nRead second\nPage 1\n");
}

TEST(PdfReader, OpensWithEitherPassword) {
  const std::string bytes = source_file("samples/locked.pdf");
  Options options;
  EXPECT_EQ(read_document(bytes, Format::pdf, options).code, 8);
  options.password = "simsim";
  EXPECT_EQ(read_document(bytes, Format::pdf, options).code, 8);
  for (const char* password : {"s\u00E9same", "aladdin"}) {
    options.password = password;
    const Reading reading = read_document(bytes, Format::pdf, options);
    EXPECT_EQ(reading.code, 0) << reading.reason;
    EXPECT_EQ(reading.text, "Open, and read what is inside.\n");
  }
}

TEST(PdfReader, NeedsNoPasswordWhereItIsEmpty) {
  Options options;
  options.password = "anything";
  EXPECT_EQ(read_document(source_file("samples/protected.pdf"), Format::pdf, options).text,
            "Open, and read what is inside.\n");
}

TEST(PdfReader, RefusesWhatHasNoPages) {
  EXPECT_EQ(read_document(PdfBuilder().bytes(), Format::pdf).code, 4);
  EXPECT_EQ(read_document("%PDF-1.4\nnothing of the kind", Format::pdf).code, 4);
  EXPECT_EQ(read_document("", Format::pdf).code, 4);
}

TEST(PdfReader, ReadsDocumentsWithoutTheirTable) {
  std::string bytes = PdfBuilder().page(show(72, 700, "Repaired")).bytes();
  bytes.resize(bytes.find("xref\n"));
  bytes += "trailer\n<</Root 1 0 R>>\n";
  EXPECT_EQ(read_document(bytes, Format::pdf).text, "Repaired\n");
}

TEST(PdfReader, ReportsPagesThatAreMissingAfterTheOthers) {
  PdfBuilder builder;
  builder.page(show(72, 700, "Here")).page_of(99).page(show(72, 700, "There"));
  const Reading reading = read_document(builder.bytes(), Format::pdf);
  EXPECT_EQ(reading.text, "Here\n\fThere\n");
  EXPECT_EQ(reading.code, 4);
}

TEST(PdfReader, ReportsContentsThatAreCutOff) {
  PdfBuilder builder;
  const int broken = builder.stream("\x78\x9C\xFF\xFF\xFF\xFF garbage", "/Filter/FlateDecode");
  builder.page(show(72, 700, "Whole")).page_of(broken);
  const Reading reading = read_document(builder.bytes(), Format::pdf);
  EXPECT_EQ(reading.text, "Whole\n");
  EXPECT_EQ(reading.code, 4);
}

TEST(PdfReader, CutsContentsThatNestTooDeep) {
  std::string content = show(72, 700, "Before the depth");
  for (int i = 0; i < 70'000; ++i) content += "q ";
  content += show(72, 600, "below it");
  const Reading reading = read_document(
      PdfBuilder().page(content).page(show(72, 700, "Next page")).bytes(), Format::pdf);
  EXPECT_TRUE(reading.text.starts_with("Before the depth\n")) << reading.text;
  EXPECT_TRUE(reading.text.ends_with("\fNext page\n")) << reading.text;
  EXPECT_EQ(reading.code, 4);
}

TEST(PdfReader, ReadsPagesThatAreDrawnInAnyOrderByTheirGeometry) {
  std::vector<std::string> lines;
  for (int row = 0; row < 12; ++row) {
    lines.push_back(show(54, 700 - 12 * row,
                         "The left column has a line of text, L" + std::to_string(row) + "."));
    lines.push_back(show(324, 700 - 12 * row,
                         "The right column follows with it, R" + std::to_string(row) + "."));
  }
  std::string content;
  for (std::size_t i = 0; i < lines.size(); ++i) content += lines[i * 7 % lines.size()];
  EXPECT_TRUE(
      in_order(text_of_page(content), {"L0.", "L1.", "L6.", "L11.", "R0.", "R1.", "R6.", "R11."}));
}

TEST(PdfReader, ReadsPredefinedCharacterMapsOrSaysThatTheyAreMissing) {
  PdfBuilder builder;
  const int descendant = builder.add(
      "<</Type/Font/Subtype/CIDFontType0/BaseFont/X/DW 1000/CIDSystemInfo"
      "<</Registry(Adobe)/Ordering(Japan1)/Supplement 2>>>>");
  const int font =
      builder.add("<</Type/Font/Subtype/Type0/BaseFont/X/Encoding/UniJIS-UTF16-H/DescendantFonts[" +
                  std::to_string(descendant) + " 0 R]>>");
  builder.page("BT /F2 10 Tf 72 700 Td <65E5672C8A9E> Tj ET", {},
               "/Font<</F2 " + std::to_string(font) + " 0 R>>");
  const Reading reading = read_document(builder.bytes(), Format::pdf);
  EXPECT_TRUE((reading.code == 0 && reading.text == "\u65E5\u672C\u8A9E\n") ||
              (reading.code == 13 && reading.text.empty()))
      << reading.code << " " << reading.text;
}

TEST(PdfReader, ReadsRightToLeftLinesInLogicalOrder) {
  // Letters drawn one by one from right to left, a number in them.
  PdfBuilder builder;
  const int map = builder.stream(
      "/CIDInit /ProcSet findresource begin 12 dict begin begincmap /CMapName /M def /CMapType 2 "
      "def\n"
      "1 begincodespacerange <0000> <FFFF> endcodespacerange\n"
      "5 beginbfchar <0001> <05D0> <0002> <05D1> <0003> <05D2> <0004> <0031> <0005> <0032> "
      "endbfchar endcmap end end");
  const int descendant = builder.add(
      "<</Type/Font/Subtype/CIDFontType2/BaseFont/X/DW 500/CIDSystemInfo"
      "<</Registry(Adobe)/Ordering(Identity)/Supplement 0>>>>");
  const int font =
      builder.add("<</Type/Font/Subtype/Type0/BaseFont/X/Encoding/Identity-H/DescendantFonts[" +
                  std::to_string(descendant) + " 0 R]/ToUnicode " + std::to_string(map) + " 0 R>>");
  const auto letter = [](int x, const char* code) {
    return "BT /F2 10 Tf " + std::to_string(x) + " 700 Td <" + code + "> Tj ET ";
  };
  builder.page(letter(200, "0001") + letter(195, "0002") + letter(190, "0003") +
                   letter(178, "0004") + letter(183, "0005") + letter(170, "0001"),
               {}, "/Font<</F2 " + std::to_string(font) + " 0 R>>");
  EXPECT_EQ(read_document(builder.bytes(), Format::pdf).text, "\u05D0\u05D1\u05D2 12 \u05D0\n");
}

TEST(PdfReader, StatesTheInformationDictionary) {
  const std::string bytes = source_file("samples/columns.pdf");
  Properties properties = read_properties(bytes, Format::pdf);
  ASSERT_NE(find(properties, "Title"), nullptr);
  EXPECT_EQ(std::get<std::string>(find(properties, "Title")->value), "Two columns");
  EXPECT_EQ(std::get<std::string>(find(properties, "Author")->value),
            "\u017Baneta \u00C5ngstr\u00F6m");
  EXPECT_EQ(std::get<std::string>(find(properties, "Application")->value), "A typesetter");
  EXPECT_EQ(std::get<std::string>(find(properties, "Language")->value), "en-GB");
  EXPECT_EQ(std::get<std::int32_t>(find(properties, "PageCount")->value), 4);
  // Half past twelve, an hour and a half east of Greenwich.
  EXPECT_EQ(std::get<FileTime>(find(properties, "Created")->value).ticks,
            FileTime::from_unix_seconds(1'709'204'400).ticks);
  EXPECT_EQ(find(properties, "Shelf"), nullptr);

  Options options;
  options.custom_pdf_metadata = true;
  properties = read_properties(bytes, Format::pdf, options);
  ASSERT_NE(find(properties, "Shelf"), nullptr);
  EXPECT_EQ(std::get<std::string>(find(properties, "Shelf")->value), "B 7");
}

TEST(PdfReader, ReadsDocumentsThatAreTooLargeForMemory) {
  PdfBuilder builder;
  builder.page(show(72, 700, "Before the bulk"));
  builder.stream(std::string(std::size_t{5} << 20, 'x'));
  builder.page(show(72, 700, "behind it"));
  EXPECT_EQ(read_document(builder.bytes(), Format::pdf).text, "Before the bulk\n\fbehind it\n");
}

}  // namespace
}  // namespace trfilter::test
