#include "engine/core/registry.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace trfilter {
namespace {

class RegistryTest : public testing::Test {
 protected:
  /// The code that opening a document of `format` ends with.
  Code open(const ReaderModules& modules, Format format, std::string bytes) {
    Document document = Document::from_memory(std::move(bytes));
    Detection detection;
    detection.format = format;
    try {
      modules.open(ReaderContext{document, options_, limits_, detection, modules});
    } catch (const EngineError& error) {
      return error.code();
    }
    return Code::success;
  }

  Options options_;
  Limits limits_;
};

TEST_F(RegistryTest, NamesEveryReaderOnceWithAModuleAndFormats) {
  std::set<std::string_view> names;
  for (const ReaderRow& row : reader_rows()) {
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
    EXPECT_FALSE(row.module.empty()) << row.name;
    EXPECT_FALSE(row.formats.empty()) << row.name;
  }
  EXPECT_FALSE(names.empty());
}

TEST_F(RegistryTest, GivesEachFormatToOneReader) {
  std::set<std::uint32_t> formats;
  for (const ReaderRow& row : reader_rows()) {
    for (const std::uint32_t format : row.formats) {
      EXPECT_TRUE(formats.insert(format).second) << format;
      EXPECT_EQ(reader_row_of(static_cast<Format>(format)), &row) << format;
    }
  }
}

TEST_F(RegistryTest, KnowsNoReaderOfUnknownFormats) {
  EXPECT_EQ(reader_row_of(Format::none), nullptr);
  EXPECT_EQ(reader_row_of(static_cast<Format>(0xFFFFFFFF)), nullptr);
  EXPECT_EQ(open(ReaderModules(TARNIS_ENGINE_DIRECTORY), Format::none, "a"),
            Code::unsupported_format);
}

TEST_F(RegistryTest, LoadsAReaderMoreThanOnce) {
  const ReaderModules modules(TARNIS_ENGINE_DIRECTORY);
  EXPECT_EQ(open(modules, Format::rtf, "{\\rtf1 a}"), Code::success);
  EXPECT_EQ(open(modules, Format::rtf, "{\\rtf1 a}"), Code::success);
}

TEST_F(RegistryTest, PassesOnWhatAReaderThrows) {
  EXPECT_EQ(open(ReaderModules(TARNIS_ENGINE_DIRECTORY), Format::rtf, "no such document"),
            Code::corrupt);
}

TEST_F(RegistryTest, ReportsAModuleThatIsMissing) {
  EXPECT_EQ(open(ReaderModules("/nonexistent-directory"), Format::rtf, "{\\rtf1 a}"),
            Code::no_reader);
}

TEST_F(RegistryTest, ReportsAFunctionThatIsMissing) {
  const ReaderModules modules(TARNIS_ENGINE_DIRECTORY);
  EXPECT_NE(modules.function("text", "trfilter_reader_rtf"), nullptr);
  try {
    modules.function("text", "trfilter_reader_nobody");
    FAIL() << "a function that is not there";
  } catch (const EngineError& error) {
    EXPECT_EQ(error.code(), Code::no_reader);
    EXPECT_NE(std::string(error.what()).find("trfilter_reader_nobody"), std::string::npos);
  }
}

}  // namespace
}  // namespace trfilter
