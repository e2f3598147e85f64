#include "engine/readers/plain_text_metrics.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <optional>
#include <string>

#include "engine/core/fields.h"
#include "engine/core/property_names.h"

namespace trfilter {
namespace {

struct Row {
  std::string_view key;
  std::string_view property;
};

constexpr auto rows = std::to_array<Row>({
    {"FullName", property::title},
    {"Version", property::version},
    {"Notice", property::copyright},
});

constexpr std::array<std::string_view, 12> months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t";
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

/// Takes the text up to a separator.
std::string_view take(std::string_view& text, char separator) {
  const std::string_view taken = text.substr(0, text.find(separator));
  text.remove_prefix(std::min(text.size(), taken.size() + 1));
  return taken;
}

std::optional<unsigned> number_of(std::string_view text) {
  unsigned number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  if (parsed.ec != std::errc{} || parsed.ptr != text.data() + text.size()) return std::nullopt;
  return number;
}

/// A time as C's asctime writes it, e.g. "Fri Jul 15 17:50:51 2011"; the time of day may lack.
std::optional<FileTime> time_of(std::string_view text) {
  unsigned month = 0;
  unsigned day = 0;
  unsigned year = 0;
  unsigned seconds = 0;
  while (!text.empty()) {
    std::string_view word = take(text, ' ');
    const auto name = std::find(months.begin(), months.end(), word);
    if (name != months.end()) month = static_cast<unsigned>(name - months.begin()) + 1;
    if (word.find(':') != npos) {
      while (!word.empty()) seconds = seconds * 60 + number_of(take(word, ':')).value_or(0) % 60;
    } else if (const auto number = number_of(word)) {
      (*number > 31 ? year : day) = *number;
    }
  }
  const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(year % 10000)),
                                         std::chrono::month(month), std::chrono::day(day)};
  if (year < 1000 || !date.ok() || seconds >= 86400) return std::nullopt;
  const auto days = std::chrono::sys_days(date).time_since_epoch().count();
  return FileTime::from_unix_seconds(std::int64_t{days} * 86400 + seconds);
}

}  // namespace

void add_font_metrics(std::string_view text, Properties& properties) {
  constexpr std::string_view made = "Creation Date:";
  while (!text.empty()) {
    std::string_view line = take(text, '\n');
    const std::string_view key = take(line, ' ');
    const std::string_view value = trimmed(line);
    if (key == "StartCharMetrics") return;
    for (const Row& row : rows) {
      if (key == row.key) properties.add(row.property, std::string(value));
    }
    if (key == "Comment" && value.starts_with(made)) {
      if (const auto time = time_of(value.substr(made.size()))) {
        properties.add(property::created, *time);
      }
    }
  }
}

}  // namespace trfilter
