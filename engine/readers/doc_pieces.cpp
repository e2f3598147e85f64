#include "engine/readers/doc_pieces.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "engine/core/fields.h"

namespace trfilter::doc {
namespace {

constexpr std::uint32_t narrow_flag = 0x40000000;
constexpr std::uint32_t offset_mask = 0x3FFFFFFF;
constexpr std::size_t piece_size = 8;
constexpr std::uint32_t modifications_type = 1;
constexpr std::uint32_t pieces_type = 2;

/// [MS-DOC] 2.9.214 Prm0: those that matter for text, by their short number.
struct ShortModifier {
  unsigned number;
  std::uint16_t code;
};
constexpr auto short_modifiers = std::to_array<ShortModifier>({
    {0x0C, 0x260A},
    {0x18, 0x2416},
    {0x19, 0x2417},
    {0x41, 0x0800},
    {0x42, 0x0801},
    {0x43, 0x0802},
    {0x5C, 0x083C},
});

}  // namespace

Pieces::Pieces(const Fib& fib, std::uint64_t stream_size) : word_97_(false) {
  const std::uint64_t bytes = fib.text_end - std::min(fib.text_begin, fib.text_end);
  Piece piece;
  const std::uint64_t stated = fib.total();
  piece.wide =
      stated != 0 && bytes / 2 >= stated && (fib.version == Version::word_97 || fib.extended);
  const std::uint64_t characters = piece.wide ? bytes / 2 : bytes;
  piece.end = static_cast<std::uint32_t>(
      std::min<std::uint64_t>(stated == 0 ? characters : std::min(stated, characters),
                              std::numeric_limits<std::int32_t>::max()));
  piece.offset = fib.text_begin;
  add(piece, stream_size);
}

Pieces::Pieces(const Fib& fib, std::string clx, std::uint64_t stream_size)
    : clx_(std::move(clx)), word_97_(fib.version == Version::word_97) {
  std::string_view rest = clx_;
  while (!rest.empty() && byte_at(rest, 0) == modifications_type) {
    const std::size_t size = le16(rest, 1);
    if (!has(rest, 3, size)) return;
    modifications_.push_back(rest.substr(3, size));
    rest.remove_prefix(3 + size);
  }
  if (rest.size() < 5 || byte_at(rest, 0) != pieces_type) return;
  const std::size_t size = std::min<std::size_t>(le32(rest, 1), rest.size() - 5);
  const std::string_view table = rest.substr(5, size);
  if (table.size() < 4) return;
  const std::size_t count = (table.size() - 4) / (4 + piece_size);
  pieces_.reserve(count);
  const std::size_t first_piece = (count + 1) * 4;
  for (std::size_t i = 0; i < count; ++i) {
    Piece piece;
    piece.begin = le32(table, i * 4);
    piece.end = le32(table, i * 4 + 4);
    const std::uint32_t position = le32(table, first_piece + i * piece_size + 2);
    piece.modifier = static_cast<std::uint16_t>(le16(table, first_piece + i * piece_size + 6));
    if (word_97_) {
      piece.wide = (position & narrow_flag) == 0;
      piece.offset = piece.wide ? position & offset_mask : (position & offset_mask) / 2;
    } else {
      piece.offset = position;
      piece.wide = fib.extended && fib.text_end > fib.text_begin &&
                   (fib.text_end - fib.text_begin) / 2 >= fib.total();
    }
    if (piece.begin < end()) break;
    add(piece, stream_size);
  }
}

void Pieces::add(const Piece& piece, std::uint64_t stream_size) {
  if (piece.end <= piece.begin || piece.end > std::numeric_limits<std::int32_t>::max()) return;
  // What a damaged table claims beyond the stream is not there.
  const std::uint64_t there = stream_size - std::min(stream_size, piece.offset);
  const std::uint64_t characters = piece.wide ? there / 2 : there;
  Piece kept = piece;
  if (piece.end - piece.begin > characters) {
    cut_ = true;
    kept.end = kept.begin + static_cast<std::uint32_t>(characters);
  }
  if (kept.end > kept.begin) pieces_.push_back(kept);
}

const Piece* Pieces::find(std::uint32_t position) const {
  const auto behind =
      std::upper_bound(pieces_.begin(), pieces_.end(), position,
                       [](std::uint32_t wanted, const Piece& piece) { return wanted < piece.end; });
  return behind == pieces_.end() ? nullptr : &*behind;
}

std::string_view Pieces::modifications(const Piece& piece, std::string& scratch) const {
  if (piece.modifier == 0) return {};
  if ((piece.modifier & 1) != 0) {
    const std::size_t index = piece.modifier >> 1;
    return index < modifications_.size() ? modifications_[index] : std::string_view{};
  }
  const unsigned number = piece.modifier >> 1 & 0x7F;
  const char operand = static_cast<char>(piece.modifier >> 8);
  if (!word_97_) {
    scratch = {static_cast<char>(number), operand};
    return scratch;
  }
  for (const ShortModifier& row : short_modifiers) {
    if (row.number != number) continue;
    scratch = {static_cast<char>(row.code & 0xFF), static_cast<char>(row.code >> 8), operand};
    return scratch;
  }
  return {};
}

}  // namespace trfilter::doc
