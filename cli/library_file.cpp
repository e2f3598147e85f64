#include "cli/library_file.h"

#include <string_view>
#include <system_error>

#include "cli/captured_lines.h"
#include "cli/exit_status.h"

namespace tarnis::cli {
namespace {

namespace fs = std::filesystem;

/// The file that the library's lines name; empty when they name none.
fs::path announced_file(const std::string& lines) {
  constexpr std::string_view begin = "Output file is '";
  const std::size_t at = lines.find(begin);
  if (at == std::string::npos) return {};
  const std::size_t path = at + begin.size();
  return lines.substr(path, lines.find("'\n", path) - path);
}

bool is_damage(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& error) {
    return failure_of(error).status() == ExitStatus::damaged;
  }
}

}  // namespace

LibraryFile run_writing(const std::function<fs::path()>& job) {
  LibraryFile written;
  std::string lines;
  {
    const CapturedLines output(std::cout);
    const CapturedLines problems(std::cerr);
    try {
      written.path = job();
    } catch (const std::exception&) {
      written.failure = std::current_exception();
    }
    lines = output.text();
    written.problems = problems.text();
  }
  std::cout << lines << std::flush;
  if (written.failure == nullptr) return written;
  const fs::path path = announced_file(lines);
  std::error_code error;
  if (is_damage(written.failure) && fs::file_size(path, error) > 0 && !error) {
    written.path = path;
  } else {
    fs::remove(path, error);
  }
  return written;
}

}  // namespace tarnis::cli
