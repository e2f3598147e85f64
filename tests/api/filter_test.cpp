#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/api/support.h"

namespace {

using namespace tarnis::v1;
using scripted_engine::Bytes;
using scripted_engine::Call;
using scripted_engine::Engine;
using scripted_engine::InputStream;
using scripted_engine::OutputStream;
using scripted_engine::u32_at;
using scripted_engine::u64_at;
using scripted_engine::Word;
using scripted_engine::word_of;
using tarnis::test::Failure;
using tarnis::test::failure_of;
using tarnis::test::memory_file;
using tarnis::test::start;

using Names = std::vector<std::string>;

/// A sink that keeps each write apart.
struct Sink {
  Names writes;
  bool fails = false;
  bool is_short = false;
  long write(const char* data, long n) {
    if (fails) throw std::domain_error("the sink's own");
    writes.emplace_back(data, static_cast<std::size_t>(n));
    return is_short ? n / 2 : n;
  }
};

/// A source that fails at a read.
struct FailingSource {
  long read(char*, long) { throw std::domain_error("the source's own"); }
  int seek(long, int) { return 0; }
  long tell() { return 0; }
};

class Filter : public testing::Test {
 protected:
  Filter() { engine_.clear_log(); }

  void filter() {
    internal::filter(session_.implementation(), generic_io::Input(document_), output_);
  }

  Engine engine_;
  Session session_ = start(engine_);
  io::InMemoryFile document_ = memory_file("the document");
  Sink sink_;
  generic_io::Output output_{sink_};
};

TEST_F(Filter, WritesNothingForADocumentWithoutTextAndClosesOnce) {
  filter();
  EXPECT_EQ(sink_.writes, Names{});
  EXPECT_EQ(engine_.operations(), (Names{"open_stream", "prepare", "next_chunk", "close_stream"}));
}

TEST_F(Filter, WritesEachChunkInOrderAndReleasesIt) {
  engine_.produces({"first", "second", "third"});
  filter();
  EXPECT_EQ(sink_.writes, (Names{"first", "second", "third"}));
  EXPECT_EQ(engine_.operations(),
            (Names{"open_stream", "prepare", "next_chunk", "release_chunk", "next_chunk",
                   "release_chunk", "next_chunk", "release_chunk", "next_chunk", "close_stream"}));
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(Filter, PassesContextHandleAndBlockToEveryOperation) {
  engine_.answers("open_stream", 0x1234);
  engine_.produces({"text"});
  filter();
  const Call prepare = engine_.calls_of("prepare").at(0);
  EXPECT_EQ(prepare.arguments, (std::vector<Word>{engine_.context(), 0x1234}));
  const Call next = engine_.calls_of("next_chunk").at(0);
  EXPECT_EQ(next.arguments[0], engine_.context());
  EXPECT_EQ(next.arguments[1], 0x1234U);
  EXPECT_EQ(next.arguments[3], 0U);
  const Call release = engine_.calls_of("release_chunk").at(0);
  EXPECT_EQ(release.arguments[0], engine_.context());
  EXPECT_EQ(release.arguments[1], next.arguments[2]);
  const Call close = engine_.calls_of("close_stream").at(0);
  EXPECT_EQ(close.arguments, (std::vector<Word>{engine_.context(), 0x1234}));
}

TEST_F(Filter, FillsTheChunkBlockAfreshForEachChunk) {
  engine_.produces({"first", "second"});
  filter();
  const std::vector<Call> calls = engine_.calls_of("next_chunk");
  ASSERT_EQ(calls.size(), 3U);
  for (const Call& call : calls) {
    const Bytes& block = call.records[0];
    ASSERT_EQ(block.size(), 64U);
    EXPECT_EQ(u64_at(block, 0), 0U);
    EXPECT_EQ(u64_at(block, 8), 0U);
    EXPECT_EQ(u64_at(block, 16), word_of(&output_));
    EXPECT_EQ(u64_at(block, 24), reinterpret_cast<Word>(internal::TrOutputStream_create));
    EXPECT_EQ(u64_at(block, 32), reinterpret_cast<Word>(internal::TrOutputStream_write));
    EXPECT_EQ(u64_at(block, 40), reinterpret_cast<Word>(internal::TrOutputStream_seek));
    EXPECT_EQ(u64_at(block, 48), reinterpret_cast<Word>(internal::TrOutputStream_tell));
    EXPECT_EQ(u64_at(block, 56), reinterpret_cast<Word>(internal::TrOutputStream_close));
  }
}

TEST_F(Filter, ReleasesTheBlockAsTheEngineFilledIt) {
  engine_.produces({"text"});
  filter();
  const Bytes block = engine_.calls_of("release_chunk").at(0).records[0];
  EXPECT_NE(u64_at(block, 0), 0U);
  EXPECT_EQ(u32_at(block, 8), 4U);
}

TEST_F(Filter, DeliversThroughTheWriteCallbackThatStandsInTheRecord) {
  static std::string delivered;
  delivered.clear();
  engine_.once("next_chunk", [](Call& call) {
    static const char text[] = "text";
    scripted_engine::put_u64(call.arguments[2], 0, word_of(text));
    scripted_engine::put_u32(call.arguments[2], 8, 4);
    std::uint32_t (*const write)(void*, const char*, std::uint32_t) = [](void*, const char* bytes,
                                                                         std::uint32_t count) {
      delivered.assign(bytes, count);
      return count;
    };
    scripted_engine::put_u64(call.arguments[2], 32, reinterpret_cast<Word>(write));
    return Word{0};
  });
  filter();
  EXPECT_EQ(delivered, "text");
  EXPECT_EQ(sink_.writes, Names{});
}

TEST_F(Filter, AcceptsTextThatTheEngineWritesItself) {
  engine_.once("next_chunk", [](Call& call) {
    OutputStream(call.arguments[2] + 16).write("by the engine");
    return Word{0};
  });
  filter();
  EXPECT_EQ(sink_.writes, Names{"by the engine"});
}

TEST_F(Filter, LetsTheEngineReadTheDocument) {
  std::string document;
  engine_.on("prepare", [&](Call& call) {
    document = InputStream(engine_.stream_of(call.arguments[1])).read_all();
    return Word{0};
  });
  filter();
  EXPECT_EQ(document, "the document");
}

TEST_F(Filter, OpensTheStreamWithTheConfigurationsFlagWord) {
  session_.config().no_encoding_conversion(true).out_of_process_log(false);
  filter();
  EXPECT_EQ(engine_.calls_of("open_stream").at(0).arguments[2], 0x80484000U);
}

TEST_F(Filter, DoesNotNoticeShortWrites) {
  engine_.produces({"first", "second"});
  sink_.is_short = true;
  filter();
  EXPECT_EQ(sink_.writes, (Names{"first", "second"}));
}

TEST_F(Filter, ReleasesAChunkThatHasALengthButNoBytes) {
  engine_.once("next_chunk", [](Call& call) {
    scripted_engine::put_u32(call.arguments[2], 8, 4);
    return Word{0};
  });
  filter();
  EXPECT_EQ(sink_.writes, Names{});
  EXPECT_EQ(engine_.count_of("release_chunk"), 1U);
}

// ---- Failures -----------------------------------------------------------------------------------

TEST_F(Filter, ThrowsWithoutPreparingWhenTheStreamCannotBeOpened) {
  engine_.answers("open_stream", 0);
  const Failure failure = failure_of([this] { filter(); });
  EXPECT_EQ(failure.type, "runtime_error");
  EXPECT_EQ(failure.message, "Could not open input stream");
  EXPECT_EQ(engine_.operations(), Names{"open_stream"});
}

TEST_F(Filter, ThrowsPasswordProtectedFromPreparingAndLeavesTheSinkEmpty) {
  engine_.answers("prepare", 8);
  engine_.produces({"text"});
  EXPECT_EQ(failure_of([this] { filter(); }).type, "password_protected_error");
  EXPECT_EQ(sink_.writes, Names{});
  EXPECT_EQ(engine_.operations(), (Names{"open_stream", "prepare", "close_stream"}));
}

TEST_F(Filter, ThrowsPasswordProtectedFromTheFirstChunkAndLeavesTheSinkEmpty) {
  engine_.answers("next_chunk", 8);
  EXPECT_EQ(failure_of([this] { filter(); }).type, "password_protected_error");
  EXPECT_EQ(sink_.writes, Names{});
  EXPECT_EQ(engine_.operations(), (Names{"open_stream", "prepare", "next_chunk", "close_stream"}));
}

TEST_F(Filter, ThrowsFormatNotSupportedFromPreparing) {
  engine_.answers("prepare", 7);
  EXPECT_EQ(failure_of([this] { filter(); }).type, "format_not_supported_error");
  EXPECT_EQ(engine_.open_streams(), 0U);
}

TEST_F(Filter, ThrowsTheCodeOfAFailedChunkAndKeepsWhatWasWritten) {
  engine_.produces({"first"});
  engine_.once("next_chunk", [this](Call& call) {
    engine_.answers_once("next_chunk", 19);
    static const char text[] = "first";
    scripted_engine::put_u64(call.arguments[2], 0, word_of(text));
    scripted_engine::put_u32(call.arguments[2], 8, 5);
    return Word{0};
  });
  const Failure failure = failure_of([this] { filter(); });
  EXPECT_EQ(failure.type, "tarnis_error");
  EXPECT_EQ(failure.code, 19);
  EXPECT_EQ(sink_.writes, Names{"first"});
  EXPECT_EQ(engine_.operations(), (Names{"open_stream", "prepare", "next_chunk", "release_chunk",
                                         "next_chunk", "close_stream"}));
}

TEST_F(Filter, DoesNotReleaseTheChunkThatTheSinkRefusedByThrowing) {
  engine_.produces({"text"});
  sink_.fails = true;
  EXPECT_THROW(filter(), std::domain_error);
  EXPECT_EQ(engine_.operations(), (Names{"open_stream", "prepare", "next_chunk", "close_stream"}));
}

TEST_F(Filter, PassesAnExceptionOfTheSourceThroughTheEngine) {
  engine_.on("prepare", [this](Call& call) {
    return Word{InputStream(engine_.stream_of(call.arguments[1])).read(1).size()};
  });
  FailingSource source;
  try {
    internal::filter(session_.implementation(), generic_io::Input(source), output_);
    FAIL() << "nothing was thrown";
  } catch (const std::domain_error& error) {
    EXPECT_STREQ(error.what(), "the source's own");
  }
  EXPECT_EQ(engine_.operations(), (Names{"open_stream", "prepare", "close_stream"}));
}

TEST_F(Filter, PassesAnExceptionOfTheSinkThroughTheEngine) {
  engine_.on("next_chunk",
             [](Call& call) { return Word{OutputStream(call.arguments[2] + 16).write("text")}; });
  sink_.fails = true;
  EXPECT_THROW(filter(), std::domain_error);
  EXPECT_EQ(engine_.open_streams(), 0U);
}

TEST_F(Filter, NamesAnOperationThatTheEngineLacks) {
  for (const char* const operation : {"prepare", "next_chunk"}) {
    Engine engine;
    engine.leaves_empty(operation);
    const Session session = start(engine);
    const Failure failure = failure_of(
        [&] { internal::filter(session.implementation(), generic_io::Input(document_), output_); });
    EXPECT_EQ(failure.message, "Tarnis error 23: InterfaceFunctionNotFound") << operation;
    EXPECT_EQ(engine.open_streams(), 0U);
  }
}

}  // namespace
