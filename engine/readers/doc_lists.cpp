#include "engine/readers/doc_lists.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "engine/core/fields.h"
#include "engine/core/utf8.h"
#include "engine/readers/doc_modifiers.h"

namespace trfilter::doc {
namespace {

using word::Level;
using word::level_count;
using word::Levels;
using word::ListDefinition;
using word::ListInstance;
using word::ListNumbering;

constexpr std::size_t list_size = 28;      // 2.9.147 LSTF
constexpr std::size_t override_size = 16;  // 2.9.131 LFO
constexpr std::size_t level_size = 28;     // 2.9.150 LVLF
constexpr std::uint32_t bullet_format = 23;

// [MS-OSHARED] 2.2.1.3 MSONFC, as far as it goes in one row.
constexpr auto number_styles = std::to_array<NumberStyle>({
    NumberStyle::decimal,
    NumberStyle::upper_roman,
    NumberStyle::lower_roman,
    NumberStyle::upper_letter,
    NumberStyle::lower_letter,
    NumberStyle::ordinal,
    NumberStyle::cardinal_text,
    NumberStyle::ordinal_text,
    NumberStyle::hexadecimal,
    NumberStyle::chicago,
    NumberStyle::cjk_digits,
    NumberStyle::cjk_counting,
    NumberStyle::aiueo,
    NumberStyle::iroha,
    NumberStyle::full_width,
    NumberStyle::decimal,
    NumberStyle::cjk_counting,
    NumberStyle::cjk_digits,
    NumberStyle::circled,
    NumberStyle::full_width,
    NumberStyle::aiueo,
    NumberStyle::iroha,
    NumberStyle::decimal_zero,
    NumberStyle::none,
    NumberStyle::korean_ganada,
    NumberStyle::korean_chosung,
    NumberStyle::full_stop,
    NumberStyle::parenthesised,
    NumberStyle::circled,
    NumberStyle::circled,
    NumberStyle::heavenly_stems,
    NumberStyle::earthly_branches,
    NumberStyle::earthly_branches,
    NumberStyle::cjk_counting,
    NumberStyle::cjk_counting,
    NumberStyle::cjk_counting,
    NumberStyle::cjk_digits,
    NumberStyle::cjk_counting,
    NumberStyle::cjk_counting,
    NumberStyle::cjk_counting,
});

/// Takes a level (2.9.149 LVL) off the front. @return none when it is cut
std::optional<Level> next_level(std::string_view& bytes, const std::vector<Font>& fonts) {
  constexpr std::uint32_t legal_flag = 0x04;
  constexpr std::uint32_t no_restart_flag = 0x08;
  constexpr std::uint32_t follow_nothing = 2;
  if (bytes.size() < level_size) return std::nullopt;
  const std::size_t characters = byte_at(bytes, 24);
  const std::size_t paragraph = byte_at(bytes, 25);
  const std::size_t text_at = level_size + characters + paragraph;
  const std::size_t text_units = le16(bytes, text_at);
  if (!has(bytes, text_at, 2 + text_units * 2)) return std::nullopt;
  Level level;
  const std::uint32_t start = le32(bytes, 0);
  level.start = start <= 0x7FFF ? static_cast<int>(start) : 1;
  const std::uint32_t format = byte_at(bytes, 4);
  level.bullet = format == bullet_format;
  level.style = number_style(format);
  const std::uint32_t flags = byte_at(bytes, 5);
  level.legal = (flags & legal_flag) != 0;
  level.suffix = byte_at(bytes, 15) != follow_nothing;
  if ((flags & no_restart_flag) != 0) level.restart = static_cast<int>(byte_at(bytes, 26));
  ModifierList modifiers(bytes.substr(level_size + paragraph, characters), Version::word_97);
  while (const auto modifier = modifiers.next()) {
    if (modifier->property == Property::font && modifier->value() < fonts.size()) {
      level.font = fonts[modifier->value()].name;
    }
  }
  for (std::size_t i = 0; i < std::min<std::size_t>(text_units, 255); ++i) {
    const std::uint32_t unit = le16(bytes, text_at + 2 + i * 2);
    if (unit < level_count && !level.bullet) {
      level.text += '%';
      level.text += static_cast<char>('1' + unit);
    } else if (unit >= ' ') {
      append_utf8(level.text, unit);
    }
  }
  bytes.remove_prefix(text_at + 2 + text_units * 2);
  return level;
}

/// Takes the data of a list (2.9.132 LFOData) off the front. @return whether it is whole
bool next_override(std::string_view& bytes, std::size_t levels, const std::vector<Font>& fonts,
                   ListInstance& instance) {
  constexpr std::uint32_t level_mask = 0x0F;
  constexpr std::uint32_t start_flag = 0x10;
  constexpr std::uint32_t level_flag = 0x20;
  if (bytes.size() < 4) return false;
  bytes.remove_prefix(4);
  for (std::size_t i = 0; i < levels; ++i) {
    if (bytes.size() < 8) return false;
    const std::uint32_t start = le32(bytes, 0);
    const std::uint32_t flags = le32(bytes, 4);
    bytes.remove_prefix(8);
    const std::size_t number = flags & level_mask;
    std::optional<Level> level;
    if ((flags & level_flag) != 0) {
      level = next_level(bytes, fonts);
      if (!level) return false;
    }
    if (number >= level_count) continue;
    if ((flags & start_flag) != 0) {
      instance.start[number] = level ? level->start : start <= 0x7FFF ? static_cast<int>(start) : 1;
    }
    if (level) {
      if (!instance.levels) instance.levels = std::make_unique<Levels>();
      (*instance.levels)[number] = std::move(*level);
    }
  }
  return true;
}

}  // namespace

NumberStyle number_style(std::uint32_t format) {
  constexpr std::uint32_t russian_lower = 58;
  constexpr std::uint32_t russian_upper = 59;
  constexpr std::uint32_t none = 255;
  if (format < number_styles.size()) return number_styles[format];
  if (format == russian_lower) return NumberStyle::russian_lower;
  if (format == russian_upper) return NumberStyle::russian_upper;
  return format == none ? NumberStyle::none : NumberStyle::decimal;
}

void read_lists(std::string_view lists, std::string_view overrides, const std::vector<Font>& fonts,
                ListNumbering& numbering) {
  constexpr std::uint32_t simple_flag = 0x01;
  const std::size_t count = le16(lists, 0);
  if (!has(lists, 2, count * list_size)) return;
  std::string_view levels = lists.substr(2 + count * list_size);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t at = 2 + i * list_size;
    ListDefinition* definition = numbering.add_definition(static_cast<int>(le32(lists, at)));
    if (definition == nullptr) return;
    const int own = (byte_at(lists, at + 26) & simple_flag) != 0 ? 1 : level_count;
    for (int number = 0; number < own; ++number) {
      std::optional<Level> level = next_level(levels, fonts);
      if (!level) break;
      definition->levels[static_cast<std::size_t>(number)] = std::move(level);
    }
  }

  const std::size_t override_count = le32(overrides, 0);
  if (override_count > overrides.size() / override_size) return;
  std::string_view data =
      overrides.substr(std::min(overrides.size(), 4 + override_count * override_size));
  bool whole = true;
  for (std::size_t i = 0; i < override_count; ++i) {
    const std::size_t at = 4 + i * override_size;
    ListInstance* instance = numbering.add_instance(static_cast<int>(i + 1));
    if (instance == nullptr) return;
    instance->definition = static_cast<int>(le32(overrides, at));
    whole = whole && next_override(data, byte_at(overrides, at + 12), fonts, *instance);
  }
}

}  // namespace trfilter::doc
