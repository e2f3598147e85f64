#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "engine/core/options.h"
#include "engine/readers/pdf_page_text.h"

namespace trfilter::pdf {

/// The order in which a page's segments are read: each index of `page.segments()` once.
std::vector<std::uint32_t> reading_order(const PageText& page, PdfReading reading);

/// The order that the document's structure tree gives.
/// @param marked_content  the page's identifiers of marked content in the tree's order
/// @return  nothing when the tree does not hold most of the page's text
std::vector<std::uint32_t> structure_order(const PageText& page,
                                           std::span<const std::int32_t> marked_content);

}  // namespace trfilter::pdf
