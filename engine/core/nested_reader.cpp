#include "engine/core/nested_reader.h"

#include <utility>

#include "engine/core/registry.h"

namespace trfilter {

NestedReader::NestedReader(const ReaderContext& outer, std::string bytes, Format format,
                           Options options)
    : NestedReader(outer, Document::from_memory(std::move(bytes)), Detection{.format = format},
                   std::move(options)) {}

NestedReader::NestedReader(const ReaderContext& outer, Document document,
                           const Detection& detection, Options options)
    : limits_(outer.limits),
      document_(std::move(document)),
      options_(std::move(options)),
      detection_(detection) {
  // Its text stands within text that is UTF-8.
  options_.no_encoding_conversion = false;
  if (options_.source_encoding != outer.options.source_encoding) {
    options_.source_encoding_overrides = true;
  }
  limits_.enter_reader();
  try {
    reader_ =
        outer.modules.open(ReaderContext{document_, options_, limits_, detection_, outer.modules});
  } catch (...) {
    limits_.leave_reader();
    throw;
  }
}

NestedReader::~NestedReader() {
  limits_.leave_reader();
}

}  // namespace trfilter
