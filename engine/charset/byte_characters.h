#pragma once

#include <array>

#include "engine/charset/encoding.h"

namespace trfilter {

/// What each byte of a set of one byte a character stands for; U+FFFD where it stands for nothing.
/// Below 0x80 that is ASCII, but in EBCDIC.
/// @throws EngineError code 6 when the conversion table cannot be opened
std::array<char16_t, 256> byte_characters(const Encoding& encoding);

}  // namespace trfilter
