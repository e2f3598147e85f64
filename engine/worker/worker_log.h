#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "engine/core/engine_error.h"
#include "engine/core/format.h"
#include "engine/core/options.h"

namespace trfilter {

/// The log of one session's workers, one line an event; docs/security.md describes it. It is the
/// host that writes it, and it holds nothing that comes from a document but numbers.
class WorkerLog {
 public:
  WorkerLog() = default;
  WorkerLog(const WorkerLog&) = delete;
  WorkerLog& operator=(const WorkerLog&) = delete;
  ~WorkerLog();

  /// Logs or does not log from here on, as the settings say. A file that cannot be made is no
  /// reason to fail.
  void set(const Options& options);
  bool on() const { return file_ >= 0; }

  void worker_started(pid_t worker);
  /// @param lacks  what protection the machine does not give; empty: none is missing
  void worker_ready(pid_t worker, std::string_view lacks);
  void document_ended(std::uint64_t number, std::string_view job, Format format, int code,
                      std::chrono::steady_clock::duration time, std::uint32_t peak_memory);

 private:
  void write(const std::string& event);
  void close();

  int file_ = -1;
  bool memory_ = false;
  std::string directory_;
};

}  // namespace trfilter
