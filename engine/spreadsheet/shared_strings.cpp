#include "engine/spreadsheet/shared_strings.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

#include "engine/core/engine_error.h"
#include "engine/core/temporary_file.h"

namespace trfilter {
SharedStrings::SharedStrings(std::string temporary_directory)
    : temporary_directory_(std::move(temporary_directory)) {}

SharedStrings::~SharedStrings() {
  if (mapped_ != nullptr) munmap(const_cast<char*>(mapped_), file_size_);
  if (file_ >= 0) close(file_);
}

void SharedStrings::add(std::string_view text) {
  const std::uint64_t end = file_size_ + bytes_.size() + text.size();
  if (end > most_bytes) throw EngineError(Code::corrupt, "the table of strings exceeds 4 GiB");
  bytes_ += text;
  ends_.push_back(static_cast<std::uint32_t>(end));
  if (bytes_.size() >= (file_ < 0 ? in_memory : std::size_t{1} << 20)) spill();
}

void SharedStrings::spill() {
  if (file_ < 0) file_ = open_temporary_file(temporary_directory_);
  std::string_view rest = bytes_;
  while (!rest.empty()) {
    const ssize_t written = write(file_, rest.data(), rest.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) throw EngineError(Code::temporary_file, "cannot write the strings' file");
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
  file_size_ += bytes_.size();
  if (bytes_.size() >= in_memory) {
    std::string().swap(bytes_);
  } else {
    bytes_.clear();
  }
}

void SharedStrings::finish() {
  if (file_ < 0) return;
  if (!bytes_.empty()) spill();
  std::string().swap(bytes_);
  void* mapped = mmap(nullptr, file_size_, PROT_READ, MAP_SHARED, file_, 0);
  if (mapped == MAP_FAILED) throw EngineError(Code::temporary_file, "cannot map the strings' file");
  mapped_ = static_cast<const char*>(mapped);
}

std::string_view SharedStrings::at(std::size_t index) const {
  const std::size_t begin = index == 0 ? 0 : ends_[index - 1];
  const char* bytes = mapped_ != nullptr ? mapped_ : bytes_.data();
  return {bytes + begin, ends_[index] - begin};
}

}  // namespace trfilter
