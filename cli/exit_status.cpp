#include "cli/exit_status.h"

#include <cstdio>

#include "api/tarnis.h"

namespace tarnis::cli {
namespace {

// Engine codes by what a user can do about them.
ExitStatus status_of_code(int code) {
  switch (code) {
    case 7:   // no reader for the format
    case 10:  // not detected
    case 11:  // not recognized
    case 43:  // compression method
      return ExitStatus::unsupported;
    case 8:
    case 33:
      return ExitStatus::password_protected;
    case 4:   // corrupt
    case 12:  // the reader could not start
    case 20:
    case 21:  // archives
    case 42:  // empty
      return ExitStatus::damaged;
    case 24:
      return ExitStatus::not_found;
    case 19:
    case 39:
      return ExitStatus::timed_out;
    default:
      return ExitStatus::other;
  }
}

}  // namespace

void report(const std::string& document, const std::string& job, const Failure& failure) {
  std::string line = "tarnis: ";
  if (!document.empty()) line += document + ": ";
  if (!job.empty()) line += job + ": ";
  line += failure.what();
  std::fprintf(stderr, "%s\n", line.c_str());
}

Failure failure_of(const std::exception& error) {
  if (const auto* failure = dynamic_cast<const Failure*>(&error)) return *failure;
  // The classes for protected and unsupported documents carry no number in their text.
  if (dynamic_cast<const v1::password_protected_error*>(&error) != nullptr) {
    return {ExitStatus::password_protected, std::string(error.what()) + " (code 8)"};
  }
  if (dynamic_cast<const v1::format_not_supported_error*>(&error) != nullptr) {
    return {ExitStatus::unsupported, std::string(error.what()) + " (code 7)"};
  }
  if (const auto* known = dynamic_cast<const v1::tarnis_error*>(&error)) {
    return {status_of_code(known->code()), error.what()};
  }
  return {ExitStatus::other, error.what()};
}

}  // namespace tarnis::cli
