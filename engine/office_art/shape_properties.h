#pragma once

#include <cstdint>
#include <string>

#include "engine/office_art/art_records.h"

namespace trfilter {

/// Types of records ([MS-ODRAW] 2.2, 2.3).
namespace art {
constexpr std::uint16_t drawing_group = 0xF000;
constexpr std::uint16_t picture_store = 0xF001;
constexpr std::uint16_t drawing = 0xF002;
constexpr std::uint16_t shape_group = 0xF003;
constexpr std::uint16_t shape = 0xF004;
constexpr std::uint16_t picture_entry = 0xF007;
constexpr std::uint16_t shape_flags = 0xF00A;
constexpr std::uint16_t properties = 0xF00B;
constexpr std::uint16_t client_text = 0xF00D;
constexpr std::uint16_t child_anchor = 0xF00F;
constexpr std::uint16_t client_anchor = 0xF010;
constexpr std::uint16_t client_data = 0xF011;
constexpr std::uint16_t first_picture = 0xF018;
constexpr std::uint16_t last_picture = 0xF117;
constexpr std::uint16_t secondary_properties = 0xF121;
constexpr std::uint16_t tertiary_properties = 0xF122;
}  // namespace art

/// What a shape's tables of properties ([MS-ODRAW] 2.3.1) say that makes a difference to its text.
struct ShapeProperties {
  std::string word_art;          ///< the text of WordArt, UTF-8
  std::string alternative_text;  ///< UTF-8
  bool hidden = false;
  bool table = false;  ///< a group that is a table of cells

  /// Takes a record when it is a table of properties. @return whether it was
  bool take(const ArtRecord& record);
};

}  // namespace trfilter
