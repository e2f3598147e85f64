#pragma once

#include <array>
#include <cstdint>
#include <list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace trfilter {

/// Where a document's bytes come from.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  /// Total bytes; constant for the life of the source.
  virtual std::uint64_t size() const = 0;

  /// Copies bytes from `offset` into `out`.
  /// @return bytes copied; 0 only at the end
  virtual std::size_t read_at(std::uint64_t offset, std::span<char> out) = 0;

  /// All bytes where they lie in memory, for as long as the source lives; null when they do not.
  /// `await` tells which are there already.
  virtual const char* in_place() const { return nullptr; }

  /// Waits until the first `end` bytes lie in place.
  /// @return how many do
  virtual std::uint64_t await([[maybe_unused]] std::uint64_t end) { return size(); }
};

/// Random access to one input. Up to `block_in_memory` bytes are read once and kept, or stay where
/// their source has them; more are read
/// in blocks through a bounded cache, so that only what a reader touches is ever read.
class Document {
 public:
  static constexpr std::uint64_t block_in_memory = std::uint64_t{4} << 20;
  static constexpr std::size_t cache_block = std::size_t{64} << 10;
  static constexpr std::size_t cache_blocks = 64;

  /// @param temporary_directory  where `bytes()` of a large document may put its unlinked file;
  ///                             empty: the system's
  explicit Document(std::unique_ptr<ByteSource> source, std::string temporary_directory = {});

  /// A document of bytes that are already here; they stay in memory, however many they are.
  static Document from_memory(std::string bytes);

  Document(Document&&) noexcept;
  Document& operator=(Document&&) noexcept;
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;
  ~Document();

  std::uint64_t size() const { return size_; }

  /// Where readers of the document may put temporary files; empty: the system's directory.
  const std::string& temporary_directory() const { return temporary_directory_; }

  /// Copies bytes from `offset` into `out`.
  /// @return bytes copied; less than asked for only at the end, 0 at or beyond it
  std::size_t read_at(std::uint64_t offset, std::span<char> out);

  /// The first bytes, up to `count` and at most one cache block; valid as long as the document.
  std::string_view head(std::size_t count);

  /// All bytes as one view, valid as long as the document. A large document is copied to an
  /// unlinked temporary file and mapped.
  /// @throws EngineError code 15 when the file cannot be made
  std::string_view bytes();

 private:
  class Mapping;
  explicit Document(std::string bytes);
  const std::string& cached_block(std::uint64_t number);
  std::string_view in_memory(std::uint64_t offset, std::uint64_t count);

  std::unique_ptr<ByteSource> source_;  ///< null when all bytes came with the document
  std::string temporary_directory_;
  std::uint64_t size_ = 0;
  bool in_memory_ = false;
  std::string memory_;  ///< the whole of a document in memory that does not lie in its source
  const char* in_place_ = nullptr;  ///< where it lies in its source
  std::uint64_t arrived_ = 0;       ///< bytes of it that do already
  std::string head_;                ///< the first block of a large one, once asked for
  std::unique_ptr<Mapping> mapping_;

  struct CachedBlock {
    std::uint64_t number;
    std::string bytes;
  };
  std::list<CachedBlock> recent_;  ///< most recently used first
  std::unordered_map<std::uint64_t, std::list<CachedBlock>::iterator> blocks_;
};

/// Reads a document from its begin to its end.
class DocumentCursor {
 public:
  explicit DocumentCursor(Document& document, std::uint64_t offset = 0)
      : document_(&document), offset_(offset) {}

  std::uint64_t offset() const { return offset_; }
  bool at_end() const { return offset_ >= document_->size(); }
  void seek(std::uint64_t offset) { offset_ = offset; }

  /// Up to `out.size()` bytes from here; advances. @return bytes copied, 0 at the end
  std::size_t read(std::span<char> out) {
    const std::size_t count = document_->read_at(offset_, out);
    offset_ += count;
    return count;
  }

 private:
  Document* document_;
  std::uint64_t offset_;
};

}  // namespace trfilter
