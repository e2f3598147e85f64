#include "tests/engine/doc_writer.h"
#include "tests/engine/office_encryption.h"
#include "tests/engine/presentation_writer.h"
#include "tests/engine/workbook_writer.h"
#include "tests/options/matrix_table.h"

namespace tarnis::options {
namespace {

using namespace trfilter::test;
using v1::Encoding;

const std::string doc_hidden = sprm(0x083C, 1);
const std::string doc_deleted = sprm(0x0800, 1);
const std::string doc_inserted = sprm(0x0801, 1);

std::string doc_with_page_texts() {
  DocWriter document;
  document.paragraph(u"body");
  document.table(DocWriter::sections, DocWriter::positions({0, 5}, std::string(12, '\0')));
  document.part(DocWriter::headers).paragraph(u"head").paragraph(u"foot");
  // Six separators; even and odd header, even and odd footer, first header and footer.
  document.table(DocWriter::header_texts,
                 DocWriter::positions({0, 0, 0, 0, 0, 0, 0, 0, 5, 5, 10, 10, 10, 10}));
  return document.bytes();
}

std::string doc_with_comment() {
  DocWriter document;
  document.paragraph(u"body");
  document.part(DocWriter::comments).paragraph(u"\5 remark").paragraph(u"");
  document.table(DocWriter::comment_texts, DocWriter::positions({0, 9, 10}));
  return document.bytes();
}

/// A slide of these shapes.
SlideRecords slide(std::string_view shapes, std::string_view more = "") {
  SlideRecords records;
  records.records = drawing(shapes) + std::string(more);
  return records;
}

std::string ppt(const SlideRecords& records) {
  return PresentationWriter().add(records).bytes();
}

std::string ppt_with_footer() {
  const std::string footer =
      container(0x0FD9, atom(0x0FDA, u16(0) + u16(0x20)) + string_atom(u"foot", 2), 0);
  return ppt(slide(shape(byte_text_atoms("one")), footer));
}

std::string ppt_with_hidden_slide() {
  const std::string hidden = atom(0x03F9, u32(0) + u32(0) + u8(0) + u8(0) + u16(0x0004) + u32(0));
  PresentationWriter presentation;
  presentation.add(slide(shape(byte_text_atoms("shown"))));
  presentation.add(slide(shape(byte_text_atoms("kept")), hidden));
  return presentation.bytes();
}

std::string ppt_with_comment() {
  const std::string comment =
      container(0x2EE0, string_atom(u"Ann", 0) + string_atom(u"why?", 1) + string_atom(u"A", 2));
  const std::string tags =
      container(0x1388, container(0x138A, string_atom(u"___PPT10", 0) + atom(0x138B, comment)));
  return ppt(slide(shape(byte_text_atoms("slide")), tags));
}

std::string ppt_with_date() {
  return ppt(slide(shape(byte_text_atoms("on *") + atom(0x0FF7, u32(3) + u8(2) + u8(0) + u16(0)))));
}

std::string ppt_under_password() {
  const auto encryption = Rc4Encryption::of_crypto_api("sesame");
  return PresentationWriter()
      .add(slide(shape(byte_text_atoms("one"))))
      .encrypt(&encryption)
      .bytes();
}

}  // namespace

void add_binary_office(Table& table) {
  table.add("header_and_footer", "doc", doc_with_page_texts(), show_page_texts, "body\n",
            "head\nbody\nfoot\n");
  table.add("header_and_footer_tags", "doc", doc_with_page_texts(), tag_page_texts, "body\n",
            "<header>head</header>\nbody\n<footer>foot</footer>\n");
  table.add(
      "revision_marks", "doc",
      DocWriter().text(u"a").text(u"old", doc_deleted).text(u"new", doc_inserted).end().bytes(),
      mark_revisions, "anew\n", "a[-old-]{+new+}\n");
  table.add("hidden_text", "doc", DocWriter().text(u"a").text(u"b", doc_hidden).end().bytes(),
            show_hidden, "a\n", "ab\n");
  table.add("skip_comments", "doc", doc_with_comment(), skip_comments, "body\nremark\n", "body\n");
  const std::string fields = DocWriter()
                                 .paragraph(
                                     u"\x13 DATE \x14"
                                     u"1 May\x15 in \x13 FILENAME \x14"
                                     u"a.doc\x15")
                                 .bytes();
  table.add("date_time_field_codes", "doc", fields, date_codes, "1 May in a.doc\n",
            "DATE in a.doc\n");
  table.add("filename_field_code", "doc", fields, file_codes, "1 May in a.doc\n",
            "1 May in FILENAME\n");
  table.add("soft_hyphens", "doc",
            DocWriter()
                .paragraph(u"so\x1F"
                           u"ft")
                .bytes(),
            keep_soft_hyphens, "soft\n", "so\u00ADft\n");
  table.add("header_and_footer", "ppt", ppt_with_footer(), show_page_texts, "one\n", "one\nfoot\n");
  table.add("header_and_footer_tags", "ppt", ppt_with_footer(), tag_page_texts, "one\n",
            "one\n<footer>foot</footer>\n");
  table.add("hidden_text", "ppt", ppt_with_hidden_slide(), show_hidden, "shown\n",
            "shown\n\fkept\n");
  table.add("skip_comments", "ppt", ppt_with_comment(), skip_comments, "slide\nAnn: why?\n",
            "slide\n");
  table.add("date_time_field_codes", "ppt", ppt_with_date(), date_codes, "on \n", "on datetime3\n");
  table.add(
      "password", "ppt", ppt_under_password(), [](Configuration& c) { c.password("sesame"); }, "8",
      "0", Shown::code);
  table.add("soft_hyphens", "ppt", ppt(slide(shape(text_atoms(u"so\u00ADft")))), keep_soft_hyphens,
            "soft\n", "so\u00ADft\n");
  const std::pair<const char*, std::string> texts[] = {
      {"doc", DocWriter().paragraph(u"f\u00FCr").bytes()},
      {"ppt", ppt(slide(shape(text_atoms(u"f\u00FCr"))))}};
  for (const auto& [family, document] : texts) add_target(table, family, document, "für\n");
}

}  // namespace tarnis::options
