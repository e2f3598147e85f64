#include "cli/engine_directory.h"

#include <filesystem>
#include <system_error>

#include "cli/exit_status.h"

namespace tarnis::cli {

std::string engine_directory(const CommandLine& command_line) {
  if (!command_line.engine_directory.empty()) return command_line.engine_directory;
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) throw Failure(ExitStatus::other, "cannot find the program's own folder");
  return (program.parent_path().parent_path() / "lib" / "trfilter").string();
}

}  // namespace tarnis::cli
