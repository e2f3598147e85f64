#include "cli/sandbox_test.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <system_error>

#include "cli/engine_directory.h"
#include "cli/exit_status.h"

namespace tarnis::cli {

void run_sandbox_test(const CommandLine& command_line, const StandardOutput& output) {
  std::string program = engine_directory(command_line) + "/trfilter-worker";
  std::string option = "--sandbox-test";
  std::array<char*, 3> arguments{program.data(), option.data(), nullptr};
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, output.descriptor(), STDOUT_FILENO);
  pid_t worker = -1;
  const int failed =
      ::posix_spawn(&worker, program.c_str(), &actions, nullptr, arguments.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) {
    throw Failure(ExitStatus::other, program + ": " + std::generic_category().message(failed));
  }
  int status = 0;
  while (::waitpid(worker, &status, 0) < 0 && errno == EINTR) {
  }
  if (status != 0) throw Failure(ExitStatus::other, "not everything was denied");
}

}  // namespace tarnis::cli
