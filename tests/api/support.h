#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/tarnis.h"
#include "api/tarnis_internal.h"
#include "tests/scripted_engine/scripted_engine.h"

namespace tarnis::test {

/// A directory of its own that is removed at the end.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "tarnis-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
    path_ = name;
  }
  ~TemporaryDirectory() { std::filesystem::remove_all(path_); }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::string file(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

inline std::string contents_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

/// What has really left the process on standard output since this object was made. Flushes nothing,
/// so that text in a buffer does not count.
class StandardOutput {
 public:
  StandardOutput() : saved_(dup(STDOUT_FILENO)) {
    const int file = open(path().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(file, STDOUT_FILENO);
    close(file);
  }
  ~StandardOutput() { restore(); }
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

  std::string text() const { return contents_of(path()); }

 private:
  std::string path() const { return directory_.file("stdout"); }
  void restore() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }

  TemporaryDirectory directory_;
  int saved_;
};

/// A session on the scripted engine, its trace lines kept out of the test's output.
inline v1::Session start(const scripted_engine::Engine& engine,
                         const v1::Configuration& configuration = {}, bool in_process = true) {
  const StandardOutput silence;
  return v1::Session(engine.directory(), in_process, configuration);
}

inline v1::io::InMemoryFile memory_file(const std::string& bytes) {
  return v1::io::InMemoryFile(std::vector<unsigned char>(bytes.begin(), bytes.end()));
}

inline std::string text_of(const v1::io::InMemoryFile& file) {
  return {file.data().begin(), file.data().end()};
}

/// The type name, code and message of what `action` throws; empty when it throws nothing.
struct Failure {
  std::string type;
  int code = 0;
  std::string message;
};

template <class Action>
Failure failure_of(Action action) {
  try {
    action();
  } catch (const v1::password_protected_error& error) {
    return {"password_protected_error", error.code(), error.what()};
  } catch (const v1::format_not_supported_error& error) {
    return {"format_not_supported_error", error.code(), error.what()};
  } catch (const v1::external_subfile_error& error) {
    return {"external_subfile_error", error.code(), error.what()};
  } catch (const v1::tarnis_error& error) {
    return {"tarnis_error", error.code(), error.what()};
  } catch (const std::range_error& error) {
    return {"range_error", 0, error.what()};
  } catch (const std::runtime_error& error) {
    return {"runtime_error", 0, error.what()};
  } catch (const std::out_of_range& error) {
    return {"out_of_range", 0, error.what()};
  } catch (const std::length_error& error) {
    return {"length_error", 0, error.what()};
  } catch (const std::logic_error& error) {
    return {"logic_error", 0, error.what()};
  } catch (const std::bad_function_call& error) {
    return {"bad_function_call", 0, error.what()};
  }
  return {};
}

}  // namespace tarnis::test
