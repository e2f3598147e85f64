#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "tests/wrapper/support.h"

namespace {

using namespace tarnis;
using scripted_engine::Call;
using scripted_engine::OutputStream;
using scripted_engine::Record;
using scripted_engine::Word;
using test::contents_of;
using test::failure_of;
using test::folder;
using test::member;
using test::mode_of;
using test::Names;
using test::ProcessorTest;

namespace fs = std::filesystem;

class ExtractionJob : public ProcessorTest {
 protected:
  void contains(const std::vector<scripted_engine::Subfile>& members) { engine_.contains(members); }

  /// Every file and directory below `directory`, sorted, directories with a "/" at their end.
  static Names tree(const fs::path& directory) {
    Names names;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(directory)) {
      names.push_back(fs::relative(entry.path(), directory).string() +
                      (entry.is_directory() ? "/" : ""));
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  static std::string report(const std::string& index, const std::string& name,
                            const std::string& what) {
    return "Error extracting subfile " + index + "\nName: " + name + "\n" + what + "\n\n";
  }
};

const std::string corrupt =
    "Tarnis error 4: The document appears to be corrupt and can not be processed";

TEST_F(ExtractionJob, WritesEveryMemberBelowANewDirectory) {
  contains({member("one", "the first"), member("empty"), member("two", "the second")});
  const fs::path directory = processor_.IFExtract();
  EXPECT_EQ(tree(directory), (Names{"empty", "one", "two"}));
  EXPECT_EQ(contents_of(directory / "one"), "the first");
  EXPECT_EQ(contents_of(directory / "empty"), "");
  EXPECT_EQ(contents_of(directory / "two"), "the second");
  EXPECT_EQ(streams_.out(), "Extracting to '" + directory.string() + "'\n");
  EXPECT_EQ(streams_.err(), "");
  EXPECT_EQ(output_path(), directory.string());
}

TEST_F(ExtractionJob, AsksTheEngineMemberByMemberAndGivesEverythingBack) {
  contains({member("one", "1"), folder("d"), member("two", "2")});
  processor_.IFExtract();
  EXPECT_EQ(
      engine_.operations(),
      (Names{"open_file", "get_main_file_info", "free_info", "query_subfile_info", "free_info",
             "extract_subfile", "free_info", "query_subfile_info", "free_info",
             "query_subfile_info", "free_info", "extract_subfile", "free_info", "close_file"}));
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(ExtractionJob, MakesDirectoriesForMembersButNotForFolders) {
  contains({folder("left/out"), member("a/b/c.txt", "deep")});
  const fs::path directory = processor_.IFExtract();
  EXPECT_EQ(tree(directory), (Names{"a/", "a/b/", "a/b/c.txt"}));
  EXPECT_EQ(contents_of(directory / "a/b/c.txt"), "deep");
}

TEST_F(ExtractionJob, MakesFilesAndDirectoriesForTheOwnerAlone) {
  contains({member("a/b/c.txt", "deep"), member("top", "1")});
  const fs::path directory = processor_.IFExtract();
  EXPECT_EQ(mode_of(directory), 0700U);
  EXPECT_EQ(mode_of(directory / "a"), 0700U);
  EXPECT_EQ(mode_of(directory / "a/b"), 0700U);
  EXPECT_EQ(mode_of(directory / "a/b/c.txt"), 0600U);
  EXPECT_EQ(mode_of(directory / "top"), 0600U);
}

TEST_F(ExtractionJob, UsesAnotherDirectoryForEveryCall) {
  contains({member("one", "1")});
  const fs::path first = processor_.IFExtract();
  const fs::path second = processor_.IFExtract();
  EXPECT_NE(first, second);
  EXPECT_EQ(tree(first), Names{"one"});
  EXPECT_EQ(tree(second), Names{"one"});
  EXPECT_EQ(output_path(), second.string());
}

TEST_F(ExtractionJob, GivesAnEmptyDirectoryForAnEmptyContainer) {
  EXPECT_EQ(tree(processor_.IFExtract()), Names{});
}

TEST_F(ExtractionJob, ReplacesAMemberByALaterOneOfItsName) {
  contains({member("same", "the longer first"), member("../same", "second")});
  const fs::path directory = processor_.IFExtract();
  EXPECT_EQ(tree(directory), Names{"same"});
  EXPECT_EQ(contents_of(directory / "same"), "second");
  EXPECT_EQ(streams_.err(), "");
}

TEST_F(ExtractionJob, PutsAnAbsoluteNameUnderItsLeaf) {
  contains({member("/etc/passwd", "not there")});
  const fs::path directory = processor_.IFExtract();
  EXPECT_EQ(tree(directory), Names{"passwd"});
  EXPECT_EQ(contents_of(directory / "passwd"), "not there");
}

// ---- Members that fail --------------------------------------------------------------------------

TEST_F(ExtractionJob, ReportsAMemberThatFailsAndGoesOn) {
  contains({member("bad/one", "1"), member("good", "2")});
  engine_.answers_once("extract_subfile", 4);
  const fs::path directory = processor_.IFExtract();
  EXPECT_EQ(tree(directory), (Names{"bad/", "bad/one", "good"}));
  EXPECT_EQ(contents_of(directory / "bad/one"), "");
  EXPECT_EQ(contents_of(directory / "good"), "2");
  EXPECT_EQ(streams_.err(), report("0", "bad/one", corrupt));
  EXPECT_EQ(streams_.out(), "Extracting to '" + directory.string() + "'\n");
}

TEST_F(ExtractionJob, KeepsThePartOfAMemberThatFails) {
  contains({member("part", "whole")});
  engine_.once("extract_subfile", [](Call& call) {
    OutputStream(scripted_engine::u64_at(call.records[0], 56)).write("wh");
    return Word{4};
  });
  const fs::path directory = processor_.IFExtract();
  EXPECT_EQ(contents_of(directory / "part"), "wh");
  EXPECT_EQ(streams_.err(), report("0", "part", corrupt));
}

TEST_F(ExtractionJob, ReturnsTheDirectoryWhenEveryMemberFails) {
  contains({member("a/one"), member("two")});
  engine_.answers("extract_subfile", 4);
  const fs::path directory = processor_.IFExtract();
  EXPECT_EQ(tree(directory), (Names{"a/", "a/one", "two"}));
  EXPECT_EQ(streams_.err(), report("0", "a/one", corrupt) + report("1", "two", corrupt));
}

TEST_F(ExtractionJob, ReportsTheRawNameOfAMember) {
  contains({member("../climbs", "1")});
  engine_.answers("extract_subfile", 4);
  processor_.IFExtract();
  EXPECT_EQ(streams_.err(), report("0", "../climbs", corrupt));
}

TEST_F(ExtractionJob, ReportsAMemberWhoseFileCannotBeMadeAndGoesOn) {
  contains({member("taken/one", "1"), member("taken", "2"), member("", "3"), member("dir/", "4"),
            member("/..", "5"), member("last", "6")});
  const fs::path directory = processor_.IFExtract();
  EXPECT_EQ(tree(directory), (Names{"dir/", "last", "taken/", "taken/one"}));
  const std::string message = "Could not create output file at path: " + directory.string() + "/";
  EXPECT_EQ(streams_.err(), report("1", "taken", message + "taken") + report("2", "", message) +
                                report("3", "dir/", message + "dir/") +
                                report("4", "/..", message + ".."));
  EXPECT_EQ(engine_.count_of("extract_subfile"), 2U);
}

TEST_F(ExtractionJob, ReportsAnExternalMember) {
  contains({member("outside"), member("other")});
  engine_.extracts(0, 8, "/somewhere/else");
  const fs::path directory = processor_.IFExtract();
  const std::string what =
      "Tarnis error: Subfile is stored externally and linked to by the document";
  EXPECT_EQ(streams_.err(), report("0", "outside", what) + report("1", "other", what));
  EXPECT_EQ(engine_.outstanding(), 0U);
}

TEST_F(ExtractionJob, TakesAMissingResultForSuccess) {
  contains({member("one")});
  engine_.answers("extract_subfile", 0);
  EXPECT_EQ(tree(processor_.IFExtract()), Names{"one"});
  EXPECT_EQ(streams_.err(), "");
}

TEST_F(ExtractionJob, TakesAMissingDescriptionForANamelessMember) {
  contains({member("one")});
  engine_.describes(0, nullptr);
  const fs::path directory = processor_.IFExtract();
  EXPECT_EQ(tree(directory), Names{});
  EXPECT_EQ(streams_.err(),
            report("0", "", "Could not create output file at path: " + directory.string() + "/"));
}

// ---- What ends the job --------------------------------------------------------------------------

TEST_F(ExtractionJob, EndsAtANameThatClimbsAboveTheDirectory) {
  contains({member("before", "1"), member("../../x", "2"), member("after", "3")});
  EXPECT_EQ(failure_of([&] { processor_.IFExtract(); }).type, "out_of_range");
  ASSERT_EQ(announced().size(), 1U);
  EXPECT_EQ(tree(announced()[0]), Names{"before"});
  EXPECT_EQ(contents_of(announced()[0] + "/before"), "1");
  EXPECT_EQ(output_path(), announced()[0]);
  EXPECT_EQ(engine_.count_of("close_file"), 1U);
  EXPECT_EQ(engine_.outstanding(), 0U);
  EXPECT_EQ(streams_.err(), "");
}

TEST_F(ExtractionJob, EndsAtANameThatClimbsBehindDots) {
  for (const std::string name : {"./../escaped", "a/./../../escaped", "./../escaped/x",
                                 "././../../escaped/x", "./..//escaped"}) {
    contains({member("before", "1"), member(name, "2"), member("after", "3")});
    EXPECT_EQ(failure_of([&] { processor_.IFExtract(); }).type, "out_of_range") << name;
    const fs::path directory = announced().back();
    EXPECT_EQ(tree(directory), Names{"before"}) << name;
    for (const fs::path& above : {directory.parent_path(), directory.parent_path().parent_path()}) {
      EXPECT_FALSE(fs::exists(above / "escaped")) << name;
      fs::remove_all(above / "escaped");
    }
  }
}

TEST_F(ExtractionJob, EndsAtADirectoryThatCannotBeMade) {
  contains({member("file", "1"), member("file/below", "2"), member("after", "3")});
  EXPECT_THROW(processor_.IFExtract(), fs::filesystem_error);
  ASSERT_EQ(announced().size(), 1U);
  EXPECT_EQ(tree(announced()[0]), Names{"file"});
  EXPECT_EQ(contents_of(announced()[0] + "/file"), "1");
  EXPECT_EQ(streams_.err(), "");
}

TEST_F(ExtractionJob, EndsAtAMemberWhoseAttributesCannotBeRead) {
  contains({member("before", "1"), member("unread"), member("after", "3")});
  engine_.on("query_subfile_info", [this](Call& call) {
    if (call.arguments[1] == 1) return Word{4};
    const Record info = Record(80).text(16, "before");
    engine_.hand_out(call.arguments[2], &info);
    return Word{0};
  });
  EXPECT_EQ(failure_of([&] { processor_.IFExtract(); }).code, 4);
  ASSERT_EQ(announced().size(), 1U);
  EXPECT_EQ(tree(announced()[0]), Names{"before"});
  EXPECT_EQ(streams_.err(), "");
}

TEST_F(ExtractionJob, EndsAtWhatIsNoStandardException) {
  contains({member("one", "1"), member("two", "2")});
  engine_.on("extract_subfile", [](Call&) -> Word { throw 42; });
  EXPECT_THROW(processor_.IFExtract(), int);
  ASSERT_EQ(announced().size(), 1U);
  EXPECT_EQ(tree(announced()[0]), Names{"one"});
  EXPECT_EQ(streams_.err(), "");
}

TEST_F(ExtractionJob, LetsTheRefusalOfTheContainerOutAfterTheDirectoryIsTold) {
  engine_.answers("open_file", 7);
  EXPECT_EQ(failure_of([&] { processor_.IFExtract(); }).type, "format_not_supported_error");
  ASSERT_EQ(announced().size(), 1U);
  EXPECT_EQ(streams_.out(), "Extracting to '" + announced()[0] + "'\n");
  EXPECT_TRUE(fs::is_empty(announced()[0]));
  EXPECT_EQ(output_path(), announced()[0]);
}

TEST_F(ExtractionJob, TellsNothingWhenThereIsNoTemporaryDirectory) {
  const fs::path before = processor_.IFFilterDocument();
  const std::string told = streams_.out();
  setenv("TMPDIR", "/dev/null/missing", 1);
  EXPECT_THROW(processor_.IFExtract(), fs::filesystem_error);
  unsetenv("TMPDIR");
  EXPECT_EQ(streams_.out(), told);
  EXPECT_EQ(streams_.err(), "");
  EXPECT_EQ(engine_.count_of("open_file"), 0U);
  EXPECT_EQ(output_path(), before.string());
}

}  // namespace
