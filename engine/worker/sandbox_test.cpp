#include "engine/worker/sandbox_test.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "engine/worker/lockdown.h"

namespace trfilter {
namespace {

namespace fs = std::filesystem;

/// Files to try things on, removed with the object.
struct Place {
  Place() {
    std::string name = (fs::temp_directory_path() / "trfilter-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) return;
    root = name;
    fs::create_directory(root / "own");
    fs::create_directory(root / "other");
    std::ofstream(root / "other" / "file") << "another's";
  }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;
  ~Place() {
    std::error_code ignored;
    if (!root.empty()) fs::remove_all(root, ignored);
  }

  fs::path root;
};

bool opens(const fs::path& path, int flags) {
  return ::open(path.c_str(), flags | O_CLOEXEC, 0600) >= 0;
}

bool forks() {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  return child > 0;
}

bool starts_a_program() {
  std::array<char*, 1> none{nullptr};
  ::execve("/bin/false", none.data(), none.data());
  return errno != EPERM;  // had it succeeded, this would be another program, and its status 1
}

bool calls(long number, std::array<std::uint64_t, 5> arguments = {}) {
  // Any other error is of the call itself: it was let through.
  return ::syscall(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4]) >=
             0 ||
         errno != EPERM;
}

bool holds_memory(std::size_t bytes) {
  return ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) !=
         MAP_FAILED;
}

bool holds_files(std::uint64_t count) {
  for (std::uint64_t file = 0; file < count; ++file) {
    if (::open("/dev/null", O_RDONLY | O_CLOEXEC) < 0) return false;
  }
  return true;
}

/// Tries things in a locked-down process, and prints what comes of each.
class Trial {
 public:
  explicit Trial(std::vector<std::string> lacks) : lacks_(std::move(lacks)) {
    for (const std::string& protection : lacks_) {
      print("lacking", "this kernel or build does not give", protection.c_str());
    }
  }

  /// What must not succeed, unless the protection is lacking.
  void denied(const char* what, const char* protection, bool succeeded) {
    const bool lacking = std::find(lacks_.begin(), lacks_.end(), protection) != lacks_.end();
    if (!succeeded) {
      print("denied", what, protection);
    } else if (lacking) {
      print("lacking", what, protection);
    } else {
      print("ALLOWED", what, protection);
      failed_ = true;
    }
  }

  /// What reading documents needs.
  void needed(const char* what, bool succeeded) {
    print(succeeded ? "works" : "FAILS", what, "");
    failed_ = failed_ || !succeeded;
  }

  bool failed() const { return failed_; }

 private:
  static void print(const char* verdict, const char* what, const char* protection) {
    std::printf("%-8s %-48s %s\n", verdict, what, protection);
    std::fflush(stdout);
  }

  std::vector<std::string> lacks_;
  bool failed_ = false;
};

int run_trial(const Place& place) {
  const fs::path engine = fs::canonical("/proc/self/exe").parent_path();
  const fs::path file = place.root / "other" / "file";
  Reach reach;
  reach.engine_directory = engine.string();
  reach.temporary_directory = (place.root / "own").string();
  reach.host = ::getppid();
  Trial trial(lock_down(reach));

  trial.needed("keep a file in its temporary directory",
               opens(place.root / "own", O_TMPFILE | O_RDWR));
  trial.needed("read the engine's folder", opens(engine / "trfilter-readers", O_RDONLY));

  trial.denied("read a file of the user", "landlock", opens(file, O_RDONLY));
  trial.denied("read the list of users", "landlock", opens("/etc/passwd", O_RDONLY));
  trial.denied("list the root directory", "landlock", opens("/", O_RDONLY | O_DIRECTORY));
  trial.denied("read about processes", under_sanitizer ? "seccomp" : "landlock",
               opens("/proc/self/status", O_RDONLY));
  trial.denied("write to a file of the user", "landlock", opens(file, O_WRONLY));
  trial.denied("make a file elsewhere", "landlock",
               opens(place.root / "other" / "new", O_WRONLY | O_CREAT));
  trial.denied("make a file in shared memory", "landlock",
               opens("/dev/shm/trfilter-test", O_WRONLY | O_CREAT));
  trial.denied("remove a file of the user", "landlock", ::unlink(file.c_str()) == 0);
  trial.denied("make a directory elsewhere", "landlock",
               ::mkdir((place.root / "other" / "directory").c_str(), 0700) == 0);
  trial.denied("write to the engine's folder", "landlock",
               opens(engine / "trfilter-test", O_WRONLY | O_CREAT));

  trial.denied("open a network socket", "seccomp", ::socket(AF_INET, SOCK_STREAM, 0) >= 0);
  trial.denied("open a local socket", "seccomp", ::socket(AF_UNIX, SOCK_STREAM, 0) >= 0);
  trial.denied("start a process", "seccomp", forks());
  trial.denied("start a program", "seccomp", starts_a_program());
  trial.denied("trace its host", "seccomp",
               ::ptrace(PTRACE_ATTACH, ::getppid(), nullptr, nullptr) == 0);
  trial.denied("read its host's memory", "seccomp", calls(SYS_process_vm_readv));
  trial.denied("signal its host", "seccomp", ::kill(::getppid(), 0) == 0);
  trial.denied("mount a file system", "seccomp", ::mount("none", "/", "tmpfs", 0, nullptr) == 0);
  trial.denied("make a namespace", "seccomp", ::unshare(CLONE_NEWUSER) == 0);
  trial.denied("change its root directory", "seccomp", ::chroot("/usr") == 0);
  trial.denied("change its user", "seccomp", ::setuid(::getuid()) == 0);
  trial.denied("load a kernel program", "seccomp", calls(SYS_bpf));
  trial.denied("open a ring of system calls", "seccomp", calls(SYS_io_uring_setup, {1}));
  trial.denied("open performance counters", "seccomp", calls(SYS_perf_event_open));
  trial.denied("use the kernel's keys", "seccomp", calls(SYS_keyctl));
  trial.denied("type into a terminal", "seccomp", ::ioctl(STDIN_FILENO, TIOCSTI, "x") == 0);

  trial.denied("hold more memory than its bound", "limits",
               holds_memory(WorkerBounds::data_bytes + (std::size_t{64} << 20)));
  trial.denied("hold more files than its bound", "limits", holds_files(WorkerBounds::open_files));
  return trial.failed() ? 1 : 0;
}

}  // namespace

int sandbox_test() {
  const Place place;
  if (place.root.empty()) {
    std::puts("there is no temporary directory to test with");
    return 1;
  }
  const pid_t child = ::fork();
  if (child == 0) {
    ::_exit(run_trial(place));
  }
  int status = 0;
  if (child < 0 || ::waitpid(child, &status, 0) != child) return 1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

}  // namespace trfilter
