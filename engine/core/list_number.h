#pragma once

#include <cstdint>
#include <string>

namespace trfilter {

/// How a list or page number is written.
enum class NumberStyle : std::uint8_t {
  none,
  decimal,        ///< 1, 2, 3
  decimal_zero,   ///< 01, 02 ... 10
  upper_roman,    ///< I, II, III
  lower_roman,    ///< i, ii, iii
  upper_letter,   ///< A ... Z, AA, BB
  lower_letter,   ///< a ... z, aa, bb
  ordinal,        ///< 1st, 2nd
  cardinal_text,  ///< One, Two
  ordinal_text,   ///< First, Second
  hexadecimal,    ///< 1 ... F, 10
  chicago,        ///< *, two symbols more, then each doubled
  circled,        ///< 1 to 20 in circles
  parenthesised,  ///< 1 to 20 in parentheses, as one character
  full_stop,      ///< 1 to 20 with a full stop, as one character
  full_width,     ///< full-width digits
  russian_lower,  ///< Cyrillic letters
  russian_upper,
  aiueo,  ///< Katakana in the order of sounds
  iroha,  ///< Katakana in the order of the poem
  korean_ganada,
  korean_chosung,
  cjk_digits,    ///< ideographic digits by place
  cjk_counting,  ///< ideographic numbers with tens and hundreds
  heavenly_stems,
  earthly_branches,
};

/// Appends a number; what a style has no form for is written in decimal digits.
void append_number(std::string& out, NumberStyle style, std::int64_t number);

}  // namespace trfilter
