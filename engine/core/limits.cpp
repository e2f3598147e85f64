#include "engine/core/limits.h"

#include <algorithm>

#include "engine/core/engine_error.h"

namespace trfilter {

std::chrono::milliseconds Limits::time_of_seconds(std::int64_t seconds) {
  // A century stands for ever: far enough, and far from the end of the clock.
  constexpr std::int64_t most = std::int64_t{100} * 366 * 24 * 3600;
  return std::chrono::seconds(seconds <= 0 ? most : std::min(seconds, most));
}

bool Limits::beyond_expansion(std::uint64_t bytes) const {
  const std::uint64_t ratio = bytes / bounds_.expansion_ratio;
  const bool beyond =
      ratio > document_size_ || (ratio == document_size_ && bytes % bounds_.expansion_ratio != 0);
  return bytes > bounds_.expansion_floor && beyond;
}

void Limits::charge_output(std::uint64_t bytes) {
  output_bytes_ += bytes;
  if (output_bytes_ > bounds_.output_bytes || beyond_expansion(output_bytes_)) {
    throw EngineError(Code::output_failed, "the document's text exceeds its bound");
  }
  check_time();
}

void Limits::charge_unpacked(std::uint64_t bytes) {
  unpacked_bytes_ += bytes;
  if (beyond_expansion(unpacked_bytes_)) {
    throw EngineError(Code::corrupt, "the document unpacks to more than its bound");
  }
  check_time();
}

void Limits::check_depth(unsigned depth) const {
  if (depth > bounds_.element_depth) {
    throw EngineError(Code::corrupt, "the document nests deeper than its bound");
  }
}

void Limits::enter_reader() {
  if (readers_ >= bounds_.nested_readers) {
    throw EngineError(Code::nested_too_deep,
                      "documents lie within each other deeper than the bound");
  }
  ++readers_;
}

void Limits::check_members(std::uint64_t count) const {
  if (count > bounds_.members) {
    throw EngineError(Code::archive_broken, "the container has more members than its bound");
  }
}

void Limits::check_expansion(std::uint64_t unpacked, std::uint64_t packed) const {
  if (unpacked > bounds_.member_floor && unpacked / bounds_.expansion_ratio > packed) {
    throw EngineError(Code::corrupt, "a member unpacks to more than its bound");
  }
}

void Limits::check_directory(std::uint64_t bytes) const {
  if (bytes > bounds_.directory_bytes) {
    throw EngineError(Code::archive_broken, "the container's list of members exceeds its bound");
  }
}

void Limits::check_time() const {
  if (std::chrono::steady_clock::now() > deadline_) {
    throw EngineError(Code::timed_out, "the document took longer than the time-out");
  }
}

void ExpansionMeter::begin_member() {
  packed_before_ = packed_ - std::min(packed_, read_at_once);
  unpacked_before_ = unpacked_;
}

void ExpansionMeter::add_unpacked(std::uint64_t bytes) {
  unpacked_ += bytes;
  if (unpacked_ > charged_) {
    limits_->charge_unpacked(unpacked_ - charged_);
    charged_ = unpacked_;
  } else {
    limits_->check_time();
  }
  if (content_ == Content::one_member) {
    limits_->check_expansion(unpacked_ - unpacked_before_, packed_ - packed_before_);
  }
}

}  // namespace trfilter
