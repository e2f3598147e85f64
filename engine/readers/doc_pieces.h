#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/readers/doc_fib.h"

namespace trfilter::doc {

/// A stretch of text as it lies in the main stream.
struct Piece {
  std::uint32_t begin = 0;  ///< character positions
  std::uint32_t end = 0;
  std::uint64_t offset = 0;  ///< bytes
  bool wide = false;         ///< characters of two bytes
  std::uint16_t modifier = 0;

  std::uint64_t offset_of(std::uint32_t position) const {
    return offset + std::uint64_t{position - begin} * (wide ? 2 : 1);
  }
};

/// The piece table ([MS-DOC] 2.9.38 Clx): where each character of the document is.
class Pieces {
 public:
  /// One piece, for a document without a table.
  /// @param stream_size  of the main stream
  Pieces(const Fib& fib, std::uint64_t stream_size);

  /// @param clx  the structure; one without any piece makes a table of none
  Pieces(const Fib& fib, std::string clx, std::uint64_t stream_size);

  bool empty() const { return pieces_.empty(); }

  /// The character position behind the last one.
  std::uint32_t end() const { return pieces_.empty() ? 0 : pieces_.back().end; }

  /// Whether the table has more text than the main stream.
  bool cut() const { return cut_; }

  /// The piece that holds a position, else the next one; null beyond the last.
  const Piece* find(std::uint32_t position) const;

  /// The single property modifications that a piece's text has beyond its own formatting.
  std::string_view modifications(const Piece& piece, std::string& scratch) const;

 private:
  void add(const Piece& piece, std::uint64_t stream_size);

  std::string clx_;
  std::vector<std::string_view> modifications_;
  std::vector<Piece> pieces_;
  bool word_97_ = true;
  bool cut_ = false;
};

}  // namespace trfilter::doc
