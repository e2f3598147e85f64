#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/readers/doc_fib.h"

namespace trfilter::doc {

/// A font of the document's table ([MS-DOC] 2.9.91 FFN).
struct Font {
  std::string name;            ///< UTF-8
  std::int32_t code_page = 0;  ///< of its 8-bit characters; 0: the document's
  bool symbol = false;         ///< its characters are none of any language
};

/// Reads the font table. At most 65,535 fonts, each as long as its entry.
std::vector<Font> read_fonts(std::string_view table, Version version);

/// The code page of 8-bit text in a language ([MS-LCID]).
std::int32_t code_page_of_language(std::uint32_t language);

}  // namespace trfilter::doc
