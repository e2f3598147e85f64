#include "engine/core/temporary_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "engine/core/engine_error.h"

namespace trfilter {

int open_temporary_file(const std::string& directory) {
  std::error_code ignored;
  const std::string folder =
      directory.empty() ? std::filesystem::temp_directory_path(ignored).string() : directory;
  int file = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (file < 0) {
    std::string name = folder + "/trfilter-XXXXXX";
    file = ::mkostemp(name.data(), O_CLOEXEC);
    if (file >= 0) ::unlink(name.c_str());
  }
  if (file < 0) throw EngineError(Code::temporary_file, "cannot create a temporary file");
  return file;
}

}  // namespace trfilter
