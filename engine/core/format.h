#pragma once

#include <cstdint>

namespace trfilter {

/// Numbers of the format table (formats.def). What a user reads about them is the host library's.
enum class Format : std::uint32_t {
  none = 0,
#define FORMAT(number, name, category) name = (number),
#include "engine/core/formats.def"
#include "engine/core/unnumbered_formats.def"
#undef FORMAT
};

/// The first number of the formats that the format table lacks (unnumbered_formats.def).
inline constexpr std::uint32_t first_unnumbered = 65536;

/// The number that a host knows a format by; 0 for one that the table lacks. A package of InDesign
/// is the zip archive that it also is, whose members are listed; font metrics are text.
constexpr std::uint32_t host_number(Format format) {
  if (format == Format::idml) format = Format::zip;
  if (format == Format::font_metrics) format = Format::text;
  if (format == Format::staroffice_binary) format = Format::compound_document;
  const auto number = static_cast<std::uint32_t>(format);
  return number < first_unnumbered ? number : 0;
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
