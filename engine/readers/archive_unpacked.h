#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/core/kept_bytes.h"
#include "engine/core/limits.h"
#include "engine/readers/archive_stream.h"

namespace trfilter {

/// What a compressed stream unpacks to, to be read anywhere and as often as wanted. It is unpacked
/// once, as far as somebody reads, and kept up to `Limits::Bounds::kept_bytes` or what there is
/// room for; what lies beyond is unpacked again whenever somebody goes back.
class UnpackedBytes {
 public:
  /// Begins to unpack the stream, and tells the meter of what is read and what comes out.
  using Open = std::function<std::unique_ptr<ByteStream>(ExpansionMeter& meter)>;

  UnpackedBytes(Open open, Limits& limits, std::string temporary_directory)
      : open_(std::move(open)),
        limits_(&limits),
        meter_(limits, ExpansionMeter::Content::many_members),
        kept_(std::move(temporary_directory)) {}

  /// Copies bytes from `offset` into `out`.
  /// @return bytes copied; 0 only at the end
  /// @throws EngineError what unpacking throws where it comes to damage, each time
  std::size_t read_at(std::uint64_t offset, std::span<char> out);

  /// Goes to `offset`. @return it, or the end of what there is
  /// @throws EngineError as `read_at`
  std::uint64_t reach(std::uint64_t offset);

  /// How many packed bytes those from `begin` to `end` have come out of, all of which have been
  /// unpacked once: a little more rather than less.
  std::uint64_t packed_bytes(std::uint64_t begin, std::uint64_t end) const;

 private:
  void go_to(std::uint64_t offset);
  std::size_t unpack(std::span<char> out);
  void keep(std::string_view bytes);

  Open open_;
  const Limits* limits_;
  ExpansionMeter meter_;
  std::vector<std::uint64_t> packed_at_;  ///< bytes read when each next `step` had come out
  KeptBytes kept_;
  bool keeping_ = true;
  std::unique_ptr<ByteStream> stream_;
  std::uint64_t position_ = 0;        ///< of `stream_`
  std::optional<std::uint64_t> end_;  ///< where unpacking ended, once it has
  std::exception_ptr damage_;         ///< why it ended, when that is not the stream's end
};

/// A pass over them.
class UnpackedStream final : public ByteStream {
 public:
  UnpackedStream(std::shared_ptr<UnpackedBytes> bytes, std::uint64_t offset)
      : bytes_(std::move(bytes)), offset_(offset) {}

  std::size_t read(std::span<char> out) override;
  std::uint64_t skip(std::uint64_t count) override;

 private:
  std::shared_ptr<UnpackedBytes> bytes_;
  std::uint64_t offset_;
};

}  // namespace trfilter
