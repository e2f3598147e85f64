#pragma once

#include <cstdint>
#include <optional>

#include "engine/core/document.h"
#include "engine/core/format.h"

namespace trfilter {

/// A file of the Macintosh with what its file system knows about it, as one stream of bytes.
struct Wrapping {
  Format format = Format::none;  ///< the wrapping's own number
  std::uint64_t attribute = 0;   ///< its bit of `Detection::attributes`
  std::uint64_t offset = 0;      ///< where the document is within, in bytes
  std::uint64_t size = 0;        ///< of the document; 0: it is elsewhere
};

/// The wrapping of MacBinary (I to III), AppleSingle or AppleDouble around a document, if any.
/// `Detection` speaks of the document inside: whoever reads it must begin at `offset`.
std::optional<Wrapping> find_wrapping(Document& document);

}  // namespace trfilter
