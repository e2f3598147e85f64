#pragma once

#include <memory>

#include "engine/core/document.h"
#include "engine/core/engine_error.h"
#include "engine/core/format.h"
#include "engine/core/limits.h"
#include "engine/core/options.h"
#include "engine/core/properties.h"
#include "engine/core/subfiles.h"
#include "engine/core/text_sink.h"

namespace trfilter {

class ReaderModules;

/// What a reader works with. All of it outlives the reader.
struct ReaderContext {
  Document& document;
  const Options& options;
  Limits& limits;
  const Detection& detection;
  const ReaderModules& modules;  ///< for a document within this one, by way of nested_reader.h
};

/// Reads one document of one format family.
///
/// A constructor only looks at what it needs to refuse the document: it throws code 8 for a
/// password that is missing or wrong, and code 4 when nothing of the document can be read. A
/// document that turns out to be damaged later gives the text that can be read, and then throws
/// code 4.
class Reader {
 public:
  Reader() = default;
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  virtual ~Reader() = default;

  /// Does one natural piece of work: a page, 64 KiB of XML, some rows. A piece takes milliseconds
  /// and adds tens of kilobytes of text at the most where the format allows it.
  /// @return whether more is to come
  virtual bool step(TextSink& sink) = 0;

  /// Adds what the document states about itself. Independent of `step`; called at most once.
  virtual void properties(Properties&) {}

  /// The members of a document that is a container, alive as long as the reader; null for any
  /// other. Independent of `step`; called at most once.
  virtual std::unique_ptr<Subfiles> subfiles() { return nullptr; }
};

/// Lets the module that calls it share what is counted for the whole process.
void enter_module(const ReaderContext& context);

}  // namespace trfilter

/// Exports a reader class from its module under the name that its row in readers.def has. The class
/// has a constructor from `const ReaderContext&`.
#define TRFILTER_READER(name, ReaderClass)                                           \
  extern "C" __attribute__((visibility("default")))                                  \
  trfilter::Reader* trfilter_reader_##name(const trfilter::ReaderContext& context) { \
    trfilter::enter_module(context);                                                 \
    return new ReaderClass(context);                                                 \
  }
