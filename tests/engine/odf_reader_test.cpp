#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <variant>

#include "tests/engine/read_document.h"
#include "tests/engine/zip_writer.h"

namespace trfilter::test {
namespace {

constexpr Format odt{373};
constexpr Format ods{374};

std::string namespaces() {
  std::string result;
  for (const char* name : {"office", "text", "table", "drawing", "style", "presentation", "meta",
                           "chart", "form", "manifest", "number"}) {
    const std::string prefix = std::string_view(name) == "drawing" ? "draw" : name;
    result += " xmlns:" + prefix + "='urn:oasis:names:tc:opendocument:xmlns:" + name + ":1.0'";
  }
  return result +
         " xmlns:svg='urn:oasis:names:tc:opendocument:xmlns:svg-compatible:1.0'"
         " xmlns:dc='http://purl.org/dc/elements/1.1/'"
         " xmlns:xlink='http://www.w3.org/1999/xlink'"
         " xmlns:math='http://www.w3.org/1998/Math/MathML'";
}

std::string content_document(std::string_view body, std::string_view styles = {},
                             std::string_view kind = "text") {
  const std::string name(kind);
  return "<office:document-content" + namespaces() + "><office:automatic-styles>" +
         std::string(styles) + "</office:automatic-styles><office:body><office:" + name + ">" +
         std::string(body) + "</office:" + name + "></office:body></office:document-content>";
}

ZipWriter package(std::string_view content) {
  ZipWriter writer;
  writer.add("mimetype", "application/vnd.oasis.opendocument.text");
  writer.add("content.xml", content, {.method = ZipWriter::Method::deflated});
  return writer;
}

std::string text_of(const ZipWriter& writer, const Options& options = {}) {
  const Reading reading = read_document(writer.bytes(), odt, options);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  return reading.text;
}

/// The text of a text document with this body.
std::string text_of_body(std::string_view body, std::string_view styles = {},
                         const Options& options = {}) {
  return text_of(package(content_document(body, styles)), options);
}

/// The text of a spreadsheet with these tables.
std::string text_of_sheets(std::string_view tables, std::string_view styles = {},
                           const Options& options = {}) {
  return text_of(package(content_document(tables, styles, "spreadsheet")), options);
}

std::string cell(std::string_view text) {
  return "<table:table-cell><text:p>" + std::string(text) + "</text:p></table:table-cell>";
}

std::map<std::string, PropertyValue> properties_of(const ZipWriter& writer) {
  const Properties properties = read_properties(writer.bytes(), odt);
  std::map<std::string, PropertyValue> found;
  for (const auto& item : properties.items()) found[item.name] = item.value;
  return found;
}

Options showing_hidden() {
  Options options;
  options.hidden_text = true;
  return options;
}

Options showing_revisions() {
  Options options;
  options.revision_marks = true;
  return options;
}

Options showing_page_texts() {
  Options options;
  options.header_and_footer = true;
  return options;
}

TEST(OdfReader, ShowsParagraphsAndHeadings) {
  EXPECT_EQ(text_of_body("<text:h>One</text:h><text:p>two <text:span>and </text:span>three</text:p>"
                         "<text:p/><text:p>four</text:p>"),
            "One\ntwo and three\nfour\n");
}

TEST(OdfReader, FoldsWhiteSpaceAndKeepsWhatIsMeant) {
  EXPECT_EQ(text_of_body(
                "<text:p>  a \n\t b<text:span> </text:span> c  </text:p>"
                "<text:p>x<text:s text:c='3'/>y<text:tab/>z<text:line-break/>w<text:s/></text:p>"),
            "a b c\nx   y\tz\nw \n");
}

TEST(OdfReader, BoundsTheBlanksOfOneElement) {
  EXPECT_EQ(text_of_body("<text:p>a<text:s text:c='4000000000'/>b</text:p>"),
            "a" + std::string(1024, ' ') + "b\n");
}

constexpr std::string_view list_styles =
    "<text:list-style style:name='L'><text:list-level-style-number text:level='1'"
    " style:num-format='1' style:num-suffix='.'/><text:list-level-style-number text:level='2'"
    " style:num-format='a' style:num-prefix='(' style:num-suffix=')' text:display-levels='2'/>"
    "</text:list-style><text:list-style style:name='B'><text:list-level-style-bullet"
    " text:level='1' text:bullet-char='-'/><text:list-level-style-bullet text:level='2'"
    " text:bullet-char='&#xE00C;'/></text:list-style>";

TEST(OdfReader, LabelsTheItemsOfLists) {
  EXPECT_EQ(
      text_of_body("<text:list text:style-name='L'><text:list-header><text:p>head</text:p>"
                   "</text:list-header><text:list-item><text:p>one</text:p><text:p>more</text:p>"
                   "<text:list><text:list-item><text:p>deep</text:p></text:list-item></text:list>"
                   "</text:list-item><text:list-item text:start-value='5'><text:p>five</text:p>"
                   "</text:list-item></text:list>"
                   "<text:list text:style-name='L' text:continue-numbering='true'>"
                   "<text:list-item><text:p>six</text:p></text:list-item></text:list>"
                   "<text:list text:style-name='B'><text:list-item><text:p>dash</text:p>"
                   "<text:list><text:list-item><text:p>dot</text:p></text:list-item></text:list>"
                   "</text:list-item></text:list>",
                   list_styles),
      "head\n1. one\nmore\n(1.a) deep\n5. five\n6. six\n- dash\n\xE2\x80\xA2 dot\n");
}

TEST(OdfReader, NumbersHeadingsByTheOutline) {
  ZipWriter writer = package(content_document(
      "<text:h text:outline-level='1'>A</text:h><text:h text:outline-level='2'>B</text:h>"
      "<text:h text:outline-level='2'>C</text:h><text:h text:outline-level='1'>D</text:h>"
      "<text:h text:outline-level='2' text:is-list-header='true'>E</text:h>"
      "<text:h text:outline-level='2'>F</text:h>"));
  writer.add(
      "styles.xml",
      "<office:document-styles" + namespaces() +
          "><office:styles><text:outline-style><text:outline-level-style text:level='1'"
          " style:num-format='1'/><text:outline-level-style text:level='2' style:num-format='1'"
          " text:display-levels='2'/></text:outline-style></office:styles>"
          "</office:document-styles>");
  EXPECT_EQ(text_of(writer), "1 A\n1.1 B\n1.2 C\n2 D\nE\n2.1 F\n");
}

TEST(OdfReader, ShowsNotesAndCommentsBehindTheirParagraph) {
  constexpr std::string_view body =
      "<text:p>be<text:note text:note-class='footnote'><text:note-citation>1</text:note-citation>"
      "<text:note-body><text:p>foot</text:p></text:note-body></text:note>fore <office:annotation>"
      "<dc:creator>Ann</dc:creator><dc:date>2024-01-01</dc:date><text:p>remark</text:p>"
      "</office:annotation>after</text:p><text:p>next</text:p>";
  EXPECT_EQ(text_of_body(body), "before after\nfoot\nAnn: remark\nnext\n");
  Options options;
  options.skip_comments = true;
  EXPECT_EQ(text_of_body(body, {}, options), "before after\nfoot\nnext\n");
}

TEST(OdfReader, ShowsAuthorsOfCommentsWithinCells) {
  EXPECT_EQ(text_of_body("<table:table><table:table-row><table:table-cell><office:annotation>"
                         "<dc:creator>Ann</dc:creator><text:p>remark</text:p></office:annotation>"
                         "<text:p>a</text:p></table:table-cell></table:table-row></table:table>"
                         "<text:p>b<office:annotation office:author='Bob'><text:p>old</text:p>"
                         "</office:annotation></text:p>"),
            "a\nAnn: remark\nb\nBob: old\n");
}

TEST(OdfReader, ShowsFramesBehindTheirParagraphWithWhatStandsForPictures) {
  EXPECT_EQ(
      text_of_body(
          "<text:p>a<draw:frame><draw:text-box><text:p>box</text:p></draw:text-box>"
          "<svg:title>title</svg:title><svg:desc>what it is</svg:desc></draw:frame>b</text:p>"),
      "ab\nbox\ntitle\nwhat it is\n");
}

TEST(OdfReader, ShowsTablesWithALineARow) {
  EXPECT_EQ(
      text_of_body("<table:table><table:table-header-rows><table:table-row>" + cell("a") +
                   cell("b") + "</table:table-row></table:table-header-rows><table:table-row>" +
                   cell("") + cell("c") + "</table:table-row></table:table><text:p>end</text:p>"),
      "a\tb\n\tc\nend\n");
}

TEST(OdfReader, KeepsTheRowWholeAroundNotes) {
  EXPECT_EQ(
      text_of_body(
          "<table:table><table:table-row>" +
          cell("a<text:note><text:note-body><text:p>n</text:p></text:note-body></text:note>") +
          cell("b") + "</table:table-row></table:table>"),
      "a\tb\nn\n");
}

TEST(OdfReader, HidesWhatStylesSectionsAndFieldsHide) {
  constexpr std::string_view styles =
      "<style:style style:name='T' style:family='text'><style:text-properties text:display='none'/>"
      "</style:style><style:style style:name='P' style:family='paragraph'>"
      "<style:text-properties text:display='none'/></style:style>"
      "<style:style style:name='Q' style:family='paragraph' style:parent-style-name='P'/>"
      "<style:style style:name='R' style:family='paragraph' style:parent-style-name='P'>"
      "<style:text-properties text:display='true'/></style:style>";
  constexpr std::string_view body =
      "<text:p>a<text:span text:style-name='T'>1</text:span>b</text:p><text:p "
      "text:style-name='P'>2</text:p>"
      "<text:p text:style-name='Q'>3</text:p><text:p text:style-name='R'>c</text:p>"
      "<text:section text:display='none'><text:p>4</text:p></text:section>"
      "<text:p>d<text:hidden-text text:is-hidden='true' text:string-value='5'/></text:p>"
      "<text:p><text:hidden-paragraph text:is-hidden='true'/>6</text:p><text:p>e</text:p>";
  EXPECT_EQ(text_of_body(body, styles), "ab\nc\nd\ne\n");
  EXPECT_EQ(text_of_body(body, styles, showing_hidden()), "a1b\n2\n3\nc\n4\nd5\n6\ne\n");
}

constexpr std::string_view changes =
    "<text:tracked-changes><text:changed-region text:id='c1'><text:deletion><office:change-info>"
    "<dc:creator>Ann</dc:creator></office:change-info><text:p>gone</text:p></text:deletion>"
    "</text:changed-region><text:changed-region "
    "text:id='c2'><text:insertion/></text:changed-region>"
    "</text:tracked-changes><text:p>a<text:change text:change-id='c1'/>b"
    "<text:change-start text:change-id='c2'/>new<text:change-end text:change-id='c2'/></text:p>";

TEST(OdfReader, ShowsTrackedChangesAtTheirMarks) {
  EXPECT_EQ(text_of_body(changes), "abnew\n");
  EXPECT_EQ(text_of_body(changes, {}, showing_revisions()), "a[-gone-]b{+new+}\n");
}

TEST(OdfReader, ShowsCodesOfDateAndFileFieldsOnRequest) {
  constexpr std::string_view body =
      "<text:p>on <text:date>Monday</text:date> in <text:file-name>a.odt</text:file-name></text:p>";
  EXPECT_EQ(text_of_body(body), "on Monday in a.odt\n");
  Options options;
  options.date_time_field_codes = true;
  options.filename_field_code = true;
  EXPECT_EQ(text_of_body(body, {}, options), "on DATE in FILENAME\n");
}

TEST(OdfReader, ShowsRubyInParentheses) {
  EXPECT_EQ(text_of_body("<text:p><text:ruby><text:ruby-base>\xE6\xBC\xA2</text:ruby-base>"
                         "<text:ruby-text>kan</text:ruby-text></text:ruby></text:p>"),
            "\xE6\xBC\xA2(kan)\n");
}

TEST(OdfReader, SkipsWhatIsNoTextOfTheDocument) {
  EXPECT_EQ(
      text_of_body("<office:forms><form:form><text:p>form</text:p></form:form></office:forms>"
                   "<text:table-of-content><text:table-of-content-source><text:p>template</text:p>"
                   "</text:table-of-content-source><text:index-body><text:p>entry</text:p>"
                   "</text:index-body></text:table-of-content>"
                   "<text:p>a<office:binary-data>QUJD</office:binary-data></text:p>"),
      "entry\na\n");
}

std::string sheet(std::string_view rows, std::string_view attributes = {}) {
  return "<table:table table:name='S'" + std::string(attributes) + ">" + std::string(rows) +
         "</table:table>";
}

std::string row(std::string_view cells, std::string_view attributes = {}) {
  return "<table:table-row" + std::string(attributes) + ">" + std::string(cells) +
         "</table:table-row>";
}

TEST(OdfReader, ShowsSheetsAsPagesOfRows) {
  EXPECT_EQ(text_of_sheets(sheet(row(cell("1") + cell("2"))) + sheet(row(cell("3")))),
            "S\n1\t2\n\fS\n3\n");
}

TEST(OdfReader, BoundsGapsAndRepetitions) {
  const auto empty = [](int count) {
    return "<table:table-cell table:number-columns-repeated='" + std::to_string(count) + "'/>";
  };
  EXPECT_EQ(text_of_sheets(sheet(row(cell("a") + empty(2) + cell("b") + empty(16380)))),
            "S\na\t\t\tb\n");
  EXPECT_EQ(text_of_sheets(sheet(row(cell("a") + empty(63) + cell("b")))),
            "S\na" + std::string(64, '\t') + "b\n");
  EXPECT_EQ(text_of_sheets(sheet(row(cell("a") + empty(64) + cell("b")))), "S\na\tb\n");
  const std::string twice =
      "<table:table-cell table:number-columns-repeated='2'><text:p>x</text:p>"
      "</table:table-cell>";
  EXPECT_EQ(
      text_of_sheets(sheet(row(empty(1) + twice + cell("y"), " table:number-rows-repeated='2'") +
                           row(empty(1000), " table:number-rows-repeated='1048000'"))),
      "S\n\tx\tx\ty\n\tx\tx\ty\n");
}

TEST(OdfReader, ShowsRepeatedRowsUpToTheirBound) {
  const std::string text =
      text_of_sheets(sheet(row(cell("x"), " table:number-rows-repeated='1048576'")));
  EXPECT_EQ(text.size(), std::string_view("S\n").size() + std::size_t{1024} * 2);
}

TEST(OdfReader, StopsRepeatingWhenTheDocumentsShareIsSpent) {
  std::string rows;
  const std::string wide = "<table:table-cell table:number-columns-repeated='256'><text:p>" +
                           std::string(100, 'x') + "</text:p></table:table-cell>";
  for (int i = 0; i < 40; ++i) rows += row(wide, " table:number-rows-repeated='1024'");
  const std::string text = text_of_sheets(sheet(rows));
  EXPECT_GT(text.size(), std::size_t{8} << 20);
  EXPECT_LT(text.size(), std::size_t{24} << 20);
}

TEST(OdfReader, KeepsASheetsCellOnOneLine) {
  EXPECT_EQ(
      text_of_sheets(sheet(row("<table:table-cell><text:p>a</text:p><text:p>b<text:line-break/>c"
                               "</text:p></table:table-cell>" +
                               cell("d")))),
      "S\na b c\td\n");
}

TEST(OdfReader, ShowsCommentsOfCellsBehindTheRow) {
  EXPECT_EQ(text_of_sheets(sheet(row("<table:table-cell><office:annotation><text:p>one</text:p>"
                                     "<text:p>two</text:p></office:annotation><text:p>a</text:p>"
                                     "</table:table-cell>" +
                                     cell("b")))),
            "S\na\tb\none\ntwo\n");
}

TEST(OdfReader, ShowsStatedValuesOfCellsWithoutText) {
  EXPECT_EQ(text_of_sheets(sheet(
                row("<table:table-cell office:value-type='float' office:value='2.50'/>"
                    "<table:table-cell office:value-type='percentage' office:value='0.5'/>"
                    "<table:table-cell office:value-type='boolean' office:boolean-value='true'/>"
                    "<table:table-cell office:value-type='date' office:date-value='2024-02-29'/>"
                    "<table:table-cell office:value-type='string' office:string-value='s'/>"))),
            "S\n2.5\t50%\tTRUE\t2024-02-29\ts\n");
}

TEST(OdfReader, HidesSheetsRowsColumnsAndCoveredCells) {
  constexpr std::string_view styles =
      "<style:style style:name='ta' style:family='table'><style:table-properties"
      " table:display='false'/></style:style>";
  const std::string tables =
      sheet("<table:table-column/><table:table-column table:visibility='collapse'/>" +
            row(cell("a") + cell("1") + cell("b")) + row(cell("2"), " table:visibility='filter'") +
            row(cell("c") +
                "<table:covered-table-cell><text:p>3</text:p></table:covered-table-cell>")) +
      sheet(row(cell("4")), " table:style-name='ta'") + sheet(row(cell("d")));
  EXPECT_EQ(text_of_sheets(tables, styles), "S\na\t\tb\nc\n\fS\nd\n");
  EXPECT_EQ(text_of_sheets(tables, styles, showing_hidden()),
            "S\na\t1\tb\n2\nc\t3\n\fS\n4\n\fS\nd\n");
}

TEST(OdfReader, ShowsSlidesAsPagesWithTheirNotes) {
  constexpr std::string_view styles =
      "<style:style style:name='dp' style:family='drawing-page'><style:drawing-page-properties"
      " presentation:visibility='hidden'/></style:style>";
  const std::string body = content_document(
      "<presentation:footer-decl presentation:name='f'>Foot</presentation:footer-decl><draw:page>"
      "<draw:frame><draw:text-box><text:p>One</text:p></draw:text-box></draw:frame>"
      "<draw:custom-shape><text:p>Shape</text:p></draw:custom-shape><presentation:notes>"
      "<draw:frame><draw:text-box><text:p>Note</text:p></draw:text-box></draw:frame>"
      "<draw:frame><draw:text-box><text:p><text:page-number>&lt;number&gt;</text:page-number></"
      "text:p>"
      "</draw:text-box></draw:frame></presentation:notes></draw:page><draw:page "
      "draw:style-name='dp'>"
      "<draw:frame><draw:text-box><text:p>Unseen</text:p></draw:text-box></draw:frame></draw:page>"
      "<draw:page><draw:frame presentation:class='footer'><draw:text-box><text:p>below</text:p>"
      "</draw:text-box></draw:frame><draw:frame><draw:text-box><text:p>Last</text:p></"
      "draw:text-box>"
      "</draw:frame></draw:page>",
      styles, "presentation");
  EXPECT_EQ(text_of(package(body)), "One\nShape\nNote\n\fLast\n");
  EXPECT_EQ(text_of(package(body), showing_page_texts()),
            "Foot\nOne\nShape\nNote\n\fbelow\nLast\n");
  EXPECT_EQ(text_of(package(body), showing_hidden()), "One\nShape\nNote\n\fUnseen\n\fLast\n");
}

TEST(OdfReader, ShowsHeadersBeforeAndFootersBehindOnce) {
  ZipWriter writer = package(content_document("<text:p>body</text:p>"));
  writer.add("styles.xml",
             "<office:document-styles" + namespaces() +
                 "><office:master-styles><style:master-page><style:header><text:p>Head</text:p>"
                 "</style:header><style:header-left style:display='false'><text:p>Left</text:p>"
                 "</style:header-left><style:footer><style:region-left><text:p>L</text:p>"
                 "</style:region-left><style:region-right><text:p>R</text:p></style:region-right>"
                 "</style:footer></style:master-page><style:master-page><style:header><text:p>Head"
                 "</text:p></style:header><draw:frame><draw:text-box><text:p>Click here</text:p>"
                 "</draw:text-box></draw:frame></style:master-page></office:master-styles>"
                 "</office:document-styles>");
  EXPECT_EQ(text_of(writer), "body\n");
  EXPECT_EQ(text_of(writer, showing_page_texts()), "Head\nbody\nL\tR\n");
  Options tags;
  tags.header_and_footer_tags = true;
  EXPECT_EQ(text_of(writer, tags), "<header>Head</header>\nbody\n<footer>L\tR</footer>\n");
}

TEST(OdfReader, ShowsChartsAndFormulasWhereTheyStand) {
  ZipWriter writer = package(content_document(
      "<text:p>a<draw:frame><draw:object xlink:href='./Object 1'/></draw:frame>b</text:p>"
      "<text:p><draw:frame><draw:object xlink:href='./Object "
      "2'/></draw:frame></text:p><text:p>c</text:p>"));
  writer.add(
      "Object 1/content.xml",
      content_document("<chart:chart><chart:title><text:p>Sales</text:p></chart:title>"
                       "<table:table table:name='local-table'>" +
                           row(cell("North") + "<table:table-cell><text:p>17</text:p><draw:g>"
                                               "<svg:desc>S.A1:S.A1</svg:desc></draw:g>"
                                               "</table:table-cell>") +
                           "</table:table></chart:chart>",
                       {}, "chart"));
  writer.add("Object 2/content.xml",
             "<math:math" + namespaces() +
                 "><math:semantics><math:mrow><math:mi>E</math:mi><math:mo>=</math:mo>"
                 "<math:mi>m</math:mi></math:mrow><math:annotation>E = m</math:annotation>"
                 "</math:semantics></math:math>");
  EXPECT_EQ(text_of(writer), "ab\nSales\nNorth\t17\nE = m\nc\n");
}

TEST(OdfReader, EndsObjectsThatHoldThemselves) {
  const std::string object = content_document(
      "<text:p>x<draw:frame><draw:object xlink:href='./Object 1'/></draw:frame></text:p>");
  ZipWriter writer = package(object);
  std::string folder;
  for (int i = 0; i < 20; ++i) {
    folder += "Object 1/";
    writer.add(folder + "content.xml", object);
  }
  EXPECT_EQ(text_of(writer), "x\nx\nx\nx\nx\n");
}

TEST(OdfReader, ReadsFlatDocuments) {
  const std::string flat =
      "<?xml version='1.0'?><office:document" + namespaces() +
      "><office:meta><dc:title>T</dc:title></office:meta><office:automatic-styles>" +
      std::string(list_styles) +
      "</office:automatic-styles><office:master-styles><style:master-page><style:footer><text:p>F</"
      "text:p>"
      "</style:footer></style:master-page></office:master-styles><office:body><office:text>"
      "<text:list "
      "text:style-name='L'><text:list-item><text:p>a</text:p></text:list-item></text:list>"
      "</office:text></office:body></office:document>";
  const Reading reading = read_document(flat, odt, showing_page_texts());
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text, "1. a\nF\n");
  EXPECT_EQ(read_properties(flat, odt).items().size(), 1U);
}

TEST(OdfReader, ReadsTheAncestorsNamespaces) {
  constexpr std::string_view spaces =
      " xmlns:office='http://openoffice.org/2000/office' "
      "xmlns:text='http://openoffice.org/2000/text'"
      " xmlns:table='http://openoffice.org/2000/table' "
      "xmlns:draw='http://openoffice.org/2000/drawing'";
  const std::string text =
      "<office:document-content" + std::string(spaces) +
      " office:class='text'><office:body><text:p>a<text:tab-stop/>b<text:footnote>"
      "<text:footnote-citation>1</text:footnote-citation><text:footnote-body><text:p>f</text:p>"
      "</text:footnote-body></text:footnote></text:p><text:ordered-list><text:list-item>"
      "<text:p>one</text:p></text:list-item></text:ordered-list></office:body></"
      "office:document-content>";
  EXPECT_EQ(text_of(package(text)), "a\tb\nf\n1. one\n");
  const std::string cells =
      "<office:document-content" + std::string(spaces) +
      " office:class='spreadsheet'><office:body><table:table table:name='S'><table:table-row>"
      "<table:table-cell><text:p>1</text:p></table:table-cell></table:table-row></table:table>"
      "</office:body></office:document-content>";
  EXPECT_EQ(text_of(package(cells)), "S\n1\n");
}

TEST(OdfReader, ReadsTypedProperties) {
  ZipWriter writer = package(content_document("<text:p>a</text:p>"));
  writer.add("meta.xml",
             "<office:document-meta" + namespaces() +
                 "><office:meta><dc:title>Title</dc:title><dc:description>About</dc:description>"
                 "<meta:initial-creator>Ann</meta:initial-creator><dc:creator>Bob</dc:creator>"
                 "<meta:creation-date>2024-02-29T12:00:00</meta:creation-date>"
                 "<meta:keyword>one</meta:keyword><meta:keyword>two</meta:keyword>"
                 "<meta:editing-duration>P1DT2H3M4S</meta:editing-duration>"
                 "<meta:editing-cycles>7</meta:editing-cycles><meta:generator>G</meta:generator>"
                 "<meta:document-statistic meta:page-count='3' meta:word-count='9999999999'/>"
                 "<meta:user-defined meta:name='n' meta:value-type='float'>2.5</meta:user-defined>"
                 "<meta:user-defined meta:name='e'/></office:meta></office:document-meta>");
  auto found = properties_of(writer);
  EXPECT_EQ(found.size(), 11U);
  EXPECT_EQ(std::get<FileTime>(found["Created"]).ticks,
            FileTime::from_unix_seconds(1709208000).ticks);
  EXPECT_EQ(std::get<std::string>(found["Title"]), "Title");
  EXPECT_EQ(std::get<std::string>(found["Comments"]), "About");
  EXPECT_EQ(std::get<std::string>(found["Author"]), "Ann");
  EXPECT_EQ(std::get<std::string>(found["LastAuthor"]), "Bob");
  EXPECT_EQ(std::get<std::string>(found["Keywords"]), "one, two");
  EXPECT_EQ(std::get<std::int32_t>(found["EditTime"]), 1563);
  EXPECT_EQ(std::get<std::string>(found["Revision"]), "7");
  EXPECT_EQ(std::get<std::string>(found["Application"]), "G");
  EXPECT_EQ(std::get<std::int32_t>(found["PageCount"]), 3);
  EXPECT_EQ(std::get<double>(found["n"]), 2.5);
}

TEST(OdfReader, TellsCharactersWithBlanksFromThoseWithout) {
  ZipWriter writer = package(content_document("<text:p>a</text:p>"));
  writer.add("meta.xml", "<office:document-meta" + namespaces() +
                             "><office:meta><meta:document-statistic meta:character-count='12' "
                             "meta:non-whitespace-character-count='10'/>"
                             "</office:meta></office:document-meta>");
  auto found = properties_of(writer);
  EXPECT_EQ(std::get<std::int32_t>(found["CharacterCount"]), 10);
  EXPECT_EQ(std::get<std::int32_t>(found["CharacterCountWithSpaces"]), 12);
}

TEST(OdfReader, TakesTheLastAuthorForTheFirstWhereOnlyThatIsStated) {
  ZipWriter writer = package(content_document("<text:p>a</text:p>"));
  writer.add("meta.xml", "<office:document-meta" + namespaces() +
                             "><office:meta><dc:creator>Bob</dc:creator></office:meta>"
                             "</office:document-meta>");
  auto found = properties_of(writer);
  EXPECT_EQ(std::get<std::string>(found["Author"]), "Bob");
  EXPECT_EQ(std::get<std::string>(found["LastAuthor"]), "Bob");
}

TEST(OdfReader, RefusesEncryptedPackages) {
  ZipWriter writer = package("\x01\x02 not XML");
  writer.add(
      "META-INF/manifest.xml",
      "<manifest:manifest" + namespaces() +
          "><manifest:file-entry manifest:full-path='content.xml'><manifest:encryption-data/>"
          "</manifest:file-entry></manifest:manifest>");
  EXPECT_EQ(read_document(writer.bytes(), odt).code, 8);
}

TEST(OdfReader, GivesWhatADamagedDocumentHasAndThenFails) {
  const std::string whole = content_document("<text:p>one</text:p><text:p>two</text:p>");
  const Reading cut = read_document(package(whole.substr(0, whole.find("two") + 3)).bytes(), odt);
  EXPECT_EQ(cut.code, 4);
  EXPECT_EQ(cut.text, "one\ntwo\n");
  const Reading hidden = read_document(
      package(content_document("<text:section text:display='none'><text:p>a")).bytes(), odt);
  EXPECT_EQ(hidden.code, 4);
  EXPECT_EQ(hidden.text, "");
}

TEST(OdfReader, TakesDocumentsThatAreNotOpenDocumentForDamaged) {
  EXPECT_EQ(read_document(package("<html><p>x</p></html>").bytes(), odt).code, 4);
  EXPECT_EQ(read_document("<a>flat</a>", ods).code, 4);
  EXPECT_EQ(read_document(ZipWriter().add("a.txt", "x").bytes(), odt).code, 4);
}

TEST(OdfReader, ShowsNotesTooLargeToHoldBackWhereTheyStand) {
  const std::string long_note(std::size_t{5} << 20, 'n');
  const std::string text = text_of_body("<text:p>a<text:note><text:note-body><text:p>" + long_note +
                                        "</text:p></text:note-body></text:note>b</text:p>");
  EXPECT_TRUE(text == "a" + long_note + "\nb\n");
}

TEST(OdfReader, SurvivesAsidesNestedWithoutEnd) {
  std::string body;
  for (int i = 0; i < 300; ++i) body += "<text:p>a<text:note><text:note-body>";
  for (int i = 0; i < 300; ++i) body += "</text:note-body></text:note>b</text:p>";
  const std::string text = text_of_body(body);
  EXPECT_EQ(std::count(text.begin(), text.end(), 'a'), 300);
  EXPECT_EQ(std::count(text.begin(), text.end(), 'b'), 300);
}

}  // namespace
}  // namespace trfilter::test
