#pragma once

#include <cstdint>

namespace trfilter {

/// Numbers of the format table (formats.def). What a user reads about them is the host library's.
enum class Format : std::uint32_t {
  none = 0,
#define FORMAT(number, name, category) name = (number),
#include "engine/core/formats.def"
#undef FORMAT
  // Formats that have a reader and no number of the table: a host sees them as `none`. All of them
  // are of the category encapsulation.
  zstandard = 65536,
  lz4 = 65537,
  lzip = 65538,
  ar = 65539,
  xar = 65540,
};

/// The number that a host knows a format by; 0 for one that the table lacks.
constexpr std::uint32_t host_number(Format format) {
  const auto number = static_cast<std::uint32_t>(format);
  return number < 65536 ? number : 0;
}

/// Numbers of the category table.
enum class Category : std::uint32_t {
  none = 0,
  word_processor = 1,
  spreadsheet = 2,
  database = 3,
  raster_image = 4,
  vector_graphic = 5,
  presentation = 6,
  executable = 7,
  encapsulation = 8,
  audio = 9,
  desktop_publishing = 10,
  planning_outline = 11,
  general_purpose = 12,
  mixed = 13,
  font = 14,
  scheduling = 15,
  communications = 16,
  object_module = 17,
  library = 18,
  fax = 19,
  movie = 20,
  animation = 21,
};

/// What a document is.
struct Detection {
  static constexpr std::uint64_t encrypted = 1u << 0;
  static constexpr std::uint64_t mac_binary = 1u << 1;
  static constexpr std::uint64_t apple_single = 1u << 2;
  static constexpr std::uint64_t apple_double = 1u << 3;
  static constexpr std::uint64_t windows_rms = 1u << 5;

  Format format = Format::none;
  Category category = Category::none;
  std::uint64_t version = 0;  ///< major * 65,536 + minor; 0: the format has none or hides it
  std::uint64_t attributes = 0;

  static constexpr std::uint64_t version_of(std::uint32_t major, std::uint32_t minor = 0) {
    return (std::uint64_t{major} << 16) | minor;
  }
};

}  // namespace trfilter
