#include "engine/readers/dwg_unpack.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

namespace trfilter::dwg {
namespace {

/// What both ways of packing share: bytes that are taken, and bytes that come out as copies of the
/// input or of what has come out before.
class Unpacker {
 public:
  Unpacker(std::string_view packed, std::size_t most) : packed_(packed), most_(most) {}

  bool failed() const { return failed_; }
  bool at_end() const { return at_ == packed_.size(); }
  std::size_t produced() const { return out_.size(); }

  unsigned byte() {
    if (at_end()) {
      failed_ = true;
      return 0;
    }
    return static_cast<unsigned char>(packed_[at_++]);
  }

  /// The next bytes of the input; empty when they are not there.
  std::string_view take(std::size_t count) {
    if (count > packed_.size() - at_) {
      failed_ = true;
      return {};
    }
    at_ += count;
    return packed_.substr(at_ - count, count);
  }

  void put(std::string_view bytes) {
    if (bytes.size() > most_ - out_.size()) {
      failed_ = true;
      bytes = bytes.substr(0, most_ - out_.size());
    }
    out_ += bytes;
  }

  /// Repeats what came out `distance` bytes ago; a run may overlap itself.
  void repeat(std::size_t distance, std::size_t count) {
    if (distance == 0 || distance > out_.size() || count > most_ - out_.size()) {
      failed_ = true;
      return;
    }
    for (; count != 0; --count) out_ += out_[out_.size() - distance];
  }

  Unpacked finish(bool whole) { return {std::move(out_), whole && !failed_}; }

 private:
  std::string_view packed_;
  std::size_t at_ = 0;
  std::size_t most_;
  std::string out_;
  bool failed_ = false;
};

class Unpacker2004 : public Unpacker {
 public:
  using Unpacker::Unpacker;

  Unpacked run() {
    unsigned code = byte();
    // The begin may be literals; a byte from 0x10 on is the first instruction.
    if (code < 0x10) {
      put(take(literals(code)));
      code = byte();
    }
    while (!failed()) {
      if (code == 0x11) return finish(true);
      code = instruction(code);
    }
    return finish(false);
  }

 private:
  /// @return the next instruction
  unsigned instruction(unsigned code) {
    std::size_t count = 0;
    std::size_t distance = 0;
    unsigned literal_bits = code;
    if (code >= 0x40) {
      count = (code >> 4) - 1;
      distance = byte() << 2 | (code & 0x0C) >> 2;
    } else {
      std::size_t base = 0;
      if (code >= 0x21) {
        count = code - 0x1E;
      } else if (code == 0x20) {
        count = run_length() + 0x21;
      } else if (code == 0x10) {
        count = run_length() + 9;
        base = 0x3FFF;
      } else if (code >= 0x12) {
        count = (code & 0x0F) + 2;
        base = 0x3FFF;
      } else {
        return invalid();
      }
      literal_bits = byte();
      distance = (literal_bits >> 2 | byte() << 6) + base;
    }
    repeat(distance + 1, count);
    if ((literal_bits & 3) != 0) {
      put(take(literal_bits & 3));
      return byte();
    }
    const unsigned next = byte();
    if (next >= 0x10) return next;
    put(take(literals(next)));
    return byte();
  }

  /// A length whose first byte, `code`, is below 0x10.
  std::size_t literals(unsigned code) { return code == 0 ? run_length() + 0x0F + 3 : code + 3; }

  std::size_t run_length() {
    std::size_t length = 0;
    unsigned next = byte();
    while (next == 0 && !failed()) {
      length += 0xFF;
      next = byte();
    }
    return length + next;
  }

  unsigned invalid() {
    take(npos_count);
    return 0;
  }

  static constexpr std::size_t npos_count = static_cast<std::size_t>(-1);
};

/// A piece of a literal run: where it stands in the input, and how long it is. One of 2 or 3 bytes
/// is written backwards, one of 16 with its halves exchanged.
struct Piece {
  std::uint8_t at;
  std::uint8_t length;
};

/// The order in which the last literals of a run, fewer than 32, stand in the input: up to five
/// pieces for each length.
constexpr std::array<std::array<Piece, 5>, 32> literal_order{{
    {},
    {{{0, 1}}},
    {{{0, 2}}},
    {{{0, 3}}},
    {{{0, 4}}},
    {{{4, 1}, {0, 4}}},
    {{{5, 1}, {1, 4}, {0, 1}}},
    {{{5, 2}, {1, 4}, {0, 1}}},
    {{{0, 8}}},
    {{{8, 1}, {0, 8}}},
    {{{9, 1}, {1, 8}, {0, 1}}},
    {{{9, 2}, {1, 8}, {0, 1}}},
    {{{8, 4}, {0, 8}}},
    {{{12, 1}, {8, 4}, {0, 8}}},
    {{{13, 1}, {9, 4}, {1, 8}, {0, 1}}},
    {{{13, 2}, {9, 4}, {1, 8}, {0, 1}}},
    {{{0, 16}}},
    {{{9, 8}, {8, 1}, {0, 8}}},
    {{{17, 1}, {1, 16}, {0, 1}}},
    {{{16, 3}, {0, 16}}},
    {{{16, 4}, {0, 16}}},
    {{{20, 1}, {16, 4}, {0, 16}}},
    {{{20, 2}, {16, 4}, {0, 16}}},
    {{{20, 3}, {16, 4}, {0, 16}}},
    {{{16, 8}, {0, 16}}},
    {{{17, 8}, {16, 1}, {0, 16}}},
    {{{25, 1}, {17, 8}, {16, 1}, {0, 16}}},
    {{{25, 2}, {17, 8}, {16, 1}, {0, 16}}},
    {{{24, 4}, {16, 8}, {0, 16}}},
    {{{28, 1}, {24, 4}, {16, 8}, {0, 16}}},
    {{{28, 2}, {24, 4}, {16, 8}, {0, 16}}},
    {{{30, 1}, {26, 4}, {18, 8}, {2, 16}, {0, 2}}},
}};

class Unpacker2007 : public Unpacker {
 public:
  using Unpacker::Unpacker;

  Unpacked run() {
    unsigned code = byte();
    std::size_t count = 0;
    if (code >> 4 == 2) {
      take(2);
      count = byte() & 7;
    }
    while (!failed()) {
      put_literals(count != 0 ? count : literals(code));
      if (failed() || at_end()) break;
      code = byte();
      for (;;) {
        code = instruction(code);
        count = code & 7;
        if (failed() || count != 0 || at_end()) break;
        code = byte();
        if (code >> 4 == 0) break;
        if (code >> 4 == 15) code &= 15;
      }
      if (at_end() && count == 0) break;
    }
    return finish(at_end());
  }

 private:
  std::size_t literals(unsigned code) {
    std::size_t count = code + 8;
    if (count != 0x17) return count;
    unsigned more = byte();
    count += more;
    if (more != 0xFF) return count;
    do {
      more = byte();
      more |= byte() << 8;
      count += more;
    } while (more == 0xFFFF && !failed());
    return count;
  }

  /// @return the byte whose lowest three bits tell how many literals follow
  unsigned instruction(unsigned code) {
    std::size_t count = 0;
    std::size_t distance = 0;
    unsigned last = 0;
    switch (code >> 4) {
      case 0:
        distance = byte();
        last = byte();
        count = (code & 15) + 0x13 + (last >> 3 & 0x10);
        distance += ((last & 0x78) << 5) + 1;
        break;
      case 1:
        distance = byte();
        last = byte();
        count = (code & 15) + 3;
        distance += ((last & 0xF8) << 5) + 1;
        break;
      case 2:
        distance = byte();
        distance |= byte() << 8;
        count = code & 7;
        if ((code & 8) == 0) {
          last = byte();
          count += last & 0xF8;
        } else {
          ++distance;
          count += byte() << 3;
          last = byte();
          count += ((last & 0xF8) << 8) + 0x100;
        }
        break;
      default:
        last = byte();
        count = code >> 4;
        distance = ((last & 0xF8) << 1) + (code & 15) + 1;
    }
    repeat(distance, count);
    return last;
  }

  void put_literals(std::size_t count) {
    std::string_view source = take(count);
    for (; source.size() >= 32; source.remove_prefix(32)) {
      put_piece(source.substr(16, 16));
      put_piece(source.substr(0, 16));
    }
    for (const Piece& piece : literal_order[source.size()]) {
      put_piece(source.substr(piece.at, piece.length));
    }
  }

  void put_piece(std::string_view piece) {
    switch (piece.size()) {
      case 2:
      case 3: {
        std::array<char, 3> backwards{};
        std::reverse_copy(piece.begin(), piece.end(), backwards.begin());
        return put({backwards.data(), piece.size()});
      }
      case 16:
        put(piece.substr(8));
        return put(piece.substr(0, 8));
      default:
        return put(piece);
    }
  }
};

}  // namespace

Unpacked unpack_2004(std::string_view packed, std::size_t most) {
  return Unpacker2004(packed, most).run();
}

Unpacked unpack_2007(std::string_view packed, std::size_t most) {
  return Unpacker2007(packed, most).run();
}

}  // namespace trfilter::dwg
