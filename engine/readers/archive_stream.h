#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "engine/core/document.h"
#include "engine/core/format.h"
#include "engine/core/limits.h"
#include "engine/core/properties.h"

namespace trfilter {

/// Bytes from a begin to an end.
class ByteStream {
 public:
  virtual ~ByteStream() = default;

  /// Copies the next bytes. @return bytes copied; 0 at the end
  /// @throws EngineError code 4 for damage
  virtual std::size_t read(std::span<char> out) = 0;

  /// Passes over bytes. @return bytes passed over; less than `count` only at the end
  virtual std::uint64_t skip(std::uint64_t count);

  /// Whether it can go back and forth. Then `seek` and `size` are there.
  virtual bool seekable() const { return false; }
  virtual void seek(std::uint64_t /*offset*/) {}
  virtual std::uint64_t size() const { return 0; }
};

/// A document as it is.
class DocumentStream final : public ByteStream {
 public:
  /// @param limits  its clock is looked at while reading
  DocumentStream(Document& document, const Limits& limits, std::uint64_t offset = 0)
      : document_(&document), limits_(&limits), base_(offset), offset_(offset) {}

  std::size_t read(std::span<char> out) override;
  std::uint64_t skip(std::uint64_t count) override;
  bool seekable() const override { return true; }
  void seek(std::uint64_t offset) override { offset_ = base_ + offset; }
  std::uint64_t size() const override { return document_->size() - base_; }

 private:
  Document* document_;
  const Limits* limits_;
  std::uint64_t base_;
  std::uint64_t offset_;
};

/// Whether a format is one stream of compressed bytes.
bool is_compressed_stream(Format format);

/// The unpacked bytes of a document in such a format, from its begin.
/// @param meter  outlives the stream; restarted here
/// @throws EngineError code 4 for damage
std::unique_ptr<ByteStream> open_compressed(Document& document, Format format, const Limits& limits,
                                            ExpansionMeter& meter);

/// What the header of a gzip document (RFC 1952, 2.3) says about its content.
struct GzipHeader {
  std::string name;  ///< ISO 8859-1 by the standard, the system's character set in fact
  FileTime time;
};
GzipHeader gzip_header_of(Document& document);

}  // namespace trfilter
