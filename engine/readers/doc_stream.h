#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "engine/core/document.h"

namespace trfilter::doc {

/// Undoes a document's encryption, in place, of bytes that stand at an offset of a stream.
using Decrypt = std::function<void(std::uint64_t offset, std::span<char> bytes)>;

/// A stream of a Word document, as it was before it was encrypted. One that is missing is empty.
class Stream {
 public:
  Stream() = default;
  explicit Stream(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {}

  /// Bytes from `plain` on are decrypted from now on.
  void set_decryption(Decrypt decrypt, std::uint64_t plain) {
    decrypt_ = std::move(decrypt);
    plain_ = plain;
  }

  bool present() const { return source_ != nullptr; }
  std::uint64_t size() const { return source_ ? source_->size() : 0; }

  /// Replaces `into` by the bytes from `offset` on; fewer than `count` where the stream ends or is
  /// damaged.
  void read(std::uint64_t offset, std::uint64_t count, std::string& into) const;

  std::string read(std::uint64_t offset, std::uint64_t count) const {
    std::string bytes;
    read(offset, count, bytes);
    return bytes;
  }

 private:
  std::unique_ptr<ByteSource> source_;
  Decrypt decrypt_;
  std::uint64_t plain_ = 0;
};

}  // namespace trfilter::doc
