#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "engine/core/text_sink.h"
#include "engine/readers/pdf_page_text.h"

namespace trfilter::pdf {

/// Writes segments in the given order: those that follow each other on a baseline as one line, an
/// empty line where the page leaves a gap or another column begins.
/// @param order  indices of `page.segments()`
/// @param middle  artifacts above this baseline are the page's header, those below its footer;
/// without
///                one they are text like other text
void write_page(const PageText& page, std::span<const std::uint32_t> order,
                std::optional<float> middle, TextSink& sink);

}  // namespace trfilter::pdf
