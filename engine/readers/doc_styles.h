#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/readers/doc_modifiers.h"

namespace trfilter::doc {

/// What a style contributes to the text, its ancestors included.
struct Style {
  bool vanish = false;
  std::optional<std::uint16_t> font;
  std::uint32_t list_id = 0;
  std::uint32_t list_level = 0;
  std::uint32_t old_number_kind = 0;
  std::string old_number;  ///< of Word 6
};

/// The style sheet of a document ([MS-DOC] 2.9.271 STSH).
class Styles {
 public:
  /// None: every style contributes nothing.
  Styles() = default;
  Styles(std::string_view sheet, Version version);

  const Style& find(std::uint32_t index) const;

 private:
  /// A definition before it is joined with its ancestors'.
  struct Definition {
    std::uint32_t base = no_style;
    std::string_view paragraph;
    std::string_view characters;
    bool joined = false;
  };

  static constexpr std::uint32_t no_style = 0xFFF;

  static Definition definition_of(std::string_view bytes, std::size_t fixed_size, Version version);
  void join(std::vector<Definition>& definitions, Version version);

  std::vector<Style> styles_;
};

/// Sets a toggle property as a modification wants it ([MS-DOC] 2.4.6.2).
/// @param by_style  what the styles say
bool toggled(std::uint32_t operand, bool by_style);

}  // namespace trfilter::doc
