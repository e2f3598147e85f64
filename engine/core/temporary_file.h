#pragma once

#include <string>

namespace trfilter {

/// Makes a file without a name, for reading and writing, that goes with its descriptor.
/// @param directory  where it takes its space; empty: the system's directory for temporary files
/// @return its descriptor, which the caller closes
/// @throws EngineError code 15
int open_temporary_file(const std::string& directory);

}  // namespace trfilter
