#include "engine/abi/callback_source.h"

#include <algorithm>
#include <cstdio>
#include <limits>

#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

constexpr std::size_t largest_read = std::size_t{1} << 30;

}  // namespace

CallbackSource::CallbackSource(tag_InputStream& stream) : stream_(&stream) {
  if (stream.read == nullptr || stream.seek == nullptr || stream.tell == nullptr) {
    throw EngineError(Code::open_stream_failed, "the input stream lacks a callback");
  }
  seek(0, SEEK_END);
  const std::int64_t end = stream.tell(&stream);
  if (end < 0) throw EngineError(Code::open_stream_failed, "the input stream has no size");
  seek(0, SEEK_SET);
  size_ = static_cast<std::uint64_t>(end);
}

std::size_t CallbackSource::read_at(std::uint64_t offset, std::span<char> out) {
  if (offset >= size_) return 0;
  if (offset != position_) {
    position_ = std::numeric_limits<std::uint64_t>::max();
    seek(static_cast<std::int64_t>(offset), SEEK_SET);
    position_ = offset;
  }
  std::size_t filled = 0;
  while (filled < out.size()) {
    const auto wanted = static_cast<std::uint32_t>(std::min(out.size() - filled, largest_read));
    auto* buffer = reinterpret_cast<unsigned char*>(out.data() + filled);
    const std::uint32_t count = stream_->read(stream_, buffer, wanted);
    if (count == 0) break;
    if (count > wanted) {
      throw EngineError(Code::open_stream_failed, "the input stream returned more than asked for");
    }
    filled += count;
    position_ += count;
  }
  return filled;
}

void CallbackSource::seek(std::int64_t offset, int whence) {
  if (stream_->seek(stream_, offset, whence) == 0) {
    throw EngineError(Code::open_stream_failed, "the input stream refused to seek");
  }
}

}  // namespace trfilter
