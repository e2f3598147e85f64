#include <gtest/gtest.h>

#include <stdexcept>
#include <type_traits>

#include "tests/api/support.h"

namespace {

using namespace tarnis::v1;
using scripted_engine::Bytes;
using scripted_engine::Call;
using scripted_engine::Engine;
using scripted_engine::InputStream;
using scripted_engine::Record;
using scripted_engine::u32_at;
using scripted_engine::u64_at;
using scripted_engine::Word;
using scripted_engine::word_of;
using tarnis::test::Failure;
using tarnis::test::failure_of;
using tarnis::test::memory_file;
using tarnis::test::start;

using Names = std::vector<std::string>;
using Indices = std::vector<long>;

class ContainerTest : public testing::Test {
 protected:
  ContainerTest() { engine_.clear_log(); }

  Container open() {
    return internal::subfiles(session_.implementation(), generic_io::Input(document_));
  }

  Engine engine_;
  Session session_ = start(engine_);
  io::InMemoryFile document_ = memory_file("the container");
};

/// A record of a subfile whose every field differs.
Record full_record() {
  return Record(80)
      .u64(0, 0xAAAAAAAAAAAAAAAA)
      .u64(8, 0xBBBBBBBBBBBBBBBB)
      .text(16, "folder/name")
      .u32(24, 4)
      .u32(28, 0xCCCCCCCC)
      .u64(32, 5'000'000'000)
      .u64(40, 0x1122334455667788)
      .u32(48, 0x99AABBCC)
      .u64(56, 128'790'414'900'000'000)
      .u32(64, 0xFFFFFFFF)
      .u32(68, 2)
      .record(72, Record(8).u32(0, 1).u32(4, 0xFFFFFFFE));
}

// ---- Opening and closing ------------------------------------------------------------------------

using ContainerOpening = ContainerTest;

TEST_F(ContainerOpening, AsksTheEngineNothingUntilFirstUsed) {
  { const Container container = open(); }
  EXPECT_EQ(engine_.operations(), Names{});
}

TEST_F(ContainerOpening, OpensCountsAndGivesTheRecordBack) {
  engine_.contains({{"a"}, {"b"}, {"c"}});
  const Container container = open();
  EXPECT_EQ(container.size(), 3);
  EXPECT_EQ(engine_.operations(), (Names{"open_file", "get_main_file_info", "free_info"}));
  EXPECT_EQ(engine_.outstanding(), 0U);
  EXPECT_EQ(engine_.calls()[0].arguments[0], engine_.context());
  EXPECT_EQ(engine_.calls()[1].arguments[0], engine_.container());
  EXPECT_EQ(engine_.calls()[2].arguments[0], engine_.container());
}

TEST_F(ContainerOpening, OpensOnceForEveryFirstUse) {
  engine_.contains({{"a"}});
  const Names opening = {"open_file", "get_main_file_info", "free_info"};
  const auto first_use = [&](const auto& use) {
    const Container container = open();
    engine_.clear_log();
    use(container);
    EXPECT_EQ(engine_.operations(), opening);
    use(container);
    EXPECT_EQ(engine_.operations(), opening);
  };
  first_use([](const Container& container) { EXPECT_EQ(container.size(), 1); });
  first_use([](const Container& container) { EXPECT_FALSE(container.empty()); });
  first_use([](const Container& container) { EXPECT_EQ(container.at(0).index(), 0); });
  first_use([](const Container& container) { EXPECT_EQ(container.begin()->index(), 0); });
  first_use([](const Container& container) { EXPECT_EQ(container.end()->index(), 1); });
}

TEST_F(ContainerOpening, OpensBeforeItRefusesAnIndex) {
  const Container container = open();
  EXPECT_THROW(container.at(-1), std::out_of_range);
  EXPECT_EQ(engine_.count_of("open_file"), 1U);
}

TEST_F(ContainerOpening, BuildsTheRequestToTheByte) {
  session_.config().password("secret");
  engine_.clear_log();
  const Container container = open();
  container.size();
  const Call call = engine_.calls_of("open_file").at(0);
  ASSERT_EQ(call.records.size(), 5U);
  const Bytes& request = call.records[0];
  EXPECT_EQ(u64_at(request, 0), 0x402F30U);
  EXPECT_EQ(u64_at(request, 8), 0U);
  EXPECT_NE(u64_at(request, 16), 0U);
  EXPECT_NE(u64_at(request, 24), 0U);
  for (std::size_t offset = 32; offset < 64; offset += 8) EXPECT_EQ(u64_at(request, offset), 0U);

  const Bytes& stream = call.records[1];
  EXPECT_NE(u64_at(stream, 0), 0U);
  EXPECT_EQ(u64_at(stream, 8), 0U);
  EXPECT_EQ(u64_at(stream, 16), reinterpret_cast<Word>(internal::TrInputStream_reset));
  EXPECT_EQ(u64_at(stream, 24), reinterpret_cast<Word>(internal::TrInputStream_read));
  EXPECT_EQ(u64_at(stream, 32), reinterpret_cast<Word>(internal::TrInputStream_seek));
  EXPECT_EQ(u64_at(stream, 40), reinterpret_cast<Word>(internal::TrInputStream_tell));
  EXPECT_EQ(u64_at(stream, 48), reinterpret_cast<Word>(internal::TrInputStream_reset));

  const Bytes& credentials = call.records[2];
  EXPECT_EQ(u32_at(credentials, 0), 1U);
  EXPECT_EQ(u32_at(credentials, 4), 0U);
  const Bytes& item = call.records[4];
  EXPECT_EQ(u32_at(item, 0), 2U);
  EXPECT_EQ(u32_at(item, 4), 0U);
  EXPECT_EQ(call.text, "secret");
}

TEST_F(ContainerOpening, PassesAnEmptyPasswordToo) {
  const Container container = open();
  container.size();
  const Call call = engine_.calls_of("open_file").at(0);
  EXPECT_EQ(u32_at(call.records[2], 0), 1U);
  EXPECT_NE(u64_at(call.records[4], 8), 0U);
  EXPECT_EQ(call.text, "");
}

TEST_F(ContainerOpening, KeepsTheStreamRecordForTheContainersWholeLife) {
  engine_.contains({{"a"}});
  Word stream = 0;
  engine_.on("open_file", [&](Call& call) {
    stream = u64_at(call.records[0], 24);
    scripted_engine::put_u64(call.arguments[2], 0, 0x77);
    return Word{0};
  });
  std::string document;
  engine_.once("query_subfile_info", [&](Call&) {
    document = InputStream(stream).read_all();
    return Word{0};
  });
  Container original = open();
  original.size();
  const Container moved = std::move(original);
  EXPECT_EQ(moved.at(0).rawname(), "");
  EXPECT_EQ(document, "the container");
}

TEST_F(ContainerOpening, CopiesTheCallersInput) {
  auto input = std::make_unique<generic_io::Input>(document_);
  const Container container = internal::subfiles(session_.implementation(), *input);
  input.reset();
  std::string document;
  engine_.on("open_file", [&](Call& call) {
    document = InputStream(u64_at(call.records[0], 24)).read_all();
    return Word{0};
  });
  container.size();
  EXPECT_EQ(document, "the container");
}

TEST_F(ContainerOpening, ThrowsTheCodeOfARefusalAndTriesAgain) {
  engine_.contains({{"a"}});
  engine_.answers_once("open_file", 7);
  const Container container = open();
  EXPECT_EQ(failure_of([&] { container.size(); }).type, "format_not_supported_error");
  EXPECT_EQ(engine_.operations(), Names{"open_file"});
  EXPECT_EQ(container.size(), 1);
}

TEST_F(ContainerOpening, ThrowsPasswordProtectedForStatus8) {
  engine_.answers("open_file", 8);
  const Container container = open();
  EXPECT_EQ(failure_of([&] { container.begin(); }).type, "password_protected_error");
}

TEST_F(ContainerOpening, ThrowsTheCodeOfTheMainInformation) {
  engine_.answers("get_main_file_info", 21);
  {
    const Container container = open();
    EXPECT_EQ(failure_of([&] { container.size(); }).code, 21);
  }
  EXPECT_EQ(engine_.operations(), (Names{"open_file", "get_main_file_info", "close_file"}));
}

TEST_F(ContainerOpening, ThrowsTheCodeOfTheRelease) {
  engine_.contains({{"a"}});
  engine_.answers("free_info", 26);
  const Container container = open();
  EXPECT_EQ(failure_of([&] { container.size(); }).code, 26);
  EXPECT_EQ(container.size(), 1);
  EXPECT_EQ(engine_.count_of("open_file"), 1U);
}

TEST_F(ContainerOpening, TakesAMissingMainInformationForNoSubfiles) {
  const Container container = open();
  EXPECT_EQ(container.size(), 0);
  EXPECT_EQ(engine_.operations(), (Names{"open_file", "get_main_file_info"}));
}

TEST_F(ContainerOpening, TakesAMissingContainerForNoSubfiles) {
  engine_.answers("open_file", 0);
  {
    const Container container = open();
    EXPECT_TRUE(container.empty());
  }
  EXPECT_EQ(engine_.operations(), Names{"open_file"});
}

TEST_F(ContainerOpening, NamesAnOperationThatTheEngineLacks) {
  for (const char* const operation : {"open_file", "get_main_file_info", "free_info"}) {
    Engine engine;
    engine.contains({{"a"}});
    engine.leaves_empty(operation);
    const Session session = start(engine);
    const Container container =
        internal::subfiles(session.implementation(), generic_io::Input(document_));
    EXPECT_EQ(failure_of([&] { container.size(); }).code, 23) << operation;
  }
}

TEST_F(ContainerOpening, ClosesOnceAndIgnoresTheStatus) {
  engine_.answers("close_file", 6);
  {
    Container original = open();
    original.size();
    const Container moved = std::move(original);
    EXPECT_EQ(original.implementation(), nullptr);
    engine_.clear_log();
  }
  ASSERT_EQ(engine_.operations(), Names{"close_file"});
  EXPECT_EQ(engine_.calls()[0].arguments, std::vector<Word>{engine_.container()});
}

TEST_F(ContainerOpening, AnExceptionInsideTheClosingEndsTheProcess) {
  engine_.on("close_file", [](Call&) -> Word { throw std::domain_error("inside"); });
  EXPECT_DEATH(
      {
        const Container container = open();
        container.size();
      },
      "");
}

TEST_F(ContainerOpening, IsMovedAndNotCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<Container>);
  EXPECT_TRUE(std::is_nothrow_move_constructible_v<Container>);
}

// ---- Subfiles by index --------------------------------------------------------------------------

using ContainerAccess = ContainerTest;

TEST_F(ContainerAccess, AContainerWithoutSubfilesIsEmpty) {
  engine_.contains({});
  const Container container = open();
  EXPECT_TRUE(container.empty());
  EXPECT_EQ(container.size(), 0);
  EXPECT_TRUE(container.begin() == container.end());
  EXPECT_FALSE(container.begin() != container.end());
}

TEST_F(ContainerAccess, RefusesAnIndexOutsideOfTheCount) {
  engine_.contains({{"a"}, {"b"}});
  const Container container = open();
  for (const long index : {-1L, 2L, 3L, 1L << 32, -(1L << 32)}) {
    const Failure failure = failure_of([&] { container.at(index); });
    EXPECT_EQ(failure.type, "out_of_range") << index;
    EXPECT_EQ(failure.message, "Subfile index is invalid") << index;
  }
  EXPECT_EQ(container.at(1).rawname(), "b");
}

TEST_F(ContainerAccess, ReadsAttributesOnceAndOnlyWhenAsked) {
  engine_.contains({{"a"}});
  const Container container = open();
  const Subfile subfile = container.at(0);
  engine_.clear_log();
  EXPECT_EQ(subfile.index(), 0);
  EXPECT_EQ(engine_.operations(), Names{});
  EXPECT_EQ(subfile.rawname(), "a");
  EXPECT_EQ(subfile.size(), 0);
  EXPECT_EQ(subfile.time(), 0);
  EXPECT_EQ(subfile.type(), subfile_type::file);
  EXPECT_EQ(subfile.parent(), 0);
  EXPECT_FALSE(subfile.is_folder());
  EXPECT_TRUE(subfile.children().empty());
  EXPECT_EQ(engine_.operations(), (Names{"query_subfile_info", "free_info"}));
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(ContainerAccess, EveryAccessorButIndexReadsTheAttributes) {
  engine_.contains({{"a"}});
  const Container container = open();
  container.size();
  const auto reads = [&](const auto& use) {
    const Subfile subfile = container.at(0);
    engine_.clear_log();
    use(subfile);
    return engine_.count_of("query_subfile_info") == 1;
  };
  EXPECT_TRUE(reads([](const Subfile& s) { s.rawname(); }));
  EXPECT_TRUE(reads([](const Subfile& s) { s.type(); }));
  EXPECT_TRUE(reads([](const Subfile& s) { s.size(); }));
  EXPECT_TRUE(reads([](const Subfile& s) { s.time(); }));
  EXPECT_TRUE(reads([](const Subfile& s) { s.is_folder(); }));
  EXPECT_TRUE(reads([](const Subfile& s) { s.parent(); }));
  EXPECT_TRUE(reads([](const Subfile& s) { s.children(); }));
  EXPECT_FALSE(reads([](const Subfile& s) { s.index(); }));
  EXPECT_FALSE(reads([](const Subfile& s) { s.mail_metadata(); }));
}

TEST_F(ContainerAccess, CopiesEveryFieldOfTheEnginesRecord) {
  engine_.contains({{"a"}});
  const Record record = full_record();
  engine_.describes(0, &record);
  const Container container = open();
  const Subfile subfile = container.at(0);
  EXPECT_EQ(subfile.rawname(), "folder/name");
  EXPECT_EQ(subfile.type(), subfile_type::embedded_object);
  EXPECT_EQ(subfile.size(), 5'000'000'000);
  EXPECT_EQ(subfile.time(), 128'790'414'900'000'000);
  EXPECT_FALSE(subfile.is_folder());
  EXPECT_EQ(subfile.parent(), -1);
  EXPECT_EQ(subfile.children(), (Indices{1, -2}));
  const internal::SubfileInfo& info = subfile.implementation()->info();
  EXPECT_EQ(info.attr2, 0x1122334455667788U);
  EXPECT_EQ(info.attr3, 0x99AABBCCU);
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(ContainerAccess, WidensChildrenOfAnyNumberCompletely) {
  for (const std::vector<std::int32_t>& children :
       {std::vector<std::int32_t>{7}, {1, 2, 3}, {1, 2, 3, 4}, {1, -2, 3, -4, 2147483647}}) {
    scripted_engine::Subfile subfile{"a"};
    subfile.children = children;
    engine_.contains({subfile});
    const Container container = open();
    EXPECT_EQ(container.at(0).children(), Indices(children.begin(), children.end()));
  }
}

TEST_F(ContainerAccess, ASubfileWithoutARecordIsEmpty) {
  engine_.contains({{"a"}});
  engine_.describes(0, nullptr);
  const Container container = open();
  container.size();
  engine_.clear_log();
  const Subfile subfile = container.at(0);
  EXPECT_EQ(subfile.rawname(), "");
  EXPECT_EQ(subfile.size(), 0);
  EXPECT_EQ(subfile.time(), 0);
  EXPECT_EQ(subfile.parent(), 0);
  EXPECT_FALSE(subfile.is_folder());
  EXPECT_TRUE(subfile.children().empty());
  EXPECT_EQ(subfile.type(), subfile_type::file);
  EXPECT_EQ(engine_.operations(), Names{"query_subfile_info"});
}

TEST_F(ContainerAccess, AcceptsTheKnownTypesAlone) {
  scripted_engine::Subfile member{"a"};
  for (const std::uint32_t type : {0U, 1U, 2U, 3U, 4U, 6U, 7U, 8U, 9U, 10U}) {
    member.type = type;
    engine_.contains({member});
    const Container container = open();
    EXPECT_EQ(static_cast<std::uint32_t>(container.at(0).type()), type);
    EXPECT_EQ(container.at(0).is_folder(), type == 3) << type;
  }
  for (const std::uint32_t type : {5U, 11U, 12U, 0x80000000U, 0xFFFFFFFFU}) {
    member.type = type;
    engine_.contains({member});
    const Container container = open();
    const Subfile subfile = container.at(0);
    const Failure failure = failure_of([&] { subfile.type(); });
    EXPECT_EQ(failure.type, "logic_error") << type;
    EXPECT_EQ(failure.message, "unknown subfile type") << type;
  }
}

TEST_F(ContainerAccess, ASubfileOfTypeFiveAnswersEverythingElse) {
  scripted_engine::Subfile member{"odd"};
  member.type = 5;
  member.size = 9;
  engine_.contains({member});
  const Container container = open();
  const Subfile subfile = container.at(0);
  EXPECT_THROW(subfile.type(), std::logic_error);
  EXPECT_EQ(subfile.rawname(), "odd");
  EXPECT_EQ(subfile.size(), 9);
  EXPECT_FALSE(subfile.is_folder());
}

TEST_F(ContainerAccess, CutsTheIndexTo32Bits) {
  engine_.contains({{"a"}});
  const Container container = open();
  container.size();
  const Subfile far(0x1'0000'0000L, container.implementation());
  EXPECT_EQ(far.rawname(), "a");
  EXPECT_EQ(engine_.calls_of("query_subfile_info").at(0).arguments[1], 0U);
  EXPECT_EQ(far.index(), 0x1'0000'0000L);
}

TEST_F(ContainerAccess, ThrowsTheCodeOfTheQueryAndAsksAgain) {
  engine_.contains({{"a"}});
  engine_.answers_once("query_subfile_info", 32);
  const Container container = open();
  const Subfile subfile = container.at(0);
  EXPECT_EQ(failure_of([&] { subfile.size(); }).code, 32);
  EXPECT_EQ(subfile.rawname(), "a");
}

TEST_F(ContainerAccess, IgnoresTheStatusOfTheRelease) {
  engine_.contains({{"a"}});
  const Container container = open();
  container.size();
  engine_.answers("free_info", 26);
  EXPECT_EQ(container.at(0).rawname(), "a");
}

TEST_F(ContainerAccess, RefusesANullNameAndGivesTheRecordBack) {
  engine_.contains({{"a"}});
  const Record record = Record(80);
  engine_.describes(0, &record);
  const Container container = open();
  EXPECT_EQ(failure_of([&] { container.at(0).size(); }).type, "logic_error");
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(ContainerAccess, RefusesANegativeNumberOfChildren) {
  engine_.contains({{"a"}});
  const Record record = Record(80).text(16, "a").u32(68, 0xFFFFFFFF);
  engine_.describes(0, &record);
  const Container container = open();
  const Failure failure = failure_of([&] { container.at(0).size(); });
  EXPECT_EQ(failure.type, "length_error");
  EXPECT_EQ(failure.message, "cannot create std::vector larger than max_size()");
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(ContainerAccess, TakesANullArrayOfChildrenForNone) {
  engine_.contains({{"a"}});
  const Record record = Record(80).text(16, "a").u32(68, 0x7FFFFFFF);
  engine_.describes(0, &record);
  const Container container = open();
  EXPECT_TRUE(container.at(0).children().empty());
}

TEST_F(ContainerAccess, ACopiedSubfileTakesTheReadAttributesAlong) {
  engine_.contains({{"a"}, {"b"}});
  const Container container = open();
  Subfile read = container.at(0);
  EXPECT_EQ(read.rawname(), "a");
  engine_.clear_log();
  const Subfile copy = read;
  EXPECT_EQ(copy.rawname(), "a");
  EXPECT_EQ(engine_.operations(), Names{});
  EXPECT_NE(&copy.rawname(), &read.rawname());
  read = container.at(1);
  EXPECT_EQ(read.rawname(), "b");
  EXPECT_EQ(copy.rawname(), "a");
}

TEST_F(ContainerAccess, PassesAnExceptionOfTheSourceThroughTheEngine) {
  struct FailingSource {
    long read(char*, long) { throw std::domain_error("the source's own"); }
    int seek(long, int) { return 0; }
    long tell() { return 0; }
  } source;
  const Container container =
      internal::subfiles(session_.implementation(), generic_io::Input(source));
  engine_.on("open_file", [](Call& call) {
    return Word{InputStream(u64_at(call.records[0], 24)).read(1).size()};
  });
  EXPECT_THROW(container.size(), std::domain_error);
}

// ---- Iteration ----------------------------------------------------------------------------------

using SubfileIterator = ContainerTest;

TEST_F(SubfileIterator, VisitsEveryIndexOnceWithEitherIncrement) {
  engine_.contains({{"a"}, {"b"}, {"c"}});
  const Container container = open();
  Names before;
  for (auto it = container.begin(); it != container.end(); ++it) before.push_back(it->rawname());
  EXPECT_EQ(before, (Names{"a", "b", "c"}));
  Names after;
  for (auto it = container.begin(); it != container.end(); it++) after.push_back((*it).rawname());
  EXPECT_EQ(after, (Names{"a", "b", "c"}));
  Names ranged;
  for (const Subfile& subfile : container) ranged.push_back(subfile.rawname());
  EXPECT_EQ(ranged, (Names{"a", "b", "c"}));
}

TEST_F(SubfileIterator, PrefixIncrementReturnsTheStateBeforeTheStep) {
  engine_.contains({{"a"}, {"b"}});
  const Container container = open();
  auto it = container.begin();
  const auto returned = ++it;
  EXPECT_EQ(returned->index(), 0);
  EXPECT_EQ(it->index(), 1);
  EXPECT_TRUE(returned == container.begin());
}

TEST_F(SubfileIterator, PostfixIncrementReturnsTheStateAfterTheStep) {
  engine_.contains({{"a"}, {"b"}});
  const Container container = open();
  auto it = container.begin();
  const auto returned = it++;
  EXPECT_EQ(returned->index(), 1);
  EXPECT_EQ(it->index(), 1);
}

TEST_F(SubfileIterator, ReachesTheEndWithASubfileThatIsNotRead) {
  engine_.contains({{"a"}});
  const Container container = open();
  auto it = container.begin();
  engine_.clear_log();
  ++it;
  EXPECT_TRUE(it == container.end());
  EXPECT_EQ(it->index(), 1);
  EXPECT_EQ(engine_.operations(), Names{});
}

TEST_F(SubfileIterator, ComparesIndicesAlone) {
  engine_.contains({{"a"}});
  const Container first = open();
  const Container second = open();
  EXPECT_TRUE(first.begin() == second.begin());
  EXPECT_TRUE(first.begin() != second.end());
}

TEST_F(SubfileIterator, StepsToAFreshSubfile) {
  engine_.contains({{"a"}, {"b"}});
  const Container container = open();
  auto it = container.begin();
  EXPECT_EQ(it->rawname(), "a");
  it++;
  EXPECT_EQ(it->rawname(), "b");
}

}  // namespace
