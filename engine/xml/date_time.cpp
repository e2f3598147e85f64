#include "engine/xml/date_time.h"

#include <charconv>
#include <chrono>

namespace trfilter {
namespace {

constexpr std::int64_t ticks_a_second = 10'000'000;

/// Takes fields of digits from the front of a text.
class Fields {
 public:
  explicit Fields(std::string_view text) : rest_(text) {}

  bool at_end() const { return rest_.empty(); }

  bool take(char c) {
    if (rest_.empty() || rest_.front() != c) return false;
    rest_.remove_prefix(1);
    return true;
  }

  /// A number of exactly `digits` digits.
  std::optional<int> number(std::size_t digits) {
    if (rest_.size() < digits) return std::nullopt;
    int value = 0;
    const char* end = rest_.data() + digits;
    if (rest_.front() == '-' || std::from_chars(rest_.data(), end, value).ptr != end) {
      return std::nullopt;
    }
    rest_.remove_prefix(digits);
    return value;
  }

  /// The digits of a fraction, in ticks of a second.
  std::int64_t fraction() {
    std::int64_t ticks = 0;
    std::int64_t weight = ticks_a_second / 10;
    while (!rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9') {
      ticks += weight * (rest_.front() - '0');
      weight /= 10;
      rest_.remove_prefix(1);
    }
    return ticks;
  }

 private:
  std::string_view rest_;
};

}  // namespace

std::optional<FileTime> parse_date_time(std::string_view text) {
  while (!text.empty() && text.front() <= ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() <= ' ') text.remove_suffix(1);
  Fields fields(text);
  const auto year = fields.number(4);
  if (!year) return std::nullopt;
  int month = 1;
  int day = 1;
  if (fields.take('-')) {
    const auto stated = fields.number(2);
    if (!stated) return std::nullopt;
    month = *stated;
    if (fields.take('-')) {
      const auto stated_day = fields.number(2);
      if (!stated_day) return std::nullopt;
      day = *stated_day;
    }
  }
  const std::chrono::year_month_day date{std::chrono::year{*year},
                                         std::chrono::month{static_cast<unsigned>(month)},
                                         std::chrono::day{static_cast<unsigned>(day)}};
  if (!date.ok()) return std::nullopt;
  std::int64_t seconds =
      std::int64_t{std::chrono::sys_days(date).time_since_epoch().count()} * 86'400;
  std::int64_t ticks = 0;

  if (fields.take('T')) {
    const auto hours = fields.number(2);
    if (!hours || *hours > 24 || !fields.take(':')) return std::nullopt;
    const auto minutes = fields.number(2);
    if (!minutes || *minutes > 59) return std::nullopt;
    seconds += *hours * 3600 + *minutes * 60;
    if (fields.take(':')) {
      const auto whole = fields.number(2);
      if (!whole || *whole > 60) return std::nullopt;
      seconds += *whole;
      if (fields.take('.') || fields.take(',')) ticks = fields.fraction();
    }
  }
  const bool east = fields.take('+');
  if (east || fields.take('-')) {
    const auto hours = fields.number(2);
    if (!hours) return std::nullopt;
    fields.take(':');
    const auto minutes = fields.number(2).value_or(0);
    const std::int64_t offset = *hours * 3600 + minutes * 60;
    seconds += east ? -offset : offset;
  } else {
    fields.take('Z');
  }
  if (!fields.at_end()) return std::nullopt;
  FileTime time = FileTime::from_unix_seconds(seconds);
  time.ticks += ticks;
  return time;
}

}  // namespace trfilter
