#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "engine/core/text_sink.h"

namespace trfilter::docx {

/// A field between its begin and its end (ECMA-376 part 1, 17.16).
struct Field {
  /// How the instruction and the result of a date, time or file name field are marked.
  struct Regions {
    Region code;
    Region result;
  };

  static constexpr std::size_t most_instruction_bytes = 4096;

  std::string instruction;
  bool in_instruction = true;
  std::optional<Regions> regions;

  void append(std::string_view text);
};

/// The regions of a field by its instruction; none for fields whose result is text like any other.
std::optional<Field::Regions> regions_of_field(std::string_view instruction);

/// What a field shows that has no result: the text of a MACROBUTTON or GOTOBUTTON, else nothing.
std::string_view shown_instruction(std::string_view instruction);

/// An instruction without the blanks around it.
std::string_view trimmed(std::string_view text);

}  // namespace trfilter::docx
