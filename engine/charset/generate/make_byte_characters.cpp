// Writes the tables of the sets of one byte a character as C++ source: they are ICU's, but where an
// encoding brings its own characters.

#include <unicode/ucnv.h>

#include <array>
#include <cstdio>
#include <exception>

#include "engine/charset/encoding.h"
#include "engine/charset/icu/converter.h"

namespace trfilter {
namespace {

constexpr unsigned ascii_end = 0x80;
constexpr unsigned upper_half_begin = 0xA0;

char16_t character_of(const Encoding& encoding, UConverter* converter, unsigned byte) {
  const std::size_t place = byte - upper_half_begin;
  if (byte >= upper_half_begin && place < encoding.upper_half.size()) {
    return encoding.upper_half[place];
  }
  // Sets of Arabic and Japanese systems have signs of their own in some places.
  if (encoding.is_ascii_superset() && byte < ascii_end) return static_cast<char16_t>(byte);
  const char source = static_cast<char>(byte);
  std::array<char16_t, 2> units{};
  UErrorCode status = U_ZERO_ERROR;
  const int32_t count = ucnv_toUChars(converter, units.data(), 2, &source, 1, &status);
  return U_SUCCESS(status) && count == 1 ? units[0] : u'\uFFFD';
}

void write_tables() {
  std::puts("#include \"engine/charset/byte_characters.h\"\n\nnamespace trfilter {\n");
  std::puts("const ByteCharactersRow byte_characters_rows[] = {");
  std::size_t count = 0;
  for (const Encoding& encoding : encodings()) {
    if (encoding.kind != Encoding::Kind::single_byte && encoding.kind != Encoding::Kind::ebcdic) {
      continue;
    }
    ++count;
    const UniqueConverter converter = open_converter(encoding.converter);
    std::printf("    // %s\n    {%uu, {{", encoding.name, encoding.number);
    for (unsigned byte = 0; byte < 256; ++byte) {
      std::printf("0x%04X,", static_cast<unsigned>(character_of(encoding, converter.get(), byte)));
    }
    std::puts("}}},");
  }
  std::printf("};\nconst std::size_t byte_characters_count = %zu;\n\n}  // namespace trfilter\n",
              count);
}

}  // namespace
}  // namespace trfilter

int main() {
  try {
    trfilter::write_tables();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return std::ferror(stdout) == 0 ? 0 : 1;
}
