#pragma once

#include <string>

namespace trfilter {

/// An exported function of the module of this name, which lies in the folder of the module that the
/// caller is linked into. What few documents need is loaded that way, and stays loaded.
/// @throws EngineError code 13 when the module or a library that it needs cannot be loaded
void* sibling_function(const char* module, const char* symbol);

/// The folder for callers that are in no module. For tests.
void set_sibling_directory(std::string directory);

}  // namespace trfilter
