#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <variant>

#include "tests/engine/read_document.h"
#include "tests/engine/zip_writer.h"

namespace trfilter::test {
namespace {

constexpr Format xlsx{361};

constexpr std::string_view main_namespace =
    "http://schemas.openxmlformats.org/spreadsheetml/2006/main";
constexpr std::string_view strict_namespace = "http://purl.oclc.org/ooxml/spreadsheetml/main";
constexpr std::string_view relation =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships";
constexpr std::string_view strict_relation =
    "http://purl.oclc.org/ooxml/officeDocument/relationships";

/// Builds a workbook of parts; every sheet's content is its XML within <worksheet>.
class Workbook {
 public:
  explicit Workbook(bool strict = false)
      : relation_(strict ? strict_relation : relation),
        namespace_(strict ? strict_namespace : main_namespace) {}

  Workbook& sheet(std::string_view content, std::string_view name = {},
                  std::string_view attributes = {}) {
    const std::string number = std::to_string(++sheets_);
    const std::string shown(name.empty() ? "Sheet" + number : std::string(name));
    sheet_list_ += "<sheet name='" + shown + "' sheetId='" + number + "' r:id='rId" + number +
                   "' " + std::string(attributes) + "/>";
    relate(workbook_relations_, "rId" + number, "worksheet", "worksheets/sheet" + number + ".xml");
    part("xl/worksheets/sheet" + number + ".xml",
         "<worksheet" + namespaces() + ">" + std::string(content) + "</worksheet>");
    return *this;
  }

  Workbook& rows(std::string_view rows) {
    return sheet("<sheetData>" + std::string(rows) + "</sheetData>");
  }

  Workbook& strings(std::string_view items) {
    relate(workbook_relations_, "rIdS", "sharedStrings", "sharedStrings.xml");
    return part("xl/sharedStrings.xml",
                "<sst" + namespaces() + ">" + std::string(items) + "</sst>");
  }

  /// @param formats  <numFmt> elements
  /// @param numbers  the numbers of the cell formats, from style 0
  Workbook& styles(std::string_view formats, std::initializer_list<int> numbers) {
    relate(workbook_relations_, "rIdT", "styles", "styles.xml");
    std::string cells;
    for (const int number : numbers) cells += "<xf numFmtId='" + std::to_string(number) + "'/>";
    return part("xl/styles.xml", "<styleSheet" + namespaces() + "><numFmts>" +
                                     std::string(formats) + "</numFmts><cellStyleXfs><xf " +
                                     "numFmtId='9'/></cellStyleXfs><cellXfs>" + cells +
                                     "</cellXfs></styleSheet>");
  }

  Workbook& relate_sheet(std::string_view id, std::string_view kind, std::string_view target) {
    relate(sheet_relations_, id, kind, target);
    return *this;
  }

  Workbook& relate_workbook(std::string_view id, std::string_view kind, std::string_view target) {
    relate(workbook_relations_, id, kind, target);
    return *this;
  }

  Workbook& relate_package(std::string_view id, std::string_view kind, std::string_view target) {
    relate(package_relations_, id, kind, target);
    return *this;
  }

  Workbook& part(std::string_view name, std::string_view content) {
    writer_.add(name, content, {.method = ZipWriter::Method::deflated});
    return *this;
  }

  Workbook& properties(std::string_view text) {
    workbook_properties_ = text;
    return *this;
  }

  std::string bytes() {
    const std::string head =
        "<Relationships xmlns='http://schemas.openxmlformats.org/package/"
        "2006/relationships'>";
    relate(package_relations_, "rId1", "officeDocument", "xl/workbook.xml");
    part("_rels/.rels", head + package_relations_ + "</Relationships>");
    part("xl/workbook.xml", "<workbook" + namespaces() + ">" + workbook_properties_ + "<sheets>" +
                                sheet_list_ + "</sheets></workbook>");
    part("xl/_rels/workbook.xml.rels", head + workbook_relations_ + "</Relationships>");
    part("xl/worksheets/_rels/sheet1.xml.rels", head + sheet_relations_ + "</Relationships>");
    return writer_.bytes();
  }

 private:
  std::string namespaces() const {
    return " xmlns='" + std::string(namespace_) + "' xmlns:r='" + std::string(relation_) + "'";
  }

  void relate(std::string& relations, std::string_view id, std::string_view kind,
              std::string_view target) const {
    relations += "<Relationship Id='" + std::string(id) + "' Type='" + std::string(relation_) +
                 "/" + std::string(kind) + "' Target='" + std::string(target) + "'/>";
  }

  std::string_view relation_;
  std::string_view namespace_;
  ZipWriter writer_;
  int sheets_ = 0;
  std::string sheet_list_;
  std::string workbook_properties_;
  std::string package_relations_;
  std::string workbook_relations_;
  std::string sheet_relations_;
};

std::string text_of(Workbook& workbook, const Options& options = {}) {
  const Reading reading = read_document(workbook.bytes(), xlsx, options);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

std::string text_of_rows(std::string_view rows, const Options& options = {}) {
  return text_of(Workbook().rows(rows), options);
}

TEST(XlsxReader, ShowsTheSheetsNameAndItsRows) {
  EXPECT_EQ(text_of_rows("<row r='1'><c r='A1'><v>1</v></c><c r='B1'><v>2.5</v></c></row>"
                         "<row r='2'><c r='A2'><v>-3</v></c></row>"),
            "Sheet1\n1\t2.5\n-3\n");
}

TEST(XlsxReader, ReadsStrictNamespaces) {
  Workbook workbook(true);
  workbook.rows("<row><c t='s'><v>0</v></c></row>").strings("<si><t>strict</t></si>");
  EXPECT_EQ(text_of(workbook), "Sheet1\nstrict\n");
}

TEST(XlsxReader, KeepsColumnsAlignedAcrossGaps) {
  EXPECT_EQ(text_of_rows("<row><c r='B1'><v>1</v></c><c r='D1'><v>2</v></c></row>"),
            "Sheet1\n\t1\t\t2\n");
}

TEST(XlsxReader, BoundsGapsToSixtyFourTabs) {
  // Column BM is the 65th, BN the 66th.
  EXPECT_EQ(text_of_rows("<row><c r='A1'><v>1</v></c><c r='BM1'><v>2</v></c></row>"),
            "Sheet1\n1" + std::string(64, '\t') + "2\n");
  EXPECT_EQ(text_of_rows("<row><c r='A1'><v>1</v></c><c r='BN1'><v>2</v></c></row>"),
            "Sheet1\n1\t2\n");
}

TEST(XlsxReader, CountsCellsWithoutReferences) {
  EXPECT_EQ(text_of_rows("<row><c><v>1</v></c><c/><c><v>3</v></c></row>"), "Sheet1\n1\t\t3\n");
}

TEST(XlsxReader, SeparatesCellsThatGoBack) {
  EXPECT_EQ(text_of_rows("<row><c r='C1'><v>1</v></c><c r='A1'><v>2</v></c></row>"),
            "Sheet1\n\t\t1\t2\n");
}

TEST(XlsxReader, LeavesNothingOfEmptyRows) {
  EXPECT_EQ(text_of_rows("<row r='1'/><row r='5'><c r='A5' s='0'/></row>"
                         "<row r='9'><c r='A9'><v>1</v></c></row>"),
            "Sheet1\n1\n");
}

TEST(XlsxReader, ShowsEveryTypeOfCell) {
  EXPECT_EQ(text_of_rows("<row><c t='b'><v>1</v></c><c t='b'><v>0</v></c>"
                         "<c t='e'><v>#DIV/0!</v></c><c t='str'><f>A1</f><v>a_x000D_&#10;b</v></c>"
                         "<c t='inlineStr'><is><t>in</t><rPh><t>no</t></rPh><r><t>line</t></r></is>"
                         "</c><c t='n'><v>1E3</v></c><c t='d'><v>2024-02-29</v></c></row>"),
            "Sheet1\nTRUE\tFALSE\t#DIV/0!\ta b\tinline\t1000\t2024-02-29\n");
}

TEST(XlsxReader, ReadsSharedStringsWithoutPhoneticRuns) {
  Workbook workbook;
  workbook.rows("<row><c t='s'><v>1</v></c><c t='s'><v>0</v></c><c t='s'><v>2</v></c></row>")
      .strings(
          "<si><t>zero</t></si><si><r><t>on</t></r><r><rPr/><t xml:space='preserve'>e </t>"
          "</r><rPh sb='0' eb='1'><t>eins</t></rPh></si><si><t>_x0041__x005F_x</t></si>");
  EXPECT_EQ(text_of(workbook), "Sheet1\none \tzero\tA_x\n");
}

TEST(XlsxReader, ReadsSharedStringsOfTheFirstDrafts) {
  Workbook workbook;
  workbook.rows("<row><c t='s'><v>0</v></c></row>").strings("<sstItem><t>Lorem</t></sstItem>");
  EXPECT_EQ(read_document(workbook.bytes(), xlsx).text, "Sheet1\nLorem\n");
}

TEST(XlsxReader, JoinsSurrogatesOfEscapes) {
  EXPECT_EQ(text_of_rows("<row><c t='str'><v>_xD83D__xDE00_ _xD83D_</v></c></row>"),
            "Sheet1\n\xF0\x9F\x98\x80 \xEF\xBF\xBD\n");
}

TEST(XlsxReader, ShowsNumbersAsTheirFormatsDo) {
  Workbook workbook;
  workbook
      .styles(
          "<numFmt numFmtId='164' formatCode='0.0&quot; kg&quot;'/>"
          "<numFmt numFmtId='165' formatCode='yyyy\\-mm\\-dd'/>"
          "<numFmt numFmtId='166' formatCode='&quot;&lt;&quot;@&quot;&gt;&quot;'/>",
          {0, 164, 165, 4, 9, 166})
      .rows(
          "<row><c s='1'><v>2.25</v></c><c s='2'><v>45000</v></c><c s='3'><v>1234.5</v></c>"
          "<c s='4'><v>0.5</v></c><c s='5' t='str'><v>t</v></c><c s='99'><v>0.1</v></c>"
          "<c s='2' t='d'><v>2024-02-29T12:00:00</v></c></row>");
  EXPECT_EQ(text_of(workbook), "Sheet1\n2.3 kg\t2023-03-15\t1,234.50\t50%\t<t>\t0.1\t2024-02-29\n");
}

TEST(XlsxReader, ShowsZeroBehindALongerValueAndWithoutItsSign) {
  EXPECT_EQ(text_of_rows("<row><c><v>" + std::string(40, '1') +
                         "</v></c><c><v>0</v></c>"
                         "<c><v>-0</v></c></row>"),
            "Sheet1\n1.11111E+39\t0\t0\n");
}

TEST(XlsxReader, CountsDaysFrom1904WhereTheWorkbookDoes) {
  Workbook workbook;
  workbook.properties("<workbookPr date1904='1'/>")
      .styles("", {14})
      .rows("<row><c s='0'><v>0</v></c></row>");
  EXPECT_EQ(text_of(workbook), "Sheet1\n1/1/1904\n");
}

TEST(XlsxReader, ShowsNumbersOfGeneralAsSpreadsheetProgramsDo) {
  EXPECT_EQ(text_of_rows("<row><c><v>0.1</v></c><c><v>0.30000000000000004</v></c>"
                         "<c><v>1.10</v></c><c><v>007</v></c><c><v>123456789012</v></c>"
                         "<c><v>0.00001234</v></c><c><v>12345678901</v></c><c><v>nonsense</v></c>"
                         "<c><v>-0</v></c><c><v>.5</v></c><c><v>1.</v></c></row>"),
            "Sheet1\n0.1\t0.3\t1.1\t7\t1.23457E+11\t1.234E-05\t12345678901\tnonsense\t0\t0.5\t1\n");
}

TEST(XlsxReader, HidesSheetsRowsColumnsAndValues) {
  const auto build = [] {
    Workbook workbook;
    workbook
        .sheet(
            "<cols><col min='2' max='3' hidden='1'/></cols><sheetData>"
            "<row><c r='A1'><v>1</v></c><c r='C1'><v>2</v></c><c r='D1'><v>3</v></c></row>"
            "<row hidden='1'><c><v>4</v></c></row>"
            "<row><c r='A3' s='1'><v>5</v></c><c r='D3'><v>6</v></c></row></sheetData>")
        .styles("<numFmt numFmtId='164' formatCode=';;;'/>", {0, 164})
        .sheet("<sheetData><row><c><v>7</v></c></row></sheetData>", "Away", "state='veryHidden'")
        .sheet("<sheetData><row><c><v>8</v></c></row></sheetData>", "Last");
    return workbook;
  };
  Workbook shown = build();
  EXPECT_EQ(text_of(shown), "Sheet1\n1\t\t\t3\n\t\t\t6\n\fLast\n8\n");
  Options options;
  options.hidden_text = true;
  Workbook all = build();
  EXPECT_EQ(text_of(all, options), "Sheet1\n1\t\t2\t3\n4\n5\t\t\t6\n\fAway\n7\n\fLast\n8\n");
}

TEST(XlsxReader, KeepsARowOnOneLine) {
  EXPECT_EQ(text_of_rows("<row><c t='str'><v>one\ntwo</v></c><c><v>3</v></c></row>"),
            "Sheet1\none two\t3\n");
}

TEST(XlsxReader, SkipsWhatExtensionsRepeat) {
  EXPECT_EQ(text_of(Workbook().sheet(
                "<sheetData><row><c><v>1</v><extLst><ext><v>2</v></ext></extLst></c></row>"
                "</sheetData><extLst><ext><oddHeader>x</oddHeader></ext></extLst>")),
            "Sheet1\n1\n");
}

TEST(XlsxReader, TakesRowsWithinACellForNoHeader) {
  EXPECT_EQ(
      text_of(Workbook().sheet("<sheetData><row><c><v>1<sheetData/></v></c></row></sheetData>")),
      "Sheet1\n");
}

TEST(XlsxReader, ShowsCommentsOfBothKinds) {
  const auto build = [] {
    Workbook workbook;
    workbook.rows("<row><c><v>1</v></c></row>")
        .relate_sheet("r1", "comments", "../comments1.xml")
        .relate_sheet("r2", "threadedComment", "../threadedComments/threadedComment1.xml")
        .part("xl/comments1.xml",
              "<comments><authors><author>Ann</author><author>tc={1}</author></authors>"
              "<commentList><comment ref='A1' authorId='0'><text><r><t>old </t></r><r><t>style</t>"
              "</r></text></comment><comment ref='A2' authorId='1'><text><t>a stand-in</t></text>"
              "</comment></commentList></comments>")
        .part("xl/threadedComments/threadedComment1.xml",
              "<ThreadedComments><threadedComment ref='A2' personId='{7}'><text>new style</text>"
              "</threadedComment></ThreadedComments>")
        .relate_workbook("rIdP", "person", "persons/person.xml")
        .part("xl/persons/person.xml",
              "<personList><person displayName='Bob' id='{7}'/></personList>");
    return workbook;
  };
  Workbook shown = build();
  EXPECT_EQ(text_of(shown), "Sheet1\n1\nAnn: old style\nBob: new style\n");
  Options options;
  options.skip_comments = true;
  Workbook skipped = build();
  EXPECT_EQ(text_of(skipped, options), "Sheet1\n1\n");
}

constexpr std::string_view page_texts =
    "<sheetData><row><c><v>1</v></c></row></sheetData><headerFooter differentFirst='1'>"
    "<oddHeader>&amp;L&amp;\"Arial,Bold\"&amp;12left&amp;C&amp;A &amp;&amp; more&amp;R&amp;K01+049"
    "page &amp;P of &amp;N</oddHeader><oddFooter>&amp;Con &amp;D in &amp;F</oddFooter>"
    "<evenHeader>even</evenHeader><firstHeader>first</firstHeader></headerFooter>";

TEST(XlsxReader, ShowsHeadersAndFootersOnRequest) {
  EXPECT_EQ(text_of(Workbook().sheet(page_texts)), "Sheet1\n1\n");
  Options options;
  options.header_and_footer = true;
  EXPECT_EQ(text_of(Workbook().sheet(page_texts), options),
            "Sheet1\n1\nleft\tSheet1 & more\tpage  of \n\ton  in \nfirst\n");
  options.date_time_field_codes = true;
  options.filename_field_code = true;
  EXPECT_EQ(text_of(Workbook().sheet(page_texts), options),
            "Sheet1\n1\nleft\tSheet1 & more\tpage  of \n\ton &D in &F\nfirst\n");
}

constexpr std::string_view drawing_namespaces =
    " xmlns:xdr='http://schemas.openxmlformats.org/drawingml/2006/spreadsheetDrawing'"
    " xmlns:a='http://schemas.openxmlformats.org/drawingml/2006/main'"
    " xmlns:c='http://schemas.openxmlformats.org/drawingml/2006/chart'"
    " xmlns:dgm='http://schemas.openxmlformats.org/drawingml/2006/diagram'"
    " xmlns:mc='http://schemas.openxmlformats.org/markup-compatibility/2006'"
    " xmlns:r='http://schemas.openxmlformats.org/officeDocument/2006/relationships'";

TEST(XlsxReader, ShowsShapesChartsAndDiagrams) {
  const std::string names(drawing_namespaces);
  Workbook workbook;
  workbook.sheet("<sheetData/><drawing r:id='d1'/>")
      .relate_sheet("d1", "drawing", "../drawings/drawing1.xml")
      .part(
          "xl/drawings/drawing1.xml",
          "<xdr:wsDr" + names +
              "><xdr:sp><xdr:nvSpPr><xdr:cNvPr id='1' name='n' descr='what it shows'/></xdr:nvSpPr>"
              "<xdr:txBody><a:p><a:r><a:t>first</a:t></a:r><a:br/><a:r><a:t>line</a:t></a:r></a:p>"
              "</xdr:txBody></xdr:sp><xdr:sp><xdr:nvSpPr><xdr:cNvPr id='2' "
              "hidden='1'/></xdr:nvSpPr>"
              "<xdr:txBody><a:p><a:r><a:t>unseen</a:t></a:r></a:p></xdr:txBody></xdr:sp>"
              "<mc:AlternateContent><mc:Choice><xdr:sp><xdr:txBody><a:p><a:r><a:t>new</a:t></a:r>"
              "</a:p></xdr:txBody></xdr:sp></mc:Choice><mc:Fallback><xdr:sp><xdr:txBody><a:p><a:r>"
              "<a:t>old</a:t></a:r></a:p></xdr:txBody></xdr:sp></mc:Fallback></mc:AlternateContent>"
              "<xdr:graphicFrame><c:chart r:id='c1'/></xdr:graphicFrame>"
              "<xdr:graphicFrame><dgm:relIds r:dm='g1'/></xdr:graphicFrame></xdr:wsDr>")
      .part("xl/drawings/_rels/drawing1.xml.rels",
            "<Relationships xmlns='http://schemas.openxmlformats.org/package/2006/relationships'>"
            "<Relationship Id='c1' Type='x/chart' Target='../charts/chart1.xml'/>"
            "<Relationship Id='g1' Type='x/diagramData' Target='../diagrams/data1.xml'/>"
            "</Relationships>")
      .part(
          "xl/charts/chart1.xml",
          "<c:chartSpace" + names +
              "><c:title><c:tx><c:rich><a:p><a:r><a:t>Sales</a:t></a:r></a:p></c:rich></c:tx></"
              "c:title>"
              "<c:ser><c:tx><c:strRef><c:strCache><c:pt><c:v>North</c:v></c:pt></c:strCache></"
              "c:strRef>"
              "</c:tx><c:cat><c:numRef><c:numCache><c:formatCode>mmm yy</c:formatCode><c:pt>"
              "<c:v>45000</c:v></c:pt><c:pt><c:v>45031</c:v></c:pt></c:numCache></c:numRef></c:cat>"
              "<c:val><c:numRef><c:numCache><c:pt><c:v>17</c:v></c:pt></c:numCache></c:numRef></"
              "c:val>"
              "</c:ser></c:chartSpace>")
      .part("xl/diagrams/data1.xml", "<dgm:dataModel" + names +
                                         "><dgm:pt><dgm:t><a:p><a:r><a:t>node</a:t></a:r></a:p>"
                                         "</dgm:t></dgm:pt></dgm:dataModel>");
  EXPECT_EQ(text_of(workbook),
            "Sheet1\nwhat it shows\nfirst\nline\nnew\nSales\nNorth\nMar 23\tApr 23\nnode\n");
}

TEST(XlsxReader, ReadsPropertiesOfThePackage) {
  Workbook workbook;
  workbook.rows("")
      .relate_package("rId9", "metadata/core-properties", "docProps/core.xml")
      .part("docProps/core.xml",
            "<cp:coreProperties xmlns:cp='http://schemas.openxmlformats.org/package/2006/metadata/"
            "core-properties' xmlns:dc='http://purl.org/dc/elements/1.1/'><dc:title>Figures"
            "</dc:title></cp:coreProperties>");
  const Properties properties = read_properties(workbook.bytes(), xlsx);
  ASSERT_EQ(properties.items().size(), 1U);
  EXPECT_EQ(properties.items()[0].name, "Title");
  EXPECT_EQ(std::get<std::string>(properties.items()[0].value), "Figures");
}

TEST(XlsxReader, GivesWhatADamagedSheetHasAndThenFails) {
  Workbook workbook;
  workbook.sheet("<sheetData><row><c><v>1</v></c></row><row><c><v>2</v></c></wrong>")
      .sheet("<sheetData><row><c><v>3</v></c></row></sheetData>");
  const Reading reading = read_document(workbook.bytes(), xlsx);
  EXPECT_EQ(reading.code, 4);
  EXPECT_TRUE(reading.text.starts_with("Sheet1\n1\n2\n")) << reading.text;
  EXPECT_TRUE(reading.text.ends_with("\fSheet2\n3\n")) << reading.text;
}

TEST(XlsxReader, EndsHiddenRowsOfADamagedSheet) {
  Workbook workbook;
  workbook.sheet("<sheetData><row hidden='1'><c><v>1</v></c>")
      .sheet("<sheetData><row><c><v>3</v></c></row></sheetData>");
  const Reading reading = read_document(workbook.bytes(), xlsx);
  EXPECT_EQ(reading.code, 4);
  EXPECT_EQ(reading.text, "Sheet1\n\fSheet2\n3\n");
}

TEST(XlsxReader, TakesStringsThatAreMissingForDamage) {
  Workbook workbook;
  workbook.rows("<row><c t='s'><v>7</v></c><c><v>1</v></c></row>").strings("<si><t>a</t></si>");
  const Reading reading = read_document(workbook.bytes(), xlsx);
  EXPECT_EQ(reading.code, 4);
  EXPECT_EQ(reading.text, "Sheet1\n\t1\n");
}

TEST(XlsxReader, TakesASheetThatIsMissingForDamage) {
  Workbook workbook;
  workbook.properties("<sheets><sheet name='Gone' r:id='none'/></sheets>").rows("");
  const Reading reading = read_document(workbook.bytes(), xlsx);
  EXPECT_EQ(reading.code, 4);
  EXPECT_EQ(reading.text, "Gone\n\fSheet1\n");
}

TEST(XlsxReader, ShowsTheNameAloneOfAModuleSheet) {
  Workbook workbook;
  workbook.properties("<sheets><sheet name='Module' r:id=''/></sheets>").rows("");
  const Reading reading = read_document(workbook.bytes(), xlsx);
  EXPECT_EQ(reading.code, 0);
  EXPECT_EQ(reading.text, "Module\n\fSheet1\n");
}

TEST(XlsxReader, RefusesAPackageWithoutAWorkbook) {
  const Reading reading = read_document(ZipWriter().add("readme.txt", "hello").bytes(), xlsx);
  EXPECT_EQ(reading.code, 4);
  EXPECT_EQ(reading.text, "");
}

TEST(XlsxReader, MovesLargeTablesOfStringsToAFile) {
  // More than the bound that memory keeps; the first, the last and one at the edge stay right.
  constexpr std::size_t count = 40'000;
  std::string items;
  for (std::size_t i = 0; i < count; ++i) {
    items += "<si><t>" + std::to_string(i) + ":" + std::string(500, 'x') + "</t></si>";
  }
  Workbook workbook;
  workbook.strings(items).rows(
      "<row><c t='s'><v>0</v></c></row><row><c t='s'><v>39999</v></c></row>"
      "<row><c t='s'><v>33250</v></c></row>");
  const std::string x(500, 'x');
  EXPECT_EQ(text_of(workbook), "Sheet1\n0:" + x + "\n39999:" + x + "\n33250:" + x + "\n");
}

}  // namespace
}  // namespace trfilter::test
