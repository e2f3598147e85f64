#include "tests/engine/read_document.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <utility>

#include "engine/core/registry.h"

namespace trfilter::test {
namespace {

const ReaderModules& modules() {
  static const ReaderModules instance{TARNIS_ENGINE_DIRECTORY};
  return instance;
}

/// A document of bytes in memory, opened by the reader of its format.
class OpenedBytes {
 public:
  OpenedBytes(std::string bytes, Format format, const Options& options)
      : size_(bytes.size()), options_(options), document_(Document::from_memory(std::move(bytes))) {
    limits_.set_document_size(size_);
    detection_.format = format;
    reader_ = modules().open(ReaderContext{document_, options_, limits_, detection_, modules()});
  }

  Reader& reader() { return *reader_; }

 private:
  std::uint64_t size_;
  Options options_;
  Limits limits_;
  Document document_;
  Detection detection_;
  std::unique_ptr<Reader> reader_;
};

/// Runs `work` and notes in `result` what it throws.
template <typename Result, typename Work>
void note_error(Result& result, Work work) {
  try {
    work();
  } catch (const EngineError& error) {
    result.code = static_cast<int>(error.code());
    result.reason = error.what();
  }
}

/// Appends what it takes to a string.
class StringOutput : public ByteOutput {
 public:
  explicit StringOutput(std::string& into) : into_(&into) {}
  void write(std::string_view bytes) override { *into_ += bytes; }

 private:
  std::string* into_;
};

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
    const auto collect = [&] { reading.text += sink.take_all(); };
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

Listing list_members(std::string bytes, Format format, const Options& options) {
  Listing listing;
  note_error(listing, [&] {
    OpenedBytes opened(std::move(bytes), format, options);
    const auto subfiles = opened.reader().subfiles();
    if (!subfiles) return;
    for (std::size_t i = 0; i < subfiles->count(); ++i) {
      listing.members.push_back(subfiles->describe(i));
    }
  });
  return listing;
}

Extracted extract_member(std::string bytes, Format format, std::size_t index,
                         const Options& options, bool formatted_mail) {
  return extract_members(std::move(bytes), format, {index}, options, formatted_mail).front();
}

std::vector<Extracted> extract_members(std::string bytes, Format format,
                                       const std::vector<std::size_t>& indexes,
                                       const Options& options, bool formatted_mail) {
  std::vector<Extracted> results(indexes.size());
  Extracted opening;
  note_error(opening, [&] {
    OpenedBytes opened(std::move(bytes), format, options);
    const auto subfiles = opened.reader().subfiles();
    for (std::size_t i = 0; i < indexes.size(); ++i) {
      Extracted& result = results[i];
      note_error(result, [&] {
        if (!subfiles || indexes[i] >= subfiles->count()) {
          throw EngineError(Code::invalid_argument, "no member of this index");
        }
        StringOutput output(result.bytes);
        result.location = subfiles->extract(indexes[i], output, formatted_mail).location;
      });
    }
  });
  if (opening.code != 0) std::fill(results.begin(), results.end(), opening);
  return results;
}

std::vector<Properties> mail_fields_of(std::string bytes, Format format, const Options& options) {
  OpenedBytes opened(std::move(bytes), format, options);
  const auto subfiles = opened.reader().subfiles();
  std::vector<Properties> fields(subfiles ? subfiles->count() : 0);
  for (std::size_t i = 0; i < fields.size(); ++i) subfiles->mail_fields(i, fields[i]);
  return fields;
}

std::string source_file(std::string_view relative_path) {
  const std::string path = std::string(TARNIS_SOURCE_DIRECTORY) + "/" + std::string(relative_path);
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace trfilter::test
