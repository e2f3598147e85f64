#include "engine/core/temporary_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <limits>

#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

constinit TemporarySpace own_space;
constinit std::atomic<TemporarySpace*> shared_space = &own_space;

int open_unnamed(const std::string& directory) {
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

}  // namespace

TemporarySpace& TemporarySpace::of_process() {
  return *shared_space.load();
}

void TemporarySpace::share(TemporarySpace& space) {
  shared_space = &space;
}

void TemporarySpace::take(std::uint64_t bytes) {
  std::uint64_t used = used_;
  do {
    if (used > bound_ || bytes > bound_ - used) {
      throw EngineError(Code::temporary_file, "temporary files exceed their bound");
    }
  } while (!used_.compare_exchange_weak(used, used + bytes));
}

TemporaryFile::TemporaryFile(const std::string& directory, TemporarySpace& space)
    : space_(&space), descriptor_(open_unnamed(directory)) {}

TemporaryFile::~TemporaryFile() {
  ::close(descriptor_);
  space_->give_back(size_);
}

void TemporaryFile::write_at(std::uint64_t offset, std::string_view bytes) {
  constexpr auto farthest = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
  if (offset > farthest || bytes.size() > farthest - offset) {
    throw EngineError(Code::temporary_file, "a temporary file exceeds its bound");
  }
  const std::uint64_t end = offset + bytes.size();
  if (end > size_) {
    space_->take(end - size_);
    // Counted even when writing fails: the file may have grown.
    size_ = end;
  }
  while (!bytes.empty()) {
    const ssize_t written =
        ::pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) throw EngineError(Code::temporary_file, "cannot write the temporary file");
    bytes.remove_prefix(static_cast<std::size_t>(written));
    offset += static_cast<std::uint64_t>(written);
  }
}

std::size_t TemporaryFile::read_at(std::uint64_t offset, std::span<char> out) const {
  std::size_t filled = 0;
  while (filled < out.size() && offset + filled < size_) {
    const ssize_t count = ::pread(descriptor_, out.data() + filled, out.size() - filled,
                                  static_cast<off_t>(offset + filled));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw EngineError(Code::temporary_file, "cannot read the temporary file");
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
  }
  return filled;
}

TemporaryMapping::TemporaryMapping(const TemporaryFile& file)
    : size_(static_cast<std::size_t>(file.size())) {
  if (size_ == 0) return;
  address_ = ::mmap(nullptr, size_, PROT_READ, MAP_SHARED, file.descriptor_, 0);
  if (address_ == MAP_FAILED) {
    throw EngineError(Code::temporary_file, "cannot map the temporary file");
  }
}

TemporaryMapping::~TemporaryMapping() {
  if (size_ != 0) ::munmap(address_, size_);
}

}  // namespace trfilter
