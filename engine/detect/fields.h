#pragma once

#include <cstddef>
#include <string_view>

#include "engine/core/byte_fields.h"

/// Looks at binary headers. A field that is not wholly within the bytes reads as 0, so that a cut
/// header fails the comparison with whatever its format demands.
namespace trfilter::detection {

/// What a search without success answers.
inline constexpr std::size_t npos = std::string_view::npos;

constexpr bool has(std::string_view bytes, std::size_t offset, std::size_t count) {
  return has_bytes(bytes, offset, count);
}

/// Whether `bytes` holds exactly `expected` at `offset`.
constexpr bool matches(std::string_view bytes, std::size_t offset, std::string_view expected) {
  return has(bytes, offset, expected.size()) && bytes.substr(offset, expected.size()) == expected;
}

constexpr bool contains(std::string_view bytes, std::string_view wanted) {
  return bytes.find(wanted) != std::string_view::npos;
}

/// A view of a literal, NUL characters inside included.
template <std::size_t size>
constexpr std::string_view literal(const char (&text)[size]) {
  return {text, size - 1};
}

}  // namespace trfilter::detection
