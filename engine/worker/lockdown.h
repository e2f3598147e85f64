#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace trfilter {

// The one place that knows of sanitizers: their shadow memory takes terabytes of address space,
// their reports need calls and files that a parser does not. Without seccomp, /proc is open too.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool under_sanitizer = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool under_sanitizer = true;
#else
inline constexpr bool under_sanitizer = false;
#endif
#else
inline constexpr bool under_sanitizer = false;
#endif

/// What a worker may reach once it is locked down.
struct Reach {
  std::string engine_directory;     ///< read, and its modules loaded
  std::string temporary_directory;  ///< written; empty: nothing is
  pid_t host = 0;                   ///< dies with it
};

/// The bounds of a worker, with their units.
struct WorkerBounds {
  static constexpr std::uint64_t data_bytes = std::uint64_t{2} << 30;     ///< private memory
  static constexpr std::uint64_t address_bytes = std::uint64_t{1} << 40;  ///< with mapped files
  static constexpr std::uint64_t file_bytes = std::uint64_t{16} << 30;    ///< of one file
  static constexpr std::uint64_t open_files = 128;
};

/// Gives up for good, in this process and all that it becomes, what reading documents does not
/// need. Ends the process when the host is gone already.
/// @return the names of the protections that this kernel does not give
std::vector<std::string> lock_down(const Reach& reach);

/// Bounds the processor time of the whole process: for loops that nothing else ends, should the
/// host be stopped.
void bound_processor_time(std::int64_t seconds);

}  // namespace trfilter
