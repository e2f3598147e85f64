#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace trfilter {

/// Takes the fields of a binary structure one after another, numbers least significant byte first.
/// A field that does not lie within the bytes is 0 or empty, as are all that follow.
class ByteCursor {
 public:
  explicit ByteCursor(std::string_view bytes) : rest_(bytes) {}

  /// Whether a field was asked for that is not there.
  bool failed() const { return failed_; }

  /// What has not been taken yet.
  std::string_view rest() const { return rest_; }

  /// The next `count` bytes; empty when there are fewer.
  std::string_view bytes(std::size_t count) {
    if (count > rest_.size()) {
      failed_ = true;
      rest_ = {};
      return {};
    }
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return taken;
  }

  void skip(std::size_t count) { bytes(count); }

  std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
  std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
  std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
  std::int32_t i32() { return static_cast<std::int32_t>(u32()); }
  std::uint64_t u64() { return number(8); }
  double f64() { return std::bit_cast<double>(number(8)); }

 private:
  std::uint64_t number(std::size_t size) {
    std::uint64_t value = 0;
    const std::string_view field = bytes(size);
    for (std::size_t i = field.size(); i-- != 0;) {
      value = value << 8 | static_cast<unsigned char>(field[i]);
    }
    return value;
  }

  std::string_view rest_;
  bool failed_ = false;
};

}  // namespace trfilter
