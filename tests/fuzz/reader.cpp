#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "engine/core/registry.h"

// One program a row of readers.def: arbitrary bytes through that reader, as the engine drives it.
// The format number and the engine's folder come from the build.

namespace {

using namespace trfilter;

/// Counts what it takes, and takes no more than a little.
class Drain : public ByteOutput {
 public:
  void write(std::string_view bytes) override {
    taken_ += bytes.size();
    if (taken_ > most) throw EngineError(Code::output_failed, "enough");
  }

 private:
  static constexpr std::uint64_t most = std::uint64_t{1} << 20;
  std::uint64_t taken_ = 0;
};

void extract_members(Reader& reader) {
  constexpr std::size_t most = 16;
  const auto subfiles = reader.subfiles();
  for (std::size_t i = 0; subfiles != nullptr && i < std::min(subfiles->count(), most); ++i) {
    subfiles->describe(i);
    Drain drain;
    try {
      subfiles->extract(i, drain, false);
    } catch (const EngineError&) {
      // A member that cannot be had does not keep the next from being read.
    }
  }
}

void read_text(Reader& reader, const Options& options, Limits& limits) {
  TextSink sink(options, limits);
  std::string chunk;
  for (bool more = true; more;) {
    more = reader.step(sink);
    if (!more) sink.finish();
    while (sink.size() >= TextSink::chunk_size || (!more && sink.size() > 0)) sink.take(chunk);
  }
}

void read_all(Document& document, const Options& options, Limits& limits,
              const Detection& detection) {
  static const ReaderModules modules{TARNIS_ENGINE_DIRECTORY};
  const ReaderContext context{document, options, limits, detection, modules};
  const auto reader = modules.open(context);
  Properties properties;
  reader->properties(properties);
  try {
    read_text(*reader, options, limits);
  } catch (const EngineError& error) {
    // Damaged text does not keep members from being listed.
    if (error.code() == Code::no_reader) throw;
  }
  extract_members(*reader);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Options options;
  options.header_and_footer = true;
  options.hidden_text = true;
  options.revision_marks = true;
  Limits::Bounds bounds;
  bounds.expansion_floor = std::uint64_t{16} << 20;
  Limits limits(bounds);
  limits.set_document_size(size);
  Document document = Document::from_memory(std::string(reinterpret_cast<const char*>(data), size));
  Detection detection;
  detection.format = static_cast<Format>(TARNIS_FUZZ_FORMAT);
  try {
    read_all(document, options, limits, detection);
  } catch (const EngineError& error) {
    // Without its module a target would test nothing.
    if (error.code() == Code::no_reader) std::abort();
  }
  return 0;
}
