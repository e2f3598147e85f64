#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "engine/core/engine_error.h"
#include "tests/engine/ooxml_package.h"
#include "tests/engine/read_document.h"

namespace trfilter {
namespace {

using test::docx;
using test::OoxmlPackage;
using test::read_document;
using test::Reading;
using test::wordprocessing_part;

std::string run(std::string_view text, std::string_view properties = "") {
  std::string xml = "<w:r>";
  if (!properties.empty()) xml.append("<w:rPr>").append(properties).append("</w:rPr>");
  return xml.append(R"(<w:t xml:space="preserve">)").append(text).append("</w:t></w:r>");
}

std::string paragraph(std::string_view content, std::string_view properties = "") {
  std::string xml = "<w:p>";
  if (!properties.empty()) xml.append("<w:pPr>").append(properties).append("</w:pPr>");
  return xml.append(content).append("</w:p>");
}

std::string text_paragraph(std::string_view text, std::string_view properties = "") {
  return paragraph(run(text), properties);
}

std::string cell(std::string_view content, std::string_view properties = "") {
  return "<w:tc><w:tcPr>" + std::string(properties) + "</w:tcPr>" + std::string(content) +
         "</w:tc>";
}

std::string field(std::string_view instruction, std::string_view result) {
  return R"(<w:r><w:fldChar w:fldCharType="begin"/></w:r><w:r><w:instrText xml:space="preserve"> )" +
         std::string(instruction) +
         R"( </w:instrText></w:r><w:r><w:fldChar w:fldCharType="separate"/></w:r>)" + run(result) +
         R"(<w:r><w:fldChar w:fldCharType="end"/></w:r>)";
}

/// The text of a package that reads well.
std::string text_of(const OoxmlPackage& package, const Options& options = {}) {
  const Reading reading = read_document(package.bytes(), Format::docx, options);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

std::string text_of_body(std::string_view body, const Options& options = {}) {
  return text_of(docx(body), options);
}

Options with(bool Options::*option) {
  Options options;
  options.*option = true;
  return options;
}

/// A package with one list definition; its levels are given.
OoxmlPackage with_numbering(std::string_view body, std::string_view levels,
                            std::string_view override_of_2 = "") {
  OoxmlPackage package = docx(body);
  package.relate("word/document.xml", "rIdN", "numbering", "numbering.xml");
  package.part(
      "word/numbering.xml",
      wordprocessing_part(
          "numbering",
          R"(<w:abstractNum w:abstractNumId="7">)" + std::string(levels) +
              R"(</w:abstractNum><w:num w:numId="1"><w:abstractNumId w:val="7"/></w:num>)" +
              R"(<w:num w:numId="2"><w:abstractNumId w:val="7"/>)" + std::string(override_of_2) +
              "</w:num>"));
  return package;
}

std::string level(int number, std::string_view format, std::string_view text,
                  std::string_view more = "") {
  return R"(<w:lvl w:ilvl=")" + std::to_string(number) +
         R"("><w:start w:val="1"/><w:numFmt w:val=")" + std::string(format) +
         R"("/><w:lvlText w:val=")" + std::string(text) + R"("/>)" + std::string(more) + "</w:lvl>";
}

std::string item(int list, int list_level, std::string_view text) {
  return text_paragraph(text, R"(<w:numPr><w:ilvl w:val=")" + std::to_string(list_level) +
                                  R"("/><w:numId w:val=")" + std::to_string(list) +
                                  R"("/></w:numPr>)");
}

TEST(DocxReader, WritesParagraphsOfRunsWithTabsAndBreaks) {
  EXPECT_EQ(text_of_body(paragraph(run("one ") + "<w:r><w:t>two</w:t><w:tab/><w:t>three</w:t>"
                                                 "<w:br/><w:t>four</w:t><w:noBreakHyphen/></w:r>") +
                         paragraph("") + text_paragraph("five")),
            "one two\tthree\nfour\xE2\x80\x91\nfive\n");
}

TEST(DocxReader, TrimsTextThatDoesNotPreserveItsSpace) {
  EXPECT_EQ(text_of_body("<w:p><w:r><w:t>\n  indented\n  </w:t></w:r>" + run(" kept ") +
                         "<w:r><w:t>x</w:t></w:r></w:p>"),
            "indented kept x\n");
}

TEST(DocxReader, EndsThePageAtAPageBreak) {
  EXPECT_EQ(text_of_body(paragraph(run("one") + R"(<w:r><w:br w:type="page"/></w:r>)") +
                         text_paragraph("two")),
            "one\n\ftwo\n");
}

TEST(DocxReader, IgnoresTabStopsAndFormerProperties) {
  EXPECT_EQ(
      text_of_body(paragraph(
          run("shown", "<w:rPrChange><w:rPr><w:vanish/></w:rPr></w:rPrChange>"),
          R"(<w:tabs><w:tab w:val="left"/></w:tabs>)"
          R"(<w:pPrChange><w:pPr><w:numPr><w:numId w:val="1"/></w:numPr></w:pPr></w:pPrChange>)")),
      "shown\n");
}

TEST(DocxReader, WritesTablesWithSpansAndNestedTables) {
  const std::string nested = "<w:tbl><w:tr>" + cell(text_paragraph("n1")) + cell(paragraph("")) +
                             cell(text_paragraph("n3")) + "</w:tr><w:tr>" +
                             cell(text_paragraph("n4")) + cell(paragraph("")) + "</w:tr></w:tbl>";
  EXPECT_EQ(
      text_of_body(text_paragraph("before") + "<w:tbl><w:tr>" +
                   cell(text_paragraph("wide"), R"(<w:gridSpan w:val="2"/>)") +
                   cell(text_paragraph("c")) + "</w:tr><w:tr>" +
                   R"(<w:trPr><w:gridBefore w:val="1"/></w:trPr>)" + cell(nested + paragraph("")) +
                   cell(text_paragraph("d")) + "</w:tr></w:tbl>" + text_paragraph("after")),
      "before\nwide\t\tc\n\tn1\t\tn3\nn4\td\nafter\n");
}

TEST(DocxReader, SurvivesHostileSpans) {
  EXPECT_EQ(text_of_body("<w:tbl><w:tr>" +
                         cell(text_paragraph("a"), R"(<w:gridSpan w:val="2000000000"/>)") +
                         cell(text_paragraph("b"), R"(<w:gridSpan w:val="-5"/>)") +
                         cell(text_paragraph("c")) + "</w:tr></w:tbl>"),
            "a" + std::string(100, '\t') + "b\tc\n");
}

TEST(DocxReader, ShowsRevisionsAsTheFinalTextOrMarked) {
  const std::string body =
      paragraph(run("a ") + "<w:ins>" + run("new") + "</w:ins><w:del><w:r>" +
                "<w:delText>old</w:delText></w:r></w:del><w:ins/>" + run(" z"));
  EXPECT_EQ(text_of_body(body), "a new z\n");
  EXPECT_EQ(text_of_body(body, with(&Options::revision_marks)), "a {+new+}[-old-] z\n");
}

TEST(DocxReader, TreatsMovesAsRevisions) {
  const std::string body = paragraph("<w:moveFrom>" + run("here") + "</w:moveFrom>" + run(" or ") +
                                     "<w:moveTo>" + run("there") + "</w:moveTo>");
  EXPECT_EQ(text_of_body(body), " or there\n");
  EXPECT_EQ(text_of_body(body, with(&Options::revision_marks)), "[-here-] or {+there+}\n");
}

TEST(DocxReader, JoinsParagraphsAcrossADeletedMark) {
  const std::string body =
      text_paragraph("one ", "<w:rPr><w:del/></w:rPr>") + text_paragraph("two");
  EXPECT_EQ(text_of_body(body), "one two\n");
  EXPECT_EQ(text_of_body(body, with(&Options::revision_marks)), "one \ntwo\n");
}

TEST(DocxReader, LeavesOutDeletedAndHiddenRows) {
  const std::string body = "<w:tbl><w:tr><w:trPr><w:del/></w:trPr>" + cell(text_paragraph("gone")) +
                           "</w:tr><w:tr><w:trPr><w:hidden/></w:trPr>" +
                           cell(text_paragraph("hidden")) + "</w:tr><w:tr>" +
                           cell(text_paragraph("kept")) + "</w:tr></w:tbl>";
  EXPECT_EQ(text_of_body(body), "kept\n");
  EXPECT_EQ(text_of_body(body, with(&Options::hidden_text)), "hidden\nkept\n");
}

TEST(DocxReader, HidesRunsByThemselvesAndByStyles) {
  OoxmlPackage package =
      docx(paragraph(run("a") + run("b", "<w:vanish/>") + run("c", R"(<w:vanish w:val="0"/>)") +
                     run("d", R"(<w:rStyle w:val="Secret"/>)")) +
           text_paragraph("e", R"(<w:pStyle w:val="Derived"/>)") +
           paragraph(run("f", R"(<w:rStyle w:val="Secret"/>)"), R"(<w:pStyle w:val="Derived"/>)"));
  package.relate("word/document.xml", "rIdS", "styles", "styles.xml");
  package.part(
      "word/styles.xml",
      wordprocessing_part(
          "styles",
          R"(<w:style w:type="character" w:styleId="Secret"><w:rPr><w:vanish/></w:rPr></w:style>)"
          R"(<w:style w:type="paragraph" w:styleId="Base"><w:rPr><w:vanish/></w:rPr></w:style>)"
          R"(<w:style w:type="paragraph" w:styleId="Derived"><w:basedOn w:val="Base"/></w:style>)"));
  // Two styles that hide cancel each other, as toggle properties do.
  EXPECT_EQ(text_of(package), "ac\nf\n");
  EXPECT_EQ(text_of(package, with(&Options::hidden_text)), "abcd\ne\nf\n");
}

TEST(DocxReader, SurvivesStylesThatAreBasedOnEachOther) {
  OoxmlPackage package = docx(text_paragraph("text", R"(<w:pStyle w:val="A"/>)"));
  package.relate("word/document.xml", "rIdS", "styles", "styles.xml");
  package.part(
      "word/styles.xml",
      wordprocessing_part("styles", R"(<w:style w:styleId="A"><w:basedOn w:val="B"/></w:style>)"
                                    R"(<w:style w:styleId="B"><w:basedOn w:val="A"/></w:style>)"));
  EXPECT_EQ(text_of(package), "text\n");
}

TEST(DocxReader, NumbersListsAsDisplayed) {
  const std::string levels = level(0, "decimal", "%1.") + level(1, "lowerLetter", "%2)") +
                             level(2, "upperRoman", "%1.%2.%3", "<w:isLgl/>");
  EXPECT_EQ(text_of(with_numbering(item(1, 0, "one") + item(1, 1, "sub") + item(1, 1, "sub") +
                                       item(1, 0, "two") + item(1, 1, "again") +
                                       item(1, 2, "deep") + paragraph("") + item(1, 0, "three"),
                                   levels)),
            "1. one\na) sub\nb) sub\n2. two\na) again\n2.1.1 deep\n3. three\n");
}

TEST(DocxReader, RestartsAListByItsOverride) {
  const std::string body = item(1, 0, "a") + item(1, 0, "b") + item(2, 0, "c") + item(1, 0, "d");
  EXPECT_EQ(text_of(with_numbering(body, level(0, "decimal", "%1."))), "1. a\n2. b\n3. c\n4. d\n");
  EXPECT_EQ(text_of(with_numbering(
                body, level(0, "decimal", "%1."),
                R"(<w:lvlOverride w:ilvl="0"><w:startOverride w:val="1"/></w:lvlOverride>)")),
            "1. a\n2. b\n1. c\n2. d\n");
}

TEST(DocxReader, WritesBulletsAsPlainCharacters) {
  const std::string symbol =
      level(0, "bullet", "\xEF\x82\xB7", R"(<w:rPr><w:rFonts w:ascii="Symbol"/></w:rPr>)") +
      level(1, "bullet", "o") + level(2, "bullet", "\xE2\x80\x93");
  EXPECT_EQ(text_of(with_numbering(item(1, 0, "a") + item(1, 1, "b") + item(1, 2, "c"), symbol)),
            "\xE2\x80\xA2 a\n\xE2\x97\xA6 b\n\xE2\x80\x93 c\n");
}

TEST(DocxReader, NumbersHeadingsByTheirStyles) {
  OoxmlPackage package =
      with_numbering(text_paragraph("First", R"(<w:pStyle w:val="H1"/>)") +
                         text_paragraph("Second", R"(<w:pStyle w:val="H2"/>)"),
                     level(0, "decimal", "%1", R"(<w:pStyle w:val="H1"/>)") +
                         level(1, "decimal", "%1.%2", R"(<w:pStyle w:val="H2"/>)"));
  package.relate("word/document.xml", "rIdS", "styles", "styles.xml");
  package.part(
      "word/styles.xml",
      wordprocessing_part(
          "styles",
          R"(<w:style w:type="paragraph" w:styleId="H1"><w:pPr><w:numPr><w:numId w:val="1"/></w:numPr></w:pPr></w:style>)"
          R"(<w:style w:type="paragraph" w:styleId="H2"><w:basedOn w:val="H1"/></w:style>)"));
  EXPECT_EQ(text_of(package), "1 First\n1.1 Second\n");
}

TEST(DocxReader, ShowsResultsOfFieldsAndNotTheirInstructions) {
  EXPECT_EQ(
      text_of_body(paragraph(field("PAGE", "7") + run(" ") + R"(<w:fldSimple w:instr=" AUTHOR ">)" +
                             run("Ada") + "</w:fldSimple>")),
      "7 Ada\n");
}

TEST(DocxReader, ShowsCodesOfDateAndFileNameFieldsOnRequest) {
  const std::string body = paragraph(field(R"(date \@ "d.M.yyyy")", "1.2.2024") + run("; ") +
                                     field("FILENAME", "a.docx"));
  EXPECT_EQ(text_of_body(body), "1.2.2024; a.docx\n");
  EXPECT_EQ(text_of_body(body, with(&Options::date_time_field_codes)),
            "date \\@ \"d.M.yyyy\"; a.docx\n");
  EXPECT_EQ(text_of_body(body, with(&Options::filename_field_code)), "1.2.2024; FILENAME\n");
}

TEST(DocxReader, HidesFieldsWithinInstructions) {
  EXPECT_EQ(
      text_of_body(paragraph(
          R"(<w:r><w:fldChar w:fldCharType="begin"/></w:r><w:r><w:instrText>IF </w:instrText></w:r>)" +
          field("MERGEFIELD x", "inner") +
          R"(<w:r><w:instrText> = 1</w:instrText></w:r><w:r><w:fldChar w:fldCharType="separate"/></w:r>)" +
          run("outer") + R"(<w:r><w:fldChar w:fldCharType="end"/></w:r>)")),
      "outer\n");
}

TEST(DocxReader, ShowsTheTextOfAMacroButton) {
  EXPECT_EQ(
      text_of_body(paragraph(
          R"(<w:r><w:fldChar w:fldCharType="begin"/></w:r><w:r><w:instrText> MACROBUTTON NoMacro [Click here] </w:instrText></w:r><w:r><w:fldChar w:fldCharType="end"/></w:r>)")),
      "[Click here]\n");
}

TEST(DocxReader, ShowsSymbolsAndEquationsThatAreFields) {
  const auto without_result = [](std::string_view instruction) {
    return R"(<w:r><w:fldChar w:fldCharType="begin"/></w:r><w:r><w:instrText> )" +
           std::string(instruction) +
           R"( </w:instrText></w:r><w:r><w:fldChar w:fldCharType="end"/></w:r>)";
  };
  EXPECT_EQ(text_of_body(paragraph(without_result(R"(EQ \* jc2 \o\ad(\s\up 9(kana),base))") +
                                   run("; ") + without_result(R"(SYMBOL 183 \f "Symbol")"))),
            "kana base; \u2022\n");
}

TEST(DocxReader, PutsTextBoxesBehindTheirParagraphOnce) {
  const std::string box = "<w:txbxContent>" + text_paragraph("boxed") + "</w:txbxContent>";
  EXPECT_EQ(text_of_body(paragraph(run("be") + "<w:r><mc:AlternateContent><mc:Choice>" + box +
                                   "</mc:Choice><mc:Fallback>" + box +
                                   "</mc:Fallback></mc:AlternateContent></w:r>" + run("fore")) +
                         text_paragraph("after")),
            "before\nboxed\nafter\n");
}

TEST(DocxReader, KeepsALabelForTheTextAroundABox) {
  const std::string body =
      R"(<w:p><w:pPr><w:numPr><w:ilvl w:val="0"/><w:numId w:val="1"/></w:numPr></w:pPr><w:r><w:pict><v:shape><w:txbxContent>)" +
      text_paragraph("boxed") + "</w:txbxContent></v:shape></w:pict></w:r>" + run("item") +
      "</w:p>";
  EXPECT_EQ(text_of(with_numbering(body, level(0, "decimal", "%1."))), "1. item\nboxed\n");
}

TEST(DocxReader, HidesABoxThatIsAnchoredInDeletedText) {
  EXPECT_EQ(text_of_body(paragraph("<w:del><w:r><w:txbxContent>" + text_paragraph("boxed") +
                                   "</w:txbxContent></w:r></w:del>" + run("kept"))),
            "kept\n");
}

TEST(DocxReader, ShowsDescriptionsOfPicturesOnce) {
  EXPECT_EQ(
      text_of_body(paragraph(
          run("Figure") +
          R"(<w:r><w:drawing><wp:docPr id="1" name="Picture 1" descr="A duck"/><wp:cNvPr descr="A duck"/></w:drawing></w:r>)")),
      "Figure\nA duck\n");
}

TEST(DocxReader, ShowsChartsWithTheirValues) {
  OoxmlPackage package =
      docx(paragraph(run("See") + R"(<w:r><w:drawing><c:chart r:id="rIdC"/></w:drawing></w:r>)"));
  package.relate("word/document.xml", "rIdC", "chart", "charts/chart1.xml");
  package.part(
      "word/charts/chart1.xml",
      R"(<c:chartSpace xmlns:c="http://schemas.openxmlformats.org/drawingml/2006/chart" xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main"><c:chart><c:title><c:tx><c:rich><a:p><a:r><a:t>Sales</a:t></a:r></a:p></c:rich></c:tx></c:title><c:plotArea><c:barChart><c:ser><c:tx><c:strRef><c:strCache><c:pt idx="0"><c:v>North</c:v></c:pt></c:strCache></c:strRef></c:tx><c:cat><c:strRef><c:strCache><c:pt idx="0"><c:v>Q1</c:v></c:pt><c:pt idx="1"><c:v>Q2</c:v></c:pt></c:strCache></c:strRef></c:cat><c:val><c:numRef><c:numCache><c:formatCode>General</c:formatCode><c:pt idx="0"><c:v>4.2999999999999998</c:v></c:pt><c:pt idx="1"><c:v>2</c:v></c:pt></c:numCache></c:numRef></c:val></c:ser></c:barChart></c:plotArea></c:chart></c:chartSpace>)");
  EXPECT_EQ(text_of(package), "See\nSales\nNorth\nQ1\tQ2\n4.3\t2\n");
}

TEST(DocxReader, ShowsDiagrams) {
  OoxmlPackage package =
      docx(paragraph(R"(<w:r><w:drawing><dgm:relIds r:dm="rIdD"/></w:drawing></w:r>)"));
  package.relate("word/document.xml", "rIdD", "diagramData", "diagrams/data1.xml");
  package.part(
      "word/diagrams/data1.xml",
      R"(<dgm:dataModel xmlns:dgm="http://schemas.openxmlformats.org/drawingml/2006/diagram" xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main"><dgm:ptLst><dgm:pt><dgm:t><a:p><a:r><a:t>Plan</a:t></a:r></a:p></dgm:t></dgm:pt><dgm:pt><dgm:t><a:p><a:r><a:t>Do</a:t></a:r></a:p></dgm:t></dgm:pt></dgm:ptLst></dgm:dataModel>)");
  EXPECT_EQ(text_of(package), "Plan\nDo\n");
}

TEST(DocxReader, WritesNotesAndCommentsBehindTheBody) {
  OoxmlPackage package = docx(text_paragraph("body"));
  package.relate("word/document.xml", "f", "footnotes", "footnotes.xml");
  package.relate("word/document.xml", "e", "endnotes", "endnotes.xml");
  package.relate("word/document.xml", "c", "comments", "comments.xml");
  package.part("word/comments.xml",
               wordprocessing_part("comments", R"(<w:comment w:author="Ann">)" +
                                                   text_paragraph("remark") + "</w:comment>"));
  package.part(
      "word/endnotes.xml",
      wordprocessing_part("endnotes", "<w:endnote>" + text_paragraph("end") + "</w:endnote>"));
  package.part(
      "word/footnotes.xml",
      wordprocessing_part("footnotes", R"(<w:footnote w:type="separator">)" +
                                           text_paragraph("---") + "</w:footnote><w:footnote>" +
                                           paragraph("<w:r><w:footnoteRef/></w:r>" + run(" foot")) +
                                           "</w:footnote>"));
  EXPECT_EQ(text_of(package), "body\nfoot\nend\nAnn: remark\n");
  EXPECT_EQ(text_of(package, with(&Options::skip_comments)), "body\nfoot\nend\n");
}

TEST(DocxReader, WritesHeadersAndFootersAroundTheirSections) {
  const std::string section =
      R"(<w:sectPr><w:headerReference w:type="default" r:id="h1"/><w:footerReference w:type="default" r:id="f1"/></w:sectPr>)";
  const std::string last =
      R"(<w:sectPr><w:headerReference w:type="first" r:id="h2"/><w:headerReference w:type="default" r:id="h1"/><w:headerReference w:type="even" r:id="h3"/></w:sectPr>)";
  OoxmlPackage package = docx(text_paragraph("one", section) + text_paragraph("two") + last);
  for (const char* name : {"h1", "h2", "h3", "f1"}) {
    package.relate("word/document.xml", name, name[0] == 'h' ? "header" : "footer",
                   std::string(name) + ".xml");
    const std::string_view text = name[1] == '3' ? "" : name;
    package.part("word/" + std::string(name) + ".xml",
                 wordprocessing_part(name[0] == 'h' ? "hdr" : "ftr",
                                     text.empty() ? paragraph("") : text_paragraph(text)));
  }
  EXPECT_EQ(text_of(package), "one\ntwo\n");
  EXPECT_EQ(text_of(package, with(&Options::header_and_footer)), "h1\none\nf1\nh2\ntwo\n");
  EXPECT_EQ(text_of(package, with(&Options::header_and_footer_tags)),
            "<header>h1</header>\none\n<footer>f1</footer>\n<header>h2</header>\ntwo\n");
}

TEST(DocxReader, MapsSymbolsOfSymbolFonts) {
  EXPECT_EQ(
      text_of_body(paragraph(
          R"(<w:r><w:sym w:font="Symbol" w:char="F061"/><w:sym w:font="Wingdings" w:char="F0FC"/><w:sym w:font="Arial" w:char="00E9"/></w:r>)")),
      "\xCE\xB1\xE2\x9C\x93\xC3\xA9\n");
}

TEST(DocxReader, WritesEquationsInLinearForm) {
  EXPECT_EQ(text_of_body(paragraph("<m:oMath><m:d><m:e><m:r><m:t>a</m:t></m:r></m:e></"
                                   "m:d><m:f><m:num><m:r><m:t>1</m:t></m:r></m:num>"
                                   "<m:den><m:r><m:t>2</m:t></m:r></m:den></"
                                   "m:f><m:sSup><m:e><m:r><m:t>x</m:t></m:r></m:e><m:sup><m:r>"
                                   "<m:t>2</m:t></m:r></m:sup></m:sSup></m:oMath>")),
            "(a)1/2x^2\n");
}

TEST(DocxReader, WritesReadingsBehindTheirCharacters) {
  EXPECT_EQ(text_of_body(paragraph("<w:r><w:ruby><w:rt>" + run("to") + "</w:rt><w:rubyBase>" +
                                   run("T") + "</w:rubyBase></w:ruby></w:r>")),
            "T (to)\n");
}

TEST(DocxReader, ReadsContentControlsAndLinks) {
  EXPECT_EQ(
      text_of_body(
          R"(<w:sdt><w:sdtPr><w:alias w:val="no"/><w:rPr><w:vanish/></w:rPr></w:sdtPr><w:sdtContent>)" +
          paragraph("<w:hyperlink>" + run("link") + "</w:hyperlink><w:smartTag>" + run(" tag") +
                    "</w:smartTag>") +
          "</w:sdtContent></w:sdt>"),
      "link tag\n");
}

TEST(DocxReader, TakesInChunksOfHtmlAndText) {
  OoxmlPackage package =
      docx(text_paragraph("before") + R"(<w:altChunk r:id="a"/><w:altChunk r:id="b"/>)" +
           text_paragraph("after"));
  package.relate("word/document.xml", "a", "aFChunk", "chunk1.html");
  package.relate("word/document.xml", "b", "aFChunk", "chunk2.txt");
  package.type("word/chunk1.html", "text/html").type("word/chunk2.txt", "text/plain");
  package.part("word/chunk1.html", "<p>Bold <b>move</b></p><p>next</p>");
  package.part("word/chunk2.txt", "plain");
  EXPECT_EQ(text_of(package), "before\nBold move\nnext\nplain\nafter\n");
}

TEST(DocxReader, ReadsStrictDocuments) {
  OoxmlPackage package("word/document.xml", "wordprocessingml.document");
  package.part(
      "word/document.xml",
      R"(<document xmlns="http://purl.oclc.org/ooxml/wordprocessingml/main" conformance="strict"><body><p><r><t> strict </t></r></p></body></document>)");
  EXPECT_EQ(text_of(package), "strict\n");
}

TEST(DocxReader, FindsTheMainPartByItsContentType) {
  test::ZipWriter zip;
  zip.add(
      "[Content_Types].xml",
      R"(<Types><Override PartName="/other/doc.xml" ContentType="application/vnd.ms-word.document.macroEnabled.main+xml"/></Types>)");
  zip.add("other/doc.xml", wordprocessing_part("document", text_paragraph("found")));
  EXPECT_EQ(read_document(zip.bytes(), Format::docm).text, "found\n");
}

TEST(DocxReader, RefusesAPackageWithoutMainPart) {
  const Reading reading = read_document(
      OoxmlPackage("word/document.xml", "wordprocessingml.document").bytes(), Format::docx);
  EXPECT_EQ(reading.code, static_cast<int>(Code::corrupt));
  EXPECT_EQ(reading.text, "");
}

TEST(DocxReader, GivesTheTextOfADocumentCutShortThenAnError) {
  std::string body;
  for (int i = 0; i < 3000; ++i) body += text_paragraph("paragraph " + std::to_string(i));
  std::string bytes = docx(body).bytes(test::ZipWriter::Method::deflated);
  bytes.resize(bytes.size() / 2);
  const Reading reading = read_document(bytes, Format::docx);
  EXPECT_EQ(reading.code, static_cast<int>(Code::corrupt));
  EXPECT_TRUE(reading.text.starts_with("paragraph 0\nparagraph 1\n"));
}

TEST(DocxReader, TellsThatXmlIsNotWellFormed) {
  OoxmlPackage package("word/document.xml", "wordprocessingml.document");
  package.part("word/document.xml", "<document><body><p><r><t>text</t></r></p><p>");
  const Reading reading = read_document(package.bytes(), Format::docx);
  EXPECT_EQ(reading.text, "text\n");
  EXPECT_EQ(reading.code, static_cast<int>(Code::corrupt));
}

}  // namespace
}  // namespace trfilter
