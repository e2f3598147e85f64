#pragma once

#include <cstdint>
#include <memory>

#include "engine/core/reader.h"

namespace trfilter::rtf {

/// The files that a document carries: its pictures, and what its embedded objects hold. A packaged
/// file has its own name, other objects and pictures are numbered. Linked objects are external.
/// @param begin  where the document begins
/// @return null when there is none
std::unique_ptr<Subfiles> files(const ReaderContext& context, std::uint64_t begin);

}  // namespace trfilter::rtf
