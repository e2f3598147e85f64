#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>

#include "engine/spreadsheet/number_format_code.h"

namespace trfilter {
namespace {

using Kind = FormatToken::Kind;

constexpr std::array<std::string_view, 12> months = {
    "January", "February", "March",     "April",   "May",      "June",
    "July",    "August",   "September", "October", "November", "December"};
constexpr std::array<std::string_view, 7> weekdays = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                      "Thursday", "Friday", "Saturday"};
constexpr std::size_t abbreviation = 3;

constexpr double days_end = 2958466;  // 10000-01-01
constexpr std::int64_t days_from_1900_to_1904 = 1462;
constexpr std::int64_t leap_day_of_1900 = 60;
constexpr std::int64_t seconds_a_day = 86400;
constexpr unsigned most_fraction_digits = 9;

struct Moment {
  std::int64_t year;
  unsigned month;
  unsigned day;
  unsigned weekday;       ///< 0: Sunday
  std::int64_t seconds;   ///< since the first day's begin
  std::int64_t fraction;  ///< of a second, in units of the shown precision
};

/// The smallest power of ten of which the section shows a second's fraction.
unsigned fraction_digits(const FormatSection& section) {
  unsigned digits = 0;
  for (const FormatToken& token : section.tokens) {
    if (token.kind == Kind::second_fraction) digits = std::max(digits, token.count);
  }
  return std::min(digits, most_fraction_digits);
}

std::int64_t power_of_ten(unsigned digits) {
  std::int64_t power = 1;
  while (digits-- > 0) power *= 10;
  return power;
}

Moment moment_of(double value, DateSystem dates, unsigned digits) {
  // Days and their fraction apart, so that no digit of the time is lost to the day's.
  double days = std::floor(value);
  const std::int64_t units_a_second = power_of_ten(digits);
  auto units = static_cast<std::int64_t>(std::round(
      (value - days) * static_cast<double>(seconds_a_day) * static_cast<double>(units_a_second)));
  if (units >= seconds_a_day * units_a_second) {
    units -= seconds_a_day * units_a_second;
    days += 1;
  }
  Moment moment{};
  auto day = static_cast<std::int64_t>(days);
  moment.seconds = day * seconds_a_day + units / units_a_second;
  moment.fraction = units % units_a_second;
  if (dates == DateSystem::from_1904) day += days_from_1900_to_1904;
  moment.weekday = static_cast<unsigned>((day + 6) % 7);
  if (day == 0) {
    moment.year = 1900;
    moment.month = 1;
  } else if (day == leap_day_of_1900) {
    moment.year = 1900;
    moment.month = 2;
    moment.day = 29;
  } else {
    using std::chrono::days;
    using std::chrono::sys_days;
    constexpr sys_days last_of_1899{std::chrono::year{1899} / 12 / 31};
    const std::chrono::year_month_day date{last_of_1899 +
                                           days(day > leap_day_of_1900 ? day - 1 : day)};
    moment.year = static_cast<int>(date.year());
    moment.month = static_cast<unsigned>(date.month());
    moment.day = static_cast<unsigned>(date.day());
  }
  return moment;
}

void append_padded(std::string& out, std::int64_t value, unsigned width) {
  const std::string digits = std::to_string(value);
  if (digits.size() < width) out.append(width - digits.size(), '0');
  out += digits;
}

void append_year(std::string& out, std::int64_t year, unsigned letters) {
  if (letters <= 2) {
    append_padded(out, year % 100, 2);
  } else {
    append_padded(out, year, 4);
  }
}

void append_month(std::string& out, unsigned month, unsigned letters) {
  const std::string_view name = months[month - 1];
  if (letters <= 2) {
    append_padded(out, month, letters);
  } else if (letters == 3) {
    out += name.substr(0, abbreviation);
  } else if (letters == 5) {
    out += name.front();
  } else {
    out += name;
  }
}

}  // namespace

bool is_calendar_day(double value, DateSystem dates) {
  const double shift =
      dates == DateSystem::from_1904 ? static_cast<double>(days_from_1900_to_1904) : 0;
  return value >= 0 && value + shift < days_end;
}

void append_date(std::string& out, const FormatSection& section, double value, DateSystem dates) {
  const unsigned digits = fraction_digits(section);
  const Moment moment = moment_of(value, dates, digits);
  bool twelve_hours = false;
  for (const FormatToken& token : section.tokens) twelve_hours |= token.kind == Kind::am_pm;
  const std::int64_t minutes = moment.seconds / 60;
  const std::int64_t hour = minutes / 60 % 24;
  for (const FormatToken& token : section.tokens) {
    const unsigned width = std::min(token.count, 2U);
    switch (token.kind) {
      case Kind::year:
        append_year(out, moment.year, token.count);
        break;
      case Kind::buddhist_year:
        append_year(out, moment.year + 543, token.count);
        break;
      case Kind::month:
        append_month(out, moment.month, token.count);
        break;
      case Kind::day:
        append_padded(out, moment.day, width);
        break;
      case Kind::weekday: {
        const std::string_view name = weekdays[moment.weekday];
        out += token.count == abbreviation ? name.substr(0, abbreviation) : name;
        break;
      }
      case Kind::hour:
        append_padded(out, twelve_hours ? (hour + 11) % 12 + 1 : hour, width);
        break;
      case Kind::minute:
        append_padded(out, minutes % 60, width);
        break;
      case Kind::second:
        append_padded(out, moment.seconds % 60, width);
        break;
      case Kind::second_fraction: {
        std::string fraction;
        append_padded(fraction, moment.fraction, digits);
        out += '.';
        out += fraction.substr(0, token.count);
        break;
      }
      case Kind::am_pm:
        out += hour < 12 ? 'A' : 'P';
        if (token.count == 2) out += 'M';
        break;
      case Kind::elapsed_hours:
        append_padded(out, minutes / 60, token.count);
        break;
      case Kind::elapsed_minutes:
        append_padded(out, minutes, token.count);
        break;
      case Kind::elapsed_seconds:
        append_padded(out, moment.seconds, token.count);
        break;
      default:
        out += token.literal;
        break;
    }
  }
}

}  // namespace trfilter
