#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace trfilter {

/// A number of `count` (at most 8) bytes at `offset`, least significant byte first.
/// @return none when it does not lie within `bytes`
inline std::optional<std::uint64_t> little_endian(std::string_view bytes, std::size_t offset,
                                                  std::size_t count) {
  if (offset > bytes.size() || bytes.size() - offset < count) return std::nullopt;
  std::uint64_t value = 0;
  for (std::size_t i = count; i-- != 0;) {
    value = value << 8 | static_cast<unsigned char>(bytes[offset + i]);
  }
  return value;
}

inline std::optional<std::uint32_t> little_endian32(std::string_view bytes, std::size_t offset) {
  const auto value = little_endian(bytes, offset, 4);
  if (!value) return std::nullopt;
  return static_cast<std::uint32_t>(*value);
}

}  // namespace trfilter
