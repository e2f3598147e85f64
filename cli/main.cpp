#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/exit_status.h"
#include "cli/jobs.h"
#include "cli/standard_output.h"

namespace {

using tarnis::cli::CommandLine;
using tarnis::cli::ExitStatus;
using tarnis::cli::Failure;

/// Tells a failure on standard error: which document, which job, and why.
int report(const CommandLine& command_line, const Failure& failure) {
  std::string line = "tarnis: ";
  if (!command_line.document.empty()) line += command_line.document + ": ";
  if (!command_line.job.empty()) line += command_line.job + ": ";
  line += failure.what();
  std::fprintf(stderr, "%s\n", line.c_str());
  return static_cast<int>(failure.status());
}

}  // namespace

int main(int argc, char** argv) {
  CommandLine command_line;
  try {
    command_line = tarnis::cli::parse_command_line(std::vector<std::string>(argv + 1, argv + argc));
    if (command_line.help || command_line.man || command_line.version) {
      const std::string text = command_line.help  ? tarnis::cli::help_text()
                               : command_line.man ? tarnis::cli::manual_page()
                                                  : "tarnis " TARNIS_VERSION "\n";
      return std::fputs(text.c_str(), stdout) < 0 ? static_cast<int>(ExitStatus::other) : 0;
    }
    tarnis::cli::StandardOutput output(command_line.verbose);
    tarnis::cli::run_job(command_line, output);
    return static_cast<int>(ExitStatus::success);
  } catch (const std::exception& error) {
    return report(command_line, tarnis::cli::failure_of(error));
  }
}
