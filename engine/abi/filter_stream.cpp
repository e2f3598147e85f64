#include "engine/abi/filter_stream.h"

#include "engine/abi/guard.h"
#include "engine/abi/session.h"

namespace trfilter {
namespace {

// A chunk's length is a 32-bit number; what one step gives is cut to pieces of this size.
constexpr std::size_t largest_chunk = std::size_t{1} << 24;

}  // namespace

void FilterStream::prepare() {
  sink_.reset();
  failure_.reset();
  left_ = {};
  more_ = false;
  opened_.reset();
  Options options = options_;
  target_.emplace(session_->modules(), options);
  opened_.emplace(*session_, *stream_, options);
  sink_.emplace(opened_->options(), opened_->limits());
  more_ = true;
}

std::string_view FilterStream::next_chunk() {
  if (!sink_) throw EngineError(Code::invalid_argument, "the stream is not prepared");
  // A set with shifts may keep back all of a short text.
  do {
    if (left_.empty()) fill();
  } while (left_.empty() && more_);
  const std::string_view piece = left_.substr(0, largest_chunk);
  left_.remove_prefix(piece.size());
  if (piece.empty() && failure_) throw EngineError(*failure_);
  return piece;
}

void FilterStream::fill() {
  try {
    while (more_ && sink_->size() < TextSink::chunk_size) {
      more_ = opened_->reader().step(*sink_);
      opened_->limits().check_time();
      if (!more_) sink_->finish();
    }
    sink_->take(chunk_);
  } catch (...) {
    failure_.emplace(code_of_current_exception(), "reading ended with an error");
    more_ = false;
    sink_->finish();
    sink_->take_remainder(chunk_);
  }
  left_ = target_->encode(chunk_, !more_);
}

}  // namespace trfilter
