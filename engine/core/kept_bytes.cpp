#include "engine/core/kept_bytes.h"

#include <algorithm>

namespace trfilter {

void KeptBytes::append(std::string_view bytes) {
  if (needs_file(bytes.size())) {
    if (!file_) file_.emplace(directory_);
    // Where the last whole append ended: one that failed may have left bytes behind that.
    file_->write_at(size_ - memory_.size(), bytes);
  } else {
    memory_ += bytes;
  }
  size_ += bytes.size();
}

std::size_t KeptBytes::read_at(std::uint64_t offset, std::span<char> out) const {
  if (offset >= size_) return 0;
  out = out.first(static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), size_ - offset)));
  std::size_t filled = 0;
  if (offset < memory_.size()) {
    filled = memory_.copy(out.data(), out.size(), static_cast<std::size_t>(offset));
  }
  if (filled == out.size()) return filled;
  return filled + file_->read_at(offset + filled - memory_.size(), out.subspan(filled));
}

}  // namespace trfilter
