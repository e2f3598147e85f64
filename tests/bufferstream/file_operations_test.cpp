#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "bufferstream/CBufferStream.h"
#include "bufferstream/CFileOperations.h"
#include "tests/bufferstream/support.h"

namespace {

using ostrel::CBufferStream;
using ostrel::CFileOperations;
using test::Contents;
using test::Directory;
using test::Pattern;
using test::Printed;

constexpr size_t kInvalid = static_cast<size_t>(-1);
constexpr auto kIn = std::ios_base::in | std::ios_base::binary;
constexpr auto kOut = std::ios_base::out | std::ios_base::binary;
constexpr auto kInOut = kIn | kOut;
constexpr auto kNew = kInOut | std::ios_base::trunc;

const char kFailed[] = "File failed in writing!\n";
const char kFailed2[] = "File failed in writing 2!\n";

class FileOperations : public ::testing::Test {
 protected:
  Directory directory;
  std::string path = directory.path("file");
  CFileOperations file{path};
};

TEST_F(FileOperations, OpenOfAnOpenObjectIsRefused) {
  ASSERT_TRUE(file.Open(kNew));
  file.Write("0123", 4);
  EXPECT_FALSE(file.Open(kIn));
  EXPECT_EQ(file.mode(), kNew);
  EXPECT_TRUE(file.IsOpen());
  EXPECT_EQ(file.TellPut(), 4);
}

TEST_F(FileOperations, OpenInAMissingDirectorySucceedsWithAClosedFile) {
  CFileOperations missing(directory.path("missing/file"));
  EXPECT_TRUE(missing.Open(kNew));
  EXPECT_FALSE(missing.IsOpen());
  EXPECT_TRUE(missing.stream().good());
  char byte = 0;
  EXPECT_EQ(missing.Read(&byte, 1), kInvalid);
  EXPECT_EQ(missing.ReadFromOffset(&byte, 1, 0), kInvalid);
  EXPECT_EQ(missing.Write("x", 1), 0U);
  EXPECT_EQ(missing.WriteFromOffset("x", 1, 0), kInvalid);
  EXPECT_EQ(missing.Append("x", 1), kInvalid);
  EXPECT_EQ(missing.TellGet(), -1);
  EXPECT_EQ(missing.TellPut(), -1);
  EXPECT_EQ(missing.Descriptor(), -1);
  EXPECT_TRUE(missing.Truncate(5));
  EXPECT_THROW(missing.GetSize(), std::filesystem::filesystem_error);
}

TEST_F(FileOperations, OpenRefusesABadStream) {
  file.stream().setstate(std::ios_base::badbit);
  CFileOperations missing(directory.path("missing/file"));
  missing.stream().setstate(std::ios_base::badbit);
  EXPECT_FALSE(missing.Open(kNew));
  EXPECT_TRUE(file.Open(kNew));  // a successful open clears the state
}

TEST_F(FileOperations, OpenWithAteStartsAtTheEnd) {
  directory.file("file", "0123456789");
  file.Open(kInOut | std::ios_base::ate);
  EXPECT_EQ(file.TellGet(), 10);
  EXPECT_EQ(file.TellPut(), 10);
}

TEST_F(FileOperations, OpenReportsAThrowingStreamAndClearsIt) {
  CFileOperations missing(directory.path("missing/file"));
  missing.stream().exceptions(std::ios_base::failbit);
  const Printed printed;
  EXPECT_TRUE(missing.Open(kIn));
  EXPECT_EQ(printed.err(), "iostream error\n");
  EXPECT_TRUE(missing.stream().good());
}

TEST_F(FileOperations, ReadNeedsTheInBitAndWriteTheOutBit) {
  directory.file("file", "0123");
  file.Open(kIn);
  const Printed printed;
  EXPECT_EQ(file.Write("x", 1), 0U);
  EXPECT_EQ(file.WriteFromOffset("x", 1, 0), kInvalid);
  file.Close();
  file.Open(kOut);
  char byte = 0;
  EXPECT_EQ(file.Read(&byte, 1), kInvalid);
  EXPECT_EQ(file.ReadFromOffset(&byte, 1, 0), kInvalid);
  EXPECT_EQ(printed.out(), "");
  EXPECT_EQ(printed.err(), "");
}

TEST_F(FileOperations, ReadingAndWritingKeepAPointerEach) {
  file.Open(kNew);
  file.Write("0123456789", 10);
  char bytes[4] = {};
  EXPECT_EQ(file.Read(bytes, 3), 3U);
  EXPECT_STREQ(bytes, "012");
  file.Write("abc", 3);
  EXPECT_EQ(file.TellGet(), 3);
  EXPECT_EQ(file.TellPut(), 13);
  EXPECT_EQ(file.Read(bytes, 3), 3U);
  EXPECT_STREQ(bytes, "345");
  file.SeekPut(4, 0);
  file.Write("X", 1);
  file.SeekGet(-2, 1);
  EXPECT_EQ(file.Read(bytes, 3), 3U);
  EXPECT_STREQ(bytes, "X56");
  EXPECT_EQ(Contents(path).size(), 13U);
}

TEST_F(FileOperations, AppendKeepsThePutPointer) {
  file.Open(kNew);
  EXPECT_EQ(file.Append("0123", 4), 4U);
  EXPECT_EQ(file.Append("4567", 4), 8U);
  EXPECT_EQ(file.TellPut(), 0);
  file.Write("ab", 2);
  EXPECT_EQ(file.Append("89", 2), 10U);
  EXPECT_EQ(file.TellPut(), 2);
  file.Close();
  EXPECT_EQ(Contents(path), "ab23456789");
}

TEST_F(FileOperations, AppModeWritesAtTheEndWhereverThePutPointerIs) {
  directory.file("file", "0123");
  file.Open(kInOut | std::ios_base::app);
  file.Write("ab", 2);
  EXPECT_EQ(file.TellPut(), 6);
  file.SeekPut(0, 0);
  file.Write("cd", 2);
  EXPECT_EQ(file.TellPut(), 8);
  file.SeekPut(1, 0);
  EXPECT_EQ(file.Append("ef", 2), 10U);
  EXPECT_EQ(file.TellPut(), 1);
  file.Close();
  EXPECT_EQ(Contents(path), "0123abcdef");
}

TEST_F(FileOperations, ReadPastTheEndFailsTheStream) {
  file.Open(kNew);
  file.Write("0123", 4);
  char bytes[10];
  EXPECT_EQ(file.Read(bytes, 10), 4U);
  EXPECT_TRUE(file.stream().eof());
  EXPECT_TRUE(file.stream().fail());
  EXPECT_EQ(file.TellGet(), -1);
  EXPECT_EQ(file.Read(bytes, 1), 0U);
  EXPECT_EQ(file.ReadFromOffset(bytes, 1, 0), kInvalid);
  const Printed printed;
  EXPECT_EQ(file.Write("x", 1), 1U);
  EXPECT_EQ(printed.out(), std::string(kFailed) + kFailed2);
}

TEST_F(FileOperations, ReadOfEverythingTakesAnyCount) {
  file.Open(kNew);
  file.Write("0123", 4);
  file.SeekGet(1, 0);
  char bytes[10] = {};
  EXPECT_EQ(file.Read(bytes, kInvalid), 3U);
  EXPECT_STREQ(bytes, "123");
  EXPECT_TRUE(file.stream().eof());
}

TEST_F(FileOperations, WriteToAFailedStreamPrintsBothMessagesAndReturnsTheCount) {
  file.Open(kNew);
  file.stream().setstate(std::ios_base::failbit);
  const Printed printed;
  EXPECT_EQ(file.Write("0123456789", 10), 10U);
  EXPECT_EQ(printed.out(), std::string(kFailed) + kFailed2);
  EXPECT_EQ(printed.err(), "");
}

TEST_F(FileOperations, WriteThatFailsPrintsTheSecondMessage) {
  CFileOperations full("/dev/full");
  full.Open(kOut);
  const Printed printed;
  EXPECT_EQ(full.Write(Pattern(100000).data(), 100000), 100000U);
  EXPECT_EQ(printed.out(), kFailed2);
  EXPECT_EQ(full.Append("x", 1), kInvalid);
  EXPECT_EQ(printed.out(), std::string(kFailed2) + kFailed + kFailed2);
}

TEST_F(FileOperations, WriteNeverThrowsWhateverTheMaskOfTheStream) {
  CFileOperations full("/dev/full");
  full.Open(kOut);
  full.stream().exceptions(std::ios_base::badbit | std::ios_base::failbit);
  const Printed printed;
  EXPECT_EQ(full.Write(Pattern(100000).data(), 100000), 100000U);
  EXPECT_EQ(full.WriteFromOffset("x", 1, 0), kInvalid);
  EXPECT_EQ(printed.out(), kFailed2);
}

TEST_F(FileOperations, ReadFromOffsetMovesTheGetPointer) {
  directory.file("file", "0123456789");
  file.Open(kIn);
  char bytes[4] = {};
  EXPECT_EQ(file.ReadFromOffset(bytes, 3, 4), 3U);
  EXPECT_STREQ(bytes, "456");
  EXPECT_EQ(file.TellGet(), 7);
  EXPECT_EQ(file.ReadFromOffset(bytes, 1, kInvalid), kInvalid);
}

TEST_F(FileOperations, WriteFromOffsetReturnsTheCountOfTheLastRead) {
  file.Open(kNew);
  file.Write("0123456789", 10);
  char bytes[4] = {};
  file.Read(bytes, 3);
  EXPECT_EQ(file.GetSize(), 10U);
  EXPECT_EQ(file.WriteFromOffset("abcde", 5, 8), 3U);
  EXPECT_EQ(file.TellPut(), 13);
  EXPECT_EQ(file.GetSize(), 10U);  // the size does not learn of it
  EXPECT_EQ(file.WriteFromOffset("x", 1, kInvalid), kInvalid);
}

TEST_F(FileOperations, SeekKnowsBeginningEndAndTakesTheRestAsRelative) {
  directory.file("file", "0123456789");
  file.Open(kInOut);
  file.SeekGet(4, 0);
  EXPECT_EQ(file.TellGet(), 4);
  file.SeekGet(-3, 2);
  EXPECT_EQ(file.TellGet(), 7);
  file.SeekGet(-2, 1);
  EXPECT_EQ(file.TellGet(), 5);
  file.SeekGet(1, 9);
  EXPECT_EQ(file.TellGet(), 6);
  file.SeekPut(2, -1);
  EXPECT_EQ(file.TellPut(), 2);
  file.SeekPut(0, 2);
  EXPECT_EQ(file.TellPut(), 10);
  EXPECT_EQ(file.TellGet(), 6);
}

TEST_F(FileOperations, SeekBeforeTheBeginningFailsTheStream) {
  directory.file("file", "0123456789");
  file.Open(kIn);
  file.SeekGet(-1, 0);
  EXPECT_TRUE(file.stream().fail());
  EXPECT_EQ(file.TellGet(), -1);
}

TEST_F(FileOperations, SeekReportsAThrowingStream) {
  directory.file("file", "0123456789");
  file.Open(kInOut);
  file.stream().exceptions(std::ios_base::failbit);
  const Printed printed;
  file.SeekGet(-1, 0);
  file.stream().clear();
  file.SeekPut(-1, 0);
  EXPECT_EQ(printed.err(), "iostream error\niostream error\n");
}

TEST_F(FileOperations, SeekOfAClosedFileDoesNothing) {
  file.SeekGet(3, 0);
  file.SeekPut(3, 0);
  EXPECT_TRUE(file.stream().good());
}

TEST_F(FileOperations, ReadReportsAThrowingStream) {
  directory.file("file", "0123");
  file.Open(kIn);
  file.stream().exceptions(std::ios_base::failbit);
  char bytes[10];
  const Printed printed;
  EXPECT_EQ(file.Read(bytes, 10), 4U);
  EXPECT_EQ(printed.err().rfind("Exception ", 0), 0U) << printed.err();
  EXPECT_EQ(printed.err().back(), '\n');
}

TEST_F(FileOperations, SizeIsMeasuredOnceAndCountsWhatIsWritten) {
  file.Open(kNew);
  file.Write("0123456789", 10);
  EXPECT_EQ(file.GetSize(), 10U);
  file.SeekPut(0, 0);
  file.Write("01234", 5);
  EXPECT_EQ(file.GetSize(), 15U);  // overwritten bytes count again
  file.Close();
  file.Open(kInOut);
  EXPECT_EQ(file.GetSize(), 10U);
}

TEST_F(FileOperations, SizeOfAFileWithoutANameThrows) {
  file.Open(kNew);
  std::filesystem::remove(path);
  EXPECT_THROW(file.GetSize(), std::filesystem::filesystem_error);
}

TEST_F(FileOperations, TruncateEmptiesTheFileWhateverSizeItIsGiven) {
  file.Open(kNew);
  file.Write(Pattern(200).data(), 200);
  EXPECT_TRUE(file.Truncate(100));
  EXPECT_EQ(std::filesystem::file_size(path), 0U);
  EXPECT_EQ(file.GetSize(), 100U);
  EXPECT_EQ(file.TellPut(), 0);
  file.Close();
  file.Open(kInOut);
  EXPECT_EQ(file.GetSize(), 0U);
}

TEST_F(FileOperations, TruncateSizeLastsUntilABufferStreamIsWritten) {
  file.Open(kNew);
  file.Truncate(100);
  file.Write(std::make_shared<CBufferStream>("0123", size_t{4}, true), 0);
  EXPECT_EQ(file.GetSize(), 4U);
}

TEST_F(FileOperations, TruncateEmptiesAFileWhoseNameIsGone) {
  file.Open(kNew);
  file.Write("0123", 4);
  std::filesystem::remove(path);
  EXPECT_TRUE(file.Truncate(0));
  char byte = 0;
  EXPECT_EQ(file.Read(&byte, 1), 0U);
}

TEST_F(FileOperations, WriteOfABufferStreamTakesWhatItHasAndNoMore) {
  const auto source = std::make_shared<CBufferStream>("0123456789", size_t{10}, true);
  source->IFSeekg(3, 0);
  EXPECT_EQ(file.Write(source, 0), 0U);  // not open
  file.Open(kNew);
  EXPECT_EQ(file.Write(source, 0), 10U);
  EXPECT_EQ(file.Write(source, 4), 4U);
  EXPECT_EQ(file.Write(source, 100), 10U);
  EXPECT_EQ(file.GetSize(), 24U);
  EXPECT_EQ(Contents(path), "012345678901230123456789");
  EXPECT_EQ(source->IFTellg(), 3);
}

/// A stream that has no pointer to give.
class Unmapped : public CBufferStream {
 public:
  using CBufferStream::CBufferStream;
  const char* IFConstPtr() const override { return nullptr; }
};

TEST_F(FileOperations, WriteOfABufferStreamWithoutAPointerReadsIt) {
  const std::string bytes = Pattern(20000);
  const auto source = std::make_shared<Unmapped>(bytes.data(), bytes.size(), true);
  source->IFSeekg(3, 0);
  file.Open(kNew);
  EXPECT_EQ(file.Write(source, 0), 20000U);
  EXPECT_EQ(file.Write(source, 9000), 9000U);
  file.Close();
  EXPECT_EQ(Contents(path), bytes + bytes.substr(0, 9000));
  EXPECT_EQ(source->IFTellg(), 3);
}

TEST_F(FileOperations, ReadIntoABufferStreamWithoutACountGivesOnePiece) {
  directory.file("file", Pattern(20000));
  file.Open(kIn);
  const auto dst = std::make_shared<CBufferStream>("old", size_t{3}, false);
  EXPECT_EQ(file.Read(dst, 0, false), 8192U);
  EXPECT_EQ(dst->ToStdString(), Pattern(20000).substr(0, 8192));
}

TEST_F(FileOperations, ReadIntoABufferStreamTakesTheWholeFileByItsSize) {
  directory.file("file", Pattern(20000));
  file.Open(kIn);
  const auto dst = std::make_shared<CBufferStream>("old", size_t{3}, false);
  EXPECT_EQ(file.Read(dst, 20000, true), 20000U);
  EXPECT_EQ(dst->ToStdString(), "old" + Pattern(20000));
}

TEST_F(FileOperations, ReadIntoABufferStreamPassesWholePiecesOn) {
  directory.file("file", Pattern(20000));
  file.Open(kIn);
  const auto dst = std::make_shared<CBufferStream>(true);
  EXPECT_EQ(file.Read(dst, 10000, false), 16384U);
}

TEST_F(FileOperations, ReadIntoABufferStreamEndsForEveryWish) {
  directory.file("file", Pattern(20000));
  for (const size_t wish : {size_t{1} << 31, size_t{1} << 32, (size_t{1} << 32) + 7, kInvalid}) {
    CFileOperations fresh(path);
    fresh.Open(kIn);
    const auto dst = std::make_shared<CBufferStream>(true, size_t{1} << 20);
    EXPECT_EQ(fresh.Read(dst, wish, false), 20000U) << wish;
    EXPECT_EQ(dst->ToStdString(), Pattern(20000)) << wish;
  }
}

TEST_F(FileOperations, ReadIntoABufferStreamOfAnEmptyOrClosedFile) {
  const auto dst = std::make_shared<CBufferStream>("old", size_t{3}, false);
  EXPECT_EQ(file.Read(dst, 5, true), 3U);  // not open: the length
  file.Open(kNew);
  EXPECT_EQ(file.Read(dst, 0, true), 0U);
  EXPECT_EQ(file.Read(dst, 5, false), 0U);
  EXPECT_EQ(dst->IFLength(), 0U);
}

TEST_F(FileOperations, ReadIntoABufferStreamReportsAThrowingStream) {
  directory.file("file", "0123");
  file.Open(kIn);
  file.stream().exceptions(std::ios_base::failbit);
  const auto dst = std::make_shared<CBufferStream>(true);
  const Printed printed;
  EXPECT_EQ(file.Read(dst, 100, false), 4U);
  EXPECT_EQ(printed.err(), "iostream error\n");
  EXPECT_EQ(dst->ToStdString(), "0123");
}

TEST_F(FileOperations, ReadOfADirectoryEndsWithAMessage) {
  CFileOperations folder(directory.path("."));
  folder.Open(kIn);
  ASSERT_TRUE(folder.IsOpen());
  std::string text;
  const Printed printed;
  EXPECT_EQ(folder.Read(text, 5, false), 0U);
  EXPECT_EQ(printed.err().rfind("Exception basic_filebuf::underflow error", 0), 0U)
      << printed.err();
  EXPECT_EQ(folder.Read(std::make_shared<CBufferStream>(true), 5, false), 0U);
}

TEST_F(FileOperations, ReadIntoAString) {
  directory.file("file", "0123456789");
  std::string text = "old";
  EXPECT_EQ(file.Read(text, 5, false), 0U);  // not open
  EXPECT_EQ(text, "old");
  file.Open(kIn);
  EXPECT_EQ(file.Read(text, 4, false), 4U);
  EXPECT_EQ(text, "0123");
  EXPECT_EQ(file.Read(text, 0, true), 0U);
  EXPECT_EQ(file.Read(text, 2, true), 2U);
  EXPECT_EQ(text, "012345");
  EXPECT_EQ(file.TellGet(), 6);
  file.SeekGet(0, 0);
  EXPECT_EQ(file.Read(text, 0, false), 10U);
  EXPECT_EQ(text, "0123456789");
  EXPECT_EQ(file.Read(text, kInvalid, false), 0U);
  EXPECT_EQ(text, "");
}

TEST_F(FileOperations, ReadOfAnEmptyFileIntoAString) {
  file.Open(kNew);
  std::string text = "old";
  EXPECT_EQ(file.Read(text, 0, false), 0U);
  EXPECT_EQ(text, "");
}

TEST_F(FileOperations, NamesAreRenamedMovedAndDeletedWithoutTheObjectFollowing) {
  directory.file("file", "0123");
  EXPECT_TRUE(file.Rename(directory.path("second")));
  EXPECT_EQ(file.path(), path);
  EXPECT_TRUE(CFileOperations::Move(directory.path("second"), path));
  EXPECT_TRUE(file.Move(directory.path("third")));
  EXPECT_THROW(file.Rename(directory.path("x")), std::filesystem::filesystem_error);
  EXPECT_THROW(file.Move(directory.path("x")), std::filesystem::filesystem_error);
  EXPECT_TRUE(CFileOperations::Rename(directory.path("third"), path));
  EXPECT_EQ(Contents(path), "0123");
  EXPECT_TRUE(CFileOperations::Delete(path));
  EXPECT_TRUE(CFileOperations::Delete(path));  // not there: no error
  directory.file("inner", "");
  EXPECT_THROW(CFileOperations::Delete(directory.path(".")), std::filesystem::filesystem_error);
}

TEST_F(FileOperations, SetFilenameClosesWhatWasWritten) {
  file.Open(kNew);
  file.Write("0123", 4);
  file.SetFilename(directory.path("other"));
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(file.path(), directory.path("other"));
  EXPECT_EQ(Contents(path), "0123");
}

TEST_F(FileOperations, CloseThatLosesBytesLeavesTheStreamFailed) {
  CFileOperations full("/dev/full");
  full.Open(kOut);
  full.Write("0123", 4);
  ASSERT_TRUE(full.stream().good());
  full.SetFilename("/dev/full");
  EXPECT_TRUE(full.stream().fail());
}

}  // namespace
