#pragma once

#include <cstdint>
#include <string>

#include "engine/core/limits.h"
#include "engine/core/options.h"
#include "engine/core/spooled_bytes.h"
#include "engine/core/text_sink.h"

namespace trfilter::revenge {

/// The text of a document that is read in one go: laid out as it comes, kept in bounded memory and
/// a temporary file, and given piece by piece afterwards.
class Recording {
 public:
  /// `limits` outlives the recording.
  Recording(const Options& options, Limits& limits);

  /// Where the text goes while the document is read.
  TextSink& sink() { return sink_; }

  /// Puts away what has been laid out once that is much; to be called now and again.
  void drain() {
    while (sink_.size() >= TextSink::chunk_size) put_away();
  }

  bool has_text() const { return sink_.has_text(); }

  /// To be called when the document has been read.
  void finish();

  /// Gives the next piece, of whole characters. @return false once all has been given
  bool give(TextSink& sink);

 private:
  static Options without_mark(Options options);
  void put_away();
  void leave_whole_characters();

  Options options_;
  TextSink sink_;
  SpooledBytes text_;
  std::string block_;
  std::string last_;  ///< what was not put away, past every bound
  std::uint64_t given_ = 0;
};

}  // namespace trfilter::revenge
