#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "engine/charset/encoding.h"
#include "engine/core/limits.h"

namespace trfilter::mapi {

/// The ANSI code page of a Windows locale, by its primary language ([MS-LCID]); 0 when unknown.
std::uint32_t code_page_of_locale(std::uint32_t locale);

/// Bytes of text that are decoded between two looks at the clock; an even number.
constexpr std::size_t text_block = std::size_t{256} << 10;

/// Decodes text to UTF-8. Without an encoding it is taken from the bytes themselves.
/// @param limits  whose time-out ends it; null: the text is short
std::string decode_text(std::string_view bytes, const Encoding* encoding,
                        const Limits* limits = nullptr);

}  // namespace trfilter::mapi
