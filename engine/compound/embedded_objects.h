#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "engine/compound/compound_file.h"
#include "engine/core/embedded_files.h"

namespace trfilter {

/// Adds an OLE object that a document keeps in a storage: the file that it wraps, else the storage
/// as a compound file of its own, named after the storage and what it holds.
/// @param file  outlives `files`
void add_embedded_object(EmbeddedFiles& files, const CompoundFile& file, std::uint32_t storage);

/// The same for an object that a document keeps as the bytes of a compound file.
/// @param object  its path, and a name without an extension
/// @param bytes   gives the whole object; called now and again when the wrapped file is extracted
/// @param writer  writes the whole object, the member where it wraps no file
void add_embedded_object(EmbeddedFiles& files, EmbeddedFiles::File object, const Limits& limits,
                         const std::function<std::string()>& bytes, EmbeddedFiles::Writer writer);

/// The file that a compound file wraps as a whole, its only member; null: it wraps none.
/// @param file  outlives the result
std::unique_ptr<Subfiles> wrapped_file_of(const CompoundFile& file);

}  // namespace trfilter
