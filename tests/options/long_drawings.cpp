// Drawings after the "Open Design Specification for .dwg files": a header that names the map of
// objects, objects, their map.

#include <cstdint>

#include "tests/engine/workbook_writer.h"
#include "tests/options/long_documents.h"

namespace tarnis::options {
namespace {

using trfilter::test::f64;
using trfilter::test::u16;
using trfilter::test::u32;
using trfilter::test::u8;

class Bits {
 public:
  Bits& put(std::uint64_t value, unsigned count) {
    while (count-- != 0) {
      if (used_ % 8 == 0) bytes_ += '\0';
      if ((value >> count & 1) != 0) {
        bytes_.back() = static_cast<char>(bytes_.back() | 0x80 >> used_ % 8);
      }
      ++used_;
    }
    return *this;
  }
  Bits& raw(std::string_view bytes) {
    for (const char c : bytes) put(static_cast<unsigned char>(c), 8);
    return *this;
  }
  Bits& bs(unsigned value) {
    if (value == 0) return put(2, 2);
    return value < 256 ? put(1, 2).put(value, 8) : put(0, 2).raw(u16(value));
  }
  Bits& h(unsigned code, unsigned value) { return put(code, 4).put(1, 4).put(value, 8); }

  std::uint32_t size() const { return used_; }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
  std::uint32_t used_ = 0;
};

/// A line of text in the model, with data that programs have attached; behind it follow bytes that
/// nothing is said of.
std::string line_object(std::string_view text, std::size_t attached = 0, std::size_t more = 0) {
  constexpr unsigned line = 1;
  constexpr unsigned model = 2;
  Bits rest;
  rest.h(0, 0x31);
  for (std::size_t i = 0; i < attached; ++i) rest.bs(1).h(5, 0x12).put('a', 8);
  rest.bs(0);
  // No picture; no reactors; no links; the colour of the layer; scale 1; flags; visible; weight.
  rest.put(0, 1).put(model, 2).put(2, 2).put(1, 1).bs(7).put(1, 2).put(0, 4).bs(0).put(29, 8);
  // All that may be absent is; the place, the direction and the thickness that are usual, a height.
  rest.put(0xFF, 8).raw(f64(1) + f64(2)).put(3, 2).raw(f64(2.5));
  rest.bs(static_cast<unsigned>(text.size())).raw(text);
  Bits object;
  object.bs(line);
  object.raw(u32(object.size() + 32 + rest.size()));
  std::string bytes = rest.bytes();
  for (const char c : bytes) object.put(static_cast<unsigned char>(c), 8);
  object.h(5, 0x10);
  bytes = object.bytes() + std::string(more, '\0');
  const auto size = static_cast<std::uint32_t>(bytes.size());
  if (size < 0x8000) return u16(size) + bytes;
  return u16((size & 0x7FFF) | 0x8000) + u16(size >> 15) + bytes;
}

/// Numbers of 7 bits a byte, the lowest first. A signed one has its sign in the last byte.
std::string modular(std::uint32_t value, std::uint32_t last = 0x7F) {
  std::string bytes;
  for (; value > last; value >>= 7) bytes += u8((value & 0x7F) | 0x80);
  return bytes + u8(value);
}

/// A drawing whose map names one object `count` times, in blocks from the last handles to the
/// first.
std::string drawing_of(const std::string& object, std::uint32_t count) {
  constexpr std::uint32_t sections = 3;
  constexpr std::uint32_t in_block = 1000;
  const std::uint32_t begin = 0x15 + 4 + sections * 9;
  std::string map;
  for (std::uint32_t left = count; left != 0;) {
    const std::uint32_t here = left < in_block ? left : in_block;
    left -= here;
    std::string block = modular(left + 1) + modular(begin, 0x3F);
    for (std::uint32_t i = 1; i < here; ++i) block += std::string("\1\0", 2);
    const auto size = static_cast<unsigned>(block.size() + 2);
    map += u8(size >> 8) + u8(size & 0xFF) + block + u16(0);
  }
  map += std::string("\0\2\0\0", 4);
  const auto map_at = begin + static_cast<std::uint32_t>(object.size());
  std::string head = "AC1015" + std::string(5, '\0') + "\6\1" + std::string(4, '\0') + "\x17\6";
  head += u16(30) + u32(sections);
  head += u8(0) + u32(begin) + u32(0) + u8(1) + u32(begin) + u32(0);
  head += u8(2) + u32(map_at) + u32(static_cast<std::uint32_t>(map.size()));
  return head + object + map;
}

}  // namespace

std::string long_dwg() {
  return drawing_of(line_object("some text of a drawing"), 1'000'000);
}

std::string dwg_of_long_objects() {
  return drawing_of(line_object("text", 0, 2 * megabyte), 2'000);
}

std::string dwg_of_attached_data() {
  return drawing_of(line_object("text", 3'500'000), 8);
}

}  // namespace tarnis::options
