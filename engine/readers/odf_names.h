#pragma once

#include <cstdint>
#include <string_view>

#include "engine/xml/xml_parser.h"

namespace trfilter {

/// Elements of OpenDocument and its ancestors that mean something to the reader.
enum class OdfElement : std::uint8_t {
  other,
  skipped,  ///< nothing within is text of the document
  // office
  document,
  body,
  spreadsheet,
  chart,
  master_styles,
  meta,
  annotation,
  annotation_author,
  // text
  paragraph,
  heading,
  span,
  space,
  tab,
  line_break,
  list,
  list_item,
  list_header,
  footnote,
  endnote,
  note,
  note_citation,
  section,
  tracked_changes,
  changed_region,
  insertion,
  deletion,
  change,
  change_start,
  change_end,
  hidden_text,
  hidden_paragraph,
  date_field,
  file_name,
  page_value,  ///< a field whose value only a page has: its number, a sheet's name
  ruby_text,
  list_style,
  outline_style,
  list_level_number,
  list_level_bullet,
  // style
  style,
  style_properties,
  master_page,
  page_header,
  page_footer,
  region,
  // table
  table,
  row,
  cell,
  covered_cell,
  column,
  // draw, presentation, svg
  page,
  shape,  ///< any other of the drawing namespaces
  image_text,
  object,
  notes,
  header_declaration,
  footer_declaration,
  // math
  math,
  math_token,
};

/// What an element is, by its namespace (of OpenDocument 1.0 to 1.3 or of OpenOffice.org 1) and
/// name.
OdfElement odf_element(std::string_view name, std::string_view uri);

inline OdfElement odf_element(const XmlElement& element) {
  return odf_element(element.name(), element.uri());
}

}  // namespace trfilter
