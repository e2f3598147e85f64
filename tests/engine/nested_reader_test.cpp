#include "engine/core/nested_reader.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "engine/core/registry.h"

namespace trfilter {
namespace {

constexpr Format plain_text = static_cast<Format>(2);
constexpr Format html = static_cast<Format>(236);
constexpr Format without_reader = static_cast<Format>(1);

class NestedReaderTest : public testing::Test {
 protected:
  std::string text_of(std::string bytes, Format format) {
    NestedReader nested(context_, std::move(bytes), format, options_);
    TextSink sink(options_, limits_);
    while (nested.step(sink)) {
    }
    sink.finish();
    std::string text;
    sink.take(text);
    return text;
  }

  const ReaderModules modules_{TARNIS_ENGINE_DIRECTORY};
  Document outer_ = Document::from_memory("outer");
  Options options_;
  Limits limits_;
  Detection detection_;
  const ReaderContext context_{outer_, options_, limits_, detection_, modules_};
};

TEST_F(NestedReaderTest, ShowsADocumentOfAnotherFormat) {
  EXPECT_EQ(text_of("<p>seen <!-- not seen -->here", html), "seen here\n");
}

TEST_F(NestedReaderTest, TakesOptionsOfItsOwn) {
  Options options = options_;
  options.source_encoding = Options::utf8;
  NestedReader nested(context_, "caf\xC3\xA9", plain_text, options);
  TextSink sink(options_, limits_);
  while (nested.step(sink)) {
  }
  sink.finish();
  std::string text;
  sink.take(text);
  EXPECT_NE(text.find("caf\xC3\xA9"), std::string::npos);
}

TEST_F(NestedReaderTest, RefusesAFormatWithoutReader) {
  try {
    text_of("x", without_reader);
    FAIL() << "a reader for no format";
  } catch (const EngineError& error) {
    EXPECT_EQ(error.code(), Code::unsupported_format);
  }
  // Nothing of it counts as open.
  for (unsigned i = 0; i < 2 * limits_.bounds().nested_readers; ++i) {
    EXPECT_EQ(text_of("again", plain_text), "again\n");
  }
}

TEST_F(NestedReaderTest, StopsAtTheBoundOfReadersWithinEachOther) {
  std::vector<std::unique_ptr<NestedReader>> open;
  for (unsigned i = 0; i < limits_.bounds().nested_readers; ++i) {
    open.push_back(std::make_unique<NestedReader>(context_, "x", plain_text, options_));
  }
  try {
    NestedReader one_more(context_, "x", plain_text, options_);
    FAIL() << "no bound";
  } catch (const EngineError& error) {
    EXPECT_EQ(error.code(), Code::nested_too_deep);
  }
}

}  // namespace
}  // namespace trfilter
