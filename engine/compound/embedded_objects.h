#pragma once

#include <cstdint>

#include "engine/compound/compound_file.h"
#include "engine/core/embedded_files.h"

namespace trfilter {

/// Adds an OLE object that a document keeps in a storage: the file that it wraps, else the storage
/// as a compound file of its own, named after the storage and what it holds.
/// @param file  outlives `files`
void add_embedded_object(EmbeddedFiles& files, const CompoundFile& file, std::uint32_t storage);

}  // namespace trfilter
