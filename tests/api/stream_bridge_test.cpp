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
using scripted_engine::u64_at;
using scripted_engine::Word;
using scripted_engine::word_of;
using tarnis::test::Failure;
using tarnis::test::failure_of;
using tarnis::test::memory_file;
using tarnis::test::start;
using tarnis::test::text_of;

template <class Record>
Bytes bytes_of(const Record& record) {
  const auto* const first = reinterpret_cast<const unsigned char*>(&record);
  return Bytes(first, first + sizeof record);
}

template <class Function>
Word word_of_function(Function* function) {
  return reinterpret_cast<Word>(function);
}

TEST(InputStreamRecord, HasItsFieldsAtTheEnginesOffsets) {
  io::InMemoryFile file;
  const generic_io::Input input(file);
  const Bytes record = bytes_of(internal::make_input_stream(input));
  ASSERT_EQ(record.size(), 56U);
  EXPECT_EQ(u64_at(record, 0), word_of(&input));
  EXPECT_EQ(u64_at(record, 8), 0U);
  EXPECT_EQ(u64_at(record, 16), word_of_function(internal::TrInputStream_reset));
  EXPECT_EQ(u64_at(record, 24), word_of_function(internal::TrInputStream_read));
  EXPECT_EQ(u64_at(record, 32), word_of_function(internal::TrInputStream_seek));
  EXPECT_EQ(u64_at(record, 40), word_of_function(internal::TrInputStream_tell));
  EXPECT_EQ(u64_at(record, 48), word_of_function(internal::TrInputStream_reset));
}

TEST(OutputStreamRecord, HasItsFieldsAtTheEnginesOffsets) {
  io::InMemoryFile file;
  const generic_io::Output output(file);
  const Bytes record = bytes_of(internal::make_output_stream(output));
  ASSERT_EQ(record.size(), 48U);
  EXPECT_EQ(u64_at(record, 0), word_of(&output));
  EXPECT_EQ(u64_at(record, 8), word_of_function(internal::TrOutputStream_create));
  EXPECT_EQ(u64_at(record, 16), word_of_function(internal::TrOutputStream_write));
  EXPECT_EQ(u64_at(record, 24), word_of_function(internal::TrOutputStream_seek));
  EXPECT_EQ(u64_at(record, 32), word_of_function(internal::TrOutputStream_tell));
  EXPECT_EQ(u64_at(record, 40), word_of_function(internal::TrOutputStream_close));
}

TEST(MemoryRecord, HasItsFieldsAtTheEnginesOffsets) {
  const Bytes record = bytes_of(internal::make_memory_stream());
  ASSERT_EQ(record.size(), 40U);
  EXPECT_EQ(u64_at(record, 0), 0U);
  EXPECT_EQ(u64_at(record, 8), word_of_function(internal::myMalloc));
  EXPECT_EQ(u64_at(record, 16), word_of_function(internal::myFree));
  EXPECT_EQ(u64_at(record, 24), word_of_function(internal::myRealloc));
  EXPECT_EQ(u64_at(record, 32), word_of_function(internal::myCalloc));
}

TEST(InputCallbacks, FirstAndLastRewindAndAnswerOne) {
  io::InMemoryFile file = memory_file("0123456789");
  const generic_io::Input input(file);
  tag_InputStream record = internal::make_input_stream(input);
  const InputStream stream(word_of(&record));
  file.seek(5, 0);
  EXPECT_EQ(stream.first(), 1);
  EXPECT_EQ(file.tell(), 0);
  file.seek(5, 0);
  EXPECT_EQ(stream.last(), 1);
  EXPECT_EQ(file.tell(), 0);
}

TEST(InputCallbacks, ReadSeekAndTellReachTheHolder) {
  io::InMemoryFile file = memory_file("0123456789");
  const generic_io::Input input(file);
  tag_InputStream record = internal::make_input_stream(input);
  const InputStream stream(word_of(&record));
  EXPECT_EQ(stream.read(4), "0123");
  EXPECT_EQ(stream.tell(), 4);
  EXPECT_EQ(stream.seek(-1, 2), 1);
  EXPECT_EQ(stream.read(4), "9");
  EXPECT_EQ(stream.read(4), "");
}

/// A host's file whose answers are set.
struct ScriptedFile final : io::IFile {
  long write(const char*, long n) override {
    last_count = n;
    return count;
  }
  long size() override { return 0; }
  long tell() override { return position; }
  long read(char*, long n) override {
    last_count = n;
    if (fails) throw std::domain_error("the host's own");
    return count;
  }
  int seek(long offset, int whence) override {
    last_offset = offset;
    last_whence = whence;
    if (seek_fails) throw std::domain_error("the host's own seek");
    return seek_result;
  }
  long count = 0;
  long position = 0;
  int seek_result = 0;
  bool fails = false;
  bool seek_fails = false;
  long last_count = 0;
  long last_offset = 0;
  int last_whence = 0;
};

TEST(InputCallbacks, SeekAnswersOneOnlyWhenTheHolderAnsweredZero) {
  ScriptedFile file;
  const generic_io::Input input(file);
  tag_InputStream record = internal::make_input_stream(input);
  const InputStream stream(word_of(&record));
  EXPECT_EQ(stream.seek(1L << 40, 1), 1);
  EXPECT_EQ(file.last_offset, 1L << 40);
  EXPECT_EQ(file.last_whence, 1);
  for (const int refused : {-1, 1, 22}) {
    file.seek_result = refused;
    EXPECT_EQ(stream.seek(0, 0), 0);
  }
}

TEST(InputCallbacks, ResetAnswersOneWhateverTheHolderAnswers) {
  ScriptedFile file;
  file.seek_result = -1;
  const generic_io::Input input(file);
  tag_InputStream record = internal::make_input_stream(input);
  EXPECT_EQ(InputStream(word_of(&record)).first(), 1);
}

TEST(InputCallbacks, TellPassesPositionsAbove32Bits) {
  ScriptedFile file;
  file.position = 1L << 40;
  const generic_io::Input input(file);
  tag_InputStream record = internal::make_input_stream(input);
  EXPECT_EQ(InputStream(word_of(&record)).tell(), 1L << 40);
}

TEST(InputCallbacks, ReadTakesTheCountForUnsigned) {
  ScriptedFile file;
  const generic_io::Input input(file);
  tag_InputStream record = internal::make_input_stream(input);
  unsigned char byte = 0;
  InputStream(word_of(&record)).read_count(&byte, 0xFFFFFFFFU);
  EXPECT_EQ(file.last_count, 0xFFFFFFFFL);
}

TEST(InputCallbacks, ANegativeCountOfTheHolderIsTheEnd) {
  ScriptedFile file;
  file.count = -1;
  const generic_io::Input input(file);
  tag_InputStream record = internal::make_input_stream(input);
  unsigned char byte = 0;
  EXPECT_EQ(InputStream(word_of(&record)).read_count(&byte, 1), 0U);
}

TEST(OutputCallbacks, DeliverBytesInTheOrderWrittenWhateverTheEngineSeeks) {
  io::InMemoryFile file;
  const generic_io::Output output(file);
  tag_OutputStream record = internal::make_output_stream(output);
  const OutputStream stream(word_of(&record));
  EXPECT_EQ(stream.create("any name"), 1);
  EXPECT_EQ(stream.write("abc"), 3U);
  EXPECT_EQ(stream.seek(0, 0), 1);
  EXPECT_EQ(stream.tell(), 0);
  EXPECT_EQ(stream.write("def"), 3U);
  EXPECT_EQ(stream.tell(), 0);
  EXPECT_EQ(stream.seek(100, 7), 1);
  EXPECT_EQ(stream.close(), 1);
  EXPECT_EQ(text_of(file), "abcdef");
}

TEST(OutputCallbacks, PassShortWritesToTheEngine) {
  ScriptedFile file;
  const generic_io::Output output(file);
  tag_OutputStream record = internal::make_output_stream(output);
  const OutputStream stream(word_of(&record));
  file.count = 2;
  EXPECT_EQ(stream.write("abcd"), 2U);
  EXPECT_EQ(file.last_count, 4);
  file.count = -1;
  EXPECT_EQ(stream.write("abcd"), 0U);
}

// ---- The stream handle --------------------------------------------------------------------------

class StreamHandle : public testing::Test {
 protected:
  StreamHandle() { engine_.clear_log(); }

  Engine engine_;
  Session session_ = start(engine_);
  ScriptedFile file_;
  generic_io::Input input_{file_};
  tag_InputStream record_ = internal::make_input_stream(input_);
};

TEST_F(StreamHandle, OpensWithRecordAndFlagsAndCloses) {
  session_.config().header_and_footer(true);
  Word stream = 0;
  {
    const internal::StreamHandle handle(*session_.implementation(), record_);
    stream = word_of(handle.stream());
    EXPECT_EQ(engine_.open_streams(), 1U);
  }
  ASSERT_EQ(engine_.operations(), (std::vector<std::string>{"open_stream", "close_stream"}));
  const Call& open = engine_.calls()[0];
  EXPECT_EQ(open.arguments[0], engine_.context());
  EXPECT_EQ(open.arguments[1], word_of(&record_));
  EXPECT_EQ(open.arguments[2], 0x84004000U);
  EXPECT_EQ(open.records[0], bytes_of(record_));
  const Call& close = engine_.calls()[1];
  EXPECT_EQ(close.arguments[0], engine_.context());
  EXPECT_EQ(close.arguments[1], stream);
}

TEST_F(StreamHandle, ThrowsWhenTheEngineRefuses) {
  engine_.answers("open_stream", 0);
  const Failure failure =
      failure_of([this] { internal::StreamHandle(*session_.implementation(), record_); });
  EXPECT_EQ(failure.type, "runtime_error");
  EXPECT_EQ(failure.message, "Could not open input stream");
  EXPECT_EQ(engine_.operations(), std::vector<std::string>{"open_stream"});
}

TEST_F(StreamHandle, LetsAnExceptionOfTheHostsFileOutOfItsClosing) {
  engine_.on("close_stream",
             [this](Call&) { return static_cast<Word>(InputStream(word_of(&record_)).last()); });
  file_.seek_fails = true;
  EXPECT_THROW(internal::StreamHandle(*session_.implementation(), record_), std::domain_error);
}

TEST_F(StreamHandle, KeepsTheFirstOfTwoExceptions) {
  engine_.on("close_stream",
             [this](Call&) { return static_cast<Word>(InputStream(word_of(&record_)).last()); });
  file_.seek_fails = true;
  const Failure failure = failure_of([this] {
    const internal::StreamHandle handle(*session_.implementation(), record_);
    throw tarnis_error(24);
  });
  EXPECT_EQ(failure.code, 24);
}

TEST_F(StreamHandle, NamesAMissingOperation) {
  Engine& engine = engine_;
  engine.leaves_empty("open_stream");
  Session session = start(engine);
  EXPECT_EQ(failure_of([&] { internal::StreamHandle(*session.implementation(), record_); }).message,
            "Tarnis error 23: InterfaceFunctionNotFound");
}

}  // namespace
