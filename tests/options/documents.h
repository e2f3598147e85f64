#pragma once

#include <string>
#include <string_view>
#include <vector>

// Small documents with the pieces that options show and hide, one function a document.

namespace tarnis::options {

/// Rich Text Format with this body.
std::string rtf(std::string_view body);

// Word.
std::string docx(std::string_view body);
std::string docx_run(std::string_view text, std::string_view properties = "");
std::string docx_field(std::string_view instruction, std::string_view result);
std::string docx_with_page_texts();
std::string docx_with_comment();

/// A package of Office Open XML that carries a thumbnail and an embedded font: its main part, and
/// the kind in that part's content type.
std::string office_with_files(std::string_view main_part, std::string_view kind);

// Excel.
std::string xlsx(std::string_view sheet);
std::string xlsx_with_hidden_pieces();
std::string xlsx_with_comment();
std::string xlsx_with_strings(std::string_view sheet, std::string_view strings);

// PowerPoint.
std::string pptx(std::string_view shapes);
std::string pptx_shape(std::string_view text, std::string_view placeholder = "");
std::string pptx_with_hidden_slide();
std::string pptx_with_comment();

// OpenDocument text.
std::string odt(std::string_view body, std::string_view styles = {});
std::string odt_with_page_texts();
std::string odt_with_files();  ///< a thumbnail and an embedded font

// PDF: pages of uncompressed objects.
std::string pdf(std::string_view content);
std::string pdf_with_comment();
std::string pdf_with_layer_off();
std::string pdf_with_structure();
std::string pdf_with_two_columns();
/// An operator that shows text at a place.
std::string pdf_text(int x, int y, std::string_view text);

/// A book of one chapter, with a font.
std::string epub(std::string_view chapter_body);

// Binary workbooks.
std::string xls_with_hidden_sheet();
std::string xls_with_header();
std::string xls_with_comment();
std::string xls_with_text(std::string_view utf8);

/// A zip archive of these members.
struct Member {
  std::string_view name;
  std::string_view content;
};
std::string zip(const std::vector<Member>& members);

/// The document `samples/<name>`.
std::string sample(std::string_view name);

}  // namespace tarnis::options
