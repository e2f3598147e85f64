#pragma once

#include <memory>

#include "engine/compound/compound_file.h"
#include "engine/core/embedded_files.h"
#include "engine/readers/xls_records.h"

namespace trfilter::xls {

/// Finds what a workbook carries: OLE objects and the pictures of its drawings.
/// @param file     outlives the result, as `limits` does; null for a stream alone
/// @param records  of the workbook stream, not shared with others
/// @return null when it carries nothing
std::unique_ptr<EmbeddedFiles> find_members(const CompoundFile* file, RecordReader records,
                                            Limits& limits);

}  // namespace trfilter::xls
