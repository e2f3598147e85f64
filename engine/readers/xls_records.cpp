#include "engine/readers/xls_records.h"

#include <algorithm>

#include "engine/core/byte_cursor.h"
#include "engine/core/utf8.h"

namespace trfilter::xls {
namespace {

constexpr std::size_t head_size = 4;
constexpr std::size_t window_size = std::size_t{64} << 10;

void append_units(std::u16string& units, std::string_view bytes, bool wide) {
  const std::size_t size = wide ? 2 : 1;
  units.reserve(units.size() + bytes.size() / size);
  for (std::size_t i = 0; i + size <= bytes.size(); i += size) {
    auto unit = static_cast<char16_t>(static_cast<unsigned char>(bytes[i]));
    if (wide) {
      unit = static_cast<char16_t>(unit | static_cast<unsigned char>(bytes[i + 1]) << 8);
    }
    units.push_back(unit);
  }
}

bool is_ascii(std::string_view bytes) {
  return std::none_of(bytes.begin(), bytes.end(), [](char c) { return (c & 0x80) != 0; });
}

}  // namespace

void append_characters(std::string& out, std::string_view bytes, bool wide) {
  if (!wide && is_ascii(bytes)) {
    out += bytes;
    return;
  }
  std::u16string units;
  append_units(units, bytes, wide);
  out += utf16_to_utf8(units);
}

/// Bytes of the stream: `count`, or fewer at its end.
std::string_view RecordReader::window(std::uint64_t offset, std::size_t count) {
  if (offset < window_offset_ || offset + count > window_offset_ + window_.size()) {
    window_.resize(std::max(window_size, count));
    window_offset_ = offset;
    window_.resize(stream_.read_at(offset, window_));
  }
  return std::string_view(window_).substr(static_cast<std::size_t>(offset - window_offset_), count);
}

bool RecordReader::next() {
  ByteCursor head(window(next_, head_size));
  const std::uint16_t type = head.u16();
  const std::uint16_t size = head.u16();
  if (head.failed()) return false;
  type_ = type;
  offset_ = next_;
  next_ += head_size + size;
  data_ = window(offset_ + head_size, size);
  if (data_.size() < size) cut_ = true;
  if (decryption_) {
    decrypted_.assign(data_);
    decryption_(offset_ + head_size, type_, decrypted_);
    data_ = decrypted_;
  }
  return true;
}

bool RecordReader::next_continuation() {
  ByteCursor head(window(next_, head_size));
  return head.u16() == record::continuation && next();
}

bool ContinuedData::more() {
  while (rest_.empty()) {
    if (!records_.next_continuation()) return false;
    rest_ = records_.data();
  }
  return true;
}

std::uint32_t ContinuedData::number(std::size_t size) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < size; ++i) {
    if (!more()) {
      failed_ = true;
      return 0;
    }
    value |= std::uint32_t{static_cast<unsigned char>(rest_.front())} << (8 * i);
    rest_.remove_prefix(1);
  }
  return value;
}

void ContinuedData::skip(std::uint64_t count) {
  while (count > 0) {
    if (!more()) {
      failed_ = true;
      return;
    }
    const auto step = static_cast<std::size_t>(std::min<std::uint64_t>(count, rest_.size()));
    rest_.remove_prefix(step);
    count -= step;
  }
}

void ContinuedData::characters(std::string& out, std::size_t count, bool wide) {
  if (!wide && count <= rest_.size() && is_ascii(rest_.substr(0, count))) {
    out += rest_.substr(0, count);
    rest_.remove_prefix(count);
    return;
  }
  units_.clear();
  while (count > 0) {
    if (rest_.empty()) {
      if (!more()) {
        failed_ = true;
        break;
      }
      wide = (rest_.front() & 1) != 0;
      rest_.remove_prefix(1);
      continue;
    }
    const std::size_t size = wide ? 2 : 1;
    const std::size_t taken = std::min(count, rest_.size() / size);
    append_units(units_, rest_.substr(0, taken * size), wide);
    rest_.remove_prefix(taken * size);
    count -= taken;
    // A record that ends within a unit is damaged.
    if (count > 0 && rest_.size() < size) rest_ = {};
  }
  out += utf16_to_utf8(units_);
}

}  // namespace trfilter::xls
