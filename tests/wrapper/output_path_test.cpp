#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/wrapper/support.h"

namespace {

namespace fs = std::filesystem;
using Processor = tarnis::CTarnisDocumentProcessor;
using tarnis::test::contents_of;
using tarnis::test::mode_of;
using tarnis::test::TemporaryDirectory;
using tarnis::test::write_file;

TEST(OutputPath, KnowsTheSlashAsTheOnlySeparator) {
  EXPECT_EQ(Processor::separator_chars(), "/");
  EXPECT_EQ(Processor::get_leaf("a\\b"), "a\\b");
  EXPECT_FALSE(Processor::is_absolute_path("C:\\a"));
}

TEST(OutputPath, TakesTheEmptyPathForAbsolute) {
  EXPECT_TRUE(Processor::is_absolute_path(""));
}

TEST(OutputPath, TellsAbsoluteFromRelative) {
  EXPECT_TRUE(Processor::is_absolute_path("/"));
  EXPECT_TRUE(Processor::is_absolute_path("/a"));
  EXPECT_FALSE(Processor::is_absolute_path("a/b"));
  EXPECT_FALSE(Processor::is_absolute_path("./a"));
}

TEST(OutputPath, TakesTheLeafBehindTheLastSeparator) {
  EXPECT_EQ(Processor::get_leaf("a/b/c"), "c");
  EXPECT_EQ(Processor::get_leaf("/a"), "a");
  EXPECT_EQ(Processor::get_leaf("a"), "a");
  EXPECT_EQ(Processor::get_leaf(""), "");
}

TEST(OutputPath, HasAnEmptyLeafBehindATrailingSeparator) {
  EXPECT_EQ(Processor::get_leaf("a/b/"), "");
}

TEST(SafePath, TakesTheLeafOfAnAbsolutePath) {
  EXPECT_EQ(Processor::make_safe_path("/etc/passwd"), "passwd");
  EXPECT_EQ(Processor::make_safe_path("/.."), "..");
}

TEST(SafePath, KeepsTheEmptyPathEmpty) {
  EXPECT_EQ(Processor::make_safe_path(""), "");
}

TEST(SafePath, KeepsARelativePathWithItsTrailingSeparator) {
  EXPECT_EQ(Processor::make_safe_path("dir/"), "dir/");
}

TEST(SafePath, SendsARelativePathTheRelativeWay) {
  EXPECT_EQ(Processor::make_safe_path("../a"), "a");
}

TEST(SafeRelativePath, KeepsWhatNeverClimbs) {
  EXPECT_EQ(Processor::make_safe_relative_path("a/b/c"), "a/b/c");
  EXPECT_EQ(Processor::make_safe_relative_path("a/../b"), "a/../b");
}

TEST(SafeRelativePath, DropsWhatClimbsAboveTheStart) {
  EXPECT_EQ(Processor::make_safe_relative_path("../a"), "a");
  EXPECT_EQ(Processor::make_safe_relative_path("a/../../b"), "b");
  EXPECT_EQ(Processor::make_safe_relative_path("a/../../b/../c"), "c");
}

TEST(SafeRelativePath, NeverForgetsADepthBelowTheStart) {
  EXPECT_EQ(Processor::make_safe_relative_path("../../a/b/c"), "b/c");
  EXPECT_EQ(Processor::make_safe_relative_path("../../../a/b/c/d"), "c/d");
}

TEST(SafeRelativePath, CountsADotAsAStepDown) {
  EXPECT_EQ(Processor::make_safe_relative_path("./x"), "./x");
  EXPECT_EQ(Processor::make_safe_relative_path("./../x"), "./../x");
}

TEST(SafeRelativePath, CountsNamesOfMoreDotsAsNames) {
  EXPECT_EQ(Processor::make_safe_relative_path(".../a"), ".../a");
  EXPECT_EQ(Processor::make_safe_relative_path("..a/b"), "..a/b");
}

TEST(SafeRelativePath, KeepsSeparatorsAsTheyStand) {
  EXPECT_EQ(Processor::make_safe_relative_path("a//b/"), "a//b/");
  EXPECT_EQ(Processor::make_safe_relative_path("..//a//b/"), "a//b/");
  EXPECT_EQ(Processor::make_safe_relative_path("//a"), "//a");
}

TEST(SafeRelativePath, GivesSeparatorsAloneBack) {
  EXPECT_EQ(Processor::make_safe_relative_path("//"), "//");
  EXPECT_EQ(Processor::make_safe_relative_path(""), "");
}

TEST(SafeRelativePath, RefusesAPathThatEndsAboveItsStartAsOutOfRange) {
  for (const std::string path : {"..", "../../a", "a/../..", "../"}) {
    try {
      Processor::make_safe_relative_path(path);
      ADD_FAILURE() << path;
    } catch (const std::out_of_range& error) {
      EXPECT_EQ(error.what(),
                "basic_string::substr: __pos (which is 18446744073709551615) > "
                "this->size() (which is " +
                    std::to_string(path.size()) + ")");
    }
  }
}

TEST(IsDirectory, TellsADirectoryFromAFileAndFromNothing) {
  const TemporaryDirectory directory;
  write_file(directory.file("file"), "");
  EXPECT_TRUE(Processor::is_directory(directory.path().string()));
  EXPECT_FALSE(Processor::is_directory(directory.file("file")));
  EXPECT_FALSE(Processor::is_directory(directory.file("missing")));
  EXPECT_FALSE(Processor::is_directory(""));
}

TEST(IsDirectory, ThrowsWhenTheStatusCannotBeTold) {
  EXPECT_THROW(Processor::is_directory(std::string(5000, 'a')), fs::filesystem_error);
}

TEST(TemporaryDirectoryHelper, MakesANewEmptyDirectoryForTheOwnerAlone) {
  const fs::path first = Processor::create_temp_dir();
  const fs::path second = Processor::create_temp_dir();
  EXPECT_TRUE(first.is_absolute());
  EXPECT_NE(first, second);
  EXPECT_TRUE(fs::is_empty(first));
  EXPECT_EQ(mode_of(first), 0700U);
  fs::remove(first);
  fs::remove(second);
}

TEST(PrepareOutput, MakesTheDirectoriesButNotTheFile) {
  const TemporaryDirectory directory;
  const std::string base = directory.file("a/b");
  EXPECT_EQ(Processor::prepare_output(base, "c/d.txt"), directory.path() / "a/b/c/d.txt");
  EXPECT_TRUE(fs::is_directory(directory.path() / "a/b/c"));
  EXPECT_TRUE(fs::is_empty(directory.path() / "a/b/c"));
}

TEST(PrepareOutput, MakesDirectoriesForTheOwnerAloneAndLeavesOthersAsTheyAre) {
  const TemporaryDirectory directory;
  const fs::path open = directory.path() / "open";
  fs::create_directory(open);
  fs::permissions(open, fs::perms(0755));
  Processor::prepare_output(open.string(), "a/../b/c/d.txt");
  EXPECT_EQ(mode_of(open), 0755U);
  EXPECT_EQ(mode_of(open / "a"), 0700U);
  EXPECT_EQ(mode_of(open / "b"), 0700U);
  EXPECT_EQ(mode_of(open / "b/c"), 0700U);
}

TEST(PrepareOutput, LetsAnAbsoluteNameReplaceTheDirectory) {
  const TemporaryDirectory directory;
  const std::string name = directory.file("x/y.txt");
  EXPECT_EQ(Processor::prepare_output(directory.file("unused"), name), fs::path(name));
  EXPECT_TRUE(fs::is_directory(directory.path() / "x"));
  EXPECT_FALSE(fs::exists(directory.path() / "unused"));
}

TEST(PrepareOutput, MakesNothingWhereEveryDirectoryIsThere) {
  const TemporaryDirectory directory;
  EXPECT_EQ(Processor::prepare_output(directory.path().string(), "d.txt"),
            directory.path() / "d.txt");
  EXPECT_TRUE(fs::is_empty(directory.path()));
  EXPECT_EQ(Processor::prepare_output("", "d.txt"), fs::path("d.txt"));
}

TEST(PrepareOutput, ThrowsWhereADirectoryCannotBeMade) {
  const TemporaryDirectory directory;
  write_file(directory.file("file"), "kept");
  EXPECT_THROW(Processor::prepare_output(directory.file("file"), "a/b.txt"), fs::filesystem_error);
  EXPECT_THROW(Processor::prepare_output(directory.path().string(), std::string(300, 'a') + "/b"),
               fs::filesystem_error);
  EXPECT_EQ(contents_of(directory.file("file")), "kept");
}

}  // namespace
