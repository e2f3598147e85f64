#pragma once

#include "engine/core/format.h"
#include "engine/core/reader.h"
#include "engine/readers/revenge_events.h"
#include "engine/readers/revenge_stream.h"

namespace trfilter::revenge {

/// How a library came through a document.
enum class Outcome : std::uint8_t {
  complete,
  damaged,      ///< it gave up, perhaps after some text
  unsupported,  ///< of a version or a kind that it does not read
  password,     ///< missing or wrong
};

/// Reads a document with the library of its format, into the target.
Outcome read_with_library(InputStream& input, const ReaderContext& context, const Target& target);

}  // namespace trfilter::revenge
