#include "engine/core/list_number.h"

#include <array>
#include <charconv>
#include <string_view>

#include "engine/core/utf8.h"

namespace trfilter {
namespace {

using Texts = std::u32string_view;

// Letters beyond the alphabet repeat themselves; nothing sensible has more than this many.
constexpr std::int64_t most_repeats = 30;
constexpr std::int64_t most_roman = 32'767;

void append_decimal(std::string& out, std::int64_t number, int base = 10) {
  std::array<char, 20> digits{};
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number, base);
  for (const char* at = digits.data(); at != result.ptr; ++at) {
    out += *at >= 'a' && *at <= 'z' ? static_cast<char>(*at - 'a' + 'A') : *at;
  }
}

bool append_repeated(std::string& out, std::int64_t number, Texts letters) {
  const auto count = static_cast<std::int64_t>(letters.size());
  if (number < 1 || number > count * most_repeats) return false;
  const std::int64_t repeats = (number - 1) / count + 1;
  for (std::int64_t i = 0; i < repeats; ++i) {
    append_utf8(out, letters[static_cast<std::size_t>((number - 1) % count)]);
  }
  return true;
}

bool append_single(std::string& out, std::int64_t number, Texts letters) {
  return number <= static_cast<std::int64_t>(letters.size()) &&
         append_repeated(out, number, letters);
}

/// A character of a run of consecutive ones, the first for 1.
bool append_from(std::string& out, std::int64_t number, char32_t first, std::int64_t count) {
  if (number < 1 || number > count) return false;
  append_utf8(out, first + static_cast<char32_t>(number - 1));
  return true;
}

bool append_roman(std::string& out, std::int64_t number, bool upper) {
  struct Part {
    std::int64_t value;
    std::string_view lower;
    std::string_view upper;
  };
  static constexpr std::array<Part, 13> parts = {{{1000, "m", "M"},
                                                  {900, "cm", "CM"},
                                                  {500, "d", "D"},
                                                  {400, "cd", "CD"},
                                                  {100, "c", "C"},
                                                  {90, "xc", "XC"},
                                                  {50, "l", "L"},
                                                  {40, "xl", "XL"},
                                                  {10, "x", "X"},
                                                  {9, "ix", "IX"},
                                                  {5, "v", "V"},
                                                  {4, "iv", "IV"},
                                                  {1, "i", "I"}}};
  if (number < 1 || number > most_roman) return false;
  for (const Part& part : parts) {
    for (; number >= part.value; number -= part.value) out += upper ? part.upper : part.lower;
  }
  return true;
}

std::string_view ordinal_suffix(std::int64_t number) {
  if (number / 10 % 10 == 1) return "th";
  switch (number % 10) {
    case 1:
      return "st";
    case 2:
      return "nd";
    case 3:
      return "rd";
    default:
      return "th";
  }
}

constexpr std::array<std::string_view, 20> small_cardinals = {
    "zero",     "one",     "two",     "three",     "four",     "five",    "six",
    "seven",    "eight",   "nine",    "ten",       "eleven",   "twelve",  "thirteen",
    "fourteen", "fifteen", "sixteen", "seventeen", "eighteen", "nineteen"};
constexpr std::array<std::string_view, 20> small_ordinals = {
    "zeroth",     "first",     "second",    "third",       "fourth",     "fifth",     "sixth",
    "seventh",    "eighth",    "ninth",     "tenth",       "eleventh",   "twelfth",   "thirteenth",
    "fourteenth", "fifteenth", "sixteenth", "seventeenth", "eighteenth", "nineteenth"};
constexpr std::array<std::string_view, 10> tens = {"",      "",      "twenty",  "thirty", "forty",
                                                   "fifty", "sixty", "seventy", "eighty", "ninety"};

bool append_words(std::string& out, std::int64_t number, bool ordinal) {
  if (number < 0 || number > 999'999) return false;
  const std::size_t begin = out.size();
  const auto& small = ordinal ? small_ordinals : small_cardinals;
  auto rest = static_cast<std::size_t>(number);
  if (rest >= 1000) {
    append_words(out, static_cast<std::int64_t>(rest / 1000), false);
    rest %= 1000;
    out += rest == 0 && ordinal ? " thousandth" : " thousand";
    if (rest != 0) out += ' ';
  }
  if (rest >= 100) {
    out += small_cardinals[rest / 100];
    rest %= 100;
    out += rest == 0 && ordinal ? " hundredth" : " hundred";
    if (rest != 0) out += ' ';
  }
  if (rest >= 20) {
    std::string_view word = tens[rest / 10];
    rest %= 10;
    if (rest == 0 && ordinal) {
      out += word.substr(0, word.size() - 1);
      out += "ieth";
    } else {
      out += word;
      if (rest != 0) out += '-';
    }
    if (rest != 0) out += small[rest];
  } else if (rest != 0 || number == 0) {
    out += small[rest];
  }
  // Of a sentence's words the first begins with a capital; the recursion's own are within.
  for (std::size_t i = begin; i < out.size(); ++i) {
    if (out[i] >= 'A' && out[i] <= 'Z') out[i] = static_cast<char>(out[i] - 'A' + 'a');
  }
  if (out[begin] >= 'a' && out[begin] <= 'z')
    out[begin] = static_cast<char>(out[begin] - 'a' + 'A');
  return true;
}

bool append_cjk_digits(std::string& out, std::int64_t number) {
  static constexpr Texts digits = U"〇一二三四五六七八九";
  if (number < 0) return false;
  std::string decimal;
  append_decimal(decimal, number);
  for (const char digit : decimal) append_utf8(out, digits[static_cast<std::size_t>(digit - '0')]);
  return true;
}

bool append_cjk_counting(std::string& out, std::int64_t number) {
  static constexpr Texts digits = U"〇一二三四五六七八九";
  static constexpr Texts places = U" 十百千";
  if (number < 1 || number > 9999) return false;
  std::size_t weight = 1000;
  for (std::size_t place = 4; place-- != 0; weight /= 10) {
    const std::size_t digit = static_cast<std::size_t>(number) / weight % 10;
    if (digit == 0) continue;
    if (digit != 1 || place == 0) append_utf8(out, digits[digit]);
    if (place != 0) append_utf8(out, places[place]);
  }
  return true;
}

bool append_full_width(std::string& out, std::int64_t number) {
  if (number < 0) return false;
  std::string decimal;
  append_decimal(decimal, number);
  for (const char digit : decimal) {
    append_utf8(out, U'\uFF10' + static_cast<char32_t>(digit - '0'));
  }
  return true;
}

bool append_styled(std::string& out, NumberStyle style, std::int64_t number) {
  constexpr std::int64_t circled_numbers = 20;
  switch (style) {
    case NumberStyle::none:
      return true;
    case NumberStyle::decimal:
      return false;
    case NumberStyle::decimal_zero:
      if (number >= 0 && number < 10) out += '0';
      return false;
    case NumberStyle::upper_roman:
      return append_roman(out, number, true);
    case NumberStyle::lower_roman:
      return append_roman(out, number, false);
    case NumberStyle::upper_letter:
      return append_repeated(out, number, U"ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    case NumberStyle::lower_letter:
      return append_repeated(out, number, U"abcdefghijklmnopqrstuvwxyz");
    case NumberStyle::ordinal:
      append_decimal(out, number);
      if (number >= 0) out += ordinal_suffix(number);
      return true;
    case NumberStyle::cardinal_text:
      return append_words(out, number, false);
    case NumberStyle::ordinal_text:
      return append_words(out, number, true);
    case NumberStyle::hexadecimal:
      append_decimal(out, number, 16);
      return true;
    case NumberStyle::chicago:
      return append_repeated(out, number, U"*†‡§");
    case NumberStyle::circled:
      return append_from(out, number, U'\u2460', circled_numbers);
    case NumberStyle::parenthesised:
      return append_from(out, number, U'\u2474', circled_numbers);
    case NumberStyle::full_stop:
      return append_from(out, number, U'\u2488', circled_numbers);
    case NumberStyle::full_width:
      return append_full_width(out, number);
    case NumberStyle::russian_lower:
      return append_repeated(out, number, U"абвгдежзиклмнопрстуфхцчшщыэюя");
    case NumberStyle::russian_upper:
      return append_repeated(out, number, U"АБВГДЕЖЗИКЛМНОПРСТУФХЦЧШЩЫЭЮЯ");
    case NumberStyle::aiueo:
      return append_repeated(out, number,
                             U"アイウエオカキクケコサシスセソタチツテトナニヌネノハヒフヘホマミムメ"
                             U"モヤユヨラリルレロワヲン");
    case NumberStyle::iroha:
      return append_repeated(out, number,
                             U"イロハニホヘトチリヌルヲワカヨタレソツネナラムウヰノオクヤマケフコエ"
                             U"テアサキユメミシヱヒモセスン");
    case NumberStyle::korean_ganada:
      return append_repeated(out, number, U"가나다라마바사아자차카타파하");
    case NumberStyle::korean_chosung:
      return append_repeated(out, number, U"ㄱㄴㄷㄹㅁㅂㅅㅇㅈㅊㅋㅌㅍㅎ");
    case NumberStyle::cjk_digits:
      return append_cjk_digits(out, number);
    case NumberStyle::cjk_counting:
      return append_cjk_counting(out, number);
    case NumberStyle::heavenly_stems:
      return append_single(out, number, U"甲乙丙丁戊己庚辛壬癸");
    case NumberStyle::earthly_branches:
      return append_single(out, number, U"子丑寅卯辰巳午未申酉戌亥");
  }
  return false;
}

}  // namespace

void append_number(std::string& out, NumberStyle style, std::int64_t number) {
  if (!append_styled(out, style, number)) append_decimal(out, number);
}

}  // namespace trfilter
