#include "engine/word/list_numbering.h"

#include "engine/core/symbol_font.h"
#include "engine/core/utf8.h"

namespace trfilter::word {
namespace {

constexpr char32_t bullet = U'\u2022';
constexpr char32_t white_bullet = U'\u25E6';
constexpr char32_t private_use_begin = 0xE000;
constexpr char32_t private_use_end = 0xF900;

bool is_level(int level) {
  return level >= 0 && level < level_count;
}

/// The one character of a text; none when there are more or less.
std::optional<char32_t> only_character(std::string_view text) {
  if (text.size() > 4) return std::nullopt;
  const std::u16string units = utf8_to_utf16(text);
  if (units.size() != 1) return std::nullopt;
  return units.front();
}

/// A bullet as plain text can show it.
void append_bullet(std::string& out, const Level& level) {
  const std::optional<char32_t> character = only_character(level.text);
  if (!character) {
    out += level.text;
    return;
  }
  char32_t shown = symbol_font_character(level.font, *character);
  if (shown == 0) {
    shown = *character;
    if (shown >= private_use_begin && shown < private_use_end) shown = bullet;
    if (shown == U'o') shown = white_bullet;
  }
  append_utf8(out, shown);
}

}  // namespace

const ListDefinition* ListNumbering::definition(int id) const {
  const auto found = definitions_.find(id);
  return found == definitions_.end() ? nullptr : &found->second;
}

const ListInstance* ListNumbering::instance(int id) const {
  const auto found = instances_.find(id);
  return found == instances_.end() ? nullptr : &found->second;
}

const Level* ListNumbering::level_of(const ListDefinition& definition, const ListInstance& instance,
                                     int level) {
  const auto index = static_cast<std::size_t>(level);
  if (instance.levels && (*instance.levels)[index]) return &*(*instance.levels)[index];
  const std::optional<Level>& own = definition.levels[index];
  return own ? &*own : nullptr;
}

std::optional<int> ListNumbering::level_of_style(int id, std::string_view style) const {
  const ListInstance* list = instance(id);
  if (list == nullptr) return std::nullopt;
  const ListDefinition* levels = definition(list->definition);
  if (levels == nullptr) return std::nullopt;
  for (int i = 0; i < level_count; ++i) {
    const Level* level = level_of(*levels, *list, i);
    if (level != nullptr && level->paragraph_style == style) return i;
  }
  return std::nullopt;
}

void ListNumbering::count(ListDefinition& definition, ListInstance& instance, int level) {
  const auto index = static_cast<std::size_t>(level);
  const Level* own = level_of(definition, instance, level);
  std::optional<std::int64_t>& count = definition.counts[index];
  const int start = own == nullptr ? 1 : own->start;
  if (instance.start[index] && !instance.started[index]) {
    count = *instance.start[index];
  } else {
    count = count ? *count + 1 : start;
  }
  instance.started[index] = true;
  // Levels above that no paragraph has had stand at their start.
  for (int i = 0; i < level; ++i) {
    std::optional<std::int64_t>& above = definition.counts[static_cast<std::size_t>(i)];
    if (above) continue;
    const Level* level_above = level_of(definition, instance, i);
    above = instance.start[static_cast<std::size_t>(i)].value_or(
        level_above == nullptr ? 1 : level_above->start);
  }
  for (int i = level + 1; i < level_count; ++i) {
    const Level* below = level_of(definition, instance, i);
    if (below == nullptr || !below->restart || level < *below->restart) {
      definition.counts[static_cast<std::size_t>(i)].reset();
    }
  }
}

void ListNumbering::write_label(const ListDefinition& definition, const ListInstance& instance,
                                int level) {
  const Level* own = level_of(definition, instance, level);
  if (own == nullptr || own->text.empty()) return;
  if (own->bullet) {
    append_bullet(label_, *own);
  } else {
    for (std::size_t i = 0; i < own->text.size(); ++i) {
      const char c = own->text[i];
      const bool number = c == '%' && i + 1 < own->text.size() && own->text[i + 1] >= '1' &&
                          own->text[i + 1] <= '9';
      if (!number) {
        label_ += c;
        continue;
      }
      const int of = own->text[++i] - '1';
      const Level* other = level_of(definition, instance, of);
      if (of > level || other == nullptr) continue;
      const NumberStyle style =
          own->legal && other->style != NumberStyle::none ? NumberStyle::decimal : other->style;
      append_number(label_, style,
                    definition.counts[static_cast<std::size_t>(of)].value_or(other->start));
      if (label_.size() > most_label_bytes) break;
    }
  }
  if (own->suffix && !label_.empty()) label_ += ' ';
}

std::string_view ListNumbering::next_label(int id, int level) {
  label_.clear();
  const auto list = instances_.find(id);
  if (list == instances_.end() || !is_level(level)) return {};
  const auto found = definitions_.find(list->second.definition);
  if (found == definitions_.end()) return {};
  count(found->second, list->second, level);
  write_label(found->second, list->second, level);
  return label_;
}

}  // namespace trfilter::word
