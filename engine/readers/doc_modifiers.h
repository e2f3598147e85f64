#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "engine/readers/doc_fib.h"

namespace trfilter::doc {

/// The properties that text depends on ([MS-DOC] 2.6; the codes of Word 6 are other ones).
enum class Property : std::uint8_t {
  other,
  // Of characters.
  deleted,
  inserted,
  data,  ///< the picture location is that of binary data
  picture_location,
  font,
  symbol,
  vanish,
  special,
  ole_object,
  character_style,
  plain,
  // Of paragraphs.
  paragraph_style,
  list_level,
  list_id,
  old_number_kind,
  old_number,
  in_table,
  row_end,
  table_depth,
  inner_cell_end,
  inner_row_end,
  drop_cap,
  huge,  ///< the properties lie in the data stream
  // Of sections, Word 6.
  header_kinds,
  old_outline,
};

/// A single property modification.
struct Modifier {
  Property property = Property::other;
  std::string_view operand;  ///< of variable operands without their size

  std::uint32_t value() const;
  bool on() const { return value() != 0; }
};

/// Takes a list of modifications apart.
class ModifierList {
 public:
  ModifierList(std::string_view bytes, Version version) : rest_(bytes), version_(version) {}

  /// @return none at the end, and from the first one on that does not lie within the list
  std::optional<Modifier> next();

 private:
  std::optional<Modifier> next_word_6();
  std::optional<Modifier> take(Property property, std::size_t head, std::size_t size);

  std::string_view rest_;
  Version version_;
};

}  // namespace trfilter::doc
