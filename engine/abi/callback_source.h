#pragma once

#include "api/engine_abi.h"
#include "engine/core/document.h"

namespace trfilter {

/// A document behind the host's stream callbacks. The record outlives the source.
class CallbackSource : public ByteSource {
 public:
  /// Finds the size by seeking to the end.
  /// @throws EngineError code 22 when a callback is missing or refuses
  explicit CallbackSource(tag_InputStream& stream);

  std::uint64_t size() const override { return size_; }
  std::size_t read_at(std::uint64_t offset, std::span<char> out) override;

 private:
  void seek(std::int64_t offset, int whence);

  tag_InputStream* stream_;
  std::uint64_t size_ = 0;
  std::uint64_t position_ = 0;
};

}  // namespace trfilter
