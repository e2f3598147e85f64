#pragma once

#include <span>
#include <string>
#include <string_view>

#include "cli/command_line.h"

namespace tarnis::cli {

/// An option of the command line.
struct Option {
  std::string_view name;   ///< with its leading "--"
  std::string_view value;  ///< what --help calls its value; empty: it has none
  std::string_view help;
  void (*set)(CommandLine&, const std::string& value);
};

/// All options, in the order of --help.
std::span<const Option> option_table();

/// A job of the program.
struct JobRow {
  std::string_view name;
  std::string_view help;
  bool has_json;    ///< prints JSON when asked to
  bool has_output;  ///< leaves a result that --output moves
  bool has_lines;   ///< prints lines about the document, not its text
  bool has_document = true;
};

std::span<const JobRow> job_table();

/// Null when there is none of this name.
const JobRow* find_job(std::string_view name);

/// An exit status of the program.
struct StatusRow {
  int status;
  std::string_view help;
};

std::span<const StatusRow> status_table();

}  // namespace tarnis::cli
