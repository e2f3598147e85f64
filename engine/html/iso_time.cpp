#include "engine/html/iso_time.h"

#include <chrono>
#include <cstdint>

namespace trfilter {
namespace {

/// Takes exactly `digits` digits from the begin of `text`.
bool take_number(std::string_view& text, unsigned digits, int& value) {
  if (text.size() < digits) return false;
  int sum = 0;
  for (unsigned i = 0; i < digits; ++i) {
    const char c = text[i];
    if (c < '0' || c > '9') return false;
    sum = sum * 10 + (c - '0');
  }
  text.remove_prefix(digits);
  value = sum;
  return true;
}

bool take(std::string_view& text, char c) {
  if (text.empty() || text.front() != c) return false;
  text.remove_prefix(1);
  return true;
}

/// Minutes east of UTC that a zone states.
bool take_zone(std::string_view text, int& minutes) {
  minutes = 0;
  if (text.empty() || text == "Z" || text == "z") return true;
  const bool west = text.front() == '-';
  if (!west && text.front() != '+') return false;
  text.remove_prefix(1);
  int hours = 0;
  int rest = 0;
  if (!take_number(text, 2, hours)) return false;
  take(text, ':');
  if (!text.empty() && !take_number(text, 2, rest)) return false;
  if (!text.empty() || hours > 23 || rest > 59) return false;
  minutes = (hours * 60 + rest) * (west ? -1 : 1);
  return true;
}

}  // namespace

std::optional<FileTime> parse_iso_time(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  int year = 0;
  int month = 0;
  int day = 0;
  if (!take_number(text, 4, year) || !take(text, '-') || !take_number(text, 2, month) ||
      !take(text, '-') || !take_number(text, 2, day)) {
    return std::nullopt;
  }
  const std::chrono::year_month_day date{std::chrono::year{year},
                                         std::chrono::month{static_cast<unsigned>(month)},
                                         std::chrono::day{static_cast<unsigned>(day)}};
  if (!date.ok() || year < 1601) return std::nullopt;
  int hour = 0;
  int minute = 0;
  int second = 0;
  std::int64_t ticks = 0;
  int zone = 0;
  if (!text.empty()) {
    if (!take(text, 'T') && !take(text, 't') && !take(text, ' ')) return std::nullopt;
    if (!take_number(text, 2, hour) || !take(text, ':') || !take_number(text, 2, minute)) {
      return std::nullopt;
    }
    if (take(text, ':') && !take_number(text, 2, second)) return std::nullopt;
    if (take(text, '.') || take(text, ',')) {
      std::int64_t weight = 1'000'000;
      while (!text.empty() && text.front() >= '0' && text.front() <= '9') {
        ticks += (text.front() - '0') * weight;
        weight /= 10;
        text.remove_prefix(1);
      }
    }
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    if (hour > 24 || minute > 59 || second > 60 || !take_zone(text, zone)) return std::nullopt;
  }
  const auto days = std::chrono::sys_days{date}.time_since_epoch().count();
  const std::int64_t seconds = std::int64_t{days} * 86'400 + hour * std::int64_t{3'600} +
                               minute * std::int64_t{60} + second - zone * std::int64_t{60};
  FileTime time = FileTime::from_unix_seconds(seconds);
  time.ticks += ticks;
  return time;
}

}  // namespace trfilter
