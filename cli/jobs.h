#pragma once

#include "cli/command_line.h"
#include "cli/exit_status.h"
#include "cli/standard_output.h"

namespace tarnis::cli {

/// Does the job that the command line names, on one document after the other; results go to
/// `output`, failures of single documents to standard error.
/// @return the status of the first document that failed
/// @throws Failure, or what the library throws, where no other document could be done either
ExitStatus run_job(const CommandLine& command_line, StandardOutput& output);

}  // namespace tarnis::cli
