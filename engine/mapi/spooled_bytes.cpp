#include "engine/mapi/spooled_bytes.h"

#include <unistd.h>

#include <cerrno>

#include "engine/core/engine_error.h"
#include "engine/core/temporary_file.h"

namespace trfilter::mapi {

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
  }
}

void SpooledBytes::copy_to(ByteOutput& output) const {
  output.write(memory_);
  if (file_ < 0) return;
  std::string block(std::size_t{64} << 10, '\0');
  for (off_t offset = 0;;) {
    limits_->check_time();
    const ssize_t count = ::pread(file_, block.data(), block.size(), offset);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw EngineError(Code::temporary_file, "cannot read the temporary file");
    if (count == 0) return;
    output.write(std::string_view(block).substr(0, static_cast<std::size_t>(count)));
    offset += count;
  }
}

}  // namespace trfilter::mapi
