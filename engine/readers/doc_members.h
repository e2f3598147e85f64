#pragma once

#include <memory>

#include "engine/compound/compound_file.h"
#include "engine/core/embedded_files.h"
#include "engine/readers/doc_source.h"

namespace trfilter::doc {

/// Finds what a document carries: OLE objects, the pictures of its text and those of its drawings.
/// @param file  null for a main stream alone; outlives the result, as `source` does
/// @return null when it carries nothing
std::unique_ptr<EmbeddedFiles> find_members(const CompoundFile* file, Source& source);

/// What a picture in the text says about itself for those who do not see it; empty for nothing.
std::string picture_description(const Source& source, std::uint32_t location);

}  // namespace trfilter::doc
