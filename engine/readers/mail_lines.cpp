#include "engine/readers/mail_lines.h"

#include <algorithm>
#include <cstring>

namespace trfilter::mail {
namespace {

// Large enough that the document's cache is passed by.
constexpr std::size_t block = std::size_t{256} << 10;
constexpr std::size_t looked_at_for_line_ends = std::size_t{16} << 10;

}  // namespace

/// Sees to it that the head of the line here is in the buffer. @return false at the end
bool LineFinder::fill() {
  if (buffer_.size() - at_ >= longest_head || next_read_ >= stretch_.end) {
    return at_ < buffer_.size();
  }
  buffer_.erase(0, at_);
  buffer_offset_ += at_;
  at_ = 0;
  const std::size_t kept = buffer_.size();
  const auto wanted =
      static_cast<std::size_t>(std::min<std::uint64_t>(block, stretch_.end - next_read_));
  buffer_.resize(kept + wanted);
  const std::size_t count =
      document_->read_at(next_read_, std::span<char>(buffer_).subspan(kept, wanted));
  buffer_.resize(kept + count);
  next_read_ += count;
  if (count == 0) next_read_ = stretch_.end;
  limits_->check_time();
  return at_ < buffer_.size();
}

bool LineFinder::find(std::string_view prefix) {
  while (fill()) {
    if (std::string_view(buffer_).substr(at_).starts_with(prefix)) return true;
    if (!next()) return false;
  }
  return false;
}

bool LineFinder::next() {
  while (fill()) {
    const void* end = std::memchr(buffer_.data() + at_, stretch_.line_end, buffer_.size() - at_);
    if (end != nullptr) {
      at_ = static_cast<std::size_t>(static_cast<const char*>(end) - buffer_.data()) + 1;
      return fill();
    }
    at_ = buffer_.size();
  }
  return false;
}

void LineFinder::skip_to(std::uint64_t offset) {
  if (offset <= this->offset()) return;
  if (offset <= buffer_offset_ + buffer_.size()) {
    at_ = static_cast<std::size_t>(offset - buffer_offset_);
    return;
  }
  buffer_.clear();
  at_ = 0;
  buffer_offset_ = next_read_ = std::min(offset, stretch_.end);
}

std::string_view LineFinder::line() const {
  return line_of(head(), stretch_.line_end);
}

/// Up to four bytes before the line.
std::string LineFinder::before() const {
  const auto count =
      static_cast<std::size_t>(std::min<std::uint64_t>(4, offset() - stretch_.begin));
  std::string bytes(count, '\0');
  if (at_ >= count) {
    bytes.assign(buffer_, at_ - count, count);
  } else {
    bytes.resize(document_->read_at(offset() - count, bytes));
  }
  return bytes;
}

std::uint64_t LineFinder::end_of_previous() const {
  const std::string bytes = before();
  std::uint64_t length = 0;
  if (bytes.ends_with(stretch_.line_end)) length = 1;
  if (bytes.ends_with("\r\n")) length = 2;
  return offset() - length;
}

bool LineFinder::after_empty_line() const {
  std::string bytes = before();
  const bool from_begin = offset() - stretch_.begin <= 2;
  if (stretch_.line_end == '\n') std::erase(bytes, '\r');
  if (bytes.empty()) return true;
  return bytes.ends_with(std::string(2, stretch_.line_end)) ||
         (from_begin && bytes == std::string(1, stretch_.line_end));
}

std::string_view line_of(std::string_view text, char line_end) {
  std::string_view line = text.substr(0, text.find(line_end));
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

Stretch stretch_of(Document& document, std::uint64_t begin, std::uint64_t end) {
  std::string head(static_cast<std::size_t>(std::min<std::uint64_t>(looked_at_for_line_ends,
                                                                    end > begin ? end - begin : 0)),
                   '\0');
  head.resize(document.read_at(begin, head));
  const bool carriage_returns =
      head.find('\n') == std::string::npos && head.find('\r') != std::string::npos;
  return {begin, end, carriage_returns ? '\r' : '\n'};
}

}  // namespace trfilter::mail
