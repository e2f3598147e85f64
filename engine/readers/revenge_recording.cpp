#include "engine/readers/revenge_recording.h"

#include <algorithm>

namespace trfilter::revenge {

Recording::Recording(const Options& options, Limits& limits)
    : options_(without_mark(options)),
      sink_(options_, limits),
      text_(limits, options.temporary_directory) {}

/// The sink that the text ends in writes the mark.
Options Recording::without_mark(Options options) {
  options.byte_order_mark = false;
  return options;
}

void Recording::put_away() {
  sink_.take(block_);
  text_.write(block_);
}

void Recording::finish() {
  sink_.finish();
  // More than a piece waits only behind a failure, or where a paragraph had much anchored to it.
  while (sink_.size() != 0) {
    sink_.take_remainder(block_);
    last_ += block_;
  }
}

/// Takes from the piece's end what is not a whole character of UTF-8.
void Recording::leave_whole_characters() {
  constexpr std::size_t longest = 4;
  for (std::size_t count = 1; count <= std::min(longest, block_.size() - 1); ++count) {
    const auto byte = static_cast<unsigned char>(block_[block_.size() - count]);
    if ((byte & 0xC0) == 0x80) continue;
    if (byte >= 0xC0) block_.resize(block_.size() - count);
    return;
  }
}

bool Recording::give(TextSink& sink) {
  if (given_ < text_.size()) {
    block_.resize(TextSink::chunk_size);
    block_.resize(text_.read_at(given_, block_));
    if (given_ + block_.size() < text_.size()) leave_whole_characters();
    given_ += block_.size();
    sink.verbatim(block_);
    return true;
  }
  sink.verbatim(last_);
  last_.clear();
  return false;
}

}  // namespace trfilter::revenge
