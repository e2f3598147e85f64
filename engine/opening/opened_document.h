#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "engine/core/document.h"
#include "engine/core/format.h"
#include "engine/core/options.h"
#include "engine/core/properties.h"
#include "engine/core/subfiles.h"

namespace trfilter {

/// What a document is opened for.
enum class Purpose : std::uint32_t { text = 0, properties = 1, members = 2 };

/// A document that was opened for one purpose, in this process or in the worker. Every operation
/// throws `EngineError` with the code that the host gets.
class OpenedDocument {
 public:
  OpenedDocument() = default;
  OpenedDocument(const OpenedDocument&) = delete;
  OpenedDocument& operator=(const OpenedDocument&) = delete;
  virtual ~OpenedDocument() = default;

  virtual Format format() const = 0;

  /// The next piece of text, empty at the document's end; valid until the next call. Text that was
  /// read before an error comes first, the error with the call after it.
  virtual std::string_view next_text() = 0;

  /// Adds what the document states about itself. Called at most once.
  virtual void properties(Properties& properties) = 0;

  /// 0 for what is no container.
  virtual std::size_t member_count() = 0;

  // As for `Subfiles`; the clock of an extraction starts with its call.
  virtual Subfile describe(std::size_t index) = 0;
  virtual Subfiles::Extraction extract(std::size_t index, ByteOutput& output,
                                       bool formatted_mail) = 0;
  virtual void mail_fields(std::size_t index, Properties& fields) = 0;
};

/// Opens documents: in this process, or in the worker.
class DocumentOpener {
 public:
  virtual ~DocumentOpener() = default;

  /// What the bytes of `source` are.
  virtual Detection detect(std::unique_ptr<ByteSource> source, const Options& options) = 0;

  /// The documents that it opens do not outlive the opener.
  /// @throws EngineError code 42 for an empty input, 11 for an unknown format, and what
  ///         `ReaderModules::open` throws
  virtual std::unique_ptr<OpenedDocument> open(std::unique_ptr<ByteSource> source,
                                               const Options& options, Purpose purpose) = 0;
};

}  // namespace trfilter
