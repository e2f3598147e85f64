#include <cstdint>
#include <cstdlib>
#include <string>

#include "engine/core/registry.h"

// One program a row of readers.def: arbitrary bytes through that reader, as the engine drives it.
// The format number and the engine's folder come from the build.

namespace {

using namespace trfilter;

void read_all(Document& document, const Options& options, Limits& limits,
              const Detection& detection) {
  static const ReaderModules modules{TARNIS_ENGINE_DIRECTORY};
  const ReaderContext context{document, options, limits, detection, modules};
  const auto reader = modules.open(context);
  Properties properties;
  reader->properties(properties);
  TextSink sink(options, limits);
  std::string chunk;
  for (bool more = true; more;) {
    more = reader->step(sink);
    if (!more) sink.finish();
    if (sink.size() >= TextSink::chunk_size || !more) sink.take(chunk);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Options options;
  options.header_and_footer = true;
  options.hidden_text = true;
  options.revision_marks = true;
  Limits::Bounds bounds;
  bounds.time = std::chrono::seconds(20);
  bounds.expansion_floor = std::uint64_t{16} << 20;
  Limits limits(bounds);
  limits.set_document_size(size);
  Document document = Document::from_memory(std::string(reinterpret_cast<const char*>(data), size));
  Detection detection;
  detection.format = static_cast<Format>(TARNIS_FUZZ_FORMAT);
  try {
    read_all(document, options, limits, detection);
  } catch (const EngineError& error) {
    // A missing module is no finding of a fuzzer, and no time-out may hide behind the guard.
    if (error.code() == Code::no_reader || error.code() == Code::timed_out) std::abort();
  }
  return 0;
}
