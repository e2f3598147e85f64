#pragma once

#include <memory>
#include <span>
#include <utility>

#include "engine/compound/compound_file.h"
#include "engine/core/document.h"

namespace trfilter {

/// A stream of a compound file as the source of a document.
class StreamSource final : public ByteSource {
 public:
  explicit StreamSource(std::unique_ptr<CompoundStream> stream) : stream_(std::move(stream)) {}

  std::uint64_t size() const override { return stream_->size(); }
  std::size_t read_at(std::uint64_t offset, std::span<char> out) override {
    return stream_->read_at(offset, out);
  }

 private:
  std::unique_ptr<CompoundStream> stream_;
};

}  // namespace trfilter
