#pragma once

#include <string_view>

namespace trfilter {

/// The Unicode character that a symbol font shows for a code.
/// @param font  a font's name, compared without regard to ASCII case
/// @param code  0x20 to 0xFF, or the same from 0xF000 on
/// @return 0 when the font is none of the known symbol fonts or has nothing there
char32_t symbol_font_character(std::string_view font, char32_t code);

}  // namespace trfilter
