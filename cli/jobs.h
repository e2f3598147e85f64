#pragma once

#include "cli/command_line.h"
#include "cli/standard_output.h"

namespace tarnis::cli {

/// Does the job that the command line names; results go to `output`.
/// @throws Failure, or what the library throws
void run_job(const CommandLine& command_line, StandardOutput& output);

}  // namespace tarnis::cli
