#pragma once

#include <functional>
#include <string>

#include "engine/core/embedded_files.h"
#include "engine/core/reader.h"

namespace trfilter {

/// Adds the file that an OLE object of a document wraps, under that file's own name. It is found by
/// the reader of compound files.
/// @param object  its path, without its extension, is the wrapped file's folder
/// @param bytes   gives the whole object; called now and again when the file is extracted
/// @return false when it wraps none that can be found: the object itself is the member
bool add_wrapped_file(EmbeddedFiles& files, const ReaderContext& context,
                      const EmbeddedFiles::File& object, std::function<std::string()> bytes);

/// Objects of more bytes are not looked into.
inline constexpr std::size_t most_ole_object_bytes = std::size_t{64} << 20;

}  // namespace trfilter
