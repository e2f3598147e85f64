#pragma once

#include <cstdint>
#include <vector>

#include "engine/core/options.h"
#include "engine/readers/pdf_page_text.h"

namespace trfilter::pdf {

/// The order in which a page's segments are read: each index of `page.segments()` once.
std::vector<std::uint32_t> reading_order(const PageText& page, PdfReading reading);

}  // namespace trfilter::pdf
