#pragma once

#include <string_view>

namespace trfilter::docx {

/// What the elements of WordprocessingML, and of what stands within it, are to a story. Content
/// comes first, then properties, then objects.
enum class StoryToken : unsigned char {
  other,
  // Content.
  paragraph,
  run,
  text,
  instruction,
  tab,
  line_break,
  carriage_return,
  no_break_hyphen,
  soft_hyphen,
  symbol,
  field_character,
  simple_field,
  inserted,
  deleted,
  table,
  row,
  cell,
  ruby,
  ruby_text,
  footnote,
  endnote,
  comment,
  text_box,
  alternate_content,
  choice,
  fallback,
  // Properties.
  paragraph_properties,
  run_properties,
  row_properties,
  paragraph_style,
  run_style,
  number_level,
  number_id,
  vanish,
  frame,
  section,
  grid_span,
  grid_before,
  hidden_row,
  table_description,
  // Objects.
  drawing_properties,
  vml_shape,
  vml_text_path,
  chart,
  diagram,
  chunk,
  // What says nothing or what has been.
  left_out,
};

/// @param name  local
StoryToken token_of(std::string_view name);

}  // namespace trfilter::docx
