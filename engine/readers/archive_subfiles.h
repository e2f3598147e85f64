#pragma once

#include <memory>

#include "engine/core/reader.h"

namespace trfilter {

// The containers of the archive reader, each by what it takes to find and to read its members.
// Each throws what opening throws: code 21 when nothing can be listed, 8 when the list is
// encrypted.

/// Zip archives, by their own directory.
std::unique_ptr<Subfiles> open_zip_archive(const ReaderContext& context);

/// What libarchive lists: tar, cpio, 7z, rar, ISO 9660, lha, ar, xar.
std::unique_ptr<Subfiles> open_listed_archive(const ReaderContext& context);

/// The records of a WARC file.
std::unique_ptr<Subfiles> open_warc(const ReaderContext& context);

/// A compressed stream: the members of the tar, cpio or WARC file in it, or its content as the one
/// member.
std::unique_ptr<Subfiles> open_compressed_stream(const ReaderContext& context);

}  // namespace trfilter
