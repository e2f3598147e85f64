#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "tests/api/support.h"

namespace {

using namespace tarnis::v1;
using scripted_engine::Call;
using scripted_engine::Engine;
using scripted_engine::InputStream;
using scripted_engine::Word;
using tarnis::test::Failure;
using tarnis::test::failure_of;
using tarnis::test::memory_file;
using tarnis::test::start;

TEST(DetectionInfo, AnswersFormat480WithTheEmptyLastRow) {
  const DetectionInfo info(0, 480, 0, 0);
  EXPECT_EQ(info.description(), "");
  EXPECT_EQ(info.extension(), "");
}

TEST(DetectionInfo, AnswersUnknownFormatsWithRowZero) {
  for (const int format :
       {481, 482, std::numeric_limits<int>::max(), -1, std::numeric_limits<int>::min()}) {
    const DetectionInfo info(0, format, 0, 0);
    EXPECT_EQ(info.description(), "No Format") << format;
    EXPECT_EQ(info.extension(), "") << format;
    EXPECT_EQ(info.format(), format);
  }
}

TEST(DetectionInfo, AnswersUnknownCategoriesWithRowZero) {
  for (const int category :
       {22, 23, std::numeric_limits<int>::max(), -1, std::numeric_limits<int>::min()}) {
    EXPECT_EQ(DetectionInfo(category, 0, 0, 0).category_name(), "No Format Found") << category;
  }
  EXPECT_EQ(DetectionInfo(21, 0, 0, 0).category_name(), "Animation");
}

TEST(DetectionInfo, AnswersKnownNumbersWithTheirRows) {
  const DetectionInfo info(1, 5, 7, 0);
  EXPECT_EQ(info.description(), "Windows Bitmap");
  EXPECT_EQ(info.extension(), "BMP");
  EXPECT_EQ(info.category_name(), "Word Processor");
  EXPECT_EQ(info.version(), 7);
}

TEST(DetectionInfo, ReadsEachAttributeFromItsOwnBit) {
  for (int bit = 0; bit < 64; ++bit) {
    const DetectionInfo info(0, 1, 0, std::uint64_t{1} << bit);
    EXPECT_EQ(info.encrypted(), bit == 0) << bit;
    EXPECT_EQ(info.macBinaryEncoded(), bit == 1) << bit;
    EXPECT_EQ(info.appleSingleEncoded(), bit == 2) << bit;
    EXPECT_EQ(info.appleDoubleEncoded(), bit == 3) << bit;
    EXPECT_EQ(info.wangGDLencoded(), bit == 4) << bit;
    EXPECT_EQ(info.windowRMSEncrypted(), bit == 5) << bit;
  }
}

class Detect : public testing::Test {
 protected:
  DetectionInfo detect() {
    io::InMemoryFile file = memory_file("the document");
    return internal::detect(session_.implementation(), generic_io::Input(file));
  }

  Engine engine_;
  Session session_ = start(engine_);
};

TEST_F(Detect, CopiesTheFourFieldsOfTheEnginesRecord) {
  engine_.detects({8, 431, 0x8000000000000001U, 0x21});
  const DetectionInfo info = detect();
  EXPECT_EQ(info.category(), 8);
  EXPECT_EQ(info.format(), 431);
  EXPECT_EQ(info.version(), std::numeric_limits<long>::min() + 1);
  EXPECT_TRUE(info.encrypted());
  EXPECT_TRUE(info.windowRMSEncrypted());
  EXPECT_FALSE(info.macBinaryEncoded());
}

TEST_F(Detect, KeepsNumbersAbove31BitsAsNegativeOnes) {
  engine_.detects({0xFFFFFFFFU, 0x80000000U, 0, 0});
  const DetectionInfo info = detect();
  EXPECT_EQ(info.category(), -1);
  EXPECT_EQ(info.format(), std::numeric_limits<int>::min());
}

TEST_F(Detect, PassesContextStreamAndResultInOneCall) {
  engine_.clear_log();
  detect();
  ASSERT_EQ(engine_.operations(), std::vector<std::string>{"detect_format"});
  const Call& call = engine_.calls()[0];
  EXPECT_EQ(call.arguments[0], engine_.context());
  EXPECT_NE(call.arguments[1], 0U);
  EXPECT_NE(call.arguments[2], 0U);
}

TEST_F(Detect, LetsTheEngineReadTheDocumentThroughTheRecord) {
  std::string document;
  engine_.once("detect_format", [&document](Call& call) {
    document = InputStream(call.arguments[1]).read_all();
    scripted_engine::put_u32(call.arguments[2], 4, 2);
    return Word{1};
  });
  detect();
  EXPECT_EQ(document, "the document");
}

TEST_F(Detect, ThrowsCode10WhenTheEngineRefuses) {
  engine_.answers("detect_format", 0);
  const Failure failure = failure_of([this] { detect(); });
  EXPECT_EQ(failure.type, "tarnis_error");
  EXPECT_EQ(failure.code, 10);
  EXPECT_EQ(failure.message, "Tarnis error 10: Unable to detect the format of the document");
}

TEST_F(Detect, TakesEveryStatusButZeroForSuccess) {
  for (const Word status : {Word{1}, Word{8}, Word{0xFFFFFFFF}}) {
    engine_.once("detect_format", [status](Call& call) {
      scripted_engine::put_u32(call.arguments[2], 4, 3);
      return status;
    });
    EXPECT_EQ(detect().format(), 3);
  }
}

TEST_F(Detect, ThrowsCode11ForFormatZero) {
  engine_.detects({1, 0, 0, 0});
  const Failure failure = failure_of([this] { detect(); });
  EXPECT_EQ(failure.type, "tarnis_error");
  EXPECT_EQ(failure.code, 11);
  EXPECT_EQ(failure.message, "Tarnis error 11: The document format was not recognized");
}

TEST_F(Detect, ThrowsCode11WhenTheEngineFillsNothingIn) {
  engine_.answers("detect_format", 1);
  EXPECT_EQ(failure_of([this] { detect(); }).code, 11);
}

}  // namespace
