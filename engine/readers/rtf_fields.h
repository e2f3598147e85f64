#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace trfilter::rtf {

/// A field: an instruction, and the result that its producer has computed.
struct Field {
  enum class Kind : std::uint8_t {
    other,
    date_time,
    file_name,
    symbol,
    equation,
    drop_down,
    check_box,
  };

  static constexpr std::size_t longest_instruction = 4096;  ///< bytes; of more only these are kept
  static constexpr std::size_t most_items = 64;             ///< of a drop-down field

  /// Adds text to the instruction.
  void add_instruction(std::string_view text);

  /// Tells `kind` from the instruction, once it is whole.
  void settle();

  /// What to show when the document holds no result. Empty for most fields.
  std::string text_without_result() const;

  std::string instruction;
  Kind kind = Kind::other;
  std::uint64_t text_before_result = 0;  ///< the parser's count of text when the field began

  // Of a form field.
  std::int32_t form_result = form_undefined;
  std::int32_t form_default = 0;
  std::vector<std::string> items;

  static constexpr std::int32_t form_undefined = 25;
};

}  // namespace trfilter::rtf
