#include "engine/worker/worker_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <vector>

// Of Linux 5.1, later than the headers that the engine has to compile with.
#ifndef F_SEAL_FUTURE_WRITE
#define F_SEAL_FUTURE_WRITE 0x0010
#endif

namespace trfilter {
namespace {

// How long a worker may take to end once it has been told to, or has closed its socket.
constexpr int end_milliseconds = 200;

[[noreturn]] void not_started(const std::string& why) {
  throw EngineError(Code::worker_not_started, why);
}

/// Moves a descriptor above those that a worker is born with, so that passing it on is one `dup2`.
int raised(int descriptor) {
  if (descriptor < 0 || descriptor > worker_outlet) return descriptor;
  const int high = ::fcntl(descriptor, F_DUPFD_CLOEXEC, worker_outlet + 1);
  ::close(descriptor);
  return high;
}

/// What a worker sees of the host's environment: where libraries are, and how sanitizers behave.
/// All else is nothing that a parser should know.
/// @param temporary  the variable of its temporary directory, for libraries that ask the
/// environment
std::vector<char*> worker_environment(std::string& temporary) {
  std::vector<char*> kept{temporary.data()};
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    for (const std::string_view name :
         {"LD_LIBRARY_PATH=", "TZ=", "ASAN_OPTIONS=", "UBSAN_OPTIONS="}) {
      if (text.substr(0, name.size()) == name) kept.push_back(*entry);
    }
  }
  kept.push_back(nullptr);
  return kept;
}

/// Whether a process is on its way out already: then its end is its own, however long the kernel
/// takes to clear up after it.
bool is_ending(pid_t process) {
  constexpr unsigned long exiting = 4;  // PF_EXITING, in the ninth field (proc(5))
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string line;
  std::getline(file, line);
  std::istringstream fields(line.substr(std::min(line.size(), line.rfind(')') + 1)));
  std::string skipped;
  for (int field = 3; field < 9; ++field) fields >> skipped;
  unsigned long flags = 0;
  return fields >> flags && (flags & exiting) != 0;
}

class SpawnSettings {
 public:
  SpawnSettings() {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawnattr_init(&attributes_);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
      ::posix_spawn_file_actions_addopen(&actions_, standard, "/dev/null", O_RDWR, 0);
    }
    sigset_t none;
    sigset_t all;
    ::sigemptyset(&none);
    ::sigfillset(&all);
    ::posix_spawnattr_setsigmask(&attributes_, &none);
    ::posix_spawnattr_setsigdefault(&attributes_, &all);
    // A session of its own: the terminal's signals are the host's affair, and the terminal is out
    // of reach.
    ::posix_spawnattr_setflags(&attributes_,
                               POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;
  ~SpawnSettings() {
    ::posix_spawnattr_destroy(&attributes_);
    ::posix_spawn_file_actions_destroy(&actions_);
  }

  void pass(int descriptor, int as) {
    ::posix_spawn_file_actions_adddup2(&actions_, descriptor, as);
  }
  void close_from(int descriptor) {
    ::posix_spawn_file_actions_addclosefrom_np(&actions_, descriptor);
  }
  const posix_spawn_file_actions_t* actions() const { return &actions_; }
  const posix_spawnattr_t* attributes() const { return &attributes_; }

 private:
  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

}  // namespace

PrivateDirectory::PrivateDirectory(const std::string& parent) {
  std::error_code ignored;
  std::string name =
      (parent.empty() ? std::filesystem::temp_directory_path(ignored).string() : parent) +
      "/trfilter-XXXXXX";
  if (::mkdtemp(name.data()) != nullptr) path_ = std::move(name);
}

PrivateDirectory::~PrivateDirectory() {
  if (path_.empty() || ::rmdir(path_.c_str()) == 0) return;
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

Descriptor::~Descriptor() {
  if (value_ >= 0) ::close(value_);
}

SharedMemory::SharedMemory(std::size_t size, Writer writer) : size_(size) {
  descriptor_ = raised(::memfd_create("trfilter", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (descriptor_ < 0 || ::ftruncate(descriptor_, static_cast<off_t>(size_)) != 0) {
    if (descriptor_ >= 0) ::close(descriptor_);
    not_started("no memory to share");
  }
  const int protection = writer == Writer::host ? PROT_READ | PROT_WRITE : PROT_READ;
  void* mapped = ::mmap(nullptr, size_, protection, MAP_SHARED, descriptor_, 0);
  // Its size is fixed, so that no access can fault, and to what is the host's nobody else can ever
  // write.
  constexpr int seals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL;
  const int further = writer == Writer::host ? F_SEAL_FUTURE_WRITE : 0;
  const bool sealed = ::fcntl(descriptor_, F_ADD_SEALS, seals | further) == 0 ||
                      ::fcntl(descriptor_, F_ADD_SEALS, seals) == 0;
  if (mapped == MAP_FAILED || !sealed) {
    if (mapped != MAP_FAILED) ::munmap(mapped, size_);
    ::close(descriptor_);
    not_started("no memory to share");
  }
  data_ = static_cast<char*>(mapped);
}

SharedMemory::~SharedMemory() {
  ::munmap(data_, size_);
  ::close(descriptor_);
}

WorkerProcess::Sockets::Sockets() {
  std::array<int, 2> pair{};
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, pair.data()) != 0) {
    not_started("no socket pair");
  }
  host = Descriptor(raised(pair[0]));
  worker = Descriptor(raised(pair[1]));
  if (host.get() < 0 || worker.get() < 0) not_started("no room for a socket pair");
}

WorkerProcess::WorkerProcess(const std::string& engine_directory,
                             const std::string& temporary_parent)
    : WorkerProcess(engine_directory, temporary_parent, Sockets()) {}

WorkerProcess::WorkerProcess(const std::string& engine_directory,
                             const std::string& temporary_parent, Sockets sockets)
    : channel_(sockets.host.release()), directory_(temporary_parent) {
  channel_.attach(window_.data(), outlet_.data());
  start(engine_directory, sockets.worker.get());
}

void WorkerProcess::start(const std::string& engine_directory, int socket) {
  std::string program = engine_directory + "/trfilter-worker";
  SpawnSettings settings;
  settings.pass(socket, worker_socket);
  settings.pass(window_.descriptor(), worker_window);
  settings.pass(outlet_.descriptor(), worker_outlet);
  settings.close_from(worker_outlet + 1);
  std::array<char*, 2> arguments{program.data(), nullptr};
  std::string temporary = "TMPDIR=" + directory_.path();
  const int failed = ::posix_spawn(&id_, program.c_str(), settings.actions(), settings.attributes(),
                                   arguments.data(), worker_environment(temporary).data());
  if (failed != 0) {
    id_ = -1;
    not_started(program + ": " + std::generic_category().message(failed));
  }
  handle_ = Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, id_, 0)));
  if (handle_.get() < 0 && errno == ESRCH) {
    id_ = -1;  // gone, and reaped by whoever reaps all children of this process
    not_started(program + " ended at once");
  }
}

WorkerProcess::~WorkerProcess() {
  if (id_ > 0) {
    ::shutdown(channel_.descriptor(), SHUT_RDWR);  // tells it to stop
    end();
  }
}

WorkerProcess::End WorkerProcess::end() {
  if (handle_.get() >= 0) {
    pollfd polled{handle_.get(), POLLIN, 0};
    while (::poll(&polled, 1, end_milliseconds) < 0 && errno == EINTR) {
    }
    if ((polled.revents & POLLIN) != 0 || is_ending(id_)) return reap(false);
  }
  return kill();
}

WorkerProcess::End WorkerProcess::kill() {
  // The handle names this process for certain; a number may be another's by now if the host reaps
  // children that are not its own.
  if (handle_.get() >= 0) {
    ::syscall(SYS_pidfd_send_signal, handle_.get(), SIGKILL, nullptr, 0);
  } else {
    ::kill(id_, SIGKILL);
  }
  return reap(true);
}

WorkerProcess::End WorkerProcess::reap(bool killed) {
  int status = 0;
  rusage usage{};
  pid_t reaped = -1;
  do {
    reaped = ::wait4(id_, &status, 0, &usage);
  } while (reaped < 0 && errno == EINTR);
  id_ = -1;
  End end;
  if (reaped > 0) {
    end.peak_memory = static_cast<std::uint32_t>(usage.ru_maxrss);
    end.how = WIFEXITED(status) ? End::How::exited : End::How::signalled;
    end.value = WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
  }
  if (killed && end.value == SIGKILL) end.how = End::How::killed;
  return end;
}

}  // namespace trfilter
