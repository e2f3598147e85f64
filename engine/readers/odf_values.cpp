#include "engine/readers/odf_values.h"

#include <charconv>

namespace trfilter {

std::optional<unsigned> odf_unsigned(std::string_view text) {
  unsigned value = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
  if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<double> odf_duration(std::string_view text) {
  if (!text.starts_with('P')) return std::nullopt;
  text.remove_prefix(1);
  double seconds = 0;
  bool in_time = false;
  while (!text.empty()) {
    if (text.front() == 'T') {
      in_time = true;
      text.remove_prefix(1);
      continue;
    }
    double count = 0;
    const auto parsed =
        std::from_chars(text.data(), text.data() + text.size(), count, std::chars_format::fixed);
    if (parsed.ec != std::errc() || parsed.ptr == text.data() + text.size()) return std::nullopt;
    const char unit = *parsed.ptr;
    text.remove_prefix(static_cast<std::size_t>(parsed.ptr - text.data()) + 1);
    if (unit == 'D' && !in_time) {
      seconds += count * 86400;
    } else if (unit == 'H' && in_time) {
      seconds += count * 3600;
    } else if (unit == 'M' && in_time) {
      seconds += count * 60;
    } else if (unit == 'S' && in_time) {
      seconds += count;
    } else {
      return std::nullopt;
    }
  }
  return seconds;
}

}  // namespace trfilter
