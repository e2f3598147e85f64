#pragma once

#include <functional>
#include <memory>

#include "engine/core/reader.h"
#include "engine/readers/archive_library.h"
#include "engine/readers/archive_stream.h"

namespace trfilter {

/// Where an archive's bytes are, for as many passes as it takes.
struct ArchiveSource {
  /// A new pass; from an offset only where `seekable`.
  std::function<std::unique_ptr<ByteStream>(std::uint64_t offset)> open;
  bool seekable = false;
  std::uint64_t size = 0;  ///< of a seekable one
};

/// The document itself.
ArchiveSource document_source(const ReaderContext& context);

/// Lists the members of an archive that libarchive reads.
std::unique_ptr<Subfiles> list_archive(const ReaderContext& context, LibraryArchive::Kind kind,
                                       ArchiveSource source);

}  // namespace trfilter
