#include "engine/abi/filter_stream.h"

#include "engine/abi/callback_source.h"
#include "engine/abi/session.h"
#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

// A chunk's length is a 32-bit number; what one step gives is cut to pieces of this size.
constexpr std::size_t largest_chunk = std::size_t{1} << 24;

}  // namespace

void FilterStream::prepare() {
  left_ = {};
  opened_.reset();
  opened_ =
      session_->opener().open(std::make_unique<CallbackSource>(*stream_), options_, Purpose::text);
}

std::string_view FilterStream::next_chunk() {
  if (!opened_) throw EngineError(Code::invalid_argument, "the stream is not prepared");
  if (left_.empty()) left_ = opened_->next_text();
  const std::string_view piece = left_.substr(0, largest_chunk);
  left_.remove_prefix(piece.size());
  return piece;
}

}  // namespace trfilter
