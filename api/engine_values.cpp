#include "api/engine_values.h"

#include <cstdint>
#include <stdexcept>

namespace tarnis::v1::internal {

namespace {

bool is_high_surrogate(std::uint32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool is_low_surrogate(std::uint32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

void append_utf8(std::string& text, std::uint32_t code_point) {
  const auto append = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
  const auto append_tail = [&append](std::uint32_t bits) { append(0x80 | (bits & 0x3F)); };
  if (code_point < 0x80) {
    append(code_point);
  } else if (code_point < 0x800) {
    append(0xC0 | code_point >> 6);
    append_tail(code_point);
  } else if (code_point < 0x10000) {
    append(0xE0 | code_point >> 12);
    append_tail(code_point >> 6);
    append_tail(code_point);
  } else {
    append(0xF0 | code_point >> 18);
    append_tail(code_point >> 12);
    append_tail(code_point >> 6);
    append_tail(code_point);
  }
}

}  // namespace

std::string utf16_to_utf8(const void* units) {
  if (units == nullptr) throw std::logic_error("UTF-16 text is null");
  const auto* next = static_cast<const unsigned char*>(units);
  std::string text;
  while (true) {
    const std::uint32_t unit = number_at<std::uint16_t>(next);
    next += 2;
    if (unit == 0) return text;
    if (!is_high_surrogate(unit) && !is_low_surrogate(unit)) {
      append_utf8(text, unit);
      continue;
    }
    // A zero unit behind a high surrogate is read here too: it is no partner, and the text ends.
    const std::uint32_t partner = is_high_surrogate(unit) ? number_at<std::uint16_t>(next) : 0;
    if (!is_low_surrogate(partner)) throw std::range_error("wstring_convert::to_bytes");
    next += 2;
    append_utf8(text, 0x10000 + ((unit - 0xD800) << 10) + (partner - 0xDC00));
  }
}

}  // namespace tarnis::v1::internal
