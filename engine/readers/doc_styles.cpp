#include "engine/readers/doc_styles.h"

#include <algorithm>

#include "engine/core/fields.h"

namespace trfilter::doc {
namespace {

// 2.9.260 Stdf: kinds of styles.
constexpr std::uint32_t paragraph_kind = 1;
constexpr std::uint32_t character_kind = 2;
constexpr std::uint32_t table_kind = 3;

constexpr std::size_t most_styles = 0xFFF;

/// Takes one property list of a style off the front; the next one begins at an even offset.
std::string_view next_list(std::string_view bytes, std::size_t& at) {
  at += at % 2;
  const std::size_t size = le16(bytes, at);
  if (!has(bytes, at + 2, size)) {
    at = bytes.size();
    return {};
  }
  const std::string_view list = bytes.substr(at + 2, size);
  at += 2 + size;
  return list;
}

}  // namespace

bool toggled(std::uint32_t operand, bool by_style) {
  constexpr std::uint32_t as_style = 0x80;
  constexpr std::uint32_t other_than_style = 0x81;
  if (operand == as_style) return by_style;
  if (operand == other_than_style) return !by_style;
  return operand != 0;
}

Styles::Styles(std::string_view sheet, Version version) {
  const std::size_t information = le16(sheet, 0);
  const std::size_t count = std::min<std::size_t>(le16(sheet, 2), most_styles);
  const std::size_t fixed_size = le16(sheet, 4);
  if (!has(sheet, 2, information) || information < 4) return;
  std::string_view rest = sheet.substr(2 + information);
  std::vector<Definition> definitions;
  for (std::size_t i = 0; i < count && rest.size() >= 2; ++i) {
    const std::size_t size = le16(rest, 0);
    if (!has(rest, 2, size)) break;
    definitions.push_back(definition_of(rest.substr(2, size), fixed_size, version));
    rest.remove_prefix(2 + size);
  }
  styles_.resize(definitions.size());
  join(definitions, version);
}

Styles::Definition Styles::definition_of(std::string_view bytes, std::size_t fixed_size,
                                         Version version) {
  Definition result;
  if (bytes.size() < 8 || fixed_size < 8) return result;
  const std::uint32_t kind = le16(bytes, 2) & 0xF;
  result.base = le16(bytes, 2) >> 4;
  std::size_t at = fixed_size;
  // The name, with its terminator.
  at += version == Version::word_97 ? 2 + (le16(bytes, at) + std::size_t{1}) * 2
                                    : 2 + std::size_t{byte_at(bytes, at)};
  if (kind == table_kind) next_list(bytes, at);
  if (kind == paragraph_kind || kind == table_kind) {
    result.paragraph = next_list(bytes, at);
    result.paragraph.remove_prefix(std::min<std::size_t>(2, result.paragraph.size()));
  }
  if (kind == paragraph_kind || kind == character_kind || kind == table_kind) {
    result.characters = next_list(bytes, at);
  }
  return result;
}

void Styles::join(std::vector<Definition>& definitions, Version version) {
  std::vector<std::size_t> chain;
  for (std::size_t i = 0; i < definitions.size(); ++i) {
    // A style is joined before those that are based on it; a circle ends where it closes.
    chain.clear();
    for (std::size_t at = i; at < definitions.size() && !definitions[at].joined;
         at = definitions[at].base) {
      definitions[at].joined = true;
      chain.push_back(at);
    }
    while (!chain.empty()) {
      const std::size_t at = chain.back();
      chain.pop_back();
      const Definition& definition = definitions[at];
      Style style;
      if (definition.base < styles_.size()) style = styles_[definition.base];
      const bool by_base = style.vanish;
      ModifierList characters(definition.characters, version);
      while (const auto modifier = characters.next()) {
        if (modifier->property == Property::vanish) {
          style.vanish = toggled(modifier->value(), by_base);
        } else if (modifier->property == Property::font) {
          style.font = static_cast<std::uint16_t>(modifier->value());
        }
      }
      ModifierList paragraph(definition.paragraph, version);
      while (const auto modifier = paragraph.next()) {
        if (modifier->property == Property::list_id) {
          style.list_id = modifier->value();
        } else if (modifier->property == Property::list_level) {
          style.list_level = modifier->value();
        } else if (modifier->property == Property::old_number_kind) {
          style.old_number_kind = modifier->value();
        } else if (modifier->property == Property::old_number) {
          style.old_number = modifier->operand;
        }
      }
      styles_[at] = style;
    }
  }
}

const Style& Styles::find(std::uint32_t index) const {
  static const Style none;
  return index < styles_.size() ? styles_[index] : none;
}

}  // namespace trfilter::doc
