#include "engine/readers/doc_modifiers.h"

#include <algorithm>
#include <array>

#include "engine/core/fields.h"

namespace trfilter::doc {
namespace {

struct Code {
  std::uint16_t code;
  Property property;
};

constexpr auto word_97_codes = std::to_array<Code>({
    {0x0800, Property::deleted},
    {0x0801, Property::inserted},
    {0x0806, Property::data},
    {0x080A, Property::ole_object},
    {0x083C, Property::vanish},
    {0x0855, Property::special},
    {0x2416, Property::in_table},
    {0x2417, Property::row_end},
    {0x244B, Property::inner_cell_end},
    {0x244C, Property::inner_row_end},
    {0x260A, Property::list_level},
    {0x2A33, Property::plain},
    {0x442C, Property::drop_cap},
    {0x4600, Property::paragraph_style},
    {0x460B, Property::list_id},
    {0x4A30, Property::character_style},
    {0x4A4F, Property::font},
    {0x6645, Property::huge},
    {0x6646, Property::huge},
    {0x6649, Property::table_depth},
    {0x6A03, Property::picture_location},
    {0x6A09, Property::symbol},
});

constexpr std::uint16_t table_definition = 0xD608;
constexpr std::uint16_t change_tabs = 0xC615;

constexpr auto word_6_codes = std::to_array<Code>({
    // Of paragraphs.
    {2, Property::paragraph_style},
    {12, Property::old_number},
    {13, Property::old_number_kind},
    {24, Property::in_table},
    {25, Property::row_end},
    {46, Property::drop_cap},
    // Of characters.
    {65, Property::deleted},
    {66, Property::inserted},
    {68, Property::picture_location},
    {71, Property::data},
    {74, Property::symbol},
    {75, Property::ole_object},
    {80, Property::character_style},
    {83, Property::plain},
    {92, Property::vanish},
    {93, Property::font},
    {117, Property::special},
    // Of sections.
    {133, Property::old_outline},
    {153, Property::header_kinds},
});

template <std::size_t size>
Property property_of(const std::array<Code, size>& codes, std::uint32_t code) {
  const auto found =
      std::lower_bound(codes.begin(), codes.end(), code,
                       [](const Code& row, std::uint32_t wanted) { return row.code < wanted; });
  return found == codes.end() || found->code != code ? Property::other : found->property;
}

// Operand sizes of Word 6, by code.
constexpr std::uint8_t variable = 0xFE;       ///< a byte with the size comes first
constexpr std::uint8_t long_variable = 0xFD;  ///< two bytes with the size and one
constexpr std::uint8_t unknown = 0xFF;

struct Sizes {
  std::uint8_t first;
  std::uint8_t last;
  std::uint8_t size;
};

constexpr auto word_6_sizes = std::to_array<Sizes>({
    {2, 2, 2},
    {3, 3, variable},
    {4, 11, 1},
    {12, 12, variable},
    {13, 14, 1},
    {15, 15, variable},
    {16, 19, 2},
    {20, 20, 4},
    {21, 22, 2},
    {23, 23, variable},
    {24, 25, 1},
    {26, 28, 2},
    {29, 29, 1},
    {30, 36, 2},
    {37, 37, 1},
    {38, 43, 2},
    {44, 44, 1},
    {45, 49, 2},
    {50, 51, 1},
    {52, 52, variable},
    {65, 67, 1},
    {68, 68, variable},
    {69, 69, 2},
    {70, 70, 4},
    {71, 71, 1},
    {72, 72, 2},
    {73, 74, variable},
    {75, 75, 1},
    {80, 80, 2},
    {81, 82, variable},
    {83, 83, 0},
    {85, 92, 1},
    {93, 93, 2},
    {94, 94, 1},
    {95, 95, 3},
    {96, 97, 2},
    {98, 98, 1},
    {99, 99, 2},
    {100, 102, 1},
    {103, 103, variable},
    {104, 104, 1},
    {105, 106, variable},
    {107, 107, 2},
    {108, 108, variable},
    {109, 110, 2},
    {117, 119, 1},
    {120, 120, variable},
    {121, 124, 2},
    {131, 132, 1},
    {133, 133, variable},
    {136, 137, 3},
    {138, 139, 1},
    {140, 141, 2},
    {142, 143, 1},
    {144, 145, 2},
    {146, 147, 1},
    {148, 149, 2},
    {150, 153, 1},
    {154, 157, 2},
    {158, 159, 1},
    {160, 161, 2},
    {162, 162, 1},
    {164, 171, 2},
    {182, 184, 2},
    {185, 186, 1},
    {187, 187, 12},
    {188, 188, long_variable},
    {189, 189, 2},
    {190, 190, long_variable},
    {191, 191, variable},
    {192, 192, 4},
    {193, 193, 5},
    {194, 194, 4},
    {195, 195, 2},
    {196, 196, 4},
    {197, 198, 2},
    {199, 199, 5},
    {200, 200, 4},
});

std::uint8_t word_6_size(std::uint32_t code) {
  for (const Sizes& row : word_6_sizes) {
    if (code >= row.first && code <= row.last) return row.size;
  }
  return unknown;
}

}  // namespace

std::uint32_t Modifier::value() const {
  std::uint32_t value = 0;
  for (std::size_t i = std::min<std::size_t>(operand.size(), 4); i-- != 0;) {
    value = value << 8 | byte_at(operand, i);
  }
  return value;
}

std::optional<Modifier> ModifierList::take(Property property, std::size_t head, std::size_t size) {
  if (!has(rest_, head, size)) {
    rest_ = {};
    return std::nullopt;
  }
  const Modifier modifier{property, rest_.substr(head, size)};
  rest_.remove_prefix(head + size);
  return modifier;
}

std::optional<Modifier> ModifierList::next() {
  if (version_ != Version::word_97) return next_word_6();
  if (rest_.size() < 2) return std::nullopt;
  const std::uint32_t code = le16(rest_, 0);
  const Property property = property_of(word_97_codes, code);
  // The three topmost bits are the operand's kind.
  constexpr std::array<std::size_t, 8> sizes = {1, 1, 2, 4, 2, 2, 0, 3};
  constexpr std::uint32_t variable_kind = 6;
  const std::uint32_t kind = code >> 13;
  if (kind != variable_kind) return take(property, 2, sizes[kind]);
  if (code == table_definition) {
    const std::size_t size = le16(rest_, 2);
    return take(property, 4, size == 0 ? 0 : size - 1);
  }
  const std::size_t size = byte_at(rest_, 2);
  if (code == change_tabs && size == 0xFF) {
    // 2.9.182 PChgTabsOperand: deleted tabs with their tolerances, then added ones.
    const std::size_t deleted = byte_at(rest_, 3);
    const std::size_t added = byte_at(rest_, 4 + deleted * 4);
    return take(property, 3, 2 + deleted * 4 + added * 3);
  }
  return take(property, 3, size);
}

std::optional<Modifier> ModifierList::next_word_6() {
  if (rest_.empty()) return std::nullopt;
  const std::uint32_t code = byte_at(rest_, 0);
  const Property property = property_of(word_6_codes, code);
  const std::uint8_t size = word_6_size(code);
  switch (size) {
    case unknown:
      rest_ = {};
      return std::nullopt;
    case variable:
      return take(property, 2, byte_at(rest_, 1));
    case long_variable: {
      const std::size_t stated = le16(rest_, 1);
      return take(property, 3, stated == 0 ? 0 : stated - 1);
    }
    default:
      return take(property, 1, size);
  }
}

}  // namespace trfilter::doc
