#include "tests/options/matrix.h"

#include <algorithm>
#include <utility>

#include "api/tarnis_internal.h"
#include "tests/engine/archive_writer.h"
#include "tests/engine/encrypted_package.h"
#include "tests/engine/office_encryption.h"
#include "tests/engine/workbook_writer.h"
#include "tests/options/documents.h"
#include "tests/options/matrix_table.h"

namespace tarnis::options {
namespace {

using v1::Encoding;
using v1::LogicalPDFDirection;
using v1::Session;

void add_page_texts(Table& table) {
  const std::string in_rtf = rtf("{\\header head\\par}{\\footer foot\\par}body");
  table.add("header_and_footer", "RTF", in_rtf, show_page_texts, "body\n", "head\nfoot\nbody\n");
  table.add("header_and_footer_tags", "RTF", in_rtf, tag_page_texts, "body\n",
            "<header>head</header>\n<footer>foot</footer>\nbody\n");
  table.add("header_and_footer", "docx", docx_with_page_texts(), show_page_texts, "body\n",
            "head\nbody\nfoot\n");
  table.add("header_and_footer_tags", "docx", docx_with_page_texts(), tag_page_texts, "body\n",
            "<header>head</header>\nbody\n<footer>foot</footer>\n");
  const std::string in_xlsx = xlsx(
      "<sheetData><row><c><v>1</v></c></row></sheetData>"
      "<headerFooter><oddHeader>&amp;Chead</oddHeader><oddFooter>&amp;Cfoot</oddFooter>"
      "</headerFooter>");
  table.add("header_and_footer", "xlsx", in_xlsx, show_page_texts, "S\n1\n",
            "S\n1\n\thead\n\tfoot\n");
  table.add("header_and_footer_tags", "xlsx", in_xlsx, tag_page_texts, "S\n1\n",
            "S\n1\n\t<header>head</header>\n\t<footer>foot</footer>\n");
  const std::string in_pptx = pptx(pptx_shape("title", "title") + pptx_shape("foot", "ftr"));
  table.add("header_and_footer", "pptx", in_pptx, show_page_texts, "title\n", "title\nfoot\n");
  table.add("header_and_footer_tags", "pptx", in_pptx, tag_page_texts, "title\n",
            "title\n<footer>foot</footer>\n");
  table.add("header_and_footer", "ODF", odt_with_page_texts(), show_page_texts, "body\n",
            "head\nbody\nfoot\n");
  table.add("header_and_footer_tags", "ODF", odt_with_page_texts(), tag_page_texts, "body\n",
            "<header>head</header>\nbody\n<footer>foot</footer>\n");
  const auto tagged = [](Configuration& c) { c.tagged_pdf_content(true); };
  table.add_between(
      "header_and_footer", "PDF", pdf_with_structure(), tagged,
      [](Configuration& c) { c.tagged_pdf_content(true).header_and_footer(true); },
      "Read first\n\nRead second\n", "Read first\n\nRead second\nPage 1\n");
  table.add_between(
      "header_and_footer_tags", "PDF", pdf_with_structure(), tagged,
      [](Configuration& c) { c.tagged_pdf_content(true).header_and_footer_tags(true); },
      "Read first\n\nRead second\n", "Read first\n\nRead second\n<footer>Page 1</footer>\n");
  table.add("header_and_footer", "xls", xls_with_header(), show_page_texts, "S\nbody\n",
            "S\nbody\n\thead  in \n");
  table.add("header_and_footer_tags", "xls", xls_with_header(), tag_page_texts, "S\nbody\n",
            "S\nbody\n\t<header>head  in </header>\n");
}

void add_revisions(Table& table) {
  table.add("revision_marks", "RTF", rtf("a{\\revised new}{\\deleted old}b"), mark_revisions,
            "anewb\n", "a{+new+}[-old-]b\n");
  table.add("revision_marks", "docx",
            docx(docx_run("a") + "<w:ins>" + docx_run("new") +
                 "</w:ins><w:del><w:r><w:delText>old</w:delText></w:r></w:del>"),
            mark_revisions, "anew\n", "a{+new+}[-old-]\n");
  table.add("revision_marks", "ODF",
            odt("<text:tracked-changes><text:changed-region text:id='c'><text:deletion>"
                "<text:p>old</text:p></text:deletion></text:changed-region></text:tracked-changes>"
                "<text:p>a<text:change text:change-id='c'/>b</text:p>"),
            mark_revisions, "ab\n", "a[-old-]b\n");
}

void add_hidden_text(Table& table) {
  table.add("hidden_text", "HTML", "<html><body><p>a</p><p hidden>b</p></body></html>", show_hidden,
            "a\n", "a\nb\n");
  table.add("hidden_text", "RTF", rtf("a{\\v b}c"), show_hidden, "ac\n", "abc\n");
  table.add("hidden_text", "docx", docx(docx_run("a") + docx_run("b", "<w:vanish/>")), show_hidden,
            "a\n", "ab\n");
  table.add("hidden_text", "xlsx", xlsx_with_hidden_pieces(), show_hidden, "S\n1\n",
            "S\n1\t2\n3\n\fAway\n4\n");
  table.add("hidden_text", "pptx", pptx_with_hidden_slide(), show_hidden, "next\n",
            "hidden\n\fnext\n");
  table.add("hidden_text", "ODF",
            odt("<text:p>a<text:span text:style-name='T'>b</text:span></text:p>",
                "<style:style style:name='T' style:family='text'>"
                "<style:text-properties text:display='none'/></style:style>"),
            show_hidden, "a\n", "ab\n");
  table.add("hidden_text", "PDF", pdf_with_layer_off(), show_hidden, "Seen\n", "Seen\nUnseen\n");
  table.add("hidden_text", "EPUB", epub("<p>a</p><p hidden='hidden'>b</p>"), show_hidden, "a\n",
            "a\nb\n");
  table.add("hidden_text", "xls", xls_with_hidden_sheet(), show_hidden, "Shown\nseen\n",
            "Shown\nseen\n\fAway\nunseen\n");
}

void add_comments(Table& table) {
  table.add("skip_comments", "RTF", rtf("a{\\*\\annotation remark}"), skip_comments, "a\nremark\n",
            "a\n");
  table.add("skip_comments", "docx", docx_with_comment(), skip_comments, "body\nremark\n",
            "body\n");
  table.add("skip_comments", "xlsx", xlsx_with_comment(), skip_comments, "S\n1\nAnn: remark\n",
            "S\n1\n");
  table.add("skip_comments", "pptx", pptx_with_comment(), skip_comments, "slide\nremark\n",
            "slide\n");
  table.add("skip_comments", "ODF",
            odt("<text:p>a<office:annotation><text:p>remark</text:p></office:annotation></text:p>"),
            skip_comments, "a\nremark\n", "a\n");
  table.add("skip_comments", "PDF", pdf_with_comment(), skip_comments, "Text\nA remark.\n",
            "Text\n");
  table.add("skip_comments", "xls", xls_with_comment(), skip_comments, "S\ncell\nremark\n",
            "S\ncell\n");
}

void add_members(Table& table) {
  const std::vector<std::pair<const char*, std::string>> packages = {
      {"docx", office_with_files("word/document.xml", "wordprocessingml.document")},
      {"xlsx", office_with_files("xl/workbook.xml", "spreadsheetml.sheet")},
      {"pptx", office_with_files("ppt/presentation.xml", "presentationml.presentation")}};
  for (const auto& [family, package] : packages) {
    table.add("skip_embedded_fonts", family, package, skip_fonts, "font1.odttf\nthumbnail.jpeg\n",
              "thumbnail.jpeg\n", Shown::members);
    table.add("skip_thumbnail", family, package, skip_thumbnail, "font1.odttf\nthumbnail.jpeg\n",
              "font1.odttf\n", Shown::members);
  }
  table.add("skip_embedded_fonts", "ODF", odt_with_files(), skip_fonts, "thumbnail.png\nown.ttf\n",
            "thumbnail.png\n", Shown::members);
  table.add("skip_thumbnail", "ODF", odt_with_files(), skip_thumbnail, "thumbnail.png\nown.ttf\n",
            "own.ttf\n", Shown::members);
  table.add("skip_embedded_fonts", "EPUB", epub("<p>a</p>"), skip_fonts, "own.ttf\n", "",
            Shown::members);
}

void add_field_codes(Table& table) {
  const std::string rtf_date =
      rtf("{\\field{\\*\\fldinst DATE}{\\fldrslt 1.2.}}"
          "{\\field{\\*\\fldinst FILENAME}{\\fldrslt a.rtf}}");
  table.add("date_time_field_codes", "RTF", rtf_date, date_codes, "1.2.a.rtf\n", "DATEa.rtf\n");
  table.add("filename_field_code", "RTF", rtf_date, file_codes, "1.2.a.rtf\n", "1.2.FILENAME\n");
  const std::string in_docx = docx(docx_field("DATE", "1.2.") + docx_field("FILENAME", "a.docx"));
  table.add("date_time_field_codes", "docx", in_docx, date_codes, "1.2.a.docx\n", "DATEa.docx\n");
  table.add("filename_field_code", "docx", in_docx, file_codes, "1.2.a.docx\n", "1.2.FILENAME\n");
  const std::string in_xlsx = xlsx(
      "<sheetData><row><c><v>1</v></c></row></sheetData>"
      "<headerFooter><oddHeader>&amp;Con &amp;D in &amp;F</oddHeader></headerFooter>");
  table.add_between(
      "date_time_field_codes", "xlsx", in_xlsx, show_page_texts,
      [](Configuration& c) { c.header_and_footer(true).date_time_field_codes(true); },
      "S\n1\n\ton  in \n", "S\n1\n\ton &D in \n");
  table.add_between(
      "filename_field_code", "xlsx", in_xlsx, show_page_texts,
      [](Configuration& c) { c.header_and_footer(true).filename_field_code(true); },
      "S\n1\n\ton  in \n", "S\n1\n\ton  in &F\n");
  table.add("date_time_field_codes", "pptx",
            pptx("<p:sp><p:nvSpPr><p:cNvPr id=\"2\" name=\"Shape\"/><p:nvPr/></p:nvSpPr><p:txBody>"
                 "<a:p><a:fld type=\"datetime1\"><a:t>1.2.</a:t></a:fld></a:p></p:txBody></p:sp>"),
            date_codes, "1.2.\n", "datetime1\n");
  const std::string in_odf =
      odt("<text:p><text:date>1.2.</text:date> <text:file-name>a.odt</text:file-name></text:p>");
  table.add("date_time_field_codes", "ODF", in_odf, date_codes, "1.2. a.odt\n", "DATE a.odt\n");
  table.add("filename_field_code", "ODF", in_odf, file_codes, "1.2. a.odt\n", "1.2. FILENAME\n");
  table.add_between(
      "date_time_field_codes", "xls", xls_with_header(), show_page_texts,
      [](Configuration& c) { c.header_and_footer(true).date_time_field_codes(true); },
      "S\nbody\n\thead  in \n", "S\nbody\n\thead &D in \n");
  table.add_between(
      "filename_field_code", "xls", xls_with_header(), show_page_texts,
      [](Configuration& c) { c.header_and_footer(true).filename_field_code(true); },
      "S\nbody\n\thead  in \n", "S\nbody\n\thead  in &F\n");
}

void add_pdf(Table& table) {
  table.add(
      "custom_pdf_metadata", "PDF", sample("columns.pdf"),
      [](Configuration& c) { c.custom_pdf_metadata(true); }, "", "Shelf=B 7\n", Shown::properties);
  table.add(
      "tagged_pdf_content", "PDF", pdf_with_structure(),
      [](Configuration& c) { c.tagged_pdf_content(true); }, "Read second\nRead first\n\nPage 1\n",
      "Read first\n\nRead second\n");
  // Drawn row by row: the automatic order reads columns, raw order the rows, the others a column
  // after the other.
  const std::string by_rows = pdf_with_two_columns();
  const auto reads = [&](LogicalPDFDirection off, LogicalPDFDirection on, std::string without,
                         std::string with) {
    table.add_between(
        "pdf_logical_reading", "PDF", by_rows,
        [=](Configuration& c) { c.pdf_logical_reading(off); },
        [=](Configuration& c) { c.pdf_logical_reading(on); }, std::move(without), std::move(with));
  };
  std::string left;
  std::string right;
  std::string rows;
  for (int row = 0; row < 8; ++row) {
    const std::string number = std::to_string(row) + "\n";
    left += "The left column has a line of text like this one, L" + number;
    right += "and the right column follows it with lines, R" + number;
    rows += "The left column has a line of text like this one, L" + std::to_string(row) +
            " and the right column follows it with lines, R" + number;
  }
  reads(LogicalPDFDirection::automatic, LogicalPDFDirection::raw, left + "\n" + right, rows);
  reads(LogicalPDFDirection::left_to_right, LogicalPDFDirection::right_to_left, left + "\n" + right,
        right + "\n" + left);
}

/// A document of each family that has this text, which may hold what is not ASCII.
std::vector<std::pair<const char*, std::string>> with_text(const std::string& utf8,
                                                           const std::string& in_rtf,
                                                           const std::string& in_pdf) {
  return {
      {"plain text", utf8 + "\n"},
      {"HTML", "<html><head><meta charset=utf-8></head><body><p>" + utf8 + "</p></body></html>"},
      {"XML", "<?xml version='1.0'?><a>" + utf8 + "</a>"},
      {"RTF", rtf(in_rtf)},
      {"docx", docx(docx_run(utf8))},
      {"xlsx",
       xlsx("<sheetData><row><c t='inlineStr'><is><t>" + utf8 + "</t></is></c></row></sheetData>")},
      {"pptx", pptx(pptx_shape(utf8))},
      {"ODF", odt("<text:p>" + utf8 + "</text:p>")},
      {"PDF", pdf(pdf_text(72, 700, in_pdf))},
      {"EPUB", epub("<p>" + utf8 + "</p>")},
      {"xls", xls_with_text(utf8)},
  };
}

std::string with_sheet_name(std::string_view family, const std::string& text) {
  return family == "xlsx" || family == "xls" ? "S\n" + text : text;
}

void add_for_every_text(Table& table) {
  for (const auto& [family, document] : with_text("so\u00ADft", "so\\-ft", "so\\255ft")) {
    // Within a line of a PDF the sign is a hyphen that is shown.
    if (std::string_view(family) == "PDF") continue;
    table.add("soft_hyphens", family, document, keep_soft_hyphens,
              with_sheet_name(family, "soft\n"), with_sheet_name(family, "so\u00ADft\n"));
  }
  for (const auto& [family, document] : with_text("für", "f\\'fcr", "f\\374r")) {
    add_target(table, family, document, with_sheet_name(family, "für\n"));
  }
}

void add_character_sets(Table& table) {
  const std::string word = "\xD7\xC5\xD2\xC1";
  const std::string html = "<html><body><p>" + word + "</p></body></html>";
  const std::string xml = "<?xml version='1.0'?><a>" + word + "</a>";
  const auto as_russian = [](Configuration& c) { c.source_encoding(Encoding::koi8_r); };
  const auto as_western = [](Configuration& c) { c.source_encoding(Encoding::windows_1252); };
  table.add_between("source_encoding", "plain text", "The word for faith is " + word, as_western,
                    as_russian, "The word for faith is ×ÅÒÁ\n", "The word for faith is вера\n");
  table.add_between("source_encoding", "HTML", html, as_western, as_russian, "×ÅÒÁ\n", "вера\n");
  table.add_between("source_encoding", "XML", xml, as_western, as_russian, "×ÅÒÁ\n", "вера\n");
  table.add_between(
      "source_encoding", "archives", zip({{"\xA2\xA5\xE0\xA0.txt", "faith"}}),
      [](Configuration& c) { c.source_encoding(Encoding::windows_1252); },
      [](Configuration& c) { c.source_encoding(Encoding::ibm_866); }, "¢¥à\u00A0.txt\n",
      "вера.txt\n", Shown::members);
  const std::string russian =
      "\xF7\xDE\xC5\xD2\xC1 \xD0\xCF\xDA\xC4\xCE\xCF \xD7\xC5\xDE\xC5\xD2\xCF\xCD "
      "\xC7\xCF\xD3\xD4\xC9 \xD7\xC5\xD2\xCE\xD5\xCC\xC9\xD3\xD8";
  const std::string read = "Вчера поздно вечером гости вернулись\n";
  const std::string misread = "÷ÞÅÒÁ ÐÏÚÄÎÏ ×ÅÞÅÒÏÍ ÇÏÓÔÉ ×ÅÒÎÕÌÉÓØ\n";
  const auto off = [](Configuration& c) { c.character_set_detection(false); };
  const auto on = [](Configuration& c) { c.character_set_detection(true); };
  table.add_between("character_set_detection", "plain text", russian, off, on, misread, read);
  table.add_between("character_set_detection", "HTML",
                    "<html><body><p>" + russian + "</p></body></html>", off, on, misread, read);
  table.add_between("character_set_detection", "XML", "<?xml version='1.0'?><a>" + russian + "</a>",
                    off, on, misread, read);
  table.add(
      "no_encoding_conversion", "plain text", "f\xFCr\r\n",
      [](Configuration& c) { c.no_encoding_conversion(true); }, "für\n", "f\xFCr\r\n");
}

void add_passwords(Table& table) {
  using namespace trfilter::test;
  const auto sesame = [](Configuration& c) { c.password("sesame"); };
  table.add(
      "password", "PDF", sample("locked.pdf"), [](Configuration& c) { c.password("aladdin"); }, "8",
      "0", Shown::code);
  table.add("password", "archives",
            write_archive("zip", "", {{"a.txt", "secret"}}, "zip:encryption=aes256", "sesame"),
            sesame, "8", "0", Shown::member_code);
  const std::pair<const char*, std::string> packages[] = {
      {"docx", docx(docx_run("secret"))},
      {"xlsx", xlsx("<sheetData><row><c t='str'><v>secret</v></c></row></sheetData>")},
      {"pptx", pptx(pptx_shape("secret"))}};
  for (const auto& [family, package] : packages) {
    table.add("password", family, agile_encrypted(package, u"sesame"), sesame, "[error 8]",
              with_sheet_name(family, "secret\n"));
    table.add("password", family, standard_encrypted(package, u"sesame"), sesame, "[error 8]",
              with_sheet_name(family, "secret\n"));
  }
  const std::string record = RecordWriter().add(0x0204, cell(0, 0) + narrow("secret")).bytes();
  table.add("password", "doc", encrypted_word_document("sesame", u"secret"), sesame, "[error 8]",
            "secret\n");
  table.add("password", "xls", encrypted_workbook("sesame", record), sesame, "[error 8]",
            "S\nsecret\n");
}

}  // namespace

void add_target(Table& table, const char* family, const std::string& document,
                const std::string& text) {
  table.add(
      "unicode_byte_order_marker", family, document,
      [](Configuration& c) { c.unicode_byte_order_marker(true); }, text, "\xEF\xBB\xBF" + text);
  std::string western = text;
  western.replace(western.find("ü"), 2, "\xFC");
  table.add(
      "target_encoding", family, document,
      [](Configuration& c) { c.target_encoding(Encoding::windows_1252); }, text, western);
}

const std::vector<std::string>& option_names() {
  static const std::vector<std::string> names = {
      "header_and_footer",       "header_and_footer_tags",
      "revision_marks",          "hidden_text",
      "skip_comments",           "skip_embedded_fonts",
      "skip_thumbnail",          "date_time_field_codes",
      "filename_field_code",     "soft_hyphens",
      "custom_pdf_metadata",     "tagged_pdf_content",
      "pdf_logical_reading",     "formatted_mail",
      "character_set_detection", "source_encoding",
      "target_encoding",         "unicode_byte_order_marker",
      "no_encoding_conversion",  "password",
      "temporary_directory",     "timeout",
      "extraction_timeout"};
  return names;
}

const std::vector<std::string>& family_names() {
  static const std::vector<std::string> names = {
      "plain text", "HTML", "XML",  "RTF", "docx", "xlsx", "pptx", "ODF",
      "PDF",        "EPUB", "mail", "msg", "doc",  "xls",  "ppt",  "archives"};
  return names;
}

std::vector<Effect> effects() {
  Table table;
  add_page_texts(table);
  add_revisions(table);
  add_hidden_text(table);
  add_comments(table);
  add_members(table);
  add_field_codes(table);
  add_pdf(table);
  add_for_every_text(table);
  add_character_sets(table);
  add_passwords(table);
  add_binary_office(table);
  add_mail(table);
  add_outlook(table);
  return table.take();
}

std::string seen(Shown shown, const std::string& document, const Configuration& configuration) {
  const Session session(TARNIS_ENGINE_DIRECTORY, true, configuration);
  v1::io::InMemoryFile input(std::vector<unsigned char>(document.begin(), document.end()));
  const v1::generic_io::Input source(input);
  if (shown == Shown::members) {
    std::string names;
    const v1::Container container(source, *session.implementation());
    for (const v1::Subfile& member : container) names += member.rawname() + "\n";
    return names;
  }
  if (shown == Shown::properties) {
    // Those that every document has are the same with and without the options.
    std::string properties;
    for (const auto& [name, value] : v1::internal::metadata_map(session.implementation(), source)) {
      if (name == "Shelf") properties.append(name).append("=").append(value).append("\n");
    }
    return properties;
  }
  v1::io::InMemoryFile output;
  int code = 0;
  try {
    const v1::generic_io::Output target(output);
    if (shown == Shown::member_line || shown == Shown::member_code) {
      const v1::Container container(source, *session.implementation());
      v1::internal::extract(container.at(0).implementation(), target);
    } else {
      v1::internal::filter(session.implementation(), source, target);
    }
  } catch (const v1::password_protected_error&) {
    code = 8;
  } catch (const v1::format_not_supported_error&) {
    code = 7;
  } catch (const v1::tarnis_error& error) {
    code = error.code();
  }
  if (shown == Shown::code || shown == Shown::member_code) return std::to_string(code);
  std::string text(output.data().begin(), output.data().end());
  if (shown == Shown::member_line) text.resize(std::min(text.find_first_of("\r\n"), text.size()));
  return code == 0 ? text : text + "[error " + std::to_string(code) + "]";
}

}  // namespace tarnis::options
