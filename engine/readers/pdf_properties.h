#pragma once

#include <PDFDoc.h>

#include "engine/core/limits.h"
#include "engine/core/properties.h"

namespace trfilter::pdf {

/// Adds what the document's information dictionary and catalog state, what its XMP packet adds to
/// that, and its number of pages.
/// @param custom  entries of the producer's own too, under their own names
void add_properties(PDFDoc& document, bool custom, Limits& limits, Properties& properties);

}  // namespace trfilter::pdf
