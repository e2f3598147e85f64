#include "engine/core/spooled_bytes.h"

namespace trfilter {

void SpooledBytes::write(std::string_view bytes) {
  limits_->check_time();
  if (bytes_.needs_file(bytes.size())) limits_->charge_unpacked(bytes.size());
  bytes_.append(bytes);
}

void SpooledBytes::copy_to(ByteOutput& output) const {
  std::string block(std::size_t{64} << 10, '\0');
  for (std::uint64_t offset = 0; offset < bytes_.size();) {
    limits_->check_time();
    const std::size_t count = bytes_.read_at(offset, block);
    if (count == 0) return;
    output.write(std::string_view(block).substr(0, count));
    offset += count;
  }
}

}  // namespace trfilter
