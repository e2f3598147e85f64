#include "engine/readers/docx_field.h"

#include <algorithm>
#include <array>

namespace trfilter::docx {
namespace {

bool is_blank(char c) {
  return static_cast<unsigned char>(c) <= ' ';
}

/// Takes the next word off the front of a text.
std::string_view next_word(std::string_view& text) {
  text = trimmed(text);
  const auto end = std::find_if(text.begin(), text.end(), is_blank);
  const auto size = static_cast<std::size_t>(end - text.begin());
  const std::string_view word = text.substr(0, size);
  text.remove_prefix(size);
  return word;
}

bool is_keyword(std::string_view word, std::string_view upper) {
  return std::equal(word.begin(), word.end(), upper.begin(), upper.end(), [](char a, char b) {
    return (a >= 'a' && a <= 'z' ? static_cast<char>(a - 'a' + 'A') : a) == b;
  });
}

constexpr std::array<std::string_view, 5> date_keywords = {"DATE", "TIME", "SAVEDATE", "CREATEDATE",
                                                           "PRINTDATE"};

}  // namespace

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  return text;
}

void Field::append(std::string_view text) {
  instruction +=
      text.substr(0, most_instruction_bytes - std::min(most_instruction_bytes, instruction.size()));
}

std::optional<Field::Regions> regions_of_field(std::string_view instruction) {
  const std::string_view keyword = next_word(instruction);
  for (const std::string_view date : date_keywords) {
    if (is_keyword(keyword, date)) {
      return Field::Regions{Region::date_time_code, Region::date_time_result};
    }
  }
  if (is_keyword(keyword, "FILENAME")) {
    return Field::Regions{Region::filename_code, Region::filename_result};
  }
  return std::nullopt;
}

std::string_view shown_instruction(std::string_view instruction) {
  const std::string_view keyword = next_word(instruction);
  if (!is_keyword(keyword, "MACROBUTTON") && !is_keyword(keyword, "GOTOBUTTON")) return {};
  next_word(instruction);
  return trimmed(instruction);
}

}  // namespace trfilter::docx
