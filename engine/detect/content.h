#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/core/document.h"

namespace trfilter::detection {

/// The bytes that are looked at: a document, or the document inside a wrapping. Offsets count from
/// the begin of the part. Keeps a view of the document, which must outlive it.
class Content {
 public:
  /// How much of the begin is at hand without another read.
  static constexpr std::size_t head_size = std::size_t{64} << 10;

  /// @param offset  where the part begins in the document
  /// @param size    its bytes; cut to what the document has
  Content(Document& document, std::uint64_t offset, std::uint64_t size);
  explicit Content(Document& document) : Content(document, 0, document.size()) {}
  Content(const Content&) = delete;
  Content& operator=(const Content&) = delete;

  std::uint64_t size() const { return size_; }

  /// The first bytes, at most `head_size`.
  std::string_view head() const { return head_; }

  /// Up to `count` bytes from `offset`; fewer at the end, none beyond it.
  std::string read(std::uint64_t offset, std::size_t count);

  /// Reads into memory of the caller's. @return bytes copied
  std::size_t read_at(std::uint64_t offset, std::span<char> out);

  /// The last `count` bytes, or all when there are fewer.
  std::string tail(std::size_t count);

 private:
  Document* document_;
  std::uint64_t offset_;
  std::uint64_t size_;
  std::string own_head_;  ///< of a part that does not begin where the document does
  std::string_view head_;
};

}  // namespace trfilter::detection
