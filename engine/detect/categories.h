#pragma once

#include "engine/core/format.h"

namespace trfilter {

/// The category that is answered with a format; `Category::none` for `Format::none` and for a
/// number beyond the table.
Category category_of(Format format);

}  // namespace trfilter
