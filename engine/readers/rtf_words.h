#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace trfilter::rtf {

/// What a control word asks for. Words that change nothing about the text are not known at all.
enum class Action : std::uint8_t {
  none,
  binary,  ///< its data has been passed over

  // Text.
  character,  ///< value: the code point
  tab,
  line,
  paragraph,
  section,
  page,
  cell,
  row,
  nested_cell,
  nested_row,
  unicode,
  unicode_skip,

  // Properties of characters, paragraphs, rows and sections.
  character_defaults,
  font,
  hidden,
  deleted,
  inserted,
  paragraph_defaults,
  in_table,
  table_level,
  page_break_before,
  row_defaults,
  section_defaults,
  section_continues,

  // Properties of the document and of fonts.
  code_page,         ///< value: the number
  code_page_number,  ///< the parameter is the number
  default_font,
  font_character_set,
  font_code_page,

  // Destinations. All words from here on begin one.
  skipped,    ///< holds no text of the document
  contents,   ///< shown as if its text stood in the group around it
  alternate,  ///< its text twice, the second time in a `\ud` group
  alternate_unicode,
  header,
  footer,
  footnote,
  annotation,
  annotation_author,
  text_box,
  picture,  ///< its data is dropped, its description shown
  shape_property,
  shape_property_name,
  shape_property_value,
  field,
  field_instruction,
  field_result,
  form_field,
  form_item,
  font_table,
  information,
  information_text,  ///< value: the index of the property's name
  information_time,  ///< the same
  user_properties,
  property_name,
  property_value,

  // Words inside of some destinations.
  endnote,
  information_number,   ///< value: the index of the property's name
  information_version,  ///< the same
  year,
  month,
  day,
  hour,
  minute,
  second,
  property_type,
  form_result,
  form_default,
};

constexpr bool is_destination(Action action) {
  return action >= Action::skipped && action <= Action::property_value;
}

struct Word {
  Action action = Action::none;
  std::int32_t value = 0;
};

/// No known word is longer.
constexpr std::size_t longest_word = 24;

/// Looks a control word up; letters count as they are, words are in lower case but for a few.
/// @return `Action::none` for a word that is not known
Word word_of(std::string_view name);

/// Names of the properties that the values of information words stand for.
std::string_view property_name_of(std::int32_t index);

}  // namespace trfilter::rtf
