#pragma once

#include "engine/core/document.h"
#include "engine/core/format.h"

namespace trfilter {

class ReaderModules;

/// Tells a document's format from its content alone.
/// @param modules  where the fallback for unknown content is loaded from; null: no fallback
/// @return `Format::none` when the content is of no known format, or empty
Detection detect(Document& document, const ReaderModules* modules);

}  // namespace trfilter
