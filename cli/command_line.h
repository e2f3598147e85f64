#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "api/tarnis.h"

namespace tarnis::cli {

/// What the user asked for.
struct CommandLine {
  std::string job;
  std::string document;          ///< a path, or "-" for standard input
  std::string engine_directory;  ///< empty: the one that belongs to this program
  std::string output;            ///< where `filter` puts its text; empty: a fresh temporary file
  bool in_process = false;
  bool verbose = false;
  bool help = false;
  bool version = false;
  v1::Configuration configuration;
};

/// @throws Failure with `ExitStatus::usage` for anything that is not understood
CommandLine parse_command_line(const std::vector<std::string>& arguments);

/// The text of --help: jobs, options, exit statuses.
std::string help_text();

}  // namespace tarnis::cli
