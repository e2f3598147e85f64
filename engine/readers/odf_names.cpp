#include "engine/readers/odf_names.h"

#include <array>

#include "engine/xml/name_table.h"

namespace trfilter {
namespace {

using E = OdfElement;

enum class Space : std::uint8_t {
  other,
  office,
  text,
  table,
  draw,
  presentation,
  style,
  svg,
  three_d,
  form,
  math,
  dublin_core,
};

constexpr NameTable spaces{std::array{
    NamedToken<Space>{"office", Space::office},
    NamedToken<Space>{"text", Space::text},
    NamedToken<Space>{"table", Space::table},
    NamedToken<Space>{"drawing", Space::draw},
    NamedToken<Space>{"presentation", Space::presentation},
    NamedToken<Space>{"style", Space::style},
    NamedToken<Space>{"svg-compatible", Space::svg},
    NamedToken<Space>{"svg", Space::svg},
    NamedToken<Space>{"dr3d", Space::three_d},
    NamedToken<Space>{"form", Space::form},
}};

constexpr std::string_view oasis = "urn:oasis:names:tc:opendocument:xmlns:";
constexpr std::string_view ancestor = "http://openoffice.org/2000/";
constexpr std::string_view w3c_svg = "http://www.w3.org/2000/svg";
constexpr std::string_view dublin_core = "http://purl.org/dc/elements/1.1/";
constexpr std::string_view w3c_math = "http://www.w3.org/1998/Math/MathML";

Space space_of(std::string_view uri) {
  if (uri.starts_with(oasis)) {
    uri.remove_prefix(oasis.size());
    return spaces.find(uri.substr(0, uri.find(':')));
  }
  if (uri.starts_with(ancestor)) return spaces.find(uri.substr(ancestor.size()));
  if (uri == w3c_svg) return Space::svg;
  if (uri == w3c_math) return Space::math;
  if (uri == dublin_core) return Space::dublin_core;
  return Space::other;
}

constexpr NameTable office_names{std::array{
    NamedToken<E>{"document", E::document},
    NamedToken<E>{"document-content", E::document},
    NamedToken<E>{"document-styles", E::document},
    NamedToken<E>{"body", E::body},
    NamedToken<E>{"spreadsheet", E::spreadsheet},
    NamedToken<E>{"chart", E::chart},
    NamedToken<E>{"master-styles", E::master_styles},
    NamedToken<E>{"meta", E::meta},
    NamedToken<E>{"annotation", E::annotation},
    NamedToken<E>{"binary-data", E::skipped},
    NamedToken<E>{"settings", E::skipped},
    NamedToken<E>{"scripts", E::skipped},
    NamedToken<E>{"script", E::skipped},
    NamedToken<E>{"events", E::skipped},
    NamedToken<E>{"event-listeners", E::skipped},
    NamedToken<E>{"forms", E::skipped},
    NamedToken<E>{"change-info", E::skipped},
    NamedToken<E>{"dde-source", E::skipped},
}};

constexpr NameTable text_names{std::array{
    NamedToken<E>{"p", E::paragraph},
    NamedToken<E>{"h", E::heading},
    NamedToken<E>{"span", E::span},
    NamedToken<E>{"s", E::space},
    NamedToken<E>{"tab", E::tab},
    NamedToken<E>{"tab-stop", E::tab},
    NamedToken<E>{"line-break", E::line_break},
    NamedToken<E>{"list", E::list},
    NamedToken<E>{"ordered-list", E::list},
    NamedToken<E>{"unordered-list", E::list},
    NamedToken<E>{"list-item", E::list_item},
    NamedToken<E>{"list-header", E::list_header},
    NamedToken<E>{"note", E::note},
    NamedToken<E>{"footnote", E::footnote},
    NamedToken<E>{"endnote", E::endnote},
    NamedToken<E>{"note-citation", E::note_citation},
    NamedToken<E>{"footnote-citation", E::note_citation},
    NamedToken<E>{"endnote-citation", E::note_citation},
    NamedToken<E>{"section", E::section},
    NamedToken<E>{"tracked-changes", E::tracked_changes},
    NamedToken<E>{"changed-region", E::changed_region},
    NamedToken<E>{"insertion", E::insertion},
    NamedToken<E>{"deletion", E::deletion},
    NamedToken<E>{"format-change", E::skipped},
    NamedToken<E>{"change", E::change},
    NamedToken<E>{"change-start", E::change_start},
    NamedToken<E>{"change-end", E::change_end},
    NamedToken<E>{"hidden-text", E::hidden_text},
    NamedToken<E>{"hidden-paragraph", E::hidden_paragraph},
    NamedToken<E>{"date", E::date_field},
    NamedToken<E>{"time", E::date_field},
    NamedToken<E>{"creation-date", E::date_field},
    NamedToken<E>{"creation-time", E::date_field},
    NamedToken<E>{"modification-date", E::date_field},
    NamedToken<E>{"modification-time", E::date_field},
    NamedToken<E>{"print-date", E::date_field},
    NamedToken<E>{"print-time", E::date_field},
    NamedToken<E>{"file-name", E::file_name},
    NamedToken<E>{"sheet-name", E::page_value},
    NamedToken<E>{"page-number", E::page_value},
    NamedToken<E>{"title", E::page_value},
    NamedToken<E>{"ruby-text", E::ruby_text},
    NamedToken<E>{"list-style", E::list_style},
    NamedToken<E>{"outline-style", E::outline_style},
    NamedToken<E>{"list-level-style-number", E::list_level_number},
    NamedToken<E>{"outline-level-style", E::list_level_number},
    NamedToken<E>{"list-level-style-bullet", E::list_level_bullet},
    NamedToken<E>{"script", E::skipped},
    NamedToken<E>{"table-of-content-source", E::skipped},
    NamedToken<E>{"illustration-index-source", E::skipped},
    NamedToken<E>{"table-index-source", E::skipped},
    NamedToken<E>{"object-index-source", E::skipped},
    NamedToken<E>{"user-index-source", E::skipped},
    NamedToken<E>{"alphabetical-index-source", E::skipped},
    NamedToken<E>{"bibliography-source", E::skipped},
    NamedToken<E>{"notes-configuration", E::skipped},
    NamedToken<E>{"footnotes-configuration", E::skipped},
    NamedToken<E>{"endnotes-configuration", E::skipped},
}};

constexpr NameTable table_names{std::array{
    NamedToken<E>{"table", E::table},
    NamedToken<E>{"sub-table", E::table},
    NamedToken<E>{"table-row", E::row},
    NamedToken<E>{"table-cell", E::cell},
    NamedToken<E>{"covered-table-cell", E::covered_cell},
    NamedToken<E>{"table-column", E::column},
    NamedToken<E>{"tracked-changes", E::skipped},
    NamedToken<E>{"content-validations", E::skipped},
    NamedToken<E>{"dde-links", E::skipped},
    NamedToken<E>{"named-expressions", E::skipped},
    NamedToken<E>{"database-ranges", E::skipped},
    NamedToken<E>{"data-pilot-tables", E::skipped},
}};

constexpr NameTable draw_names{std::array{
    NamedToken<E>{"page", E::page},
    NamedToken<E>{"object", E::object},
    NamedToken<E>{"layer-set", E::skipped},
}};

constexpr NameTable presentation_names{std::array{
    NamedToken<E>{"notes", E::notes},
    NamedToken<E>{"header-decl", E::header_declaration},
    NamedToken<E>{"footer-decl", E::footer_declaration},
    NamedToken<E>{"date-time-decl", E::footer_declaration},
    NamedToken<E>{"animations", E::skipped},
    NamedToken<E>{"event-listener", E::skipped},
}};

constexpr NameTable style_names{std::array{
    NamedToken<E>{"style", E::style},
    NamedToken<E>{"properties", E::style_properties},
    NamedToken<E>{"text-properties", E::style_properties},
    NamedToken<E>{"table-properties", E::style_properties},
    NamedToken<E>{"drawing-page-properties", E::style_properties},
    NamedToken<E>{"master-page", E::master_page},
    NamedToken<E>{"header", E::page_header},
    NamedToken<E>{"header-left", E::page_header},
    NamedToken<E>{"header-first", E::page_header},
    NamedToken<E>{"footer", E::page_footer},
    NamedToken<E>{"footer-left", E::page_footer},
    NamedToken<E>{"footer-first", E::page_footer},
    NamedToken<E>{"region-left", E::region},
    NamedToken<E>{"region-center", E::region},
    NamedToken<E>{"region-right", E::region},
}};

constexpr NameTable svg_names{std::array{
    NamedToken<E>{"title", E::image_text},
    NamedToken<E>{"desc", E::image_text},
}};

constexpr NameTable math_names{std::array{
    NamedToken<E>{"math", E::math},
    NamedToken<E>{"mi", E::math_token},
    NamedToken<E>{"mn", E::math_token},
    NamedToken<E>{"mo", E::math_token},
    NamedToken<E>{"ms", E::math_token},
    NamedToken<E>{"mtext", E::math_token},
    NamedToken<E>{"annotation", E::skipped},
    NamedToken<E>{"annotation-xml", E::skipped},
}};

E shape_or(E found) {
  return found == E::other ? E::shape : found;
}

}  // namespace

OdfElement odf_element(std::string_view name, std::string_view uri) {
  switch (space_of(uri)) {
    case Space::office:
      return office_names.find(name);
    case Space::text:
      return text_names.find(name);
    case Space::table:
      return table_names.find(name);
    case Space::draw:
    case Space::three_d:
      return shape_or(draw_names.find(name));
    case Space::presentation:
      return presentation_names.find(name);
    case Space::style:
      return style_names.find(name);
    case Space::svg:
      return svg_names.find(name);
    case Space::math:
      return math_names.find(name);
    case Space::form:
      return E::skipped;
    case Space::dublin_core:
      return name == "creator" ? E::annotation_author : E::other;
    case Space::other:
      break;
  }
  return E::other;
}

}  // namespace trfilter
