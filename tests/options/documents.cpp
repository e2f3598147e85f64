#include "tests/options/documents.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>

#include "engine/core/utf8.h"
#include "tests/engine/ooxml_package.h"
#include "tests/engine/workbook_writer.h"
#include "tests/engine/zip_writer.h"

namespace tarnis::options {
namespace {

using trfilter::test::OoxmlPackage;
using trfilter::test::wordprocessing_part;
using trfilter::test::ZipWriter;

std::string text_paragraph(std::string_view text) {
  return "<w:p>" + docx_run(text) + "</w:p>";
}

/// A workbook of one sheet, with further relations of that sheet.
ZipWriter workbook(std::string_view sheet, const std::string& sheet_relations = {},
                   const std::string& more_sheets = {},
                   const std::string& workbook_relations = {}) {
  const std::string main = "http://schemas.openxmlformats.org/spreadsheetml/2006/main";
  const std::string office = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";
  const std::string relations =
      "<Relationships xmlns='http://schemas.openxmlformats.org/package/2006/relationships'>";
  ZipWriter writer;
  writer.add("[Content_Types].xml",
             "<Types xmlns='http://schemas.openxmlformats.org/package/2006/content-types'>"
             "<Default Extension='rels' "
             "ContentType='application/vnd.openxmlformats-package.relationships+xml'/>"
             "<Override PartName='/xl/workbook.xml' ContentType='application/"
             "vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml'/></Types>");
  writer.add("_rels/.rels", relations + "<Relationship Id='r1' Type='" + office +
                                "/officeDocument' Target='xl/workbook.xml'/></Relationships>");
  writer.add("xl/workbook.xml", "<workbook xmlns='" + main + "' xmlns:r='" + office +
                                    "'><sheets><sheet name='S' sheetId='1' r:id='r1'/>" +
                                    more_sheets + "</sheets></workbook>");
  writer.add("xl/_rels/workbook.xml.rels", relations + "<Relationship Id='r1' Type='" + office +
                                               "/worksheet' Target='worksheets/sheet1.xml'/>" +
                                               workbook_relations + "</Relationships>");
  writer.add("xl/worksheets/sheet1.xml",
             "<worksheet xmlns='" + main + "'>" + std::string(sheet) + "</worksheet>",
             {.method = ZipWriter::Method::deflated});
  if (!sheet_relations.empty()) {
    writer.add("xl/worksheets/_rels/sheet1.xml.rels",
               relations + sheet_relations + "</Relationships>");
  }
  return writer;
}

std::string odf_namespaces() {
  std::string result;
  for (const char* name : {"office", "text", "table", "style", "manifest"}) {
    result +=
        " xmlns:" + std::string(name) + "='urn:oasis:names:tc:opendocument:xmlns:" + name + ":1.0'";
  }
  return result + " xmlns:dc='http://purl.org/dc/elements/1.1/'";
}

ZipWriter odt_package(std::string_view body, std::string_view styles = {}) {
  ZipWriter writer;
  writer.add("mimetype", "application/vnd.oasis.opendocument.text");
  writer.add("content.xml",
             "<office:document-content" + odf_namespaces() + "><office:automatic-styles>" +
                 std::string(styles) + "</office:automatic-styles><office:body><office:text>" +
                 std::string(body) + "</office:text></office:body></office:document-content>",
             {.method = ZipWriter::Method::deflated});
  return writer;
}

/// Objects of a PDF in the order of their numbers, from 1, the catalog, on.
std::string pdf_of(const std::vector<std::string>& objects) {
  std::string out = "%PDF-1.6\n";
  std::string table;
  for (std::size_t i = 0; i < objects.size(); ++i) {
    char entry[32];
    std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", out.size());
    table += entry;
    out += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
  }
  const std::string size = std::to_string(objects.size() + 1);
  return out + "xref\n0 " + size + "\n0000000000 65535 f \n" + table + "trailer\n<</Size " + size +
         "/Root 1 0 R>>\nstartxref\n" + std::to_string(out.size()) + "\n%%EOF\n";
}

std::string pdf_stream(std::string_view data) {
  return "<</Length " + std::to_string(data.size()) + ">>\nstream\n" + std::string(data) +
         "\nendstream";
}

/// A PDF of one page: what the catalog and the page say beyond the usual, and objects from 6 on.
std::string pdf_page(std::string_view content, const std::string& catalog = {},
                     const std::string& page = {}, const std::string& resources = {},
                     const std::vector<std::string>& more = {}) {
  std::vector<std::string> objects = {
      "<</Type/Catalog/Pages 2 0 R" + catalog + ">>",
      "<</Type/Pages/Count 1/Kids[4 0 R]>>",
      "<</Type/Font/Subtype/Type1/BaseFont/Helvetica/Encoding/WinAnsiEncoding>>",
      "<</Type/Page/Parent 2 0 R/MediaBox[0 0 612 792]/Contents 5 0 R/Resources<</Font<</F1 3 0 "
      "R>>" +
          resources + ">>" + page + ">>",
      pdf_stream(content),
  };
  objects.insert(objects.end(), more.begin(), more.end());
  return pdf_of(objects);
}

}  // namespace

std::string rtf(std::string_view body) {
  return "{\\rtf1\\ansi\\deff0{\\fonttbl{\\f0 Times;}}" + std::string(body) + "}";
}

std::string docx_run(std::string_view text, std::string_view properties) {
  std::string xml = "<w:r>";
  if (!properties.empty()) xml.append("<w:rPr>").append(properties).append("</w:rPr>");
  return xml.append(R"(<w:t xml:space="preserve">)").append(text).append("</w:t></w:r>");
}

std::string docx_field(std::string_view instruction, std::string_view result) {
  return R"(<w:r><w:fldChar w:fldCharType="begin"/></w:r><w:r><w:instrText xml:space="preserve"> )" +
         std::string(instruction) +
         R"( </w:instrText></w:r><w:r><w:fldChar w:fldCharType="separate"/></w:r>)" +
         docx_run(result) + R"(<w:r><w:fldChar w:fldCharType="end"/></w:r>)";
}

std::string docx(std::string_view body) {
  return trfilter::test::docx("<w:p>" + std::string(body) + "</w:p>").bytes();
}

std::string docx_with_page_texts() {
  OoxmlPackage package = trfilter::test::docx(
      text_paragraph("body") +
      R"(<w:sectPr><w:headerReference w:type="default" r:id="h"/><w:footerReference w:type="default" r:id="f"/></w:sectPr>)");
  package.relate("word/document.xml", "h", "header", "h.xml");
  package.relate("word/document.xml", "f", "footer", "f.xml");
  package.part("word/h.xml", wordprocessing_part("hdr", text_paragraph("head")));
  package.part("word/f.xml", wordprocessing_part("ftr", text_paragraph("foot")));
  return package.bytes();
}

std::string docx_with_comment() {
  OoxmlPackage package = trfilter::test::docx(text_paragraph("body"));
  package.relate("word/document.xml", "c", "comments", "comments.xml");
  package.part(
      "word/comments.xml",
      wordprocessing_part("comments", "<w:comment>" + text_paragraph("remark") + "</w:comment>"));
  return package.bytes();
}

std::string office_with_files(std::string_view main_part, std::string_view kind) {
  const std::string main(main_part);
  OoxmlPackage package(main, kind);
  package.part(main, "<main/>");
  package.relate(main, "f", "font", "fonts/font1.odttf");
  package.part(main.substr(0, main.find('/')) + "/fonts/font1.odttf", "a font");
  package.relate("", "n", "thumbnail", "docProps/thumbnail.jpeg");
  package.part("docProps/thumbnail.jpeg", "\xFF\xD8\xFF");
  return package.bytes();
}

std::string xlsx(std::string_view sheet) {
  return workbook(sheet).bytes();
}

std::string xlsx_with_hidden_pieces() {
  const std::string office = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";
  ZipWriter writer = workbook(
      "<cols><col min='2' max='2' hidden='1'/></cols><sheetData>"
      "<row><c r='A1'><v>1</v></c><c r='B1'><v>2</v></c></row>"
      "<row hidden='1'><c><v>3</v></c></row></sheetData>",
      {}, "<sheet name='Away' sheetId='2' state='hidden' r:id='r2'/>",
      "<Relationship Id='r2' Type='" + office + "/worksheet' Target='worksheets/sheet2.xml'/>");
  writer.add("xl/worksheets/sheet2.xml",
             "<worksheet xmlns='http://schemas.openxmlformats.org/spreadsheetml/2006/main'>"
             "<sheetData><row><c><v>4</v></c></row></sheetData></worksheet>");
  return writer.bytes();
}

std::string xlsx_with_strings(std::string_view sheet, std::string_view strings) {
  const std::string office = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";
  ZipWriter writer = workbook(
      sheet, {}, {},
      "<Relationship Id='r9' Type='" + office + "/sharedStrings' Target='sharedStrings.xml'/>");
  writer.add("xl/sharedStrings.xml", strings, {.method = ZipWriter::Method::deflated});
  return writer.bytes();
}

std::string xlsx_with_comment() {
  const std::string office = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";
  ZipWriter writer =
      workbook("<sheetData><row><c><v>1</v></c></row></sheetData>",
               "<Relationship Id='c' Type='" + office + "/comments' Target='../comments1.xml'/>");
  writer.add("xl/comments1.xml",
             "<comments xmlns='http://schemas.openxmlformats.org/spreadsheetml/2006/main'>"
             "<authors><author>Ann</author></authors><commentList><comment ref='A1' authorId='0'>"
             "<text><t>remark</t></text></comment></commentList></comments>");
  return writer.bytes();
}

std::string pptx(std::string_view shapes) {
  return trfilter::test::pptx({std::string(shapes)}).bytes();
}

std::string pptx_shape(std::string_view text, std::string_view placeholder) {
  std::string xml = "<p:sp><p:nvSpPr><p:cNvPr id=\"2\" name=\"Shape\"/><p:nvPr>";
  if (!placeholder.empty()) xml.append("<p:ph type=\"").append(placeholder).append("\"/>");
  return xml.append("</p:nvPr></p:nvSpPr><p:txBody><a:p><a:r><a:t>")
      .append(text)
      .append("</a:t></a:r></a:p></p:txBody></p:sp>");
}

std::string pptx_with_hidden_slide() {
  OoxmlPackage package("ppt/presentation.xml", "presentationml.presentation");
  package.part(
      "ppt/presentation.xml",
      R"(<p:presentation xmlns:p="p" xmlns:r="r"><p:sldIdLst><p:sldId id="1" r:id="a"/><p:sldId id="2" r:id="b"/></p:sldIdLst></p:presentation>)");
  package.relate("ppt/presentation.xml", "a", "slide", "s1.xml");
  package.relate("ppt/presentation.xml", "b", "slide", "s2.xml");
  package.part("ppt/s1.xml",
               trfilter::test::presentation_part("sld", pptx_shape("hidden"), R"( show="0")"));
  package.part("ppt/s2.xml", trfilter::test::presentation_part("sld", pptx_shape("next")));
  return package.bytes();
}

std::string pptx_with_comment() {
  OoxmlPackage package = trfilter::test::pptx({pptx_shape("slide")});
  package.relate("ppt/slides/slide1.xml", "c", "comments", "../comments/comment1.xml");
  package.part(
      "ppt/comments/comment1.xml",
      R"(<p:cmLst xmlns:p="p"><p:cm><p:pos x="1"/><p:text>remark</p:text></p:cm></p:cmLst>)");
  return package.bytes();
}

std::string odt(std::string_view body, std::string_view styles) {
  return odt_package(body, styles).bytes();
}

std::string odt_with_page_texts() {
  ZipWriter writer = odt_package("<text:p>body</text:p>");
  writer.add("styles.xml",
             "<office:document-styles" + odf_namespaces() +
                 "><office:master-styles><style:master-page><style:header><text:p>head</text:p>"
                 "</style:header><style:footer><text:p>foot</text:p></style:footer>"
                 "</style:master-page></office:master-styles></office:document-styles>");
  return writer.bytes();
}

std::string odt_with_files() {
  ZipWriter writer = odt_package("<text:p>body</text:p>");
  writer.add("Thumbnails/thumbnail.png", "\x89PNG");
  writer.add("Fonts/own.ttf", "a font");
  writer.add("META-INF/manifest.xml",
             "<manifest:manifest" + odf_namespaces() +
                 "><manifest:file-entry manifest:full-path='/' "
                 "manifest:media-type='application/vnd.oasis.opendocument.text'/>"
                 "<manifest:file-entry manifest:full-path='Fonts/own.ttf' "
                 "manifest:media-type='application/x-font-ttf'/>"
                 "<manifest:file-entry manifest:full-path='Thumbnails/thumbnail.png' "
                 "manifest:media-type='image/png'/></manifest:manifest>");
  return writer.bytes();
}

std::string pdf_text(int x, int y, std::string_view text) {
  return "BT /F1 10 Tf " + std::to_string(x) + " " + std::to_string(y) + " Td (" +
         std::string(text) + ") Tj ET\n";
}

std::string pdf(std::string_view content) {
  return pdf_page(content);
}

std::string pdf_with_comment() {
  return pdf_page(pdf_text(72, 700, "Text"), {}, "/Annots[6 0 R]", {},
                  {"<</Type/Annot/Subtype/Text/Contents(A remark.)/F 4/Rect[400 700 420 720]>>"});
}

std::string pdf_with_layer_off() {
  return pdf_page(pdf_text(72, 700, "Seen") + "/OC /L BDC " + pdf_text(72, 688, "Unseen") + "EMC",
                  "/OCProperties<</OCGs[6 0 R]/D<</OFF[6 0 R]>>>>", {}, "/Properties<</L 6 0 R>>",
                  {"<</Type/OCG/Name(Off)>>"});
}

std::string pdf_with_structure() {
  return pdf_page("/P<</MCID 0>>BDC " + pdf_text(72, 700, "Read second") + "EMC /P<</MCID 1>>BDC " +
                      pdf_text(72, 688, "Read first") + "EMC /Artifact<</Type/Pagination>>BDC " +
                      pdf_text(72, 40, "Page 1") + "EMC",
                  "/MarkInfo<</Marked true>>/StructTreeRoot 6 0 R", {}, {},
                  {"<</Type/StructTreeRoot/K 7 0 R>>", "<</S/Document/P 6 0 R/K[8 0 R 9 0 R]>>",
                   "<</S/P/P 7 0 R/Pg 4 0 R/K 1>>", "<</S/P/P 7 0 R/Pg 4 0 R/K 0>>"});
}

std::string pdf_with_two_columns() {
  std::string content;
  for (int row = 0; row < 8; ++row) {
    const std::string number = std::to_string(row);
    content += pdf_text(54, 700 - 12 * row,
                        "The left column has a line of text like this one, L" + number);
    content +=
        pdf_text(324, 700 - 12 * row, "and the right column follows it with lines, R" + number);
  }
  return pdf_page(content);
}

std::string epub(std::string_view chapter_body) {
  ZipWriter writer;
  writer.add("mimetype", "application/epub+zip");
  writer.add("META-INF/container.xml",
             "<container xmlns='urn:oasis:names:tc:opendocument:xmlns:container' version='1.0'>"
             "<rootfiles><rootfile full-path='book.opf' "
             "media-type='application/oebps-package+xml'/></rootfiles></container>");
  writer.add("book.opf",
             "<package xmlns='http://www.idpf.org/2007/opf' version='3.0'><metadata/><manifest>"
             "<item id='c' href='c.xhtml' media-type='application/xhtml+xml'/>"
             "<item id='f' href='own.ttf' media-type='font/ttf'/></manifest>"
             "<spine><itemref idref='c'/></spine></package>");
  writer.add("c.xhtml",
             "<html xmlns='http://www.w3.org/1999/xhtml'><head><title/></head><body>" +
                 std::string(chapter_body) + "</body></html>",
             {.method = ZipWriter::Method::deflated});
  writer.add("own.ttf", "a font");
  return writer.bytes();
}

std::string xls_with_hidden_sheet() {
  using namespace trfilter::test;
  const auto sheet = [](std::string_view text) {
    return RecordWriter().add(0x0204, cell(0, 0) + narrow(text)).bytes();
  };
  return workbook_file(
      workbook_stream("", {{"Shown", sheet("seen")}, {"Away", sheet("unseen"), 1}}));
}

std::string xls_with_comment() {
  using namespace trfilter::test;
  RecordWriter records;
  records.add(0x0204, cell(0, 0) + narrow("cell"));
  // A note and its text object ([MS-XLS] 2.4.181, 2.4.329).
  records.add(0x005D, u16(0x15) + u16(0x12) + u16(0x19) + u16(1) + std::string(14, '\0') + u32(0));
  records.add(0x01B6, std::string(10, '\0') + u16(6) + u16(16) + std::string(4, '\0'));
  records.add(0x003C, u8(0) + std::string("remark"));
  records.add(0x003C, std::string(16, '\0'));
  return workbook_file(workbook_stream("", {{"S", records.bytes()}}));
}

std::string xls_with_text(std::string_view utf8) {
  using namespace trfilter::test;
  const std::string record = cell(0, 0) + wide(trfilter::utf8_to_utf16(utf8));
  return workbook_file(workbook_stream("", {{"S", RecordWriter().add(0x0204, record).bytes()}}));
}

std::string xls_with_header() {
  using namespace trfilter::test;
  const std::string records = RecordWriter()
                                  .add(0x0014, narrow("&Chead &D in &F"))
                                  .add(0x0204, cell(0, 0) + narrow("body"))
                                  .bytes();
  return workbook_file(workbook_stream("", {{"S", records}}));
}

std::string zip(const std::vector<Member>& members) {
  ZipWriter writer;
  for (const Member& member : members) writer.add(member.name, member.content);
  return writer.bytes();
}

std::string sample(std::string_view name) {
  const std::string path = std::string(TARNIS_SOURCE_DIRECTORY) + "/samples/" + std::string(name);
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace tarnis::options
