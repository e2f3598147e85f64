#include "cli/standard_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "cli/exit_status.h"

namespace tarnis::cli {

StandardOutput::StandardOutput(bool verbose)
    : descriptor_(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)) {
  if (descriptor_ < 0) throw Failure(ExitStatus::other, "standard output is closed");
  const int elsewhere = verbose ? STDERR_FILENO : ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (elsewhere < 0 || ::dup2(elsewhere, STDOUT_FILENO) < 0) {
    throw Failure(ExitStatus::other, "cannot set up standard output");
  }
  if (!verbose) ::close(elsewhere);
}

StandardOutput::~StandardOutput() {
  ::close(descriptor_);
}

long StandardOutput::write(const char* bytes, long count) {
  broken_ = true;
  write_all(descriptor_, {bytes, static_cast<std::size_t>(count)});
  broken_ = false;
  return count;
}

void write_all(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      throw Failure(ExitStatus::other, std::string("cannot write: ") + std::strerror(errno));
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace tarnis::cli
