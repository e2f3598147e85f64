#pragma once

#include "engine/core/format.h"
#include "engine/detect/content.h"
#include "engine/detect/text_head.h"

/// The second looks that rows of signatures.def ask for. Each answers the row's format, a sibling
/// of it, or `Format::none` when the content only happens to begin like it; with version and
/// attributes.
namespace trfilter::detection {

// The families with a directory or a trailer.
Detection refine_zip(Content& content, Format format);
Detection refine_compound(Content& content, Format format);
Detection refine_pdf(Content& content, Format format);

}  // namespace trfilter::detection
