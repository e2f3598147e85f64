#include "engine/readers/doc_fonts.h"

#include <algorithm>
#include <array>

#include "engine/charset/code_page.h"
#include "engine/core/fields.h"
#include "engine/core/utf8.h"

namespace trfilter::doc {
namespace {

constexpr std::uint32_t ansi_character_set = 0;
constexpr std::uint32_t default_character_set = 1;
constexpr std::uint32_t symbol_character_set = 2;
constexpr std::size_t character_set_at = 4;
constexpr std::size_t word_97_name_at = 40;
constexpr std::size_t word_6_name_at = 6;

struct Suffix {
  std::string_view text;
  std::int32_t code_page;
};

// Fonts of the time before Unicode tell their characters by the end of their name.
constexpr auto suffixes = std::to_array<Suffix>({
    {" CE", 1250},
    {" Cyr", 1251},
    {" CYR", 1251},
    {" Greek", 1253},
    {" Tur", 1254},
    {" TUR", 1254},
    {" Baltic", 1257},
});

struct LanguagePage {
  std::uint32_t language;  ///< primary
  std::int32_t code_page;
};

constexpr auto language_pages = std::to_array<LanguagePage>({
    {0x01, 1256},  // Arabic
    {0x02, 1251},  // Bulgarian
    {0x05, 1250},  // Czech
    {0x08, 1253},  // Greek
    {0x0D, 1255},  // Hebrew
    {0x0E, 1250},  // Hungarian
    {0x11, 932},   // Japanese
    {0x12, 949},   // Korean
    {0x15, 1250},  // Polish
    {0x18, 1250},  // Romanian
    {0x19, 1251},  // Russian
    {0x1A, 1250},  // Croatian, Serbian in Latin letters
    {0x1B, 1250},  // Slovak
    {0x1C, 1250},  // Albanian
    {0x1E, 874},   // Thai
    {0x1F, 1254},  // Turkish
    {0x20, 1256},  // Urdu
    {0x22, 1251},  // Ukrainian
    {0x23, 1251},  // Belarusian
    {0x24, 1250},  // Slovenian
    {0x25, 1257},  // Estonian
    {0x26, 1257},  // Latvian
    {0x27, 1257},  // Lithuanian
    {0x29, 1256},  // Farsi
    {0x2A, 1258},  // Vietnamese
    {0x2F, 1251},  // Macedonian
});

Font font_of(std::string_view entry, Version version) {
  Font font;
  const std::uint32_t character_set = byte_at(entry, character_set_at);
  if (version == Version::word_97) {
    std::u16string name;
    for (std::size_t at = word_97_name_at; has(entry, at, 2) && le16(entry, at) != 0; at += 2) {
      name += static_cast<char16_t>(le16(entry, at));
    }
    font.name = utf16_to_utf8(name);
  } else if (entry.size() > word_6_name_at) {
    const std::string_view name = entry.substr(word_6_name_at);
    font.name = name.substr(0, name.find('\0'));
  }
  font.symbol = character_set == symbol_character_set;
  if (character_set != ansi_character_set && character_set != default_character_set &&
      !font.symbol) {
    font.code_page = code_page_of_character_set(static_cast<std::int32_t>(character_set));
  }
  if (font.code_page != 0 || font.symbol) return font;
  for (const Suffix& suffix : suffixes) {
    if (font.name.ends_with(suffix.text)) font.code_page = suffix.code_page;
  }
  return font;
}

}  // namespace

std::vector<Font> read_fonts(std::string_view table, Version version) {
  std::vector<Font> fonts;
  // Word 97 counts the fonts and says how much is added to each; Word 6 states the table's size.
  std::string_view rest =
      table.substr(std::min<std::size_t>(version == Version::word_97 ? 4 : 2, table.size()));
  while (!rest.empty() && fonts.size() < 0xFFFF) {
    const std::size_t size = 1 + std::size_t{byte_at(rest, 0)};
    fonts.push_back(font_of(rest.substr(0, size), version));
    rest.remove_prefix(std::min(size, rest.size()));
  }
  return fonts;
}

std::int32_t code_page_of_language(std::uint32_t language) {
  constexpr std::uint32_t primary_mask = 0x3FF;
  constexpr std::uint32_t chinese = 0x04;
  constexpr std::uint32_t serbian_cyrillic = 0x0C1A;
  constexpr std::int32_t western = 1252;
  if (language == serbian_cyrillic) return 1251;
  if ((language & primary_mask) == chinese) {
    const bool simplified = language == 0x0804 || language == 0x1004;
    return simplified ? 936 : 950;
  }
  for (const LanguagePage& row : language_pages) {
    if (row.language == (language & primary_mask)) return row.code_page;
  }
  return western;
}

}  // namespace trfilter::doc
