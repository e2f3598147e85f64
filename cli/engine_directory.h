#pragma once

#include <string>

#include "cli/command_line.h"

namespace tarnis::cli {

/// The engine's folder: the one that the user names, or the one beside this program. Build trees
/// and installs have the same shape.
std::string engine_directory(const CommandLine& command_line);

}  // namespace tarnis::cli
