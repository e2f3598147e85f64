#pragma once

#include "cli/command_line.h"
#include "cli/standard_output.h"

namespace tarnis::cli {

/// Lets the engine's worker try what it must not be able to do on this machine; it prints a line
/// for each on standard output.
/// @throws Failure when something was not denied, or the worker cannot be started
void run_sandbox_test(const CommandLine& command_line, const StandardOutput& output);

}  // namespace tarnis::cli
