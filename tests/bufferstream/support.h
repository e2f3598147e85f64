#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>

#if defined(__SANITIZE_ADDRESS__)
#define TEST_UNDER_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TEST_UNDER_ADDRESS_SANITIZER 1
#endif
#endif

namespace test {

/// `n` bytes that differ from place to place, and from seed to seed.
inline std::string Pattern(size_t n, unsigned seed = 0) {
  std::string bytes(n, '\0');
  unsigned state = seed * 2654435761U + 12345U;
  for (char& byte : bytes) {
    state = state * 1664525U + 1013904223U;
    byte = static_cast<char>(state >> 24);
  }
  return bytes;
}

inline std::string Contents(const std::string& path) {
  std::ifstream in(path, std::ios_base::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// A directory of the test's own, removed with everything in it.
class Directory {
 public:
  Directory() {
    std::string name = (std::filesystem::temp_directory_path() / "bufferstream-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) std::abort();
    path_ = name;
  }
  ~Directory() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  std::string path(const std::string& name) const { return path_ + "/" + name; }
  /// Creates a file. @return its path
  std::string file(const std::string& name, const std::string& bytes) const {
    std::ofstream(path(name), std::ios_base::binary) << bytes;
    return path(name);
  }

 private:
  std::string path_;
};

/// What goes to standard output and standard error while it lives.
class Printed {
 public:
  Printed() : out_(std::cout.rdbuf(text_out_.rdbuf())), err_(std::cerr.rdbuf(text_err_.rdbuf())) {}
  ~Printed() {
    std::cout.rdbuf(out_);
    std::cerr.rdbuf(err_);
  }
  Printed(const Printed&) = delete;
  Printed& operator=(const Printed&) = delete;

  std::string out() const { return text_out_.str(); }
  std::string err() const { return text_err_.str(); }

 private:
  std::ostringstream text_out_;
  std::ostringstream text_err_;
  std::streambuf* out_;
  std::streambuf* err_;
};

enum class Outcome { passed, failed, skipped };

/// Runs a test's body in a process of its own, whose limits and mounts are its own too. The body
/// uses EXPECT as usual; it returns false when the system does not let it set the scene.
template <typename Body>
Outcome InChild(Body body) {
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    const bool staged = body();
    std::cout.flush();
    std::fflush(nullptr);
    ::_exit(::testing::Test::HasFailure() ? 1 : staged ? 0 : 77);
  }
  int status = 0;
  if (child < 0 || ::waitpid(child, &status, 0) != child) return Outcome::failed;
  if (WIFSIGNALED(status)) std::printf("child ended by signal %d\n", WTERMSIG(status));
  if (!WIFEXITED(status)) return Outcome::failed;
  if (WEXITSTATUS(status) == 77) return Outcome::skipped;
  return WEXITSTATUS(status) == 0 ? Outcome::passed : Outcome::failed;
}

}  // namespace test
