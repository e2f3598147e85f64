#pragma once

#include <exception>
#include <filesystem>
#include <functional>
#include <string>

namespace tarnis::cli {

/// A file that a job of the library has written, for the caller to keep or to remove.
struct LibraryFile {
  std::filesystem::path path;  ///< empty: there is nothing to read, and no file
  std::string problems;        ///< what was told on standard error of single parts
  std::exception_ptr failure;  ///< why the job did not come to its end; null when it did
};

/// Runs a job that writes a file of the library's own name, says so on standard output before it
/// begins and leaves the file when it fails. Of a damaged document there is what could be read; in
/// any other failure the file is removed.
LibraryFile run_writing(const std::function<std::filesystem::path()>& job);

}  // namespace tarnis::cli
