#pragma once

#include <Object.h>
#include <Stream.h>

#include <exception>
#include <utility>

#include "engine/core/document.h"
#include "engine/core/limits.h"

namespace trfilter::pdf {

/// What the streams over one document share.
struct StreamSource {
  Document& document;
  Limits& limits;
  /// The first failure to read the document in time: nothing may be thrown through the library.
  std::exception_ptr failure;
  /// The document gives no more bytes, so that the library comes to the end of what it is doing.
  bool ended = false;

  void fail(std::exception_ptr reason) {
    if (!failure) failure = std::move(reason);
    ended = true;
  }
};

/// The library's view of a document that is too large for memory: a window of its bytes with a
/// position of its own. Sub-streams share the source, which outlives them all.
class DocumentStream final : public BaseSeekInputStream {
 public:
  /// @param is_limited  whether `size` ends the window; otherwise the document's end does
  DocumentStream(StreamSource& source, Goffset begin, bool limited, Goffset size,
                 Object&& dictionary);
  ~DocumentStream() override;

  BaseStream* copy() override;
  Stream* makeSubStream(Goffset begin, bool is_limited, Goffset size, Object&& dictionary) override;

 private:
  Goffset currentPos() const override { return position_; }
  void setCurrentPos(Goffset offset) override { position_ = offset; }
  Goffset read(char* buffer, Goffset size) override;

  StreamSource* source_;
  Goffset position_ = 0;
};

}  // namespace trfilter::pdf
