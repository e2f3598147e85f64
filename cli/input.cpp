#include "cli/input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <vector>

#include "cli/exit_status.h"
#include "cli/standard_output.h"

namespace tarnis::cli {
namespace {

[[noreturn]] void refuse(const std::string& why) {
  throw Failure(ExitStatus::not_found, why);
}

/// The path of an open descriptor, good for opening the same file again while it is open.
std::string path_of(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

/// Copies a stream into a file without a name, open until the program ends.
std::string spool(int stream) {
  std::string name = (std::filesystem::temp_directory_path() / "tarnis-XXXXXX").string();
  const int file = ::mkostemp(name.data(), O_CLOEXEC);
  if (file < 0) {
    throw Failure(ExitStatus::other,
                  std::string("cannot copy standard input: ") + std::strerror(errno));
  }
  ::unlink(name.c_str());
  std::vector<char> block(std::size_t{1} << 16);
  for (;;) {
    const ssize_t count = ::read(stream, block.data(), block.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) refuse(std::strerror(errno));
    if (count == 0) return path_of(file);
    write_all(file, {block.data(), static_cast<std::size_t>(count)});
  }
}

}  // namespace

std::shared_ptr<ITarnisInputFileWrapper> open_document(const std::string& path) {
  struct stat about {};
  if (path == "-") {
    if (::fstat(STDIN_FILENO, &about) != 0) refuse(std::strerror(errno));
    return std::make_shared<CTarnisInputFileWrapper>(S_ISREG(about.st_mode) ? path_of(STDIN_FILENO)
                                                                            : spool(STDIN_FILENO));
  }
  if (::stat(path.c_str(), &about) != 0) refuse(std::strerror(errno));
  if (S_ISDIR(about.st_mode)) refuse("is a directory");
  if (::access(path.c_str(), R_OK) != 0) refuse(std::strerror(errno));
  if (S_ISREG(about.st_mode)) return std::make_shared<CTarnisInputFileWrapper>(path);
  const int stream = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (stream < 0) refuse(std::strerror(errno));
  const std::string copy = spool(stream);
  ::close(stream);
  return std::make_shared<CTarnisInputFileWrapper>(copy);
}

}  // namespace tarnis::cli
