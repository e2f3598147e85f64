#pragma once

#include <string_view>

#include "engine/charset/encoding.h"

namespace trfilter {

/// The most likely encoding of text that is not Unicode: of a sample of its lines.
/// @param sample  some kilobytes at the most are looked at
const Encoding& guess_legacy_encoding(std::string_view sample);

/// Whether text without bytes above 0x7F is in a set that shifts by escape sequences.
/// @return null when it is not
const Encoding* guess_stateful_encoding(std::string_view head);

/// The byte order of text in UTF-16 without a mark; null when it is no such text. UTF-16 of any
/// script has bytes that are controls in all other sets; the order is the one in which the units
/// are characters.
const Encoding* guess_utf16_encoding(std::string_view head);

/// The EBCDIC set of a text, null when it is none.
const Encoding* guess_ebcdic_encoding(std::string_view head);

}  // namespace trfilter
