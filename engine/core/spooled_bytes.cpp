#include "engine/core/spooled_bytes.h"

#include <unistd.h>

#include <cerrno>

#include "engine/core/engine_error.h"
#include "engine/core/temporary_file.h"

namespace trfilter {

SpooledBytes::~SpooledBytes() {
  if (file_ >= 0) ::close(file_);
}

void SpooledBytes::write(std::string_view bytes) {
  limits_->check_time();
  if (file_ < 0 && bytes.size() <= most_in_memory - memory_.size()) {
    memory_ += bytes;
    return;
  }
  limits_->charge_unpacked(bytes.size());
  if (file_ < 0) file_ = open_temporary_file(directory_);
  write_file(bytes);
}

void SpooledBytes::write_file(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(file_, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) throw EngineError(Code::temporary_file, "cannot write the temporary file");
    bytes.remove_prefix(static_cast<std::size_t>(count));
    file_size_ += static_cast<std::uint64_t>(count);
  }
}

std::size_t SpooledBytes::read_at(std::uint64_t offset, std::span<char> out) const {
  if (offset < memory_.size()) {
    return memory_.copy(out.data(), out.size(), static_cast<std::size_t>(offset));
  }
  if (file_ < 0 || offset >= size()) return 0;
  while (true) {
    const ssize_t count =
        ::pread(file_, out.data(), out.size(), static_cast<off_t>(offset - memory_.size()));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw EngineError(Code::temporary_file, "cannot read the temporary file");
    return static_cast<std::size_t>(count);
  }
}

void SpooledBytes::copy_to(ByteOutput& output) const {
  std::string block(std::size_t{64} << 10, '\0');
  for (std::uint64_t offset = 0; offset < size();) {
    limits_->check_time();
    const std::size_t count = read_at(offset, block);
    if (count == 0) return;
    output.write(std::string_view(block).substr(0, count));
    offset += count;
  }
}

}  // namespace trfilter
