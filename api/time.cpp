#include "api/time.h"

#include <iomanip>
#include <locale>
#include <sstream>

namespace tarnis::v1::internal::time {

namespace {

constexpr long ticks_per_second = 10'000'000;
constexpr long epoch_difference = 11'644'473'600;  // seconds from 1601 to 1970
constexpr long seconds_per_day = 86'400;
constexpr long days_per_400_years = 146'097;

struct Date {
  long year;
  int month;  // 1 to 12
  int day;    // 1 to 31
};

long floor_division(long dividend, long divisor) {
  return dividend / divisor - (dividend % divisor < 0 ? 1 : 0);
}

bool is_leap(long year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int days_in_month(long year, int month) {
  constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && is_leap(year) ? 29 : days[month - 1];
}

/// `day` counts from 1970-01-01, negative before it.
Date date_of(long day) {
  // Counted from 1600-03-01, every cycle of 400 years ends with its longest February.
  constexpr long from_1600_to_1970 = 135'080;
  const long since_1600 = day + from_1600_to_1970;
  const long cycle = floor_division(since_1600, days_per_400_years);
  long rest = since_1600 - cycle * days_per_400_years;
  long year = 1600 + cycle * 400;
  for (long century = 0; century < 3 && rest >= 36'524; ++century) {
    rest -= 36'524;
    year += 100;
  }
  const long leap_cycles = rest / 1'461;
  rest -= leap_cycles * 1'461;
  year += leap_cycles * 4;
  for (long step = 0; step < 3 && rest >= 365; ++step) {
    rest -= 365;
    ++year;
  }
  int month = 3;
  while (rest >= days_in_month(year, month)) {
    rest -= days_in_month(year, month);
    if (++month > 12) {
      month = 1;
      ++year;
    }
  }
  return {year, month, static_cast<int>(rest) + 1};
}

}  // namespace

long filetime_to_epoch_seconds(long filetime) {
  // Seconds are subtracted, not ticks: that cannot overflow. What then is left of a second moves a
  // negative result up, as cutting towards zero does.
  const long seconds = filetime / ticks_per_second - epoch_difference;
  return seconds < 0 && filetime % ticks_per_second > 0 ? seconds + 1 : seconds;
}

std::string printWindowsFileTime(long filetime) {
  const long seconds = filetime_to_epoch_seconds(filetime);
  const long day = floor_division(seconds, seconds_per_day);
  const long second_of_day = seconds - day * seconds_per_day;
  const Date date = date_of(day);
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::setfill('0') << std::setw(4) << date.year << '-' << std::setw(2) << date.month << '-'
       << std::setw(2) << date.day << 'T' << std::setw(2) << second_of_day / 3600 << ':'
       << std::setw(2) << second_of_day / 60 % 60 << ':' << std::setw(2) << second_of_day % 60
       << 'Z';
  return text.str();
}

}  // namespace tarnis::v1::internal::time
