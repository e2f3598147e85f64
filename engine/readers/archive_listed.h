#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>

#include "engine/core/reader.h"
#include "engine/readers/archive_library.h"
#include "engine/readers/archive_stream.h"

namespace trfilter {

/// Where an archive's bytes are, for as many passes as it takes.
struct ArchiveSource {
  /// A new pass from an offset; from 0 only, where the format cannot be entered elsewhere.
  std::function<std::unique_ptr<ByteStream>(std::uint64_t offset)> open;
  /// How many of the document's bytes the bytes from `begin` to `end` have come out of; empty where
  /// they are the document's own. What is read of the others has been counted as unpacked already.
  std::function<std::uint64_t(std::uint64_t begin, std::uint64_t end)> packed_bytes;
  /// There are not more bytes than that.
  std::uint64_t most_bytes = std::numeric_limits<std::uint64_t>::max();
};

/// The document itself.
ArchiveSource document_source(const ReaderContext& context);

/// Lists the members of an archive that libarchive reads.
std::unique_ptr<Subfiles> list_archive(const ReaderContext& context, LibraryArchive::Kind kind,
                                       ArchiveSource source);

}  // namespace trfilter
