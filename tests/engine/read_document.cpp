#include "tests/engine/read_document.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <utility>

#include "engine/core/registry.h"

namespace trfilter::test {
namespace {

const ReaderModules& modules() {
  static const ReaderModules instance{TARNIS_ENGINE_DIRECTORY};
  return instance;
}

}  // namespace

Reading read_document(std::string bytes, Format format, const Options& options) {
  Reading reading;
  Limits limits;
  limits.set_document_size(bytes.size());
  Document document = Document::from_memory(std::move(bytes));
  Detection detection;
  detection.format = format;
  try {
    const ReaderContext context{document, options, limits, detection, modules()};
    const auto reader = modules().open(context);
    TextSink sink(options, limits);
    std::string chunk;
    const auto collect = [&] {
      sink.take(chunk);
      reading.text += chunk;
    };
    try {
      while (reader->step(sink)) {
        if (sink.size() >= TextSink::chunk_size) collect();
      }
    } catch (...) {
      sink.finish();
      collect();
      throw;
    }
    sink.finish();
    collect();
  } catch (const EngineError& error) {
    reading.code = static_cast<int>(error.code());
    reading.reason = error.what();
  }
  return reading;
}

Properties read_properties(std::string bytes, Format format, const Options& options) {
  Limits limits;
  limits.set_document_size(bytes.size());
  Document document = Document::from_memory(std::move(bytes));
  Detection detection;
  detection.format = format;
  const ReaderContext context{document, options, limits, detection, modules()};
  Properties properties;
  modules().open(context)->properties(properties);
  return properties;
}

std::string source_file(std::string_view relative_path) {
  const std::string path = std::string(TARNIS_SOURCE_DIRECTORY) + "/" + std::string(relative_path);
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace trfilter::test
