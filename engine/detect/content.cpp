#include "engine/detect/content.h"

#include <algorithm>

namespace trfilter::detection {

Content::Content(Document& document, std::uint64_t offset, std::uint64_t size)
    : document_(&document),
      offset_(std::min(offset, document.size())),
      size_(std::min(size, document.size() - offset_)) {
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size_, head_size));
  if (offset_ == 0) {
    head_ = document.head(wanted);
  } else {
    own_head_ = read(0, wanted);
    head_ = own_head_;
  }
}

std::string Content::read(std::uint64_t offset, std::size_t count) {
  if (offset >= size_) return {};
  std::string bytes(static_cast<std::size_t>(std::min<std::uint64_t>(count, size_ - offset)), '\0');
  bytes.resize(document_->read_at(offset_ + offset, bytes));
  return bytes;
}

std::size_t Content::read_at(std::uint64_t offset, std::span<char> out) {
  if (offset >= size_) return 0;
  const std::uint64_t left = size_ - offset;
  if (out.size() > left) out = out.first(static_cast<std::size_t>(left));
  return document_->read_at(offset_ + offset, out);
}

std::string Content::tail(std::size_t count) {
  return read(size_ > count ? size_ - count : 0, count);
}

}  // namespace trfilter::detection
