#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace trfilter {

/// Which day a spreadsheet's serial day numbers count from.
enum class DateSystem : std::uint8_t {
  from_1900,  ///< 1 is 1900-01-01, and 60 the 29th of February that 1900 did not have
  from_1904,  ///< 0 is 1904-01-01
};

/// One piece of a number format code.
struct FormatToken {
  enum class Kind : std::uint8_t {
    literal,
    fixed_digit,  ///< an unquoted digit 1-9: part of a fraction's denominator, else a literal
    zero,         ///< placeholder 0: a digit, or 0
    hash,         ///< placeholder #: a digit, or nothing
    blank,        ///< placeholder ?: a digit, or a blank
    point,
    comma,
    percent,
    exponent,  ///< `literal` is the sign that follows: + shows both signs, - only a minus
    slash,
    text,
    general,
    year,
    buddhist_year,
    month,
    minute,
    day,
    weekday,
    hour,
    second,
    second_fraction,
    am_pm,
    elapsed_hours,
    elapsed_minutes,
    elapsed_seconds,
  };

  Kind kind;
  unsigned count = 1;  ///< letters of a date or time part, digits of a fraction of a second
  std::string literal;
};

/// One of the sections of a format code that semicolons separate.
struct FormatSection {
  enum class Kind : std::uint8_t { literal, general, number, scientific, fraction, date, text };
  enum class Operator : std::uint8_t {
    none,
    less,
    less_equal,
    equal,
    not_equal,
    greater_equal,
    greater
  };

  Kind kind = Kind::literal;
  Operator condition = Operator::none;
  double bound = 0;
  bool thousands = false;
  int power = 0;  ///< of ten, by which the value is multiplied: percent signs and scaling commas
  std::vector<FormatToken> tokens;
};

/// A spreadsheet's number format code (ECMA-376 part 1, 18.8.31): shows values the way the cell
/// does. Month and day names and separators are those of English (United States). Fill characters
/// (`*x`) show nothing; the room of a character (`_x`) is one blank.
class NumberFormat {
 public:
  /// Longer codes, and codes that cannot be understood, show values as General does.
  static constexpr std::size_t longest_code = 1024;

  /// The General format.
  NumberFormat() = default;
  explicit NumberFormat(std::string_view code);

  /// The code of a built-in format number.
  /// @return General's for a number that is none
  static std::string_view built_in(unsigned number);

  bool is_general() const { return sections_.empty(); }
  /// Whether a number is shown as a date or time.
  bool is_date() const;

  /// Appends a number as it is shown; nothing when the format hides it. A date that the calendar
  /// does not have (before 1900 or after 9999) is shown as a plain number.
  void append(std::string& out, double value, DateSystem dates = DateSystem::from_1900) const;

  /// Whether a text may be shown as something else than itself.
  bool changes_text() const { return !text_section_.empty(); }

  /// Appends a text as it is shown; nothing when the format hides it.
  void append_text(std::string& out, std::string_view text) const;

  /// Appends a number as General shows it: at most eleven characters besides the sign, and the
  /// exponential form for what does not fit.
  static void append_general(std::string& out, double value);

 private:
  struct Choice {
    const FormatSection* section;  ///< null: no section accepts the value
    bool sign;                     ///< whether a negative value shows its sign
  };
  Choice choose(double value) const;

  std::vector<FormatSection> sections_;      ///< those for numbers; none: General
  std::vector<FormatSection> text_section_;  ///< none or one
};

}  // namespace trfilter
