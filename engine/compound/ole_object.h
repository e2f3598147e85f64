#pragma once

#include <cstdint>
#include <optional>

#include "engine/compound/compound_file.h"
#include "engine/compound/ole_package.h"

namespace trfilter {

/// Finds the file in an object that wraps one: a packaged file or data of a program older than
/// compound files ([MS-OLEDS] 2.3.6, "\1Ole10Native"), a document of Office 2007 and later
/// ("Package"), of OpenDocument ("EmbeddedOdf"), or a PDF ("CONTENTS").
/// @return none when the storage is a document itself or of another kind
std::optional<OleFile> find_ole_file(const CompoundFile& file, std::uint32_t storage);

/// Writes the file. @throws EngineError code 4 when the stream ends before its end
void write_ole_file(const CompoundFile& compound, const OleFile& file, ByteOutput& output);

}  // namespace trfilter
