#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "tests/api/support.h"

namespace {

using namespace tarnis::v1;
using scripted_engine::Bytes;
using scripted_engine::Call;
using scripted_engine::Engine;
using scripted_engine::OutputStream;
using scripted_engine::u32_at;
using scripted_engine::u64_at;
using scripted_engine::Word;
using scripted_engine::word_of;
using tarnis::test::Failure;
using tarnis::test::failure_of;
using tarnis::test::memory_file;
using tarnis::test::start;
using tarnis::test::text_of;

using Names = std::vector<std::string>;

class Extraction : public testing::Test {
 protected:
  Extraction() {
    scripted_engine::Subfile member{"member"};
    member.bytes = "the member's bytes";
    engine_.contains({{"first"}, member});
    container_.size();
    engine_.clear_log();
  }

  void extract(long index) { container_.implementation()->extract(index, output_); }

  Engine engine_;
  Session session_ = start(engine_);
  io::InMemoryFile document_ = memory_file("the container");
  Container container_ =
      internal::subfiles(session_.implementation(), generic_io::Input(document_));
  io::InMemoryFile extracted_;
  generic_io::Output output_{extracted_};
};

TEST_F(Extraction, WritesTheSubfilesBytesAndGivesTheResultBack) {
  internal::extract(container_.at(1).implementation(), output_);
  EXPECT_EQ(text_of(extracted_), "the member's bytes");
  EXPECT_EQ(engine_.operations(), (Names{"extract_subfile", "free_info"}));
  EXPECT_EQ(engine_.outstanding(), 0U);
  EXPECT_EQ(engine_.calls()[0].arguments[0], engine_.container());
  EXPECT_EQ(engine_.calls()[1].arguments[0], engine_.container());
}

TEST_F(Extraction, BuildsTheRequestToTheByte) {
  extract(1);
  const Call call = engine_.calls_of("extract_subfile").at(0);
  const Bytes& request = call.records[0];
  ASSERT_EQ(request.size(), 80U);
  EXPECT_EQ(u64_at(request, 0), 0x502F30U);
  EXPECT_EQ(u64_at(request, 8), 0U);
  EXPECT_EQ(u64_at(request, 16), 1U);
  EXPECT_EQ(u64_at(request, 24), 0U);
  EXPECT_EQ(u64_at(request, 32), 0U);
  EXPECT_EQ(u64_at(request, 40), 0U);
  EXPECT_EQ(u64_at(request, 48), 0U);
  EXPECT_NE(u64_at(request, 56), 0U);
  EXPECT_EQ(u64_at(request, 64), 0U);
  EXPECT_EQ(u64_at(request, 72), 0U);

  const Bytes& stream = call.records[1];
  EXPECT_EQ(u64_at(stream, 0), word_of(&output_));
  EXPECT_EQ(u64_at(stream, 8), reinterpret_cast<Word>(internal::TrOutputStream_create));
  EXPECT_EQ(u64_at(stream, 16), reinterpret_cast<Word>(internal::TrOutputStream_write));
  EXPECT_EQ(u64_at(stream, 24), reinterpret_cast<Word>(internal::TrOutputStream_seek));
  EXPECT_EQ(u64_at(stream, 32), reinterpret_cast<Word>(internal::TrOutputStream_tell));
  EXPECT_EQ(u64_at(stream, 40), reinterpret_cast<Word>(internal::TrOutputStream_close));
}

TEST_F(Extraction, PassesANullPlaceForTheResult) {
  engine_.on("extract_subfile", [](Call& call) {
    std::uint64_t place = 1;
    std::memcpy(&place, reinterpret_cast<const void*>(call.arguments[2]), sizeof place);
    EXPECT_EQ(place, 0U);
    return Word{0};
  });
  extract(0);
}

TEST_F(Extraction, SetsOptionBit3AloneForFormattedMail) {
  session_.config().formatted_mail(true);
  extract(1);
  const Bytes request = engine_.calls_of("extract_subfile").at(0).records[0];
  EXPECT_EQ(u32_at(request, 32), 8U);
  EXPECT_EQ(u32_at(request, 36), 0U);
}

TEST_F(Extraction, CutsAnIndexAbove32Bits) {
  extract(0x1'0000'0001L);
  const Bytes request = engine_.calls_of("extract_subfile").at(0).records[0];
  EXPECT_EQ(u64_at(request, 16), 1U);
  EXPECT_EQ(text_of(extracted_), "the member's bytes");
}

TEST_F(Extraction, AcceptsACreatedAndSoughtOutput) {
  engine_.on("extract_subfile", [](Call& call) {
    const OutputStream output(u64_at(call.records[0], 56));
    output.create("name of the engine's own");
    output.write("one ");
    output.seek(0, 0);
    output.write("two");
    output.close();
    return Word{0};
  });
  extract(0);
  EXPECT_EQ(text_of(extracted_), "one two");
}

TEST_F(Extraction, AnyKindButEightIsASuccess) {
  for (const std::uint64_t kind : {0UL, 1UL, 7UL, 9UL, 0x100000008UL}) {
    engine_.extracts(0, kind, "elsewhere");
    EXPECT_NO_THROW(extract(0)) << kind;
    EXPECT_EQ(engine_.outstanding(), 0U);
  }
}

TEST_F(Extraction, TakesAMissingResultForASuccess) {
  engine_.answers("extract_subfile", 0);
  EXPECT_NO_THROW(extract(0));
  const Call release = engine_.calls_of("free_info").at(0);
  EXPECT_EQ(release.arguments, (std::vector<Word>{engine_.container(), 0}));
}

TEST_F(Extraction, ThrowsExternalSubfileWithTheLocation) {
  engine_.extracts(0, 8, "//server/share/a file with a long name.doc");
  try {
    extract(0);
    FAIL() << "nothing was thrown";
  } catch (const external_subfile_error& error) {
    EXPECT_EQ(error.code(), 6);
    EXPECT_EQ(error.location(), "//server/share/a file with a long name.doc");
  }
  EXPECT_EQ(engine_.operations(), (Names{"extract_subfile", "free_info"}));
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(Extraction, DoesNotReleaseAnExternalResultWithoutALocation) {
  engine_.extracts(0, 8, nullptr);
  EXPECT_EQ(failure_of([this] { extract(0); }).type, "logic_error");
  EXPECT_EQ(engine_.operations(), Names{"extract_subfile"});
}

TEST_F(Extraction, ReleasesTheResultBeforeItThrowsTheCode) {
  engine_.extracts(19, 0, nullptr);
  const Failure failure = failure_of([this] { extract(0); });
  EXPECT_EQ(failure.type, "tarnis_error");
  EXPECT_EQ(failure.code, 19);
  EXPECT_EQ(engine_.operations(), (Names{"extract_subfile", "free_info"}));
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(Extraction, ThrowsTheCodeAlsoOfAnExternalResult) {
  engine_.extracts(8, 8, "elsewhere");
  EXPECT_EQ(failure_of([this] { extract(0); }).type, "password_protected_error");
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(Extraction, ReleasesWhateverCameBackWithAFailure) {
  engine_.answers("extract_subfile", 43);
  EXPECT_EQ(failure_of([this] { extract(0); }).code, 43);
  ASSERT_EQ(engine_.operations(), (Names{"extract_subfile", "free_info"}));
  EXPECT_EQ(engine_.calls()[1].arguments, (std::vector<Word>{engine_.container(), 0}));
}

TEST_F(Extraction, IgnoresTheStatusOfTheRelease) {
  engine_.answers("free_info", 26);
  EXPECT_NO_THROW(extract(1));
}

TEST_F(Extraction, PassesAnExceptionOfTheOutputThroughTheEngine) {
  struct FailingSink {
    long write(const char*, long) { throw std::domain_error("the sink's own"); }
  } sink;
  EXPECT_THROW(container_.implementation()->extract(1, generic_io::Output(sink)),
               std::domain_error);
}

}  // namespace
