#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Fields of binary headers. A field that is not wholly within the bytes reads as 0, so that a cut
/// header fails the comparison with whatever its format demands.
namespace trfilter {

/// What a search without success answers.
inline constexpr std::size_t npos = std::string_view::npos;

constexpr std::uint32_t byte_at(std::string_view bytes, std::size_t offset) {
  return offset < bytes.size() ? static_cast<unsigned char>(bytes[offset]) : 0;
}

constexpr bool has(std::string_view bytes, std::size_t offset, std::size_t count) {
  return offset <= bytes.size() && count <= bytes.size() - offset;
}

constexpr std::uint32_t le16(std::string_view bytes, std::size_t offset) {
  if (!has(bytes, offset, 2)) return 0;
  return byte_at(bytes, offset) | byte_at(bytes, offset + 1) << 8;
}

constexpr std::uint32_t le32(std::string_view bytes, std::size_t offset) {
  if (!has(bytes, offset, 4)) return 0;
  return le16(bytes, offset) | le16(bytes, offset + 2) << 16;
}

constexpr std::uint64_t le64(std::string_view bytes, std::size_t offset) {
  if (!has(bytes, offset, 8)) return 0;
  return le32(bytes, offset) | std::uint64_t{le32(bytes, offset + 4)} << 32;
}

constexpr std::uint32_t be16(std::string_view bytes, std::size_t offset) {
  if (!has(bytes, offset, 2)) return 0;
  return byte_at(bytes, offset) << 8 | byte_at(bytes, offset + 1);
}

constexpr std::uint32_t be32(std::string_view bytes, std::size_t offset) {
  if (!has(bytes, offset, 4)) return 0;
  return be16(bytes, offset) << 16 | be16(bytes, offset + 2);
}

constexpr std::uint64_t be64(std::string_view bytes, std::size_t offset) {
  if (!has(bytes, offset, 8)) return 0;
  return std::uint64_t{be32(bytes, offset)} << 32 | be32(bytes, offset + 4);
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

}  // namespace trfilter
