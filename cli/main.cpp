#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/exit_status.h"
#include "cli/jobs.h"
#include "cli/standard_output.h"

using tarnis::cli::CommandLine;
using tarnis::cli::ExitStatus;

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
    return static_cast<int>(tarnis::cli::run_job(command_line, output));
  } catch (const std::exception& error) {
    const auto failure = tarnis::cli::failure_of(error);
    report({}, command_line.job, failure);
    return static_cast<int>(failure.status());
  }
}
