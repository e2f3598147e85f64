#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "api/engine_abi.h"
#include "engine/abi/opened_document.h"
#include "engine/abi/target_encoding.h"
#include "engine/core/text_sink.h"

namespace trfilter {

/// What the host calls an engine stream: one document on its way to text. Pulls the reader's steps
/// until a chunk is full.
class FilterStream {
 public:
  /// Reads nothing yet. `session` and `stream` outlive the object.
  FilterStream(const Session& session, tag_InputStream& stream, const Options& options)
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
  void fill();

  const Session* session_;
  tag_InputStream* stream_;
  Options options_;
  std::optional<OpenedDocument> opened_;
  std::optional<TextSink> sink_;
  std::optional<TargetEncoding> target_;
  bool more_ = false;
  std::optional<EngineError> failure_;
  std::string chunk_;
  std::string_view left_;  ///< of chunk_, or of what target_ made of it
};

}  // namespace trfilter
