#include "engine/charset/byte_characters.h"

#include <unicode/ucnv.h>

#include "engine/charset/converter.h"

namespace trfilter {
namespace {

constexpr unsigned ascii_end = 0x80;
constexpr unsigned upper_half_begin = 0xA0;

}  // namespace

std::array<char16_t, 256> byte_characters(const Encoding& encoding) {
  const UniqueConverter converter = open_converter(encoding.converter);
  std::array<char16_t, 256> characters{};
  for (unsigned byte = 0; byte < characters.size(); ++byte) {
    const char source = static_cast<char>(byte);
    std::array<char16_t, 2> units{};
    UErrorCode status = U_ZERO_ERROR;
    const int32_t count = ucnv_toUChars(converter.get(), units.data(), 2, &source, 1, &status);
    characters[byte] = U_SUCCESS(status) && count == 1 ? units[0] : u'\uFFFD';
    // Sets of Arabic and Japanese systems have signs of their own in some places.
    if (encoding.is_ascii_superset() && byte < ascii_end) {
      characters[byte] = static_cast<char16_t>(byte);
    }
    const std::size_t place = byte - upper_half_begin;
    if (byte >= upper_half_begin && place < encoding.upper_half.size()) {
      characters[byte] = encoding.upper_half[place];
    }
  }
  return characters;
}

}  // namespace trfilter
