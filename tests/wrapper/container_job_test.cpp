#include <gtest/gtest.h>

#include <deque>
#include <set>

#include "tests/wrapper/support.h"

namespace {

using namespace tarnis;
using scripted_engine::Call;
using scripted_engine::InputStream;
using scripted_engine::Word;
using test::Archives;
using test::contents_of;
using test::Failure;
using test::failure_of;
using test::folder;
using test::member;
using test::mode_of;
using test::Names;
using test::NoMoreFiles;
using test::ProcessorTest;

namespace fs = std::filesystem;

const std::string corrupt =
    "Tarnis error 4: The document appears to be corrupt and can not be processed";
const std::string undetected = "Tarnis error 10: Unable to detect the format of the document";
const std::string top = "=== Root ===\nTop Level File\n";

/// The job on an engine whose text of a document is "text of " with the document's bytes.
class ContainerJob : public ProcessorTest {
 protected:
  ContainerJob() {
    engine_.on("next_chunk", [this](Call& call) {
      if (!served_.insert(call.arguments[1]).second) return Word{0};
      texts_.push_back("text of " + InputStream(engine_.stream_of(call.arguments[1])).read_all());
      scripted_engine::put_u64(call.arguments[2], 0,
                               scripted_engine::word_of(texts_.back().data()));
      scripted_engine::put_u32(call.arguments[2], 8,
                               static_cast<std::uint32_t>(texts_.back().size()));
      return Word{0};
    });
  }

  /// The members of the document.
  void contains(const Archives::Members& members) { archives_.add("the document", members); }

  /// Runs the job. @return the framed text
  std::string filtered() { return contents_of(processor_.IFFilterContainer().string()); }

  /// Standard output after the line with the path.
  std::string progress() const { return streams_.out().substr(streams_.out().find('\n') + 1); }

  /// The frame and text of a member that is detected and filtered.
  std::string block(const std::string& name, const std::string& index, const std::string& container,
                    const std::string& bytes) const {
    return "=== " + name + " ===\n--- Subfile " + index + " of " + container + " ---\n\n" +
           description_ + "text of " + bytes + "\n";
  }

  static std::string report(const std::string& index, const std::string& name,
                            const std::string& container, const std::string& what) {
    return "Error extracting subfile " + index + " (" + name + ") from " + container + "\n" + what +
           "\n";
  }

  const std::string description_ = "--- " + detection_->get()->description() + " ---\n";
  const std::string top_block_ = top + description_ + "text of the document\n";
  Archives archives_{engine_};

 private:
  std::set<Word> served_;
  std::deque<std::string> texts_;
};

// ---- The framed text ----------------------------------------------------------------------------

TEST_F(ContainerJob, FramesTheDocumentAndItsMembers) {
  contains({member("a.txt", "A"), member("dir/b.txt", "B")});
  EXPECT_EQ(filtered(),
            top_block_ + block("a.txt", "0", "Root", "A") + block("dir/b.txt", "1", "Root", "B"));
  ASSERT_EQ(announced().size(), 1U);
  EXPECT_EQ(streams_.out(), "Output file is '" + announced()[0] +
                                "'\n--- Subfile 0 of Root ---\n--- Subfile 1 of Root ---\n");
  EXPECT_EQ(streams_.err(), "");
  EXPECT_EQ(output_path(), announced()[0]);
}

TEST_F(ContainerJob, DescribesWhatTheEngineDetects) {
  engine_.detects({8, 431, 0, 0});
  EXPECT_EQ(filtered(), top + "--- " + v1::DetectionInfo(8, 431, 0, 0).description() +
                            " ---\ntext of the document\n");
}

TEST_F(ContainerJob, AsksTheEngineInOrderAndGivesEverythingBack) {
  contains({folder("d"), member("a.txt", "A")});
  filtered();
  const Names text = {"detect_format", "open_stream", "prepare",     "next_chunk",
                      "release_chunk", "next_chunk",  "close_stream"};
  const Names opening = {"open_file", "get_main_file_info", "free_info"};
  Names expected = text;
  expected.insert(expected.end(), opening.begin(), opening.end());
  for (const char* const call : {"query_subfile_info", "free_info", "query_subfile_info",
                                 "free_info", "extract_subfile", "free_info"}) {
    expected.emplace_back(call);
  }
  expected.insert(expected.end(), text.begin(), text.end());
  expected.insert(expected.end(), opening.begin(), opening.end());
  expected.insert(expected.end(), {"close_file", "close_file"});
  EXPECT_EQ(engine_.operations(), expected);
  EXPECT_EQ(engine_.outstanding(), 0U);
  EXPECT_EQ(engine_.open_streams(), 0U);
}

TEST_F(ContainerJob, GivesTheTopBlockAloneForAnEmptyContainer) {
  EXPECT_EQ(filtered(), top_block_);
  EXPECT_EQ(progress(), "");
  EXPECT_EQ(streams_.err(), "");
}

TEST_F(ContainerJob, NumbersMembersByTheirIndexSoThatFoldersLeaveGaps) {
  contains({folder("x"), member("a", "A"), folder("y"), folder("z"), member("b", "B")});
  EXPECT_EQ(filtered(), top_block_ + block("a", "1", "Root", "A") + block("b", "4", "Root", "B"));
  EXPECT_EQ(progress(), "--- Subfile 1 of Root ---\n--- Subfile 4 of Root ---\n");
}

TEST_F(ContainerJob, NestsArchivesUnderTheirRawNames) {
  contains({folder("d"), member("../in.zip", "inner"), member("z.txt", "Z")});
  archives_.add("inner", {member("deep.txt", "D"), member("deep.zip", "deeper")});
  archives_.add("deeper", {member("deepest.txt", "E")});
  EXPECT_EQ(filtered(), top_block_ + block("../in.zip", "1", "Root", "inner") +
                            block("deep.txt", "0", "../in.zip", "D") +
                            block("deep.zip", "1", "../in.zip", "deeper") +
                            block("deepest.txt", "0", "deep.zip", "E") +
                            block("z.txt", "2", "Root", "Z"));
  EXPECT_EQ(progress(),
            "--- Subfile 1 of Root ---\n--- Subfile 0 of ../in.zip ---\n"
            "--- Subfile 1 of ../in.zip ---\n--- Subfile 0 of deep.zip ---\n"
            "--- Subfile 2 of Root ---\n");
  EXPECT_EQ(streams_.err(), "");
}

TEST_F(ContainerJob, FollowsDeepNesting) {
  constexpr int levels = 200;
  std::string expected = top_block_;
  archives_.add("the document", {member("0", "d0")});
  std::string container = "Root";
  for (int i = 0; i < levels; ++i) {
    const std::string name = std::to_string(i);
    archives_.add("d" + name, {member(std::to_string(i + 1), "d" + std::to_string(i + 1))});
    expected += block(name, "0", container, "d" + name);
    container = name;
  }
  expected += block(std::to_string(levels), "0", container, "d" + std::to_string(levels));
  EXPECT_EQ(filtered(), expected);
}

TEST_F(ContainerJob, ExtractsAnEmptyMemberAsAnEmptyDocument) {
  contains({member("empty", "")});
  EXPECT_EQ(filtered(), top_block_ + block("empty", "0", "Root", ""));
}

TEST_F(ContainerJob, WritesNothingButItsOneFile) {
  contains({member("a.txt", "A")});
  const fs::path path = processor_.IFFilterContainer();
  EXPECT_EQ(mode_of(path), 0600U);
  EXPECT_TRUE(fs::is_regular_file(path));
}

TEST_F(ContainerJob, MakesAnotherFileForEveryCall) {
  const fs::path first = processor_.IFFilterContainer();
  const fs::path second = processor_.IFFilterContainer();
  EXPECT_NE(first, second);
  EXPECT_EQ(contents_of(first.string()), top_block_);
  EXPECT_EQ(contents_of(second.string()), top_block_);
  EXPECT_EQ(output_path(), second.string());
}

// ---- Detection that fails -----------------------------------------------------------------------

TEST_F(ContainerJob, SilentlySkipsTheTextOfADocumentWhoseFormatIsNotSupported) {
  contains({member("a.txt", "A")});
  engine_.once("detect_format", [](Call&) -> Word { throw v1::format_not_supported_error(); });
  EXPECT_EQ(filtered(), top + "\n" + block("a.txt", "0", "Root", "A"));
  EXPECT_EQ(engine_.count_of("open_stream"), 1U);
  EXPECT_EQ(streams_.err(), "");
}

TEST_F(ContainerJob, ReportsAFailedDetectionAndFiltersAllTheSame) {
  contains({member("a.txt", "A")});
  engine_.answers_once("detect_format", 0);
  EXPECT_EQ(filtered(), top + "text of the document\n" + block("a.txt", "0", "Root", "A"));
  EXPECT_EQ(streams_.err(), "Error detecting: Root\n" + undetected + "\n");
}

TEST_F(ContainerJob, ReportsAMemberWhoseFormatIsUnknown) {
  contains({member("a.bin", "A"), member("b.txt", "B")});
  engine_.on("detect_format", [](Call& call) {
    const bool known = InputStream(call.arguments[1]).read_all() != "A";
    scripted_engine::put_u32(call.arguments[2], 0, 1);
    scripted_engine::put_u32(call.arguments[2], 4, known ? 2 : 0);
    return Word{1};
  });
  EXPECT_EQ(filtered(), top_block_ + "=== a.bin ===\n--- Subfile 0 of Root ---\n\ntext of A\n" +
                            block("b.txt", "1", "Root", "B"));
  EXPECT_EQ(streams_.err(),
            "Error detecting: a.bin\nTarnis error 11: The document format was not recognized\n");
}

TEST_F(ContainerJob, LeavesTheHeaderLinesOfAMemberWhoseFormatIsNotSupported) {
  contains({member("a.bin", "A"), member("b.txt", "B")});
  engine_.on("detect_format", [](Call& call) {
    if (InputStream(call.arguments[1]).read_all() == "A") throw v1::format_not_supported_error();
    scripted_engine::put_u32(call.arguments[2], 0, 1);
    scripted_engine::put_u32(call.arguments[2], 4, 2);
    return Word{1};
  });
  EXPECT_EQ(filtered(), top_block_ + "=== a.bin ===\n--- Subfile 0 of Root ---\n\n\n" +
                            block("b.txt", "1", "Root", "B"));
  EXPECT_EQ(streams_.err(), "");
}

// ---- Filtering that fails -----------------------------------------------------------------------

TEST_F(ContainerJob, SilentlyGoesOnWhenTheTextIsNotSupported) {
  contains({member("a.txt", "A")});
  engine_.answers_once("prepare", 7);
  EXPECT_EQ(filtered(), top + description_ + "\n" + block("a.txt", "0", "Root", "A"));
  EXPECT_EQ(streams_.err(), "");
}

TEST_F(ContainerJob, ReportsAFailedFilterAndKeepsWhatWasWritten) {
  contains({member("a.txt", "A")});
  const std::string part = "part";
  engine_.once("next_chunk", [&part](Call& call) {
    scripted_engine::put_u64(call.arguments[2], 0, scripted_engine::word_of(part.data()));
    scripted_engine::put_u32(call.arguments[2], 8, 4);
    return Word{0};
  });
  engine_.answers_once("next_chunk", 4);
  EXPECT_EQ(filtered(), top + description_ + "part\n" + block("a.txt", "0", "Root", "A"));
  EXPECT_EQ(streams_.err(), "Error filtering: Root\n" + corrupt + "\n");
}

TEST_F(ContainerJob, ReportsAPasswordUnderTheTitleOfTheMember) {
  contains({member("a.txt", "A")});
  engine_.answers_once("prepare", 0);
  engine_.answers_once("prepare", 8);
  EXPECT_EQ(filtered(),
            top_block_ + "=== a.txt ===\n--- Subfile 0 of Root ---\n\n" + description_ + "\n");
  EXPECT_EQ(streams_.err(),
            "Error filtering: a.txt\nTarnis error: The file is password protected\n");
}

TEST_F(ContainerJob, ReportsDetectionAndFilteringEach) {
  engine_.answers_once("detect_format", 0);
  engine_.answers_once("prepare", 4);
  EXPECT_EQ(filtered(), top + "\n");
  EXPECT_EQ(streams_.err(),
            "Error detecting: Root\n" + undetected + "\nError filtering: Root\n" + corrupt + "\n");
}

// ---- Members that fail --------------------------------------------------------------------------

TEST_F(ContainerJob, ReportsAMemberThatCannotBeExtractedWithoutABlock) {
  contains({member("bad", "1"), member("good", "2")});
  engine_.answers_once("extract_subfile", 4);
  EXPECT_EQ(filtered(), top_block_ + block("good", "1", "Root", "2"));
  EXPECT_EQ(streams_.err(), report("0", "bad", "Root", corrupt));
  EXPECT_EQ(progress(), "--- Subfile 1 of Root ---\n");
}

TEST_F(ContainerJob, ReportsAMemberWhoseExtractionIsNotSupported) {
  contains({member("bad", "1")});
  engine_.answers_once("extract_subfile", 7);
  const std::string what = failure_of([] { v1::internal::throw_on_error(7); }).message;
  EXPECT_EQ(filtered(), top_block_);
  EXPECT_EQ(streams_.err(), report("0", "bad", "Root", what));
}

TEST_F(ContainerJob, ReportsAnExternalMember) {
  contains({member("outside")});
  engine_.extracts(0, 8, "/somewhere/else");
  EXPECT_EQ(filtered(), top_block_);
  EXPECT_EQ(streams_.err(),
            report("0", "outside", "Root",
                   "Tarnis error: Subfile is stored externally and linked to by the document"));
}

TEST_F(ContainerJob, ReportsAMemberWhoseAttributesCannotBeReadAndGoesOn) {
  contains({member("unread", "1"), member("good", "2")});
  engine_.answers_once("query_subfile_info", 4);
  EXPECT_EQ(filtered(), top_block_ + block("good", "1", "Root", "2"));
  EXPECT_EQ(streams_.err(), report("0", "", "Root", corrupt));
}

TEST_F(ContainerJob, ReportsAMemberOfAnotherContainerByItsName) {
  contains({member("in.zip", "inner")});
  archives_.add("inner", {member("bad", "1"), member("good", "2")});
  engine_.once("extract_subfile", [](Call& call) {
    scripted_engine::OutputStream(scripted_engine::u64_at(call.records[0], 56)).write("inner");
    return Word{0};
  });
  engine_.answers_once("extract_subfile", 4);
  EXPECT_EQ(filtered(),
            top_block_ + block("in.zip", "0", "Root", "inner") + block("good", "1", "in.zip", "2"));
  EXPECT_EQ(streams_.err(), report("0", "bad", "in.zip", corrupt));
}

TEST_F(ContainerJob, KeepsTheBlockOfAMemberThatIsNoContainerAndReportsIt) {
  contains({member("a.txt", "A"), member("b.txt", "B")});
  archives_.refuse_others(7);
  const std::string what = failure_of([] { v1::internal::throw_on_error(7); }).message;
  EXPECT_EQ(filtered(),
            top_block_ + block("a.txt", "0", "Root", "A") + block("b.txt", "1", "Root", "B"));
  EXPECT_EQ(streams_.err(),
            report("0", "a.txt", "Root", what) + report("1", "b.txt", "Root", what));
}

TEST_F(ContainerJob, TakesAMissingDescriptionForANamelessMember) {
  contains({member("never", "A")});
  engine_.answers_once("query_subfile_info", 0);
  EXPECT_EQ(filtered(), top_block_ + block("", "0", "Root", "A"));
}

TEST_F(ContainerJob, TakesMissingMainInformationForNoMembers) {
  contains({member("never", "A")});
  engine_.answers_once("get_main_file_info", 0);
  EXPECT_EQ(filtered(), top_block_);
  EXPECT_EQ(streams_.err(), "");
}

// ---- What ends the job --------------------------------------------------------------------------

TEST_F(ContainerJob, LetsTheRefusalOfTheTopContainerOutAfterItsTextIsWritten) {
  archives_.refuse_others(7);
  EXPECT_EQ(failure_of([&] { processor_.IFFilterContainer(); }).type, "format_not_supported_error");
  ASSERT_EQ(announced().size(), 1U);
  EXPECT_EQ(contents_of(announced()[0]), top_block_);
  EXPECT_EQ(streams_.err(), "");
  EXPECT_EQ(output_path(), announced()[0]);
}

TEST_F(ContainerJob, EndsAtWhatIsNoStandardException) {
  contains({member("one", "1"), member("two", "2")});
  engine_.on("extract_subfile", [](Call&) -> Word { throw 42; });
  EXPECT_THROW(processor_.IFFilterContainer(), int);
  ASSERT_EQ(announced().size(), 1U);
  EXPECT_EQ(contents_of(announced()[0]), top_block_);
  EXPECT_EQ(engine_.count_of("extract_subfile"), 1U);
  EXPECT_EQ(streams_.err(), "");
}

TEST_F(ContainerJob, EndsAtADetectionThatThrowsNoStandardException) {
  engine_.on("detect_format", [](Call&) -> Word { throw 42; });
  EXPECT_THROW(processor_.IFFilterContainer(), int);
  ASSERT_EQ(announced().size(), 1U);
  EXPECT_EQ(contents_of(announced()[0]), top);
}

TEST_F(ContainerJob, RefusesWhenTheFileCannotBeMade) {
  SKIP_WHERE_CHECKS_NEED_FILES();
  const Failure failure = failure_of([&] {
    const NoMoreFiles none;
    processor_.IFFilterContainer();
  });
  EXPECT_EQ(failure.type, "runtime_error");
  EXPECT_NE(output_path(), "");
  EXPECT_EQ(failure.message, "Could not create output file at path: " + output_path());
  EXPECT_EQ(streams_.out() + streams_.err(), "");
  EXPECT_EQ(engine_.count_of("detect_format"), 0U);
}

}  // namespace
