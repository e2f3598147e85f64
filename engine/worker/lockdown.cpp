#include "engine/worker/lockdown.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <linux/landlock.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "engine/worker/system_calls.h"

namespace trfilter {
namespace {

// Landlock's names of later versions than the headers that the engine has to compile with
// (Linux: Documentation/userspace-api/landlock.rst).
struct RulesetAttributes {
  std::uint64_t handled_files;
  std::uint64_t handled_network;
  std::uint64_t scoped;
};
constexpr std::uint64_t truncate_file = 1u << 14;
constexpr std::uint64_t device_control = 1u << 15;
constexpr std::uint64_t bind_tcp = 1u << 0;
constexpr std::uint64_t connect_tcp = 1u << 1;
constexpr std::uint64_t scope_abstract_sockets = 1u << 0;
constexpr std::uint64_t scope_signals = 1u << 1;

constexpr std::uint64_t read_files = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;
constexpr std::uint64_t load_files = read_files | LANDLOCK_ACCESS_FS_EXECUTE;
constexpr std::uint64_t write_files =
    read_files | LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_REMOVE_DIR |
    LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG;

// Where libraries lie, and what they read: fonts and their configuration, character maps, the
// table of signatures, time zones.
constexpr const char* library_directories[] = {"/lib", "/lib64", "/usr/lib", "/usr/lib64",
                                               "/usr/local/lib"};
constexpr const char* data_directories[] = {"/usr/share", "/usr/local/share", "/etc/fonts",
                                            "/var/cache/fontconfig"};
constexpr const char* data_files[] = {"/etc/ld.so.cache", "/etc/magic", "/etc/mime.types",
                                      "/etc/localtime", "/dev/urandom"};

pid_t host_process = 0;

/// The signal for a parent's death comes for the thread that started this process; the host may
/// live on without it.
void end_without_host(int) {
  if (::getppid() != host_process) ::_exit(0);
}

void die_with(pid_t host) {
  host_process = host;
  struct sigaction action {};
  action.sa_handler = end_without_host;
  action.sa_flags = SA_RESTART;
  ::sigaction(SIGHUP, &action, nullptr);
  ::prctl(PR_SET_PDEATHSIG, SIGHUP);
  end_without_host(SIGHUP);  // it may have died before
}

/// Sets a limit, or as much of it as the system's own limit lets.
bool limit(int resource, std::uint64_t value) {
  rlimit present{};
  if (::getrlimit(static_cast<__rlimit_resource_t>(resource), &present) != 0) return false;
  const rlim_t bound = std::min<rlim_t>(value, present.rlim_max);
  const rlimit wanted{bound, bound};
  return ::setrlimit(static_cast<__rlimit_resource_t>(resource), &wanted) == 0;
}

bool limit_resources() {
  bool all = limit(RLIMIT_CORE, 0) && limit(RLIMIT_FSIZE, WorkerBounds::file_bytes) &&
             limit(RLIMIT_NOFILE, WorkerBounds::open_files);
  if (under_sanitizer) {
    all = false;
  } else {
    all = limit(RLIMIT_AS, WorkerBounds::address_bytes) &&
          limit(RLIMIT_DATA, WorkerBounds::data_bytes) && all;
  }
  return all;
}

/// A network without devices, and tables of mounts and of shared memory of its own.
bool leave_namespaces() {
  constexpr int own = CLONE_NEWNET | CLONE_NEWNS | CLONE_NEWIPC;
  return ::unshare(CLONE_NEWUSER | own) == 0 || ::unshare(own) == 0;
}

bool drop_capabilities() {
  for (int capability = 0; ::prctl(PR_CAPBSET_READ, capability, 0, 0, 0) >= 0; ++capability) {
    ::prctl(PR_CAPBSET_DROP, capability, 0, 0, 0);  // refused to those that have none to drop
  }
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  std::array<__user_cap_data_struct, 2> none{};
  return ::syscall(SYS_capset, &header, none.data()) == 0;
}

class FileRules {
 public:
  FileRules() {
    version_ = static_cast<int>(
        ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION));
    if (version_ < 1) return;
    RulesetAttributes attributes{};
    handled_ = write_files | load_files | LANDLOCK_ACCESS_FS_MAKE_CHAR |
               LANDLOCK_ACCESS_FS_MAKE_SOCK | LANDLOCK_ACCESS_FS_MAKE_FIFO |
               LANDLOCK_ACCESS_FS_MAKE_BLOCK | LANDLOCK_ACCESS_FS_MAKE_SYM;
    if (version_ >= 2) handled_ |= LANDLOCK_ACCESS_FS_REFER;
    if (version_ >= 3) handled_ |= truncate_file;
    if (version_ >= 5) handled_ |= device_control;
    attributes.handled_files = handled_;
    if (version_ >= 4) attributes.handled_network = bind_tcp | connect_tcp;
    if (version_ >= 6) attributes.scoped = scope_abstract_sockets | scope_signals;
    const std::size_t size = version_ >= 6   ? sizeof attributes
                             : version_ >= 4 ? 2 * sizeof(std::uint64_t)
                                             : sizeof(std::uint64_t);
    rules_ = static_cast<int>(::syscall(SYS_landlock_create_ruleset, &attributes, size, 0));
  }
  FileRules(const FileRules&) = delete;
  FileRules& operator=(const FileRules&) = delete;
  ~FileRules() {
    if (rules_ >= 0) ::close(rules_);
  }

  /// What is not there needs no rule.
  void allow(const char* path, std::uint64_t access) {
    if (rules_ < 0) return;
    landlock_path_beneath_attr rule{};
    rule.parent_fd = ::open(path, O_PATH | O_CLOEXEC);
    if (rule.parent_fd < 0) return;
    rule.allowed_access = access & handled_;
    ::syscall(SYS_landlock_add_rule, rules_, LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
    ::close(rule.parent_fd);
  }

  bool enforce() const {
    return rules_ >= 0 && ::syscall(SYS_landlock_restrict_self, rules_, 0) == 0;
  }

 private:
  int version_ = 0;
  int rules_ = -1;
  std::uint64_t handled_ = 0;
};

bool confine_files(const Reach& reach) {
  FileRules rules;
  for (const char* directory : library_directories) rules.allow(directory, load_files);
  for (const char* directory : data_directories) rules.allow(directory, read_files);
  for (const char* file : data_files) rules.allow(file, LANDLOCK_ACCESS_FS_READ_FILE);
  rules.allow("/dev/null", LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_WRITE_FILE);
  rules.allow(reach.engine_directory.c_str(), load_files);
  if (under_sanitizer) rules.allow("/proc", read_files);
  if (!reach.temporary_directory.empty()) {
    rules.allow(reach.temporary_directory.c_str(), write_files | truncate_file);
  }
  return rules.enforce();
}

}  // namespace

std::vector<std::string> lock_down(const Reach& reach) {
  std::vector<std::string> lacks;
  const auto note = [&](bool done, const char* name) {
    if (!done) lacks.emplace_back(name);
  };
  note(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0, "no-new-privileges");
  note(limit_resources(), "limits");
  note(leave_namespaces(), "namespaces");
  note(drop_capabilities(), "capabilities");
  // A change of credentials undoes these two.
  note(::prctl(PR_SET_DUMPABLE, 0) == 0, "not-dumpable");
  die_with(reach.host);
  const bool confined = confine_files(reach);
  note(confined, "landlock");
  note(!under_sanitizer && filter_system_calls(confined), "seccomp");
  return lacks;
}

void bound_processor_time(std::int64_t seconds) {
  rlimit limit{};
  if (::getrlimit(RLIMIT_CPU, &limit) != 0) return;
  limit.rlim_cur = static_cast<rlim_t>(seconds);
  ::setrlimit(RLIMIT_CPU, &limit);
}

}  // namespace trfilter
