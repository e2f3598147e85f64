#include "cli/password.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "cli/exit_status.h"
#include "cli/standard_output.h"

namespace tarnis::cli {
namespace {

[[noreturn]] void refuse(const std::string& why) {
  throw Failure(ExitStatus::usage, "cannot read the password: " + why);
}

/// Switches a terminal's echo off for its life.
class Silence {
 public:
  explicit Silence(int terminal) : terminal_(terminal) {
    if (::tcgetattr(terminal_, &before_) != 0) refuse(std::strerror(errno));
    termios silent = before_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (::tcsetattr(terminal_, TCSAFLUSH, &silent) != 0) refuse(std::strerror(errno));
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;
  ~Silence() { ::tcsetattr(terminal_, TCSAFLUSH, &before_); }

 private:
  int terminal_;
  termios before_{};
};

}  // namespace

std::string password_from_descriptor(int descriptor) {
  constexpr std::size_t longest = 4096;
  std::string password;
  for (char byte = 0; password.size() < longest;) {
    const ssize_t count = ::read(descriptor, &byte, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) refuse(std::strerror(errno));
    if (count == 0 || byte == '\n') return password;
    password += byte;
  }
  refuse("it has more than 4096 bytes");
}

std::string password_from_terminal() {
  const int terminal = ::open("/dev/tty", O_RDWR | O_CLOEXEC);
  if (terminal < 0) refuse("there is no terminal");
  struct Closer {
    int descriptor;
    ~Closer() { ::close(descriptor); }
  } closer{terminal};
  write_all(terminal, "Password: ");
  const Silence silence(terminal);
  std::string password = password_from_descriptor(terminal);
  write_all(terminal, "\n");
  return password;
}

}  // namespace tarnis::cli
