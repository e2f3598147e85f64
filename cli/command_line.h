#pragma once

#include <functional>
#include <string>
#include <vector>

#include "api/tarnis.h"

namespace tarnis::cli {

/// What the user asked for.
struct CommandLine {
  std::string job;
  std::vector<std::string> documents;  ///< paths; "-" is standard input
  std::string engine_directory;        ///< empty: the one that belongs to this program
  std::string output_directory;  ///< where results are put; empty: they stay in the temporary place
  bool in_process = false;
  bool json = false;
  bool verbose = false;
  bool help = false;
  bool man = false;
  bool version = false;
  /// What to change of a session's settings, in the order of the command line.
  std::vector<std::function<void(v1::Configuration&)>> settings;
};

/// @throws Failure with `ExitStatus::usage` for anything that is not understood
CommandLine parse_command_line(const std::vector<std::string>& arguments);

/// The text of --help: jobs, options, exit statuses.
std::string help_text();

/// The same as a manual page, in the language of man(7).
std::string manual_page();

}  // namespace tarnis::cli
