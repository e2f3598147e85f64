#include "engine/cad/drawing_strings.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "engine/core/fields.h"
#include "engine/core/utf8.h"

namespace trfilter::cad {
namespace {

constexpr std::int32_t western = 1252;

// By the drawing's number; 0: a set without a code page that is known.
constexpr auto code_pages = std::to_array<std::int32_t>(
    {0,    20127, 28591, 28592, 28593, 28594, 28595, 28596, 28597, 28598, 28599, 437,
     850,  852,   855,   857,   860,   861,   863,   864,   865,   869,   932,   10000,
     950,  949,   1361,  866,   1250,  1251,  1252,  936,   1253,  1254,  1255,  1256,
     1257, 874,   932,   936,   949,   950,   1361,  0,     1258});

// Of \M+n: by n.
constexpr auto double_byte_sets = std::to_array<std::int32_t>({0, 932, 950, 949, 1361, 936});

/// Reads four hexadecimal digits. @return whether they are there
bool read_hexadecimal(std::string_view text, unsigned& value) {
  constexpr std::size_t digits = 4;
  if (text.size() < digits) return false;
  const auto parsed = std::from_chars(text.data(), text.data() + digits, value, 16);
  return parsed.ec == std::errc{} && parsed.ptr == text.data() + digits;
}

}  // namespace

std::int32_t code_page_of(unsigned number) {
  const std::int32_t page = number < code_pages.size() ? code_pages[number] : 0;
  return page == 0 ? western : page;
}

Strings::Strings(bool unicode, std::int32_t code_page) : unicode_(unicode) {
  if (unicode) return;
  page_ = pages_.find(code_page);
  if (page_ == nullptr) page_ = pages_.find(western);
}

std::string Strings::utf8(std::string_view bytes) {
  if (unicode_) {
    std::u16string units;
    for (std::size_t at = 0; at + 1 < bytes.size() && le16(bytes, at) != 0; at += 2) {
      units += static_cast<char16_t>(le16(bytes, at));
    }
    return without_escapes(utf16_to_utf8(units), pages_);
  }
  std::string out;
  page_->decode(bytes.substr(0, bytes.find('\0')), out, true);
  return without_escapes(out, pages_);
}

std::string without_escapes(std::string_view text, CodePages& pages) {
  constexpr std::string_view unicode_mark = "\\U+";
  constexpr std::string_view double_byte_mark = "\\M+";
  std::string out;
  std::string_view rest = text;
  for (;;) {
    const std::size_t at = rest.find('\\');
    out += rest.substr(0, at);
    if (at == npos) return out;
    rest.remove_prefix(at);
    unsigned value = 0;
    if (rest.starts_with(unicode_mark) &&
        read_hexadecimal(rest.substr(unicode_mark.size()), value)) {
      rest.remove_prefix(unicode_mark.size() + 4);
      // A character beyond the 16-bit ones is written as its two surrogates.
      unsigned low = 0;
      const bool pair = value >> 10 == 0xD800 >> 10 && rest.starts_with(unicode_mark) &&
                        read_hexadecimal(rest.substr(unicode_mark.size()), low) &&
                        low >> 10 == 0xDC00 >> 10;
      if (pair) {
        rest.remove_prefix(unicode_mark.size() + 4);
        value = 0x10000 + ((value & 0x3FF) << 10 | (low & 0x3FF));
      }
      append_utf8(out, value);
      continue;
    }
    const std::size_t set = byte_at(rest, double_byte_mark.size()) - '0';
    if (rest.starts_with(double_byte_mark) && set >= 1 && set < double_byte_sets.size() &&
        read_hexadecimal(rest.substr(double_byte_mark.size() + 1), value)) {
      rest.remove_prefix(double_byte_mark.size() + 5);
      const std::array<char, 2> bytes{static_cast<char>(value >> 8), static_cast<char>(value)};
      const CodePage* page = pages.find(double_byte_sets[set]);
      if (page != nullptr) page->decode({bytes.data(), bytes.size()}, out, true);
      continue;
    }
    out += rest.front();
    rest.remove_prefix(1);
  }
}

}  // namespace trfilter::cad
