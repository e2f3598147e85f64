#pragma once

#include <memory>

#include "engine/core/reader.h"
#include "engine/readers/archive_listed.h"

namespace trfilter {

/// Lists the records of a WARC file.
std::unique_ptr<Subfiles> list_warc(const ReaderContext& context, ArchiveSource source);

}  // namespace trfilter
