#pragma once

#include <memory>
#include <string>

#include "engine/core/reader.h"

namespace trfilter {

/// Reads a document that lies within another one and is part of its text, such as a message's body
/// in HTML or RTF, with the reader of its format. It shares the outer document's limits.
class NestedReader {
 public:
  /// @param outer    outlives the object
  /// @param bytes    the whole nested document
  /// @param options  those of the outer document, or changed ones: a known source encoding, say,
  /// which
  ///                 overrides what the nested document declares
  /// @throws EngineError what `ReaderModules::open` throws; code 31 when readers are nested too
  /// deep
  NestedReader(const ReaderContext& outer, std::string bytes, Format format, Options options);

  /// The same for a document that is read where it lies, of a detected format.
  NestedReader(const ReaderContext& outer, Document document, const Detection& detection,
               Options options);
  NestedReader(const NestedReader&) = delete;
  NestedReader& operator=(const NestedReader&) = delete;
  ~NestedReader();

  /// As `Reader::step`.
  bool step(TextSink& sink) { return reader_->step(sink); }

  /// The nested document's own reader, for its properties and members.
  Reader& reader() { return *reader_; }

 private:
  Limits& limits_;
  Document document_;
  Options options_;
  Detection detection_;
  std::unique_ptr<Reader> reader_;
};

}  // namespace trfilter
