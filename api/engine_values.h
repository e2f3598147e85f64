#pragma once

#include <cstring>
#include <locale>
#include <sstream>
#include <string>

#include "api/export.h"

namespace tarnis::v1::internal {

/// The number that an engine's pointer, not null, leads to, aligned or not.
template <class T>
T number_at(const void* address) {
  T value;
  std::memcpy(&value, address, sizeof value);
  return value;
}

/// A number with a stream's default formatting, whatever the host's locale.
template <class T>
std::string number_text(T value) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << value;
  return text.str();
}

/// The UTF-8 form of 16-bit units in native order, up to the first zero.
/// @throws std::logic_error for null, std::range_error "wstring_convert::to_bytes" for a surrogate
///         without its partner
TARNIS_EXPORT std::string utf16_to_utf8(const void* units);

}  // namespace tarnis::v1::internal
