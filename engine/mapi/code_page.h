#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/charset/encoding.h"

namespace trfilter::mapi {

/// The ANSI code page of a Windows locale, by its primary language ([MS-LCID]); 0 when unknown.
std::uint32_t code_page_of_locale(std::uint32_t locale);

/// Decodes text to UTF-8. Without an encoding it is taken from the bytes themselves.
std::string decode_text(std::string_view bytes, const Encoding* encoding);

}  // namespace trfilter::mapi
