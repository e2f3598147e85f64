#include "engine/html/html_entities.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "engine/core/utf8.h"

namespace trfilter {
namespace {

struct NamedCharacter {
  std::string_view name;
  std::string_view utf8;
  bool without_semicolon;
};

constexpr std::array named_characters = std::to_array<NamedCharacter>({
#include "engine/html/html_entities.inc"
});

static_assert(std::ranges::is_sorted(named_characters, {}, &NamedCharacter::name));

constexpr std::size_t longest_name_without_semicolon = 6;
constexpr std::size_t shortest_name_without_semicolon = 2;

// Numbers from 0x80 to 0x9F mean windows-1252 (HTML standard, numeric character reference end
// state).
constexpr std::array<char32_t, 32> windows_1252_controls = {
    0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};

bool is_letter_or_digit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

int digit_value(char c, int base) {
  int value = -1;
  if (c >= '0' && c <= '9') value = c - '0';
  if (c >= 'a' && c <= 'f') value = c - 'a' + 10;
  if (c >= 'A' && c <= 'F') value = c - 'A' + 10;
  return value < base ? value : -1;
}

const NamedCharacter* find_name(std::string_view name) {
  const auto found = std::ranges::lower_bound(named_characters, name, {}, &NamedCharacter::name);
  return found != named_characters.end() && found->name == name ? &*found : nullptr;
}

std::size_t resolve_number(std::string_view text, std::string& out) {
  std::size_t at = 2;
  int base = 10;
  if (at < text.size() && (text[at] == 'x' || text[at] == 'X')) {
    base = 16;
    ++at;
  }
  const std::size_t first_digit = at;
  constexpr std::uint32_t too_large = 0x110000;
  std::uint32_t value = 0;
  for (; at < text.size(); ++at) {
    const int digit = digit_value(text[at], base);
    if (digit < 0) break;
    value = std::min(value * static_cast<std::uint32_t>(base) + static_cast<std::uint32_t>(digit),
                     too_large);
  }
  if (at == first_digit) return 0;
  if (at < text.size() && text[at] == ';') ++at;
  if (value >= 0x80 && value < 0xA0) value = windows_1252_controls[value - 0x80];
  append_utf8(out, value == 0 ? too_large : value);
  return at;
}

}  // namespace

std::string_view named_character(std::string_view name) {
  const NamedCharacter* found = find_name(name);
  return found == nullptr ? std::string_view{} : found->utf8;
}

std::size_t resolve_reference(std::string_view text, ReferencePlace place, std::string& out) {
  if (text.size() < 2) return 0;
  if (text[1] == '#') return resolve_number(text, out);
  std::size_t end = 1;
  while (end < text.size() && is_letter_or_digit(text[end])) ++end;
  if (end < text.size() && text[end] == ';') {
    if (const NamedCharacter* found = find_name(text.substr(1, end - 1))) {
      out.append(found->utf8);
      return end + 1;
    }
  }
  for (std::size_t length = std::min(end - 1, longest_name_without_semicolon);
       length >= shortest_name_without_semicolon; --length) {
    const NamedCharacter* found = find_name(text.substr(1, length));
    if (found == nullptr || !found->without_semicolon) continue;
    const std::size_t after = 1 + length;
    if (place == ReferencePlace::attribute && after < text.size() &&
        (text[after] == '=' || is_letter_or_digit(text[after]))) {
      return 0;
    }
    out.append(found->utf8);
    return after;
  }
  return 0;
}

}  // namespace trfilter
