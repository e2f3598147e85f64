#pragma once

#include <stdexcept>
#include <string>

namespace trfilter {

/// What an engine call ends with. The numbers are the binary interface's own.
enum class Code : int {
  success = 0,
  out_of_memory = 2,
  cancelled = 3,
  corrupt = 4,
  bad_output_type = 5,
  general = 6,
  unsupported_format = 7,
  password_protected = 8,
  not_detected = 10,
  not_recognized = 11,
  no_reader = 13,
  temporary_file = 15,
  output_failed = 16,
  worker_not_started = 17,
  timed_out = 19,
  archive_broken = 21,
  open_stream_failed = 22,
  function_not_found = 23,
  worker_crashed = 28,
  nested_too_deep = 31,
  invalid_argument = 34,
  worker_pipe_broken = 37,
  worker_silent = 39,
  wrong_host_signature = 40,
  wrong_worker_signature = 41,
  empty_file = 42,
  unknown_compression = 43,
};

/// The one exception of the engine: a code for the host and a reason for whoever debugs. Readers
/// throw it; only the guard in abi/ turns it into a status.
class EngineError : public std::runtime_error {
 public:
  EngineError(Code code, const std::string& reason) : std::runtime_error(reason), code_(code) {}

  Code code() const noexcept { return code_; }

 private:
  Code code_;
};

}  // namespace trfilter
