#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <iostream>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "api/tarnis.h"
#include "api/tarnis_internal.h"
#include "engine/mapi/property_ids.h"
#include "tests/engine/archive_writer.h"
#include "tests/engine/doc_writer.h"
#include "tests/engine/encrypted_package.h"
#include "tests/engine/help_writer.h"
#include "tests/engine/mapi_documents.h"
#include "tests/engine/ooxml_package.h"
#include "tests/engine/presentation_writer.h"
#include "tests/engine/workbook_writer.h"
#include "tests/engine/xps_writer.h"
#include "tests/engine/zip_writer.h"
#include "tests/options/documents.h"
#include "tests/options/long_documents.h"
#include "tests/options/watched_clock.h"

// Every reader looks at the clock so often that it ends within a tenth of a second of its deadline.
// Each document here is long in a way that is its format's own: a text, a table, a list, a part
// that is unpacked. What counts is the work between two looks, not how long the test takes.

namespace tarnis::options {
namespace {

using namespace trfilter::test;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using v1::Configuration;
using v1::Session;

#ifdef TARNIS_UNDER_SANITIZER
constexpr int slower = 10;
#else
constexpr int slower = 1;
#endif
constexpr milliseconds bound{100 * slower};

enum class Work { text, list, extraction, properties };

struct LongDocument {
  const char* name;
  std::string (*make)();
  Work work = Work::text;
};

/// What a failing test names its document by.
void PrintTo(const LongDocument& document, std::ostream* out) {
  *out << document.name;
}

struct Nowhere {
  long write(const char*, long n) { return n; }
};

struct Result {
  int code = 0;
  WatchedClock::Watched watched;
};

Result run(const std::string& bytes, Work work, std::size_t jump) {
  const Session session(TARNIS_ENGINE_DIRECTORY, true, Configuration().header_and_footer(true));
  v1::io::InMemoryFile file(std::vector<unsigned char>(bytes.begin(), bytes.end()));
  const v1::generic_io::Input input(file);
  Nowhere nowhere;
  const v1::generic_io::Output output(nowhere);
  Result result;
  const auto watched = [&](const std::function<void()>& step) {
    const WatchedClock clock(jump);
    try {
      step();
    } catch (const v1::tarnis_error& error) {
      result.code = error.code();
    }
    result.watched = clock.watched();
  };
  switch (work) {
    case Work::text:
      watched([&] { v1::internal::filter(session.implementation(), input, output); });
      break;
    case Work::list:
      watched([&] {
        const v1::Container container(input, *session.implementation());
        (void)container.begin();
      });
      break;
    case Work::properties:
      watched([&] { v1::internal::metadata_map(session.implementation(), input); });
      break;
    case Work::extraction: {
      const v1::Container container(input, *session.implementation());
      const v1::Subfile member = container.at(0);
      watched([&] { v1::internal::extract(member.implementation(), output); });
      break;
    }
  }
  return result;
}

std::string packed(const trfilter::test::OoxmlPackage& package) {
  return package.bytes(ZipWriter::Method::deflated);
}

// Texts.

std::string long_text() {
  return repeated("Zwölf Boxkämpfer jagen Viktor quer über den großen Deich.\r\n", 40 * megabyte);
}

std::string long_line() {
  return repeated("Zwölf Boxkämpfer jagen Viktor quer über den großen Deich. ", 40 * megabyte);
}

/// Bytes that hardly become fewer when they are packed.
std::string various_bytes(std::size_t size) {
  std::string out(size, '\0');
  std::uint32_t state = 1;
  for (char& byte : out) {
    state = state * 1'664'525 + 1'013'904'223;
    byte = static_cast<char>('a' + (state >> 27));
  }
  return out;
}

std::string long_table_of_values() {
  return "name,number,note\n" + repeated("\"a, b\",12,\"some \"\"text\"\"\"\n", 20 * megabyte);
}

std::string long_page() {
  return "<html><head><meta charset=utf-8></head><body>" +
         repeated("<p>Some <b>text</b> &amp; more of it.</p>\n", 20 * megabyte);
}

std::string page_of_one_tag() {
  return "<html><body><p title='" + repeated("Some &amp; more ", 20 * megabyte) + "'>x</p>";
}

std::string long_xml() {
  return "<?xml version='1.0' encoding='UTF-8'?><list>" +
         repeated("<item><name>Some</name> text</item>\n", 20 * megabyte) + "</list>";
}

std::string long_rtf() {
  return rtf(repeated("Some {\\b text} and \\'e4 more of it.\\par\n", 20 * megabyte));
}

std::string rtf_of_one_table() {
  return rtf(repeated("\\trowd\\cellx1\\intbl a\\cell b\\cell\\row ", 10 * megabyte));
}

std::string rtf_of_pictures() {
  return rtf(repeated("{\\pict\\pngblip 89504e470d0a1a0a}", 3 * megabyte));
}

std::string rtf_of_a_long_picture() {
  return rtf("{\\pict\\pngblip " + repeated("89504e470d0a1a0a", 30 * megabyte) + "}");
}

std::string rtf_of_fonts() {
  std::string fonts;
  for (int i = 0; i < 400'000; ++i) fonts += "{\\f" + std::to_string(i) + "\\fcharset204 A;}";
  return "{\\rtf1\\ansi{\\fonttbl" + fonts + "}x}";
}

// Office Open XML.

std::string long_docx() {
  return packed(
      trfilter::test::docx(repeated("<w:p><w:r><w:t>Some text</w:t></w:r></w:p>", 30 * megabyte)));
}

std::string encrypted_docx() {
  return agile_encrypted(long_docx(), u"VelvetSweatshop");
}

std::string docx_of_one_table() {
  return packed(trfilter::test::docx(
      "<w:tbl>" +
      repeated("<w:tr><w:tc><w:p><w:r><w:t>a</w:t></w:r></w:p></w:tc></w:tr>", 20 * megabyte) +
      "</w:tbl>"));
}

std::string docx_of_styles() {
  OoxmlPackage package = trfilter::test::docx(docx_run("x"));
  package.relate("word/document.xml", "s", "styles", "styles.xml");
  std::string styles;
  for (int i = 0; i < 60'000; ++i) {
    const std::string number = std::to_string(i);
    styles += "<w:style w:type='paragraph' w:styleId='s" + number + "'><w:basedOn w:val='s" +
              std::to_string(i + 1) + "'/></w:style>";
  }
  package.part("word/styles.xml", wordprocessing_part("styles", styles));
  return packed(package);
}

std::string docx_of_footnotes() {
  OoxmlPackage package = trfilter::test::docx(repeated(
      "<w:p><w:r><w:t>a</w:t></w:r><w:r><w:footnoteReference w:id='1'/></w:r></w:p>", megabyte));
  package.relate("word/document.xml", "n", "footnotes", "footnotes.xml");
  package.part("word/footnotes.xml",
               wordprocessing_part(
                   "footnotes", repeated("<w:footnote w:id='1'><w:p><w:r><w:t>n</w:t></w:r></w:p>"
                                         "</w:footnote>",
                                         20 * megabyte)));
  return packed(package);
}

std::string long_xlsx() {
  return xlsx("<sheetData>" +
              repeated("<row><c><v>1.5</v></c><c><v>27</v></c></row>", 20 * megabyte) +
              "</sheetData>");
}

std::string xlsx_of_one_row() {
  return xlsx("<sheetData><row>" + repeated("<c><v>1.5</v></c>", 20 * megabyte) +
              "</row></sheetData>");
}

std::string xlsx_of_many_strings() {
  return xlsx_with_strings(
      "<sheetData><row><c t='s'><v>0</v></c></row></sheetData>",
      "<sst xmlns='http://schemas.openxmlformats.org/spreadsheetml/2006/main'>" +
          repeated("<si><t>Some text in a table</t></si>", 20 * megabyte) + "</sst>");
}

/// A record of a binary workbook; its number and its size have a byte or two each.
std::string binary_record(unsigned type, std::string_view data = {}) {
  const std::string number = type < 0x80 ? u8(type) : u8((type & 0x7F) | 0x80) + u8(type >> 7);
  return number + u8(static_cast<unsigned>(data.size())) + std::string(data);
}

std::string long_xlsb() {
  OoxmlPackage package("xl/workbook.bin", "spreadsheetml.sheet");
  package.relate("xl/workbook.bin", "r", "worksheet", "sheet1.bin");
  package.part("xl/workbook.bin",
               binary_record(156, u32(0) + u32(1) + u32(1) + utf16(u"r") + u32(1) + utf16(u"S")));
  const std::string row = binary_record(0, std::string(17, '\0')) +
                          binary_record(5, u32(0) + u32(0) + f64(1.5)) +
                          binary_record(6, u32(1) + u32(0) + u32(4) + utf16(u"text"));
  package.part("xl/sheet1.bin", binary_record(145) + repeated(row, 30 * megabyte));
  return packed(package);
}

std::string long_pptx() {
  return packed(trfilter::test::pptx(
      {"<p:sp><p:txBody>" + repeated("<a:p><a:r><a:t>a</a:t></a:r></a:p>", 30 * megabyte) +
       "</p:txBody></p:sp>"}));
}

std::string pptx_of_many_slides() {
  return trfilter::test::pptx(std::vector<std::string>(2'000, pptx_shape("slide"))).bytes();
}

// OpenDocument and other packages.

std::string long_odt() {
  return odt(repeated("<text:p>a</text:p>", 20 * megabyte));
}

std::string odt_of_styles() {
  std::string styles;
  for (int i = 0; i < 100'000; ++i) {
    styles += "<style:style style:name='s" + std::to_string(i) +
              "' style:family='text' style:parent-style-name='s" + std::to_string(i + 1) + "'/>";
  }
  return odt("<text:p>x</text:p>", styles);
}

std::string long_epub() {
  return epub(repeated("<p>Some <b>text</b> and more</p>", 20 * megabyte));
}

std::string long_xps() {
  return xps_document({repeated("<Glyphs FontRenderingEmSize='10' OriginX='5' OriginY='7' "
                                "UnicodeString='some text'/>",
                                10 * megabyte)})
      .bytes();
}

std::string package_of_many_members() {
  OoxmlPackage package = trfilter::test::docx(docx_run("x"));
  for (int i = 0; i < 60'000; ++i) package.part("word/media/" + std::to_string(i) + ".png", "x");
  return package.bytes();
}

// PDF.

std::string long_pdf() {
  return pdf(repeated(pdf_text(72, 700, "Some text"), 4 * megabyte));
}

// Binary Office.

std::string long_doc() {
  DocWriter document;
  document.narrow();
  for (int i = 0; i < 80'000; ++i)
    document.paragraph(u"Some text of a paragraph in a long document");
  return document.bytes();
}

std::string doc_of_many_pieces() {
  DocWriter document;
  for (int i = 0; i < 2'000; ++i) document.paragraph(u"Some text");
  document.scattered(1);
  return document.bytes();
}

std::string doc_of_one_paragraph() {
  DocWriter document;
  document.narrow();
  std::u16string text;
  while (text.size() < 4 * megabyte) text += u"some text that never ends ";
  document.paragraph(text);
  return document.bytes();
}

std::string doc_of_notes() {
  constexpr std::uint32_t count = 60'000;
  DocWriter document;
  document.narrow().paragraph(u"body").part(DocWriter::comments);
  std::vector<std::uint32_t> ends;
  for (std::uint32_t i = 0; i < count; ++i) {
    ends.push_back(i * 5);
    document.paragraph(u"note");
  }
  ends.push_back(count * 5);
  ends.push_back(count * 5 + 1);
  document.table(DocWriter::comment_texts, DocWriter::positions(ends));
  return document.bytes();
}

std::string word_6_document() {
  DocWriter document(true);
  for (int i = 0; i < 60'000; ++i)
    document.paragraph(u"Some text of a paragraph in a long document");
  return document.bytes();
}

std::string long_xls() {
  RecordWriter records;
  for (unsigned i = 0; i < 60'000; ++i) {
    records.add(0x0204, cell(i, 0) + narrow("some text in a cell of a sheet"));
    records.add(0x0203, cell(i, 1) + f64(1.0 / (i + 1)));
  }
  return workbook_file(workbook_stream("", {{"S", records.bytes()}}));
}

std::string xls_of_many_strings() {
  std::string strings;
  RecordWriter table;
  std::uint16_t type = 0x00FC;
  constexpr std::uint32_t count = 180'000;
  strings = u32(count) + u32(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::string one = narrow("text of a table");
    if (strings.size() + one.size() > 8'000) {
      table.add(std::exchange(type, 0x003C), strings);
      strings.clear();
    }
    strings += one;
  }
  table.add(type, strings);
  return workbook_file(workbook_stream(table.bytes(), {{"S", ""}}));
}

std::string xls_of_other_records() {
  RecordWriter records;
  for (int i = 0; i < 1'000'000; ++i) records.add(0x00A1, "");
  return workbook_file(workbook_stream("", {{"S", records.bytes()}}));
}

std::string xls_of_many_sheets() {
  const std::string row = RecordWriter().add(0x0204, cell(0, 0) + narrow("a")).bytes();
  return workbook_file(
      workbook_stream("", std::vector<SheetRecords>(40'000, SheetRecords{"S", row})));
}

SlideRecords slide_of(std::string_view shapes) {
  SlideRecords records;
  records.records = drawing(shapes);
  return records;
}

std::string long_ppt() {
  std::string text = repeated("some text that goes on\r", 5 * megabyte);
  return PresentationWriter().add(slide_of(shape(byte_text_atoms(text)))).bytes();
}

std::string ppt_of_shapes() {
  std::string shapes;
  for (int i = 0; i < 60'000; ++i) shapes += shape(byte_text_atoms("text"));
  return PresentationWriter().add(slide_of(shapes)).bytes();
}

std::string ppt_of_slides() {
  PresentationWriter presentation;
  for (int i = 0; i < 1'000; ++i) presentation.add(slide_of(shape(byte_text_atoms("text"))));
  return presentation.bytes();
}

std::string ppt_of_a_table() {
  std::string cells;
  for (int i = 0; i < 40'000; ++i) {
    cells += shape(byte_text_atoms("text"), 0,
                   atom(0xF00F, u32(static_cast<std::uint32_t>(i % 7)) +
                                    u32(static_cast<std::uint32_t>(i)) + u32(0) + u32(0)));
  }
  return PresentationWriter()
      .add(slide_of(shape_group(cells, shape_properties(0xF122, {{0x039F, 1}}))))
      .bytes();
}

// Mail.

constexpr std::string_view mail_head =
    "From: a@example.org\r\nTo: b@example.org\r\nSubject: Tea\r\nMIME-Version: 1.0\r\n";

std::string mailbox() {
  return repeated("From a@example.org Thu Jan  1 00:00:00 2026\n" + std::string(mail_head) +
                      "\nCome for tea.\n\n",
                  20 * megabyte);
}

std::string long_message() {
  return std::string(mail_head) + "Content-Type: text/plain; charset=utf-8\r\n\r\n" +
         repeated("Some text of a message.\r\n", 40 * megabyte);
}

std::string message_of_base64() {
  return std::string(mail_head) +
         "Content-Type: text/plain\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
         repeated("U29tZSB0ZXh0IHRoYXQgZ29lcyBvbiBhbmQgb24gYW5kIG9uLiBTb21lIHRleHQu\r\n",
                  30 * megabyte);
}

std::string message_of_html() {
  return std::string(mail_head) + "Content-Type: text/html\r\n\r\n" +
         repeated("<p>Some <b>text</b> and more</p>\r\n", 20 * megabyte);
}

std::string message_of_parts() {
  return std::string(mail_head) + "Content-Type: multipart/mixed; boundary=b\r\n\r\n" +
         repeated("--b\r\nContent-Type: text/plain\r\n\r\npart\r\n", 8 * megabyte) + "--b--\r\n";
}

std::string message_of_addresses() {
  return "From: a@example.org\r\nTo: " + repeated("Ann <ann@example.org>,\r\n ", 8 * megabyte) +
         "b@example.org\r\nSubject: Tea\r\n\r\nbody\r\n";
}

MapiItem item_of_outlook() {
  MapiItem item;
  item.properties.text(trfilter::mapi::id::message_class, "IPM.Note")
      .text(trfilter::mapi::id::subject, "Tea");
  return item;
}

std::string long_outlook_message() {
  MapiItem item = item_of_outlook();
  item.properties.text(trfilter::mapi::id::body,
                       repeated("Some text of a message.\r\n", 2 * megabyte));
  return msg_document(item);
}

std::string outlook_message_of_html() {
  MapiItem item = item_of_outlook();
  item.properties.binary(trfilter::mapi::id::html,
                         repeated("<p>Some <b>text</b> and more</p>\r\n", 5 * megabyte));
  return msg_document(item);
}

std::string outlook_message_of_rtf() {
  MapiItem item = item_of_outlook();
  const std::string text = rtf(repeated("Some {\\b text} of it.\\par\n", 4 * megabyte));
  item.properties.binary(trfilter::mapi::id::rtf_compressed,
                         little_endian(text.size() + 12, 4) + little_endian(text.size(), 4) +
                             "MELA" + little_endian(0, 4) + text);
  return msg_document(item);
}

std::string outlook_message_to_many() {
  MapiItem item = item_of_outlook();
  for (int i = 0; i < 1'000; ++i) {
    MapiProperties& recipient = item.recipients.emplace_back();
    recipient.integer(trfilter::mapi::id::recipient_type, 1)
        .text(trfilter::mapi::id::display_name, "Ann");
  }
  return msg_document(item);
}

std::string long_tnef() {
  MapiProperties properties;
  properties.text(trfilter::mapi::id::message_class, "IPM.Note")
      .text(trfilter::mapi::id::body, repeated("Some text of a message.\r\n", 20 * megabyte));
  return tnef_document({{1, 0x00069003, tnef_properties(properties)}});
}

std::string tnef_of_attributes() {
  return tnef_document(std::vector<TnefAttribute>(400'000, {1, 0x00018012, "x"}));
}

// Containers.

std::string zip_of_many_members() {
  ZipWriter writer;
  for (int i = 0; i < 60'000; ++i) writer.add("folder/" + std::to_string(i) + ".txt", "x");
  return writer.bytes();
}

std::string tar_of_many_members() {
  std::vector<ArchiveMember> members;
  for (int i = 0; i < 40'000; ++i) members.push_back({std::to_string(i) + ".txt", "x"});
  return write_archive("ustar", "gzip", members);
}

std::string zip_of_a_long_member() {
  ZipWriter writer;
  writer.add("long.txt", various_bytes(40 * megabyte), {.method = ZipWriter::Method::deflated});
  return writer.bytes();
}

std::string seven_zip_of_a_long_member() {
  return write_archive("7zip", "", {{"long.txt", various_bytes(6 * megabyte)}},
                       "7zip:compression=deflate");
}

std::string tar_of_a_long_member() {
  return write_archive("ustar", "gzip", {{"long.txt", various_bytes(6 * megabyte)}});
}

std::string long_help() {
  return help_file(
      {{"/", ""},
       {"/a.htm", "<html><body>" + repeated("<p>Some <b>text</b> and more</p>", 20 * megabyte)}});
}

std::string help_of_a_long_file() {
  return help_file({{"/", ""}, {"/a.css", repeated("p {}", 60 * megabyte)}});
}

// Worksheets and drawings of others.

std::string long_worksheet() {
  return std::string("\0\0\x02\0\x06\x04\x06\0\x08\0\0\0\0\0\xFF\0\xFF\x1F", 18) +
         repeated(std::string("\x0D\0\x07\0\xFF\0\0\0\0\x2A\0", 11), 2 * megabyte) +
         std::string("\x01\0\0\0", 4);
}

std::string long_drawing() {
  return "0\nSECTION\n2\nENTITIES\n" + repeated("0\nTEXT\n1\nsome text\n", 20 * megabyte) +
         "0\nENDSEC\n0\nEOF\n";
}

// Media.

std::string picture_of_many_segments() {
  const std::string photo = sample("photo.jpg");
  return photo.substr(0, 2) + repeated(std::string("\xFF\xFE\0\6text", 8), 4 * megabyte) +
         photo.substr(2);
}

std::string sound_of_many_tags() {
  const std::string frames = repeated(std::string("TXXX\0\0\0\5\0\0\0a\0bc", 15), megabyte / 4);
  std::string head("ID3\3\0\0", 6);
  for (int shift = 21; shift >= 0; shift -= 7) {
    head += static_cast<char>(frames.size() >> shift & 0x7F);
  }
  return head + frames + sample("tone.mp3");
}

// No rows: readers that read a bounded piece whatever the document's size, sas_data (a header of
// 288 bytes) and, of font, Type 1 (4 MiB); store, as nothing in reach writes a mail store. Of Pages
// and Visio the libraries build documents in memory, and what they do between two looks grows with
// the document: their rows are short.
const std::vector<LongDocument> long_documents = {
    {"plain_text", long_text},
    {"plain_text_of_one_line", long_line},
    {"delimited_text", long_table_of_values},
    {"html", long_page},
    {"html_of_one_tag", page_of_one_tag},
    {"xml", long_xml},

    {"rtf", long_rtf},
    {"rtf_of_one_table", rtf_of_one_table},
    {"rtf_of_fonts", rtf_of_fonts},
    {"rtf_of_pictures", rtf_of_pictures, Work::list},
    {"rtf_of_a_long_picture", rtf_of_a_long_picture, Work::extraction},
    {"docx", long_docx},
    {"docx_of_one_table", docx_of_one_table},
    {"docx_of_styles", docx_of_styles},
    {"docx_of_footnotes", docx_of_footnotes},
    {"xlsx", long_xlsx},
    {"xlsx_of_one_row", xlsx_of_one_row},
    {"xlsx_of_many_strings", xlsx_of_many_strings},
    {"xlsb", long_xlsb},
    {"pptx", long_pptx},
    {"pptx_of_many_slides", pptx_of_many_slides},
    {"odf", long_odt},
    {"odf_of_styles", odt_of_styles},
    {"pdf", long_pdf},
    {"epub", long_epub},
    {"xps", long_xps},
    {"doc", long_doc},
    {"doc_of_many_pieces", doc_of_many_pieces},
    {"doc_of_one_paragraph", doc_of_one_paragraph},
    {"doc_of_notes", doc_of_notes},
    {"doc_of_word_6", word_6_document},
    {"xls", long_xls},
    {"xls_of_many_strings", xls_of_many_strings},
    {"xls_of_other_records", xls_of_other_records},
    {"xls_of_many_sheets", xls_of_many_sheets},
    {"ppt", long_ppt},
    {"ppt_of_shapes", ppt_of_shapes},
    {"ppt_of_slides", ppt_of_slides},
    {"ppt_of_a_table", ppt_of_a_table},
    {"mail", long_message},
    {"mail_of_base64", message_of_base64},
    {"mail_of_html", message_of_html},
    {"mail_of_parts", message_of_parts},
    {"mail_of_addresses", message_of_addresses},
    {"mail_of_many_messages", mailbox},
    {"mail_of_many_messages_listed", mailbox, Work::list},
    {"msg", long_outlook_message},
    {"msg_of_html", outlook_message_of_html},
    {"msg_of_rtf", outlook_message_of_rtf},
    {"msg_to_many", outlook_message_to_many},
    {"tnef", long_tnef},
    {"tnef_of_attributes", tnef_of_attributes},
    {"archive_of_many_members", tar_of_many_members, Work::list},
    {"zip_of_many_members", zip_of_many_members, Work::list},
    {"office_package_of_many_members", package_of_many_members, Work::list},
    {"zip_of_a_long_member", zip_of_a_long_member, Work::extraction},
    {"seven_zip_of_a_long_member", seven_zip_of_a_long_member, Work::extraction},
    {"tar_of_a_long_member", tar_of_a_long_member, Work::extraction},
    {"worksheet", long_worksheet},
    {"drawing", long_drawing},
    {"image", picture_of_many_segments, Work::properties},
    {"audio", sound_of_many_tags, Work::properties},
    {"encrypted_office", encrypted_docx},
    {"dwg", long_dwg},
    {"dwg_of_long_objects", dwg_of_long_objects},
    {"dwg_of_attached_data", dwg_of_attached_data},
    {"onenote", long_notes},
    {"onenote_of_links", notes_of_links},
    {"onenote_of_one_list", notes_of_one_list},
    {"onenote_of_authors", notes_of_authors, Work::properties},
    {"idml", long_story},
    {"idml_of_many_stories", idml_of_many_stories},
    {"idml_of_many_pages", idml_of_many_pages, Work::properties},
    {"property_list", long_property_list},
    {"property_list_of_one_text", property_list_of_one_text},
    {"web_archive", web_archive},
    {"web_archive_of_many_files", web_archive_of_many_files, Work::list},
    {"video_of_many_tags", film_of_many_tags, Work::properties},
    {"video_of_small_elements", film_of_small_elements, Work::properties},
    {"video_of_many_chunks", film_of_many_chunks, Work::properties},
    {"font_of_many_names", font_of_many_names, Work::properties},
    {"font_of_many_character_maps", font_of_many_character_maps, Work::properties},
    {"png_of_a_long_packet", png_of_a_long_packet, Work::properties},
    {"png_of_many_texts", png_of_many_texts, Work::properties},
    {"tiff_of_a_long_packet", tiff_of_a_long_packet, Work::properties},
    {"tiff_of_many_directories", tiff_of_many_directories, Work::properties},
    {"psd_of_many_resources", psd_of_many_resources, Work::properties},
    {"compound_of_many_properties", compound_file_of_many_properties, Work::properties},
    {"compound_of_one_text", compound_file_of_one_text, Work::properties},
    {"compound_of_many_storages", compound_file_of_many_storages, Work::properties},
    {"compound_of_a_long_file", compound_file_of_a_long_file, Work::extraction},
    {"wordperfect", long_wordperfect},
    {"windows_write", long_windows_write},
    {"pages", long_pages},
    {"pages_of_page_numbers", pages_of_page_numbers},
    {"visio", long_visio},
    {"help", long_help},
    {"help_of_a_long_file", help_of_a_long_file, Work::extraction},
};

class Deadline : public testing::TestWithParam<LongDocument> {};

TEST_P(Deadline, IsWatchedThroughoutAndEndsTheWork) {
  const std::string document = GetParam().make();
  const Work work = GetParam().work;
  const Result whole = run(document, work, 0);
  EXPECT_EQ(whole.code, 0);
  EXPECT_LT(whole.watched.longest, bound);
  // A short document would show nothing.
  EXPECT_GE(whole.watched.looks, 6u);
  EXPECT_LT(whole.watched.longest, std::max<nanoseconds>(whole.watched.total / 4, bound / 2));

  const Result ended = run(document, work, std::max<std::size_t>(whole.watched.looks / 2, 2));
  EXPECT_EQ(ended.code, 19);
  EXPECT_LT(ended.watched.since_jump, bound);
  std::cout << "  " << whole.watched.looks << " looks, longest "
            << whole.watched.longest.count() / 1000 << " us of "
            << whole.watched.total.count() / 1000 << ", ended after "
            << ended.watched.since_jump.count() / 1000 << " us\n";
}

INSTANTIATE_TEST_SUITE_P(Readers, Deadline, testing::ValuesIn(long_documents),
                         [](const testing::TestParamInfo<LongDocument>& row) {
                           return std::string(row.param.name);
                         });

}  // namespace
}  // namespace tarnis::options
