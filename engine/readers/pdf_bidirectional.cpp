// From the order of the eye to the order of the tongue: the reordering of the Unicode bidirectional
// algorithm (UAX #9, rule L2) is nearly its own inverse, once each item has its embedding level
// back.

#include "engine/readers/pdf_bidirectional.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "engine/core/utf8.h"
#include "engine/readers/pdf_characters.h"

namespace trfilter::pdf {
namespace {

enum class Kind : std::uint8_t { left, right, digit, separator, percent, currency, neutral };

Kind kind_of(std::string_view text) {
  const char32_t character = first_character(text);
  if (is_right_to_left(character)) return Kind::right;
  if (is_digit(character)) return Kind::digit;
  if (is_left_to_right(character)) return Kind::left;
  const bool within_numbers = character == '.' || character == ',' || character == ':' ||
                              character == '/' || character == 0x066B || character == 0x066C;
  if (within_numbers) return Kind::separator;
  if (character == '%' || character == 0x066A || character == 0x2030) return Kind::percent;
  const bool is_currency = character == '$' || (character >= 0xA2 && character <= 0xA5) ||
                           (character >= 0x20A0 && character <= 0x20CF);
  return is_currency ? Kind::currency : Kind::neutral;
}

/// Gives what belongs to a number the digits' kind, and neutrals that of equal neighbours.
void resolve(std::vector<Kind>& kinds, Kind base) {
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    const bool after_digit = i > 0 && kinds[i - 1] == Kind::digit;
    const bool before_digit = i + 1 < kinds.size() && kinds[i + 1] == Kind::digit;
    switch (kinds[i]) {
      case Kind::separator:
        kinds[i] = after_digit && before_digit ? Kind::digit : Kind::neutral;
        break;
      case Kind::percent:
        kinds[i] = after_digit ? Kind::digit : Kind::neutral;
        break;
      case Kind::currency:
        kinds[i] = before_digit ? Kind::digit : Kind::neutral;
        break;
      default:
        break;
    }
  }
  Kind before = base;
  for (std::size_t i = 0; i < kinds.size();) {
    if (kinds[i] != Kind::neutral) {
      before = kinds[i++];
      continue;
    }
    std::size_t end = i;
    while (end < kinds.size() && kinds[end] == Kind::neutral) ++end;
    const Kind after = end < kinds.size() ? kinds[end] : base;
    // Digits beside left-to-right letters belong to their run.
    const auto is_left = [](Kind kind) { return kind == Kind::left || kind == Kind::digit; };
    Kind kind = base;
    if (before == Kind::right && after == Kind::right) kind = Kind::right;
    if (is_left(before) && is_left(after) && (before == Kind::left || after == Kind::left))
      kind = Kind::left;
    std::fill(kinds.begin() + static_cast<std::ptrdiff_t>(i),
              kinds.begin() + static_cast<std::ptrdiff_t>(end), kind);
    i = end;
  }
}

bool is_bracket(char32_t character) {
  return mirrored(character) != character;
}
bool opens(char32_t character) {
  return character == '(' || character == '[' || character == '{' || character == '<' ||
         character == 0xAB;
}

}  // namespace

void append_logical_order(std::span<const std::string_view> items, std::string& out) {
  std::vector<Kind> kinds;
  kinds.reserve(items.size());
  for (const std::string_view item : items) kinds.push_back(kind_of(item));
  const auto rights = std::ranges::count(kinds, Kind::right);
  const auto lefts = std::ranges::count(kinds, Kind::left);
  const Kind base = rights >= lefts ? Kind::right : Kind::left;
  resolve(kinds, base);

  std::vector<std::uint8_t> levels(items.size());
  for (std::size_t i = 0; i < items.size(); ++i) {
    const bool among_right = base == Kind::right || (i > 0 && levels[i - 1] != 0);
    switch (kinds[i]) {
      case Kind::right:
        levels[i] = 1;
        break;
      case Kind::left:
        levels[i] = base == Kind::right ? 2 : 0;
        break;
      default:
        levels[i] = among_right ? 2 : 0;
        break;
    }
  }

  std::vector<std::uint32_t> order(items.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = static_cast<std::uint32_t>(i);
  // In a right-to-left line everything below is read from the right.
  for (std::uint8_t level = 2; level >= 1; --level) {
    for (std::size_t i = 0; i < order.size();) {
      if (levels[order[i]] < level) {
        ++i;
        continue;
      }
      std::size_t end = i;
      while (end < order.size() && levels[order[end]] >= level) ++end;
      std::reverse(order.begin() + static_cast<std::ptrdiff_t>(i),
                   order.begin() + static_cast<std::ptrdiff_t>(end));
      i = end;
    }
  }

  // Fonts name brackets by their looks or by their meaning: the first one read tells.
  bool by_looks = false;
  for (const std::uint32_t index : order) {
    const char32_t character = first_character(items[index]);
    if (levels[index] != 1 || !is_bracket(character)) continue;
    by_looks = !opens(character);
    break;
  }
  for (const std::uint32_t index : order) {
    const char32_t character = first_character(items[index]);
    if (by_looks && levels[index] == 1 && is_bracket(character)) {
      append_utf8(out, mirrored(character));
    } else {
      out.append(items[index]);
    }
  }
}

}  // namespace trfilter::pdf
