#pragma once

#include <string_view>

namespace tarnis::cli {

/// Standard output, kept for results alone. The library prints lines of its own to file descriptor
/// 1; from construction on they go to standard error (verbose) or nowhere, and results go where
/// standard output led before. Make one, before the library is used.
class StandardOutput {
 public:
  /// @throws Failure when the descriptors cannot be set up
  explicit StandardOutput(bool verbose);
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;
  ~StandardOutput();

  /// Writes all of `bytes`; the operation that the library's output holder calls.
  /// @return `count`
  /// @throws Failure when they cannot be written
  long write(const char* bytes, long count);
  /// Whether writing has failed: nothing more can be written.
  bool broken() const { return broken_; }
  /// For a program that writes results itself.
  int descriptor() const { return descriptor_; }
  void print(std::string_view text) { write(text.data(), static_cast<long>(text.size())); }

 private:
  int descriptor_;
  bool broken_ = false;
};

/// Writes all of `bytes` to an open file.
/// @throws Failure when they cannot be written
void write_all(int descriptor, std::string_view bytes);

}  // namespace tarnis::cli
