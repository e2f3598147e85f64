#include "engine/word/field_text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "engine/charset/code_page.h"
#include "engine/core/symbol_font.h"
#include "engine/core/utf8.h"

namespace trfilter::word {
namespace {

bool is_space(char c) {
  return c == ' ' || c == '\t' || c == '\n';
}

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

}  // namespace

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

std::string symbol_field_text(std::string_view instruction) {
  take_word(instruction);
  std::string_view number = take_word(instruction);
  if (number.starts_with('\\')) return {};
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

std::string equation_field_text(std::string_view instruction) {
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

}  // namespace trfilter::word
