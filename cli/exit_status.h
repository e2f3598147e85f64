#pragma once

#include <exception>
#include <string>

namespace tarnis::cli {

/// What the program ends with; the numbers are documented in README.md.
enum class ExitStatus : int {
  success = 0,
  other = 1,
  usage = 2,
  unsupported = 3,
  password_protected = 4,
  damaged = 5,
  not_found = 6,
  timed_out = 7,
  members_failed = 8,
};

/// A failure with the status it ends the program with.
class Failure : public std::exception {
 public:
  Failure(ExitStatus status, std::string message) : status_(status), message_(std::move(message)) {}

  ExitStatus status() const noexcept { return status_; }
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  ExitStatus status_;
  std::string message_;
};

/// Tells a failure on standard error.
/// @param document  the one that failed; empty for none
void report(const std::string& document, const std::string& job, const Failure& failure);

/// The failure that an exception stands for, with its engine code in the message where it has one.
Failure failure_of(const std::exception& error);

}  // namespace tarnis::cli
