#include "engine/readers/xlsx_values.h"

#include <charconv>

#include "engine/xml/date_time.h"

namespace trfilter {
namespace {

constexpr unsigned columns_end = 16'384;
constexpr double leap_day_of_1900 = 60;
constexpr FileTime last_of_1899 = FileTime::from_unix_seconds(-2'209'075'200);

}  // namespace

std::optional<unsigned> xlsx_unsigned(std::string_view text) {
  unsigned value = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
  if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<double> xlsx_double(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\n')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\n')) text.remove_suffix(1);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  double value = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
  if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size()) return std::nullopt;
  return value;
}

bool xlsx_boolean(std::string_view text) {
  return text == "1" || text == "true";
}

std::optional<unsigned> xlsx_column(std::string_view reference) {
  unsigned column = 0;
  for (const char c : reference) {
    if (c < 'A' || c > 'Z') break;
    column = column * 26 + static_cast<unsigned>(c - 'A') + 1;
    if (column > columns_end) return std::nullopt;
  }
  if (column == 0) return std::nullopt;
  return column - 1;
}

std::optional<double> xlsx_date(std::string_view text) {
  const auto time = parse_date_time(text);
  if (!time) return std::nullopt;
  constexpr double ticks_a_day = 86400e7;
  const double serial = static_cast<double>(time->ticks - last_of_1899.ticks) / ticks_a_day;
  return serial < leap_day_of_1900 ? serial : serial + 1;
}

}  // namespace trfilter
