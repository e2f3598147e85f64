#include "engine/readers/rtf_fields.h"

#include <algorithm>
#include <array>
#include <utility>

#include "engine/word/field_text.h"

namespace trfilter::rtf {
namespace {

std::string upper_case(std::string_view word) {
  std::string out(word);
  for (char& c : out) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return out;
}

}  // namespace

void Field::add_instruction(std::string_view text) {
  instruction +=
      text.substr(0, longest_instruction - std::min(longest_instruction, instruction.size()));
}

void Field::settle() {
  constexpr auto kinds = std::to_array<std::pair<std::string_view, Kind>>({
      {"DATE", Kind::date_time},
      {"TIME", Kind::date_time},
      {"CREATEDATE", Kind::date_time},
      {"SAVEDATE", Kind::date_time},
      {"PRINTDATE", Kind::date_time},
      {"FILENAME", Kind::file_name},
      {"SYMBOL", Kind::symbol},
      {"EQ", Kind::equation},
      {"FORMDROPDOWN", Kind::drop_down},
      {"FORMCHECKBOX", Kind::check_box},
  });
  std::string_view rest = instruction;
  const std::string name = upper_case(word::take_word(rest));
  const auto found = std::find_if(kinds.begin(), kinds.end(),
                                  [&](const auto& entry) { return entry.first == name; });
  kind = found == kinds.end() ? Kind::other : found->second;
}

std::string Field::text_without_result() const {
  switch (kind) {
    case Kind::symbol:
      return word::symbol_field_text(instruction);
    case Kind::equation:
      return word::equation_field_text(instruction);
    case Kind::drop_down: {
      const std::int32_t chosen = form_result == form_undefined ? form_default : form_result;
      const bool known = chosen >= 0 && static_cast<std::size_t>(chosen) < items.size();
      return known ? items[static_cast<std::size_t>(chosen)] : std::string();
    }
    case Kind::check_box: {
      const std::int32_t state = form_result == form_undefined ? form_default : form_result;
      return state == 1 ? "\u2612" : "\u2610";
    }
    case Kind::other:
    case Kind::date_time:
    case Kind::file_name:
      break;
  }
  return {};
}

}  // namespace trfilter::rtf
