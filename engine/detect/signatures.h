#pragma once

#include "engine/core/format.h"
#include "engine/detect/content.h"
#include "engine/detect/text_head.h"

namespace trfilter::detection {

/// Looks further where a signature alone proves too little, or where the header has more to tell.
/// @param format  the row's own
/// @return `Format::none` when the content only happens to begin so
using Refinement = Detection (*)(Content& content, Format format);

/// The same for text.
using TextRefinement = Detection (*)(const TextHead& text, Format format);

/// Tries the signatures at fixed places (signatures.def), in the table's order.
Detection match_signatures(Content& content);

/// Tries the texts that a document of text may begin with (signatures.def), case ignored.
Detection match_text_signatures(const TextHead& text);

}  // namespace trfilter::detection
