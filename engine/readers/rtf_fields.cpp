#include "engine/readers/rtf_fields.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "engine/charset/code_page.h"
#include "engine/core/symbol_font.h"
#include "engine/core/utf8.h"

namespace trfilter::rtf {
namespace {

bool is_space(char c) {
  return c == ' ' || c == '\t' || c == '\n';
}

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// Takes the next word of an instruction; one in quotes may hold blanks.
std::string_view take_word(std::string_view& rest) {
  while (!rest.empty() && is_space(rest.front())) rest.remove_prefix(1);
  if (!rest.empty() && rest.front() == '"') {
    rest.remove_prefix(1);
    const std::size_t end = std::min(rest.find('"'), rest.size());
    const std::string_view word = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return word;
  }
  const auto end =
      static_cast<std::size_t>(std::find_if(rest.begin(), rest.end(), is_space) - rest.begin());
  const std::string_view word = rest.substr(0, end);
  rest.remove_prefix(end);
  return word;
}

std::string upper_case(std::string_view word) {
  std::string out(word);
  for (char& c : out) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return out;
}

/// `SYMBOL 183 \f "Symbol" \s 10`, the number decimal or as 0xB7; `\u` says that it is Unicode.
std::string symbol_text(std::string_view instruction) {
  take_word(instruction);
  std::string_view number = take_word(instruction);
  int base = 10;
  if (number.starts_with("0x") || number.starts_with("0X")) {
    number.remove_prefix(2);
    base = 16;
  }
  std::uint32_t code = 0;
  const auto parsed = std::from_chars(number.data(), number.data() + number.size(), code, base);
  std::string out;
  if (parsed.ec != std::errc{}) {
    // Without a number the character itself stands there.
    out = number;
    return out;
  }
  bool unicode = false;
  std::string_view font;
  while (!instruction.empty()) {
    const std::string_view word = take_word(instruction);
    if (word == "\\u" || word == "\\U") unicode = true;
    if (word == "\\f" || word == "\\F") font = take_word(instruction);
  }
  if (code >= 0xF020 && code <= 0xF0FF) code -= 0xF000;
  const char32_t symbol = code <= 0xFF ? symbol_font_character(font, code) : 0;
  if (symbol != 0) {
    append_utf8(out, symbol);
  } else if (!unicode && code >= 0x80 && code <= 0xFF) {
    const char byte = static_cast<char>(code);
    CodePages pages;
    if (const CodePage* ansi = pages.find(1252)) ansi->decode({&byte, 1}, out, true);
  } else if (code >= 0x20) {
    append_utf8(out, code);
  }
  return out;
}

/// The operands of an equation without its switches: `\f(1,2)` gives "1/2", other lists blanks.
std::string equation_text(std::string_view instruction) {
  take_word(instruction);
  std::string out;
  std::string separators;  // one for each open parenthesis
  std::string_view function;
  for (std::size_t i = 0; i < instruction.size();) {
    const char c = instruction[i++];
    if (c == '\\') {
      if (i < instruction.size() && instruction[i] == '*') {
        std::string_view rest = instruction.substr(i + 1);
        take_word(rest);
        i = instruction.size() - rest.size();
        continue;
      }
      const std::size_t begin = i;
      while (i < instruction.size() && is_letter(instruction[i])) ++i;
      if (i == begin) {
        if (i < instruction.size() && !separators.empty()) out.push_back(instruction[i]);
        ++i;
        continue;
      }
      if (function.empty()) function = instruction.substr(begin, i - begin);
      // A number may follow the switch.
      std::size_t number = i;
      while (number < instruction.size() && instruction[number] == ' ') ++number;
      while (number < instruction.size() && instruction[number] >= '0' &&
             instruction[number] <= '9') {
        i = ++number;
      }
      continue;
    }
    if (c == '(') {
      separators.push_back(function == "f" || function == "F" ? '/' : ' ');
      function = {};
    } else if (c == ')' && !separators.empty()) {
      separators.pop_back();
    } else if ((c == ',' || c == ';') && !separators.empty()) {
      out.push_back(separators.back());
    } else if (!separators.empty()) {
      out.push_back(c);
    }
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
  const std::string name = upper_case(take_word(rest));
  const auto found = std::find_if(kinds.begin(), kinds.end(),
                                  [&](const auto& entry) { return entry.first == name; });
  kind = found == kinds.end() ? Kind::other : found->second;
}

std::string Field::text_without_result() const {
  switch (kind) {
    case Kind::symbol:
      return symbol_text(instruction);
    case Kind::equation:
      return equation_text(instruction);
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
