#pragma once

#include <string_view>
#include <vector>

#include "engine/readers/doc_fonts.h"
#include "engine/word/list_numbering.h"

namespace trfilter::doc {

/// Reads the lists of a document of Word 97 and later.
/// @param lists      [MS-DOC] 2.9.193 PlfLst and the levels behind it
/// @param overrides  2.9.192 PlfLfo; the lists that paragraphs name, by their place from 1 on
void read_lists(std::string_view lists, std::string_view overrides, const std::vector<Font>& fonts,
                word::ListNumbering& numbering);

/// [MS-OSHARED] 2.2.1.3 MSONFC
NumberStyle number_style(std::uint32_t format);

}  // namespace trfilter::doc
