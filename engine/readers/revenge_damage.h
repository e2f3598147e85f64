#pragma once

#include "engine/core/document.h"
#include "engine/core/format.h"
#include "engine/core/limits.h"

namespace trfilter::revenge {

/// Whether a document that is no compound file ends before its end, as far as its format tells: the
/// libraries take what they get for all there is. False for formats that do not tell.
bool is_cut_short(Document& document, Format format, const Limits& limits);

}  // namespace trfilter::revenge
