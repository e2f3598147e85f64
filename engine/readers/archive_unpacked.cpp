#include "engine/readers/archive_unpacked.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>

#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

/// How far the places lie apart for which the packed bytes are known.
constexpr std::uint64_t step = std::uint64_t{1} << 20;
constexpr std::uint64_t read_at_once = ExpansionMeter::read_at_once;

}  // namespace

std::size_t UnpackedBytes::read_at(std::uint64_t offset, std::span<char> out) {
  limits_->check_time();
  if (offset < kept_.size()) return kept_.read_at(offset, out);
  if (end_ && offset >= *end_) {
    if (damage_) std::rethrow_exception(damage_);
    return 0;
  }
  go_to(offset);
  return position_ == offset ? unpack(out) : 0;
}

std::uint64_t UnpackedBytes::reach(std::uint64_t offset) {
  if (offset <= kept_.size()) return offset;
  if (end_ && offset > *end_) {
    if (damage_) std::rethrow_exception(damage_);
    return *end_;
  }
  go_to(offset);
  return position_;
}

void UnpackedBytes::go_to(std::uint64_t offset) {
  if (stream_ == nullptr || position_ > offset) {
    // Two decompressors at a time might take too much memory.
    stream_.reset();
    stream_ = open_(meter_);
    position_ = 0;
  }
  std::array<char, std::size_t{64} << 10> passed;
  while (position_ < offset) {
    const auto count =
        static_cast<std::size_t>(std::min<std::uint64_t>(passed.size(), offset - position_));
    if (unpack(std::span(passed).first(count)) == 0) return;
  }
}

std::size_t UnpackedBytes::unpack(std::span<char> out) {
  std::size_t count = 0;
  try {
    count = stream_->read(out);
  } catch (const EngineError& error) {
    stream_.reset();
    if (error.code() == Code::corrupt) {
      end_ = position_;
      damage_ = std::current_exception();
    }
    throw;
  }
  if (count == 0) {
    end_ = position_;
    stream_.reset();
  }
  keep(std::string_view(out.data(), count));
  position_ += count;
  while (packed_at_.size() * step < position_) packed_at_.push_back(meter_.packed());
  return count;
}

std::uint64_t UnpackedBytes::packed_bytes(std::uint64_t begin, std::uint64_t end) const {
  const auto before = static_cast<std::size_t>(begin / step);
  const auto after = static_cast<std::size_t>(end / step + 1);
  if (before >= packed_at_.size()) return 0;
  const std::uint64_t read_before = packed_at_[before];
  const std::uint64_t read_after =
      after < packed_at_.size() ? packed_at_[after] : std::max(meter_.packed(), packed_at_.back());
  // What had been read before `begin` may be of what follows it.
  return read_after - std::min(read_after, read_before - std::min(read_before, read_at_once));
}

void UnpackedBytes::keep(std::string_view bytes) {
  const std::uint64_t kept = kept_.size();
  if (!keeping_ || position_ > kept || position_ + bytes.size() <= kept) return;
  bytes.remove_prefix(static_cast<std::size_t>(kept - position_));
  keeping_ =
      kept < limits_->bounds().kept_bytes && bytes.size() <= limits_->bounds().kept_bytes - kept;
  if (!keeping_) return;
  try {
    kept_.append(bytes);
  } catch (const EngineError& error) {
    if (error.code() != Code::temporary_file) throw;
    keeping_ = false;
  }
}

std::size_t UnpackedStream::read(std::span<char> out) {
  std::size_t filled = 0;
  try {
    while (filled < out.size()) {
      const std::size_t count = bytes_->read_at(offset_, out.subspan(filled));
      if (count == 0) break;
      filled += count;
      offset_ += count;
    }
  } catch (const EngineError&) {
    // The next read tells of it: first comes what stands before the damage.
    if (filled == 0) throw;
  }
  return filled;
}

std::uint64_t UnpackedStream::skip(std::uint64_t count) {
  count = std::min(count, std::numeric_limits<std::uint64_t>::max() - offset_);
  const std::uint64_t reached = bytes_->reach(offset_ + count);
  const std::uint64_t passed = reached - std::min(reached, offset_);
  offset_ += passed;
  return passed;
}

}  // namespace trfilter
