#pragma once

#include <cstdint>
#include <memory>

#include "api/engine_abi.h"
#include "engine/core/reader.h"

namespace trfilter {

class Session;

/// An input with everything that its reader works with: opened, detected, and its reader chosen.
class OpenedDocument {
 public:
  /// @param stream  outlives the object, and so does the session
  /// @throws EngineError code 42 for an empty input, 11 for an unknown format, and what
  ///         `ReaderModules::open` throws
  OpenedDocument(const Session& session, tag_InputStream& stream, const Options& options);
  OpenedDocument(const OpenedDocument&) = delete;
  OpenedDocument& operator=(const OpenedDocument&) = delete;

  Reader& reader() { return *reader_; }
  const Options& options() const { return options_; }
  Limits& limits() { return limits_; }
  std::uint64_t document_size() const { return document_.size(); }

 private:
  void unwrap(tag_InputStream& stream);

  Options options_;
  Limits limits_;
  Document document_;
  Detection detection_;
  std::unique_ptr<Reader> reader_;
};

}  // namespace trfilter
