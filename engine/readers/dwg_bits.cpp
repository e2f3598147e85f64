#include "engine/readers/dwg_bits.h"

namespace trfilter::dwg {

void BitReader::seek(std::uint64_t bit) {
  if (bit > end_) {
    failed_ = true;
    bit = end_;
  }
  position_ = bit;
}

unsigned BitReader::bits(unsigned count) {
  if (count > end_ - position_) {
    failed_ = true;
    position_ = end_;
    return 0;
  }
  const auto at = static_cast<std::size_t>(position_ / 8);
  const auto shift = static_cast<unsigned>(position_ % 8);
  unsigned two = static_cast<unsigned>(static_cast<unsigned char>(bytes_[at])) << 8;
  if (shift + count > 8) two |= static_cast<unsigned char>(bytes_[at + 1]);
  position_ += count;
  return two >> (16 - shift - count) & ((1u << count) - 1);
}

std::uint64_t BitReader::raw(unsigned bytes) {
  std::uint64_t value = 0;
  for (unsigned i = 0; i < bytes; ++i) value |= std::uint64_t{rc()} << (8 * i);
  return failed_ ? 0 : value;
}

unsigned BitReader::bs() {
  switch (bits(2)) {
    case 0:
      return rs();
    case 1:
      return rc();
    case 2:
      return 0;
    default:
      return failed_ ? 0 : 256;
  }
}

std::uint32_t BitReader::bl() {
  switch (bits(2)) {
    case 0:
      return rl();
    case 1:
      return rc();
    default:
      return 0;
  }
}

std::uint64_t BitReader::bll() {
  return raw(bits(3));
}

double BitReader::bd() {
  switch (bits(2)) {
    case 0:
      return rd();
    case 1:
      return 1;
    default:
      return 0;
  }
}

void BitReader::skip_dd() {
  // 0: the default; 1 and 2: some of its bytes are replaced; 3: a whole double.
  switch (bits(2)) {
    case 1:
      return skip(32);
    case 2:
      return skip(48);
    case 3:
      return skip(64);
    default:
      return;
  }
}

void BitReader::skip_bt(bool r13) {
  if (r13 || !bit()) bd();
}

void BitReader::skip_be(bool r13) {
  if (r13 || !bit()) skip_bd(3);
}

Handle BitReader::h() {
  Handle handle;
  handle.code = bits(4);
  const unsigned count = bits(4);
  if (count > 8) {
    seek(end_ + 1);
    return {};
  }
  for (unsigned i = 0; i < count; ++i) handle.value = handle.value << 8 | rc();
  return handle;
}

std::uint64_t BitReader::mc() {
  std::uint64_t value = 0;
  for (unsigned shift = 0; shift < 63; shift += 7) {
    const unsigned byte = rc();
    value |= std::uint64_t{byte & 0x7F} << shift;
    if ((byte & 0x80) == 0) break;
  }
  return value;
}

std::uint64_t BitReader::ms() {
  std::uint64_t value = 0;
  for (unsigned shift = 0; shift < 60; shift += 15) {
    const unsigned word = rs();
    value |= std::uint64_t{word & 0x7FFF} << shift;
    if ((word & 0x8000) == 0) break;
  }
  return value;
}

std::string BitReader::bytes(std::size_t count) {
  if (count > (end_ - position_) / 8) {
    seek(end_ + 1);
    return {};
  }
  std::string out(count, '\0');
  for (char& c : out) c = static_cast<char>(rc());
  return out;
}

}  // namespace trfilter::dwg
