#pragma once

#include <cstdint>
#include <memory>

#include "engine/compound/compound_file.h"
#include "engine/core/embedded_files.h"
#include "engine/readers/ppt_objects.h"

namespace trfilter::ppt {

/// Finds what a presentation carries: OLE objects, and the pictures of its drawings unless they are
/// encrypted. All parameters outlive the result.
/// @param storage  that holds the streams
/// @return null when it carries nothing
std::unique_ptr<EmbeddedFiles> find_members(const CompoundFile& file, std::uint32_t storage,
                                            PersistObjects& objects, Limits& limits);

}  // namespace trfilter::ppt
