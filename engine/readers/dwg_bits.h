#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>

namespace trfilter::dwg {

/// A reference to an object, as an object writes it.
struct Handle {
  unsigned code = 0;  ///< how `value` is meant: absolute, or relative to the referring object
  std::uint64_t value = 0;

  /// What the reference points to when the object `from` makes it.
  std::uint64_t resolve(std::uint64_t from) const {
    switch (code) {
      case 0x6:
        return from + 1;
      case 0x8:
        return from - 1;
      case 0xA:
        return from + value;
      case 0xC:
        return from - value;
      default:
        return value;
    }
  }
};

/// Takes the values of a drawing's bit stream one after another ("Open Design Specification for
/// .dwg files", 2, Bit codes); each has the name of its code there. A value that does not lie
/// within the bits is 0, as are all that follow.
class BitReader {
 public:
  BitReader() = default;
  explicit BitReader(std::string_view bytes)
      : bytes_(bytes), end_(std::uint64_t{bytes.size()} * 8) {}

  std::uint64_t position() const { return position_; }
  std::uint64_t end() const { return end_; }
  bool failed() const { return failed_; }

  void seek(std::uint64_t bit);
  void skip(std::uint64_t bits) { seek(bits <= end_ - position_ ? position_ + bits : end_ + 1); }

  bool bit() { return bits(1) != 0; }
  /// The next `count` bits, up to 8, the first the most significant.
  unsigned bits(unsigned count);

  unsigned rc() { return bits(8); }
  unsigned rs() { return static_cast<unsigned>(raw(2)); }
  std::uint32_t rl() { return static_cast<std::uint32_t>(raw(4)); }
  double rd() { return std::bit_cast<double>(raw(8)); }

  unsigned bs();
  std::uint32_t bl();
  std::uint64_t bll();
  double bd();
  void skip_dd();          ///< a double by its difference from a default
  void skip_bt(bool r13);  ///< a thickness
  void skip_be(bool r13);  ///< an extrusion
  void skip_bd(unsigned count) {
    for (; count != 0 && !failed_; --count) bd();
  }
  Handle h();
  std::uint64_t mc();  ///< a modular character without sign
  std::uint64_t ms();  ///< a modular short

  /// The next `count` bytes.
  std::string bytes(std::size_t count);

 private:
  std::uint64_t raw(unsigned bytes);

  std::string_view bytes_;
  std::uint64_t position_ = 0;
  std::uint64_t end_ = 0;
  bool failed_ = false;
};

}  // namespace trfilter::dwg
