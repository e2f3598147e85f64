#pragma once

#include <array>

#include "engine/charset/encoding.h"

namespace trfilter {

/// What each byte of a set of one byte a character stands for; U+FFFD where it stands for nothing.
/// Below 0x80 that is ASCII, but in EBCDIC.
using ByteCharacters = std::array<char16_t, 256>;

/// Of an encoding of that kind. The tables are made when the engine is built.
const ByteCharacters& byte_characters(const Encoding& encoding);

/// One of these tables.
struct ByteCharactersRow {
  std::uint32_t number;  ///< of the encoding
  ByteCharacters characters;
};
extern const ByteCharactersRow byte_characters_rows[];
extern const std::size_t byte_characters_count;

}  // namespace trfilter
