#pragma once

#include <memory>
#include <string_view>

#include "api/engine_abi.h"
#include "engine/opening/opened_document.h"

namespace trfilter {

class Session;

/// What the host calls an engine stream: one document on its way to text.
class FilterStream {
 public:
  /// Reads nothing yet. `session` and `stream` outlive the object.
  FilterStream(Session& session, tag_InputStream& stream, const Options& options)
      : session_(&session), stream_(&stream), options_(options) {}
  FilterStream(const FilterStream&) = delete;
  FilterStream& operator=(const FilterStream&) = delete;

  /// Opens the document and its reader; again from the begin when called again.
  void prepare();

  /// The next piece of text, empty at the document's end; valid until the next call. Text that was
  /// read before an error comes first, the error with the call after it.
  /// @throws EngineError code 34 before `prepare`, and the reader's errors
  std::string_view next_chunk();

 private:
  Session* session_;
  tag_InputStream* stream_;
  Options options_;
  std::unique_ptr<OpenedDocument> opened_;
  std::string_view left_;  ///< of the text that the document gave last
};

}  // namespace trfilter
