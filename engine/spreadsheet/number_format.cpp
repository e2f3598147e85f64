#include "engine/spreadsheet/number_format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

#include "engine/spreadsheet/decimal_digits.h"
#include "engine/spreadsheet/number_format_code.h"

namespace trfilter {
namespace {

using Kind = FormatToken::Kind;
using Operator = FormatSection::Operator;

constexpr std::array<std::string_view, 59> built_in_codes = {
    "General",
    "0",
    "0.00",
    "#,##0",
    "#,##0.00",
    "\"$\"#,##0_);(\"$\"#,##0)",
    "\"$\"#,##0_);[Red](\"$\"#,##0)",
    "\"$\"#,##0.00_);(\"$\"#,##0.00)",
    "\"$\"#,##0.00_);[Red](\"$\"#,##0.00)",
    "0%",
    "0.00%",
    "0.00E+00",
    "# ?/?",
    "# ?"
    "?/??",
    "m/d/yyyy",
    "d-mmm-yy",
    "d-mmm",
    "mmm-yy",
    "h:mm AM/PM",
    "h:mm:ss AM/PM",
    "h:mm",
    "h:mm:ss",
    "m/d/yyyy h:mm",
    "General",
    "General",
    "General",
    "General",
    "m/d/yyyy",  // 27 to 36 and 50 to 58 are dates and times of East Asian calendars.
    "m/d/yyyy",
    "m/d/yyyy",
    "m/d/yyyy",
    "m/d/yyyy",
    "h:mm:ss",
    "h:mm:ss",
    "h:mm:ss",
    "h:mm:ss",
    "m/d/yyyy",
    "#,##0_);(#,##0)",
    "#,##0_);[Red](#,##0)",
    "#,##0.00_);(#,##0.00)",
    "#,##0.00_);[Red](#,##0.00)",
    "_(* #,##0_);_(* (#,##0);_(* \"-\"_);_(@_)",
    "_(\"$\"* #,##0_);_(\"$\"* (#,##0);_(\"$\"* \"-\"_);_(@_)",
    "_(* #,##0.00_);_(* (#,##0.00);_(* \"-\"?"
    "?_);_(@_)",
    "_(\"$\"* #,##0.00_);_(\"$\"* (#,##0.00);_(\"$\"* \"-\"?"
    "?_);_(@_)",
    "mm:ss",
    "[h]:mm:ss",
    "mm:ss.0",
    "##0.0E+0",
    "@",
    "m/d/yyyy",
    "m/d/yyyy",
    "m/d/yyyy",
    "m/d/yyyy",
    "m/d/yyyy",
    "h:mm:ss",
    "h:mm:ss",
    "m/d/yyyy",
    "m/d/yyyy",
};

// General's widths, in characters besides the sign.
constexpr int general_digits = 11;
constexpr int general_smallest_exponent = -4;
constexpr int general_exponential_decimals = 5;

bool accepts(const FormatSection& section, double value) {
  switch (section.condition) {
    case Operator::none:
      return true;
    case Operator::less:
      return value < section.bound;
    case Operator::less_equal:
      return value <= section.bound;
    case Operator::equal:
      return value == section.bound;
    case Operator::not_equal:
      return value != section.bound;
    case Operator::greater_equal:
      return value >= section.bound;
    case Operator::greater:
      return value > section.bound;
  }
  return true;
}

/// Whether only negative numbers meet the section's own condition.
bool accepts_negative_only(const FormatSection& section) {
  switch (section.condition) {
    case Operator::less:
      return section.bound <= 0;
    case Operator::less_equal:
    case Operator::equal:
      return section.bound < 0;
    default:
      return false;
  }
}

/// Whether all numbers that are not negative meet the section's condition.
bool accepts_all_positive(const FormatSection& section) {
  return (section.condition == Operator::greater_equal || section.condition == Operator::greater) &&
         section.bound <= 0;
}

std::size_t count_placeholders(const std::vector<FormatToken>& tokens, std::size_t begin,
                               std::size_t end) {
  return static_cast<std::size_t>(
      std::count_if(tokens.begin() + static_cast<std::ptrdiff_t>(begin),
                    tokens.begin() + static_cast<std::ptrdiff_t>(end),
                    [](const FormatToken& token) { return is_digit_placeholder(token.kind); }));
}

void append_pad(std::string& out, Kind placeholder) {
  if (placeholder == Kind::zero) out += '0';
  if (placeholder == Kind::blank) out += ' ';
}

/// Puts the digits before the point into the placeholders of tokens[begin, end); the first takes
/// what exceeds them.
void append_integer(std::string& out, const FormatSection& section, std::size_t begin,
                    std::size_t end, const DecimalDigits& digits) {
  const auto placeholders = static_cast<int>(count_placeholders(section.tokens, begin, end));
  int place = placeholders - 1;
  for (std::size_t i = begin; i < end; ++i) {
    const FormatToken& token = section.tokens[i];
    if (!is_digit_placeholder(token.kind)) {
      out += token.literal;
      continue;
    }
    int from = place;
    if (place == placeholders - 1) from = std::max(place, digits.integer_digits() - 1);
    for (; from >= place; --from) {
      const std::size_t before = out.size();
      if (from < digits.integer_digits()) {
        out += digits.at(from);
      } else {
        append_pad(out, token.kind);
      }
      if (section.thousands && from > 0 && from % 3 == 0 && out.size() != before) {
        out += out.back() == ' ' ? ' ' : ',';
      }
    }
    --place;
  }
}

void append_decimals(std::string& out, const FormatSection& section, std::size_t begin,
                     std::size_t end, const DecimalDigits& digits) {
  int place = -1;
  for (std::size_t i = begin; i < end; ++i) {
    const FormatToken& token = section.tokens[i];
    if (!is_digit_placeholder(token.kind)) {
      out += token.kind == Kind::point ? "." : token.literal;
      continue;
    }
    if (-place <= digits.decimals()) {
      out += digits.at(place);
    } else {
      append_pad(out, token.kind);
    }
    --place;
  }
}

/// Where the decimal point stands among the first `end` tokens; `end` when there is none.
std::size_t find_point(const FormatSection& section, std::size_t end) {
  std::size_t point = 0;
  while (point < end && section.tokens[point].kind != Kind::point) ++point;
  return point;
}

/// Shows rounded digits in tokens[0, end).
void append_digits(std::string& out, const FormatSection& section, std::size_t end,
                   const DecimalDigits& digits) {
  const std::size_t point = find_point(section, end);
  append_integer(out, section, 0, point, digits);
  if (point == end) return;
  out += '.';
  append_decimals(out, section, point + 1, end, digits);
}

void append_number(std::string& out, const FormatSection& section, double value) {
  const std::size_t end = section.tokens.size();
  const std::size_t point = find_point(section, end);
  DecimalDigits digits(value);
  digits.shift(section.power);
  digits.round(static_cast<int>(count_placeholders(section.tokens, point, end)));
  append_digits(out, section, end, digits);
}

void append_scientific(std::string& out, const FormatSection& section, double value) {
  std::size_t sign = 0;
  while (section.tokens[sign].kind != Kind::exponent) ++sign;
  const std::size_t point = find_point(section, sign);
  const auto integers = static_cast<int>(count_placeholders(section.tokens, 0, point));
  const auto decimals = static_cast<int>(count_placeholders(section.tokens, point, sign));
  DecimalDigits digits(value);
  digits.shift(section.power);
  // The exponent is a multiple of the number of digits before the point.
  const int period = std::max(integers, 1);
  const auto exponent_of = [&](int first) {
    if (integers == 0) return first + 1;
    return (first >= 0 ? first / period : -((period - 1 - first) / period)) * period;
  };
  int exponent = 0;
  if (!digits.is_zero()) {
    exponent = exponent_of(digits.exponent());
    digits.round(decimals - exponent);
    exponent = exponent_of(digits.exponent());
  }
  digits.shift(-exponent);
  append_digits(out, section, sign, digits);
  out += 'E';
  if (exponent < 0) {
    out += '-';
  } else if (section.tokens[sign].literal == "+") {
    out += '+';
  }
  append_integer(out, section, sign + 1, section.tokens.size(),
                 DecimalDigits(std::abs(static_cast<double>(exponent))));
}

/// The fraction nearest to `value` among the convergents with a denominator of at most `most`.
std::pair<double, double> nearest_fraction(double value, double most) {
  double numerator = std::floor(value);
  double denominator = 1;
  double previous_numerator = 1;
  double previous_denominator = 0;
  double rest = value - numerator;
  constexpr double nothing = 1e-12;
  while (rest > nothing) {
    const double inverse = 1 / rest;
    const double whole = std::floor(inverse);
    const double next_denominator = whole * denominator + previous_denominator;
    if (next_denominator > most) break;
    const double next_numerator = whole * numerator + previous_numerator;
    previous_numerator = std::exchange(numerator, next_numerator);
    previous_denominator = std::exchange(denominator, next_denominator);
    rest = inverse - whole;
  }
  return {numerator, denominator};
}

constexpr double most_denominator = 9'999'999;

void append_fraction(std::string& out, const FormatSection& section, double value) {
  const auto& tokens = section.tokens;
  std::size_t slash = 0;
  while (tokens[slash].kind != Kind::slash) ++slash;
  std::size_t numerator_begin = slash;
  while (numerator_begin > 0 && is_digit_placeholder(tokens[numerator_begin - 1].kind)) {
    --numerator_begin;
  }
  std::size_t end = slash + 1;
  double most = 0;
  double fixed = 0;
  while (end < tokens.size() &&
         (is_digit_placeholder(tokens[end].kind) || tokens[end].kind == Kind::fixed_digit)) {
    most = std::min(most * 10 + 9, most_denominator);
    const bool counts = tokens[end].kind == Kind::fixed_digit;
    if (counts || fixed > 0) {
      fixed =
          std::min(fixed * 10 + (counts ? tokens[end].literal.front() - '0' : 0), most_denominator);
    }
    ++end;
  }
  const bool mixed = count_placeholders(tokens, 0, numerator_begin) != 0;
  double whole = mixed ? std::floor(value) : 0;
  auto [numerator, denominator] = nearest_fraction(value - whole, most);
  if (fixed > 0) {
    denominator = fixed;
    numerator = std::round((value - whole) * fixed);
  }
  if (mixed && numerator == denominator) {
    whole += 1;
    numerator = 0;
  }
  if (mixed) {
    const bool zero = whole == 0 && numerator == 0;
    append_integer(out, section, 0, numerator_begin, DecimalDigits(whole));
    if (zero && out.find('0') == std::string::npos) {
      // A zero shows as such, in front of the blanks between it and the fraction.
      while (!out.empty() && out.back() == ' ') out.pop_back();
      out += "0 ";
    }
  }
  if (mixed && numerator == 0) {
    out.append(end - numerator_begin, ' ');
  } else {
    if (numerator == 0) {
      out += '0';
    } else {
      append_integer(out, section, numerator_begin, slash, DecimalDigits(numerator));
    }
    out += '/';
    std::string digits;
    NumberFormat::append_general(digits, denominator);
    out += digits;
    for (std::size_t i = slash + 1 + digits.size(); i < end; ++i) out += ' ';
  }
  for (std::size_t i = end; i < tokens.size(); ++i) out += tokens[i].literal;
}

/// Writes digits with a point and without zeros at the end.
void append_plain(std::string& out, const DecimalDigits& digits) {
  if (digits.integer_digits() <= 0) out += '0';
  for (int place = digits.integer_digits() - 1; place >= 0; --place) out += digits.at(place);
  if (digits.decimals() > 0) out += '.';
  for (int place = -1; - place <= digits.decimals(); --place) out += digits.at(place);
}

}  // namespace

NumberFormat::NumberFormat(std::string_view code) {
  if (code.size() > longest_code || code.empty()) return;
  std::vector<FormatSection> sections = parse_number_format(code);
  constexpr std::size_t most_sections = 4;
  if (sections.size() > most_sections) return;
  const bool text_last =
      sections.size() == most_sections || sections.back().kind == FormatSection::Kind::text;
  if (text_last) {
    const auto& tokens = sections.back().tokens;
    const bool as_it_is = tokens.size() == 1 && tokens.front().kind == Kind::text;
    if (!as_it_is) text_section_.push_back(std::move(sections.back()));
    sections.pop_back();
  }
  const bool plain_general =
      sections.size() == 1 && sections.front().kind == FormatSection::Kind::general &&
      sections.front().tokens.size() == 1 && sections.front().condition == Operator::none;
  if (!plain_general) sections_ = std::move(sections);
}

std::string_view NumberFormat::built_in(unsigned number) {
  return number < built_in_codes.size() ? built_in_codes[number] : built_in_codes[0];
}

bool NumberFormat::is_date() const {
  return !sections_.empty() && sections_.front().kind == FormatSection::Kind::date;
}

NumberFormat::Choice NumberFormat::choose(double value) const {
  const std::size_t count = sections_.size();
  const FormatSection& first = sections_[0];
  if (count == 1) {
    return {accepts(first, value) ? &first : nullptr, !accepts_negative_only(first)};
  }
  const FormatSection& second = sections_[1];
  const bool first_has_condition = first.condition != Operator::none;
  const bool first_accepts = first_has_condition ? accepts(first, value)
                             : count == 2        ? value >= 0
                                                 : value > 0;
  if (first_accepts) return {&first, !accepts_negative_only(first)};
  if (second.condition != Operator::none) {
    if (accepts(second, value)) return {&second, !accepts_negative_only(second)};
    return {count > 2 ? &sections_[2] : nullptr, true};
  }
  if (count == 2) {
    return {&second, first_has_condition && !accepts_all_positive(first)};
  }
  if (value < 0) return {&second, first_has_condition && !accepts_all_positive(first)};
  return {&sections_[2], true};
}

void NumberFormat::append(std::string& out, double value, DateSystem dates) const {
  if (sections_.empty() || !std::isfinite(value)) {
    append_general(out, value);
    return;
  }
  const auto [section, sign] = choose(value);
  if (section == nullptr) {
    append_general(out, value);
    return;
  }
  const double magnitude = std::abs(value);
  if (section->kind == FormatSection::Kind::date) {
    const bool elapsed =
        std::all_of(section->tokens.begin(), section->tokens.end(), [](const FormatToken& token) {
          return token.kind < Kind::year || token.kind > Kind::weekday ||
                 token.kind == Kind::minute;
        });
    if (!is_calendar_day(elapsed ? magnitude : value, dates)) {
      append_general(out, value);
      return;
    }
    if (value < 0 && sign) out += '-';
    append_date(out, *section, magnitude, dates);
    return;
  }
  if (value < 0 && sign &&
      !(section->kind == FormatSection::Kind::literal && section->tokens.empty())) {
    out += '-';
  }
  std::string shown;
  switch (section->kind) {
    case FormatSection::Kind::number:
      append_number(out, *section, magnitude);
      break;
    case FormatSection::Kind::scientific:
      append_scientific(out, *section, magnitude);
      break;
    case FormatSection::Kind::fraction:
      append_fraction(shown, *section, magnitude);
      out += shown;
      break;
    default:
      for (const FormatToken& token : section->tokens) {
        if (token.kind == Kind::general || token.kind == Kind::text) {
          append_general(out, magnitude * std::pow(10.0, section->power));
        } else {
          out += token.literal;
        }
      }
      break;
  }
}

void NumberFormat::append_text(std::string& out, std::string_view text) const {
  if (text_section_.empty()) {
    out += text;
    return;
  }
  for (const FormatToken& token : text_section_.front().tokens) {
    if (token.kind == Kind::text) {
      out += text;
    } else {
      out += token.literal;
    }
  }
}

void NumberFormat::append_general(std::string& out, double value) {
  if (!std::isfinite(value)) {
    out += "#NUM!";
    return;
  }
  constexpr double integers_end = 1e11;
  const double magnitude = std::abs(value);
  if (magnitude < integers_end && magnitude == std::floor(magnitude)) {
    std::array<char, 24> text{};
    const auto written =
        std::to_chars(text.data(), text.data() + text.size(), static_cast<std::int64_t>(value));
    out.append(text.data(), written.ptr);
    return;
  }
  if (value < 0) out += '-';
  DecimalDigits digits(magnitude);
  const int exponent = digits.exponent();
  if (exponent >= general_smallest_exponent && exponent < general_digits) {
    // What is left of the width behind the point.
    const int decimals = general_digits - 1 - std::max(exponent + 1, 1);
    DecimalDigits rounded = digits;
    rounded.round(std::max(decimals, 0));
    if (rounded.exponent() < general_digits) {
      append_plain(out, rounded);
      return;
    }
  }
  digits.round(general_exponential_decimals - exponent);
  const int shown_exponent = digits.exponent();
  digits.shift(-shown_exponent);
  append_plain(out, digits);
  out += shown_exponent < 0 ? "E-" : "E+";
  const int size = std::abs(shown_exponent);
  if (size < 10) out += '0';
  out += std::to_string(size);
}

}  // namespace trfilter
