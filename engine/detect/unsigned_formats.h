#pragma once

#include "engine/core/format.h"
#include "engine/detect/content.h"

namespace trfilter::detection {

/// A document that something else stands before: a PDF within the first kilobyte, a zip file whose
/// directory is at the end.
Detection identify_behind(Content& content);

/// Binary formats without a signature, by the sense that their header makes.
Detection identify_unsigned(Content& content);

}  // namespace trfilter::detection
