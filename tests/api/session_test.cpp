#include <gtest/gtest.h>
#include <unistd.h>

#include <optional>
#include <type_traits>

#include "tests/api/support.h"

namespace {

using namespace tarnis::v1;
using scripted_engine::Bytes;
using scripted_engine::Call;
using scripted_engine::Engine;
using scripted_engine::u64_at;
using scripted_engine::Word;
using tarnis::test::Failure;
using tarnis::test::failure_of;
using tarnis::test::StandardOutput;
using tarnis::test::start;
using tarnis::test::TemporaryDirectory;

using Names = std::vector<std::string>;

const std::string both_lines = "SessionImplementation()...\nSessionImplementation()...OK\n";
const std::string first_line = "SessionImplementation()...\n";

/// What a failed start throws, and what it printed.
struct FailedStart {
  Failure failure;
  std::string output;
};

FailedStart failed_start(const std::string& directory) {
  const StandardOutput output;
  const Failure failure = failure_of([&] { Session(directory, true, Configuration()); });
  return {failure, output.text()};
}

TEST(Session, StartsTheEngineInOrder) {
  const Engine engine;
  Configuration configuration;
  configuration.skip_comments(true).timeout(5);
  const Session session = start(engine, configuration);
  EXPECT_EQ(engine.operations(), (Names{"get_filter_interface", "initialise", "set_option",
                                        "set_timeout", "get_extract_interface"}));
}

TEST(Session, AsksForRevision8OfTheFilterInterface) {
  const Engine engine;
  const Session session = start(engine);
  const Call call = engine.calls_of("get_filter_interface").at(0);
  EXPECT_NE(call.arguments[0], 0U);
  EXPECT_EQ(call.arguments[1], 8U);
}

TEST(Session, InitialisesWithDirectoryEncodingAndProcessFlags) {
  const Engine engine;
  Configuration configuration;
  configuration.target_encoding(Encoding::utf16_be).header_and_footer(true);
  const Session session = start(engine, configuration, true);
  const Call call = engine.calls_of("initialise").at(0);
  EXPECT_NE(call.arguments[0], 0U);
  EXPECT_EQ(call.arguments[1], 0U);
  EXPECT_EQ(call.text, engine.directory());
  EXPECT_EQ(call.arguments[3], 55U);
  EXPECT_EQ(call.arguments[4], 0x80004000U);
}

TEST(Session, InitialisesOutOfProcessWithTheOtherPairOfFlags) {
  const Engine engine;
  const Session session = start(engine, Configuration(), false);
  EXPECT_EQ(engine.calls_of("initialise").at(0).arguments[4], 0x10008000U);
  EXPECT_EQ(session.implementation()->config_flags(), 0x10008000U);
}

TEST(Session, AddsTheProcessFlagsToItsOwnConfiguration) {
  const Engine engine;
  Configuration configuration;
  configuration.header_and_footer(true);
  const Session session = start(engine, configuration, true);
  EXPECT_EQ(session.implementation()->config_flags(), 0x84004000U);
  EXPECT_EQ(configuration.implementation()->flags(), 0x04000000U);
}

TEST(Session, HandsTheEngineTheCHeap) {
  Engine engine;
  bool checked = false;
  engine.on("initialise", [&](Call& call) {
    const Bytes& record = call.records[0];
    EXPECT_EQ(record.size(), 40U);
    EXPECT_EQ(u64_at(record, 0), 0U);
    const scripted_engine::Memory memory(call.arguments[0]);
    auto* const block = static_cast<unsigned char*>(memory.allocate(16));
    block[15] = 7;
    auto* const larger = static_cast<unsigned char*>(memory.reallocate(block, 1 << 20));
    EXPECT_EQ(larger[15], 7);
    memory.free(larger);
    auto* const zeroed = static_cast<unsigned char*>(memory.zero_allocate(8, 4));
    for (int i = 0; i < 32; ++i) EXPECT_EQ(zeroed[i], 0);
    memory.free(zeroed);
    checked = true;
    return engine.context();
  });
  const Session session = start(engine);
  EXPECT_TRUE(checked);
}

TEST(Session, KeepsTheMemoryRecordForTheEnginesWholeLife) {
  Engine engine;
  Session session = start(engine);
  const Word record = engine.calls_of("initialise").at(0).arguments[0];
  const Session moved = std::move(session);
  const scripted_engine::Memory memory(record);
  memory.free(memory.allocate(1));
}

TEST(Session, PresetsTheExtractionRecordWithItsHeaderAlone) {
  const Engine engine;
  const Session session = start(engine);
  const Call call = engine.calls_of("get_extract_interface").at(0);
  EXPECT_EQ(call.arguments[0], engine.context());
  ASSERT_EQ(call.records[0].size(), 72U);
  EXPECT_EQ(u64_at(call.records[0], 0), 0x482F30U);
  for (std::size_t offset = 8; offset < 72; offset += 8) {
    EXPECT_EQ(u64_at(call.records[0], offset), 0U) << offset;
  }
}

TEST(Session, KeepsItsOwnCopiesOfBothTables) {
  const Engine engine;
  const Session session = start(engine);
  const auto* const implementation = session.implementation();
  EXPECT_EQ(implementation->pFilter(), reinterpret_cast<void*>(engine.context()));
  for (const tr_slot slot : implementation->filter_interface()->slots) EXPECT_NE(slot, nullptr);
  EXPECT_EQ(implementation->extract_interface()->header, 0x482F30U);
  EXPECT_NE(implementation->extract_interface()->free_info, nullptr);
  EXPECT_NE(scripted_engine::word_of(implementation->filter_interface()),
            engine.calls_of("get_filter_interface").at(0).arguments[0]);
}

TEST(Session, AppliesTheWholeConfigurationBeforeFetchingTheExtractionInterface) {
  const Engine engine;
  Configuration configuration;
  configuration.password("p").hidden_text(true).source_encoding(Encoding::utf8).timeout(1);
  const Session session = start(engine, configuration);
  EXPECT_EQ(engine.operations(),
            (Names{"get_filter_interface", "initialise", "set_option", "set_option", "set_timeout",
                   "set_source_encoding", "get_extract_interface"}));
}

TEST(Session, PrintsBothTraceLinesWhenItStarts) {
  const Engine engine;
  const StandardOutput output;
  const Session session(engine.directory(), true, Configuration());
  EXPECT_EQ(output.text(), both_lines);
}

TEST(Session, FlushesTheFirstTraceLineBeforeTheEngineIsCalled) {
  Engine engine;
  const StandardOutput output;
  std::string seen;
  engine.on("get_filter_interface", [&](Call&) {
    seen = output.text();
    return Word{6};
  });
  EXPECT_THROW(Session(engine.directory(), true, Configuration()), tarnis_error);
  EXPECT_EQ(seen, first_line);
}

TEST(Session, ShutsTheEngineDownOnce) {
  Engine engine;
  {
    const Session session = start(engine);
    engine.clear_log();
  }
  ASSERT_EQ(engine.operations(), Names{"shut_down"});
  EXPECT_EQ(engine.calls()[0].arguments[0], engine.context());
}

TEST(Session, EndsQuietlyWhenTheEngineHasNoShutDown) {
  Engine engine;
  engine.leaves_empty("shut_down");
  { const Session session = start(engine); }
  EXPECT_EQ(engine.count_of("shut_down"), 0U);
}

TEST(Session, IsMovedWithItsEngineAndNotCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<Session>);
  EXPECT_FALSE(std::is_copy_assignable_v<Session>);
  EXPECT_TRUE(std::is_nothrow_move_constructible_v<Session>);
  Engine engine;
  std::optional<Session> original = start(engine);
  const auto* const implementation = original->implementation();
  std::optional<Session> moved(std::move(*original));
  EXPECT_EQ(moved->implementation(), implementation);
  EXPECT_EQ(original->implementation(), nullptr);
  engine.clear_log();
  original.reset();
  EXPECT_EQ(engine.operations(), Names{});
  moved->config().skip_comments(true);
  moved.reset();
  EXPECT_EQ(engine.operations(), (Names{"set_option", "shut_down"}));
}

TEST(Session, OwnsACopyOfTheConfiguration) {
  Engine engine;
  Configuration configuration;
  Session session = start(engine, configuration);
  engine.clear_log();
  configuration.skip_comments(true);
  EXPECT_EQ(engine.operations(), Names{});
  EXPECT_FALSE(session.config().skip_comments());
  session.config().skip_comments(true);
  EXPECT_EQ(engine.operations(), Names{"set_option"});
  const Session& constant = session;
  EXPECT_TRUE(constant.config().skip_comments());
}

TEST(Session, TwoSessionsShareTheLoadedEngine) {
  Engine engine;
  Session first = start(engine);
  {
    const Session second = start(engine);
    EXPECT_EQ(engine.count_of("initialise"), 2U);
  }
  EXPECT_EQ(engine.count_of("shut_down"), 1U);
  engine.clear_log();
  first.config().skip_comments(true);
  EXPECT_EQ(engine.operations(), Names{"set_option"});
}

// ---- Where the engine is looked for -------------------------------------------------------------

// The loader remembers "./trfilter.so" by that name, whatever the current directory is later: what
// loads it does so in a process of its own.
TEST(Session, LoadsFromTheCurrentDirectoryForAnEmptyPath) {
  const Engine engine;
  const auto start_there = [&engine] {
    std::filesystem::current_path(engine.directory());
    {
      const StandardOutput silence;
      const Session session("", true, Configuration());
    }
    _exit(engine.calls_of("initialise").at(0).text == "." ? 0 : 1);
  };
  EXPECT_EXIT(start_there(), testing::ExitedWithCode(0), "");
}

TEST(Session, AddsNoSecondSeparator) {
  const Engine engine;
  const StandardOutput silence;
  const Session session(engine.directory() + "/", true, Configuration());
  EXPECT_EQ(engine.calls_of("initialise").at(0).text, engine.directory() + "/");
}

TEST(Session, NamesTheComposedPathOfAMissingEngine) {
  const TemporaryDirectory empty;
  const std::string directory = empty.path().string();
  const std::string message = "Tarnis Error: Could not load trfilter library from path: ";
  for (const char* const separator : {"", "/"}) {
    const FailedStart failed = failed_start(directory + separator);
    EXPECT_EQ(failed.failure.type, "tarnis_error");
    EXPECT_EQ(failed.failure.code, 6);
    EXPECT_EQ(failed.failure.message, message + directory + "/trfilter.so");
    EXPECT_EQ(failed.output, first_line);
  }
}

TEST(Session, NamesTheRelativePathOfAMissingEngine) {
  const TemporaryDirectory empty;
  const std::filesystem::path previous = std::filesystem::current_path();
  std::filesystem::current_path(empty.path());
  const FailedStart failed = failed_start("");
  std::filesystem::current_path(previous);
  EXPECT_EQ(failed.failure.message,
            "Tarnis Error: Could not load trfilter library from path: ./trfilter.so");
}

TEST(Session, RefusesAFileThatIsNoLibrary) {
  const TemporaryDirectory directory;
  tarnis::test::write_file(directory.file("trfilter.so"), "no library");
  const FailedStart failed = failed_start(directory.path().string());
  EXPECT_EQ(failed.failure.message, "Tarnis Error: Could not load trfilter library from path: " +
                                        directory.file("trfilter.so"));
}

// ---- What an engine may refuse ------------------------------------------------------------------

TEST(Session, RefusesAnEngineWithoutTheFilterEntryPoint) {
  const Engine engine(Engine::Variant::without_filter_entry);
  const FailedStart failed = failed_start(engine.directory());
  EXPECT_EQ(failed.failure.type, "tarnis_error");
  EXPECT_EQ(failed.failure.code, 6);
  EXPECT_EQ(failed.failure.message, "Tarnis Error: Could not get filter interface function");
  EXPECT_EQ(failed.output, first_line);
  EXPECT_EQ(engine.operations(), Names{});
}

TEST(Session, ThrowsTheCodeOfARefusedRevision) {
  Engine engine;
  engine.answers("get_filter_interface", 34);
  const FailedStart failed = failed_start(engine.directory());
  EXPECT_EQ(failed.failure.type, "tarnis_error");
  EXPECT_EQ(failed.failure.code, 34);
  EXPECT_EQ(failed.output, first_line);
  EXPECT_EQ(engine.operations(), Names{"get_filter_interface"});
}

TEST(Session, ThrowsWhenTheEngineGivesNoContext) {
  Engine engine;
  engine.answers("initialise", 0);
  const FailedStart failed = failed_start(engine.directory());
  EXPECT_EQ(failed.failure.type, "tarnis_error");
  EXPECT_EQ(failed.failure.code, 6);
  EXPECT_EQ(failed.failure.message, "Tarnis Error: Could not initialize filter session");
  EXPECT_EQ(failed.output, first_line);
  EXPECT_EQ(engine.operations(), (Names{"get_filter_interface", "initialise"}));
}

TEST(Session, ThrowsWhenTheEngineCannotInitialise) {
  Engine engine;
  engine.leaves_empty("initialise");
  EXPECT_EQ(failed_start(engine.directory()).failure.message,
            "Tarnis Error: Could not initialize filter session");
}

TEST(Session, RefusesAnEngineWithoutTheExtractionEntryPoint) {
  const Engine engine(Engine::Variant::without_extract_entry);
  const FailedStart failed = failed_start(engine.directory());
  EXPECT_EQ(failed.failure.type, "tarnis_error");
  EXPECT_EQ(failed.failure.code, 6);
  EXPECT_EQ(failed.failure.message, "Tarnis Error: Could not get extraction interface function");
  EXPECT_EQ(failed.output, first_line);
  EXPECT_EQ(engine.operations(), (Names{"get_filter_interface", "initialise"}));
}

TEST(Session, ThrowsTheCodeOfARefusedExtractionInterface) {
  Engine engine;
  engine.answers("get_extract_interface", 7);
  const FailedStart failed = failed_start(engine.directory());
  EXPECT_EQ(failed.failure.type, "format_not_supported_error");
  EXPECT_EQ(failed.output, first_line);
}

TEST(Session, LeavesTheContextOfAFailedStartWithoutAShutDown) {
  Engine engine;
  engine.answers("get_extract_interface", 6);
  failed_start(engine.directory());
  EXPECT_EQ(engine.operations(),
            (Names{"get_filter_interface", "initialise", "get_extract_interface"}));
}

}  // namespace
