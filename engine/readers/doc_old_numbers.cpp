#include "engine/readers/doc_old_numbers.h"

#include <algorithm>
#include <utility>

#include "engine/core/fields.h"
#include "engine/readers/doc_headers.h"
#include "engine/readers/doc_lists.h"
#include "engine/readers/doc_modifiers.h"
#include "engine/readers/doc_source.h"

namespace trfilter::doc {
namespace {

using word::Level;
using word::level_count;
using word::ListDefinition;

constexpr std::uint32_t last_outline_kind = level_count;
constexpr std::uint32_t sequence_kind = 10;
constexpr std::uint32_t bullet_kind = 11;
constexpr std::uint32_t passed_over_kind = 12;

constexpr int sequence = 1;
constexpr int outline = 2;

// ANLV, which begins an ANLD and of which an OLST has nine. The text of an OLST's levels stands in
// one row, that of each behind the one before.
constexpr std::size_t level_size = 16;
constexpr std::size_t level_text_before_at = 1;
constexpr std::size_t level_text_after_at = 2;
constexpr std::size_t level_flags_at = 3;
constexpr std::size_t level_font_at = 6;
constexpr std::size_t level_start_at = 10;
constexpr std::uint32_t with_levels_above = 0x04;
constexpr std::size_t own_text_at = 20;
constexpr std::size_t outline_restart_at = 144;
constexpr std::size_t outline_text_at = 148;

std::string shown(Source& source, std::string_view bytes, std::uint16_t font) {
  std::string kept;
  std::copy_if(bytes.begin(), bytes.end(), std::back_inserter(kept),
               [](char byte) { return static_cast<unsigned char>(byte) >= ' ' && byte != '%'; });
  CharacterProperties properties;
  properties.font = font;
  std::string text;
  source.append_narrow(kept, properties, text);
  return text;
}

std::size_t text_size(std::string_view level) {
  return std::size_t{byte_at(level, level_text_before_at)} + byte_at(level, level_text_after_at);
}

/// @param text    from the begin of the level's own on
/// @param levels  those of the outline around; null when there is none
/// @param number  of the level, from 0 on
Level read_level(Source& source, std::string_view bytes, std::string_view text, bool bullet,
                 const word::Levels* levels, std::size_t number) {
  Level level;
  level.style = number_style(byte_at(bytes, 0));
  level.bullet = bullet || level.style == NumberStyle::none;
  level.start = static_cast<int>(le16(bytes, level_start_at));
  const auto font = static_cast<std::uint16_t>(le16(bytes, level_font_at));
  const std::size_t before = byte_at(bytes, level_text_before_at);
  level.text = shown(source, text.substr(0, before), font);
  if (!level.bullet) {
    if (levels != nullptr && (byte_at(bytes, level_flags_at) & with_levels_above) != 0) {
      for (std::size_t i = 0; i < number; ++i) {
        const std::optional<Level>& above = (*levels)[i];
        if (!above || above->bullet) continue;
        level.text += {'%', static_cast<char>('1' + i), '.'};
      }
    }
    level.text += {'%', static_cast<char>('1' + number)};
  }
  text.remove_prefix(std::min(before, text.size()));
  level.text += shown(source, text.substr(0, byte_at(bytes, level_text_after_at)), font);
  return level;
}

std::string_view behind(std::string_view bytes, std::size_t offset) {
  return bytes.substr(std::min(offset, bytes.size()));
}

}  // namespace

void OldNumbers::enter_section(Source& source, std::uint32_t position) {
  // What is outside of the body is counted with the section that has been read last.
  if (section_ && position >= source.fib().count(TextPart::body)) return;
  if (!sections_) sections_ = source.table(Table::sections);
  const Sections sections(*sections_);
  const std::size_t number = sections.at(position);
  if (section_ == number) return;
  section_ = number;
  described_ = false;
  ListDefinition& definition = *numbering_.add_definition(outline);
  const std::string properties = sections.properties(source, number);
  ModifierList modifiers(properties, Version::word_6);
  while (const auto modifier = modifiers.next()) {
    if (modifier->property != Property::old_outline) continue;
    const std::string_view description = modifier->operand;
    std::string_view text = behind(description, outline_text_at);
    definition.levels = {};
    described_ = true;
    for (std::size_t i = 0; i < level_count; ++i) {
      const std::string_view bytes = behind(description, i * level_size).substr(0, level_size);
      definition.levels[i] = read_level(source, bytes, text, false, &definition.levels, i);
      text = behind(text, text_size(bytes));
    }
    if (byte_at(description, outline_restart_at) != 0) definition.counts = {};
  }
}

std::string_view OldNumbers::next_label(Source& source, std::uint32_t position, std::uint32_t kind,
                                        std::string_view descriptor) {
  if (kind == passed_over_kind) return {};
  ListDefinition& own = *numbering_.add_definition(sequence);
  const bool counted = kind == sequence_kind && !descriptor.empty();
  if (!counted) own.counts = {};
  if (kind == 0 || kind > passed_over_kind) return {};
  if (kind <= last_outline_kind) {
    enter_section(source, position);
    ListDefinition& levels = *numbering_.add_definition(outline);
    const std::size_t number = kind - 1;
    if (!described_ && !descriptor.empty()) {
      levels.levels[number] = read_level(source, descriptor, behind(descriptor, own_text_at), false,
                                         &levels.levels, number);
    }
    numbering_.add_instance(outline)->definition = outline;
    return numbering_.next_label(outline, static_cast<int>(number));
  }
  if (descriptor.empty()) return {};
  own.levels[0] = read_level(source, descriptor, behind(descriptor, own_text_at),
                             kind == bullet_kind, nullptr, 0);
  numbering_.add_instance(sequence)->definition = sequence;
  const std::string_view label = numbering_.next_label(sequence, 0);
  // A bullet is not one of the paragraphs that are counted.
  if (!counted) own.counts = {};
  return label;
}

}  // namespace trfilter::doc
