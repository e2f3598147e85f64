#pragma once

#include <string>
#include <string_view>

#include "engine/core/format.h"
#include "engine/core/options.h"
#include "engine/core/properties.h"

namespace trfilter::test {

/// What reading one document gave.
struct Reading {
  std::string text;
  int code = 0;        ///< 0, or the engine code that the reading ended with
  std::string reason;  ///< why, when it did not end well
};

/// Reads `bytes` as a document of `format`, in process, through the reader modules of the build.
Reading read_document(std::string bytes, Format format, const Options& options = {});

/// The same for the properties.
Properties read_properties(std::string bytes, Format format, const Options& options = {});

/// The bytes of a file below the source folder, e.g. "samples/letter.docx". Fails the test without
/// it.
std::string source_file(std::string_view relative_path);

}  // namespace trfilter::test
