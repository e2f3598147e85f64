#include "engine/office_art/shape_properties.h"

#include "engine/core/byte_cursor.h"
#include "engine/core/utf8.h"

namespace trfilter {
namespace {

constexpr std::size_t entry_size = 6;

std::string text_of(std::string_view utf16) {
  std::u16string units;
  ByteCursor fields(utf16);
  while (fields.rest().size() >= 2) {
    const auto unit = static_cast<char16_t>(fields.u16());
    if (unit == 0) break;
    units.push_back(unit == u'\r' ? u'\n' : unit);
  }
  return utf16_to_utf8(units);
}

}  // namespace

bool ShapeProperties::take(const ArtRecord& record) {
  if (record.type != art::properties && record.type != art::secondary_properties &&
      record.type != art::tertiary_properties) {
    return false;
  }
  // [MS-ODRAW] 2.2.7: an identifier with the flag that its value is a size of data behind the
  // table.
  constexpr std::uint16_t identifier_mask = 0x3FFF;
  constexpr std::uint16_t complex_flag = 0x8000;
  constexpr std::uint16_t word_art_text = 0x00C0;
  constexpr std::uint16_t description = 0x0381;
  constexpr std::uint16_t table_properties = 0x039F;
  constexpr std::uint16_t group_booleans = 0x03BF;
  constexpr std::uint32_t is_table = 0x1;
  constexpr std::uint32_t is_hidden = 0x2;
  constexpr std::uint32_t hidden_is_stated = 0x20000;
  ByteCursor entries(record.data);
  ByteCursor complex(record.data);
  complex.skip(std::size_t{record.instance} * entry_size);
  for (unsigned i = 0; i < record.instance; ++i) {
    const std::uint16_t identifier = entries.u16();
    const std::uint32_t value = entries.u32();
    if (entries.failed()) break;
    std::string_view data;
    if ((identifier & complex_flag) != 0) data = complex.bytes(value);
    switch (identifier & identifier_mask) {
      case word_art_text:
        word_art = text_of(data);
        break;
      case description:
        alternative_text = text_of(data);
        break;
      case table_properties:
        table = (value & is_table) != 0;
        break;
      case group_booleans:
        if ((value & hidden_is_stated) != 0) hidden = (value & is_hidden) != 0;
        break;
      default:
        break;
    }
  }
  return true;
}

}  // namespace trfilter
