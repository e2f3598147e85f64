#pragma once

#include <cstdint>
#include <span>

#include "engine/core/text_sink.h"
#include "engine/readers/pdf_page_text.h"

namespace trfilter::pdf {

/// Writes segments in the given order: those that follow each other on a baseline as one line, an
/// empty line where the page leaves a gap or another column begins.
/// @param order  indices of `page.segments()`
void write_page(const PageText& page, std::span<const std::uint32_t> order, TextSink& sink);

}  // namespace trfilter::pdf
