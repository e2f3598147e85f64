#include "engine/readers/pdf_characters.h"

#include <UnicodeTypeTable.h>
#include <goo/gmem.h>

#include <array>
#include <memory>
#include <utility>

#include "engine/core/utf8.h"

namespace trfilter::pdf {
namespace {

struct FreeUnicode {
  void operator()(Unicode* characters) const { gfree(characters); }
};

/// Appends the compatibility composition (NFKC) of `characters`.
void append_normalized(std::string& out, const Unicode* characters, int count) {
  int normalized_count = 0;
  const std::unique_ptr<Unicode, FreeUnicode> normalized(
      unicodeNormalizeNFKC(characters, count, &normalized_count, nullptr));
  for (int i = 0; i < normalized_count; ++i) {
    // An isolated mark's compatibility form is a space with the mark.
    if (normalized.get()[i] != ' ') append_utf8(out, normalized.get()[i]);
  }
}

constexpr bool between(char32_t character, char32_t first, char32_t last) {
  return character >= first && character <= last;
}

}  // namespace

char32_t first_character(std::string_view text) {
  const auto byte = [&](std::size_t i) -> char32_t {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const char32_t lead = byte(0);
  if (lead < 0x80) return lead;
  if (lead < 0xE0) return (lead & 0x1F) << 6 | (byte(1) & 0x3F);
  if (lead < 0xF0) return (lead & 0x0F) << 12 | (byte(1) & 0x3F) << 6 | (byte(2) & 0x3F);
  return (lead & 0x07) << 18 | (byte(1) & 0x3F) << 12 | (byte(2) & 0x3F) << 6 | (byte(3) & 0x3F);
}

bool is_digit(char32_t character) {
  return between(character, '0', '9') || between(character, 0x0660, 0x0669) ||
         between(character, 0x06F0, 0x06F9);
}

bool is_right_to_left(char32_t character) {
  if (character < 0x0590) return false;
  if (between(character, 0x0590, 0x08FF)) return !is_digit(character);
  return character == 0x200F || between(character, 0xFB1D, 0xFDFF) ||
         between(character, 0xFE70, 0xFEFC) || between(character, 0x10800, 0x10FFF) ||
         between(character, 0x1E800, 0x1EFFF);
}

bool is_east_asian(char32_t character) {
  return between(character, 0x2E80, 0xA4CF) || between(character, 0xAC00, 0xD7FF) ||
         between(character, 0xF900, 0xFAFF) || between(character, 0xFE30, 0xFE4F) ||
         between(character, 0xFF00, 0xFFEF) || between(character, 0x20000, 0x3FFFF);
}

bool is_left_to_right(char32_t character) {
  if (character < 0x80) return between(character | 0x20, 'a', 'z');
  if (character < 0xC0) return character == 0xAA || character == 0xB5 || character == 0xBA;
  if (character == 0xD7 || character == 0xF7) return false;
  if (between(character, 0x2000, 0x2BFF) || between(character, 0x3000, 0x3020)) return false;
  return !is_right_to_left(character) && !is_digit(character) && combining_mark(character) == 0;
}

bool is_space(char32_t character) {
  return character == ' ' || between(character, '\t', '\r') || character == 0xA0 ||
         between(character, 0x2000, 0x200A) || character == 0x2028 || character == 0x2029 ||
         character == 0x202F || character == 0x205F || character == 0x3000;
}

char32_t combining_mark(char32_t character) {
  switch (character) {
    case 0x0060:
      return 0x0300;  // grave
    case 0x00B4:
      return 0x0301;  // acute
    case 0x02C6:
      return 0x0302;  // circumflex
    case 0x02DC:
      return 0x0303;  // tilde
    case 0x00AF:
      return 0x0304;  // macron
    case 0x02D8:
      return 0x0306;  // breve
    case 0x02D9:
      return 0x0307;  // dot above
    case 0x00A8:
      return 0x0308;  // diaeresis
    case 0x02DA:
      return 0x030A;  // ring
    case 0x02DD:
      return 0x030B;  // double acute
    case 0x02C7:
      return 0x030C;  // caron
    case 0x00B8:
      return 0x0327;  // cedilla
    case 0x02DB:
      return 0x0328;  // ogonek
    default:
      break;
  }
  const bool combining = between(character, 0x0300, 0x036F) || between(character, 0x0591, 0x05BD) ||
                         character == 0x05BF || character == 0x05C1 || character == 0x05C2 ||
                         between(character, 0x064B, 0x065F) || character == 0x0670;
  return combining ? character : 0;
}

std::string compose(char32_t base, char32_t mark) {
  // The dotless letters carry marks in typesetting; composed letters have their own dot's place.
  if (base == 0x0131) base = 'i';
  if (base == 0x0237) base = 'j';
  const std::array<Unicode, 2> pair{static_cast<Unicode>(base), static_cast<Unicode>(mark)};
  std::string composed;
  append_normalized(composed, pair.data(), 2);
  return composed;
}

char32_t mirrored(char32_t character) {
  switch (character) {
    case '(':
      return ')';
    case ')':
      return '(';
    case '[':
      return ']';
    case ']':
      return '[';
    case '{':
      return '}';
    case '}':
      return '{';
    case '<':
      return '>';
    case '>':
      return '<';
    case 0xAB:
      return 0xBB;
    case 0xBB:
      return 0xAB;
    default:
      return character;
  }
}

void append_plain(std::string& out, char32_t character) {
  if (character < 0x80) {
    if (character >= ' ' && character != 0x7F) {
      out.push_back(static_cast<char>(character));
    } else if (is_space(character)) {
      out.push_back(' ');
    }
    return;
  }
  if (is_space(character)) {
    out.push_back(' ');
  } else if (between(character, 0xFB00, 0xFDFF) || between(character, 0xFE70, 0xFEFC)) {
    const auto single = static_cast<Unicode>(character);
    append_normalized(out, &single, 1);
  } else if (!between(character, 0x80, 0x9F) && !between(character, 0xD800, 0xDFFF) &&
             character != 0xFEFF && character != 0xFFFE && character != 0xFFFF &&
             character <= 0x10FFFF) {
    append_utf8(out, character);
  }
}

}  // namespace trfilter::pdf
