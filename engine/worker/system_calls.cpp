#include "engine/worker/system_calls.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/sched.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <vector>

// The filter is a program of the classic BPF machine (Linux: Documentation/userspace-api/
// seccomp_filter.rst). It compares the call's number with each row in turn; the kernel remembers
// the numbers that are always let through, so that the length of the list costs nothing.

namespace trfilter {
namespace {

#if defined(__x86_64__)
constexpr std::uint32_t architecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t architecture = AUDIT_ARCH_AARCH64;
#else
constexpr std::uint32_t architecture = 0;  // no filter for this one
#endif

// Let through whatever the arguments are.
constexpr int free_calls[] = {
    // bytes of open files
    SYS_read,
    SYS_write,
    SYS_readv,
    SYS_writev,
    SYS_pread64,
    SYS_pwrite64,
    SYS_preadv,
    SYS_pwritev,
    SYS_lseek,
    SYS_close,
    SYS_ftruncate,
    SYS_fallocate,
    SYS_fsync,
    SYS_fdatasync,
    SYS_fadvise64,
    SYS_sendmsg,
    SYS_recvmsg,
    SYS_ppoll,
    SYS_pselect6,
    SYS_dup,
    SYS_dup3,
    SYS_fcntl,
    SYS_flock,
    SYS_pipe2,
    SYS_eventfd2,
    SYS_memfd_create,
    // facts about files, and the files that may be named
    SYS_fstat,
    SYS_newfstatat,
    SYS_statx,
    SYS_faccessat,
    SYS_faccessat2,
    SYS_readlinkat,
    SYS_getdents64,
    SYS_getcwd,
    SYS_fstatfs,
    SYS_statfs,
    SYS_umask,
    // memory
    SYS_mmap,
    SYS_munmap,
    SYS_mremap,
    SYS_mprotect,
    SYS_madvise,
    SYS_brk,
    SYS_membarrier,
    // threads of its own, signals to itself
    SYS_futex,
    SYS_set_robust_list,
    SYS_set_tid_address,
    SYS_rseq,
    SYS_sched_yield,
    SYS_getcpu,
    SYS_sched_getaffinity,
    SYS_rt_sigaction,
    SYS_rt_sigprocmask,
    SYS_rt_sigreturn,
    SYS_sigaltstack,
    SYS_exit,
    SYS_exit_group,
    SYS_restart_syscall,
    // time, limits of its own, random numbers
    SYS_clock_gettime,
    SYS_clock_getres,
    SYS_clock_nanosleep,
    SYS_nanosleep,
    SYS_gettimeofday,
    SYS_getrusage,
    SYS_getrandom,
    SYS_uname,
    SYS_sysinfo,
    SYS_times,
    SYS_getpid,
    SYS_gettid,
    SYS_getppid,
    SYS_getuid,
    SYS_geteuid,
    SYS_getgid,
    SYS_getegid,
#if defined(__x86_64__)
    SYS_poll,
    SYS_select,
    SYS_dup2,
    SYS_pipe,
    SYS_stat,
    SYS_lstat,
    SYS_access,
    SYS_readlink,
    SYS_getdents,
    SYS_time,
    SYS_arch_prctl,
#endif
};

// Change what directories hold: only where Landlock tells which directories those are.
constexpr int directory_calls[] = {
    SYS_unlinkat, SYS_mkdirat, SYS_renameat, SYS_renameat2,
#if defined(__x86_64__)
    SYS_unlink,   SYS_mkdir,   SYS_rmdir,    SYS_rename,
#endif
};

// The kernel's own names of flags differ from the C library's on no machine of ours.
constexpr std::uint32_t writing_flags = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC | O_APPEND;
constexpr std::uint32_t nameless_flag = O_TMPFILE & ~O_DIRECTORY;

class Program {
 public:
  void add(std::uint16_t code, std::uint32_t value, unsigned if_true = 0, unsigned if_false = 0) {
    instructions_.push_back(
        {code, static_cast<std::uint8_t>(if_true), static_cast<std::uint8_t>(if_false), value});
  }
  void load(std::size_t offset) {
    add(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset));
  }
  void load_argument(unsigned number) {
    load(offsetof(seccomp_data, args) + number * sizeof(std::uint64_t));  // its low half
  }
  void allow() { add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW); }
  void refuse(int error) {
    add(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error));
  }
  void skip_unless(std::uint32_t value, unsigned count) {
    add(BPF_JMP | BPF_JEQ | BPF_K, value, 0, count);
  }
  void skip_if(std::uint32_t value, unsigned count) {
    add(BPF_JMP | BPF_JEQ | BPF_K, value, count, 0);
  }
  void skip_unless_any(std::uint32_t bits, unsigned count) {
    add(BPF_JMP | BPF_JSET | BPF_K, bits, 0, count);
  }

  /// `call` is let through when its argument is `value`.
  void allow_when(int call, unsigned argument, std::uint32_t value) {
    skip_unless(static_cast<std::uint32_t>(call), 4);
    load_argument(argument);
    skip_unless(value, 1);
    allow();
    refuse(EPERM);
  }
  /// `call` opens files; its flags stand in `argument`.
  void opening(int call, unsigned argument, bool confined_files) {
    skip_unless(static_cast<std::uint32_t>(call), confined_files ? 1 : 6);
    if (!confined_files) {
      load_argument(argument);
      skip_unless_any(writing_flags, 2);
      skip_unless_any(nameless_flag, 2);
      allow();
      allow();
      refuse(EACCES);
      return;
    }
    allow();
  }
  /// `call` is known and refused; a caller that can do without goes on.
  void refuse_call(int call, int error) {
    skip_unless(static_cast<std::uint32_t>(call), 1);
    refuse(error);
  }

  bool install() {
    sock_fprog program{static_cast<unsigned short>(instructions_.size()), instructions_.data()};
    return ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program) == 0;
  }

 private:
  std::vector<sock_filter> instructions_;
};

}  // namespace

bool filter_system_calls(bool confined_files) {
  if (architecture == 0) return false;
  Program program;
  program.load(offsetof(seccomp_data, arch));
  program.skip_if(architecture, 1);
  program.add(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS);
  program.load(offsetof(seccomp_data, nr));
  for (const int call : free_calls) {
    program.skip_unless(static_cast<std::uint32_t>(call), 1);
    program.allow();
  }
  for (const int call : directory_calls) {
    program.skip_unless(static_cast<std::uint32_t>(call), 1);
    if (confined_files) {
      program.allow();
    } else {
      program.refuse(EACCES);
    }
  }
  program.opening(SYS_openat, 2, confined_files);
#if defined(__x86_64__)
  program.opening(SYS_open, 1, confined_files);
#endif
  // A thread, and no process. `clone3` hides its flags behind a pointer; the C library falls back.
  program.skip_unless(SYS_clone, 4);
  program.load_argument(0);
  program.skip_unless_any(CLONE_THREAD, 1);
  program.allow();
  program.refuse(EPERM);
  program.refuse_call(SYS_clone3, ENOSYS);
  // Signals and limits of its own.
  const auto self = static_cast<std::uint32_t>(::getpid());
  program.allow_when(SYS_kill, 0, self);
  program.allow_when(SYS_tgkill, 0, self);
  program.allow_when(SYS_prlimit64, 0, 0);
#if defined(__x86_64__)
  program.allow_when(SYS_getrlimit, 0, 0);
#endif
  program.allow_when(SYS_prctl, 0, PR_SET_NAME);
  program.refuse_call(SYS_ioctl, ENOTTY);
  program.refuse(EPERM);
  return program.install();
}

}  // namespace trfilter
