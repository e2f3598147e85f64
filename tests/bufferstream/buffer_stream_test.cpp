#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bufferstream/CBufferStream.h"
#include "tests/bufferstream/support.h"

namespace {

using ostrel::CBufferStream;
using ostrel::IBufferStream;
using test::Contents;
using test::Directory;
using test::Pattern;
using test::Printed;

constexpr size_t kAll = static_cast<size_t>(-1);
constexpr size_t kDefaultSwapSize = 5242880;

size_t PushBack(IBufferStream& stream, const std::string& bytes) {
  return stream.IFPushBack(bytes.data(), bytes.size());
}

std::string Read(IBufferStream& stream, size_t n) {
  std::string bytes(n, '\0');
  bytes.resize(stream.IFRead(bytes.data(), n));
  return bytes;
}

/// A stream with content, in memory or in a temporary file.
std::shared_ptr<CBufferStream> Stream(bool in_memory, const std::string& bytes) {
  auto stream = std::make_shared<CBufferStream>(in_memory, size_t{1} << 30);
  PushBack(*stream, bytes);
  return stream;
}

class BufferStream : public ::testing::Test {
 protected:
  Directory directory;
  Printed printed;  // the lines of mappings are no news here
};

/// The same in memory and in a file.
class BufferStreamAnywhere : public ::testing::TestWithParam<bool> {
 protected:
  Directory directory;
  Printed printed;
};
INSTANTIATE_TEST_SUITE_P(Both, BufferStreamAnywhere, ::testing::Bool(),
                         [](const auto& one) { return one.param ? "InMemory" : "InFile"; });

/// Slot of a virtual operation, as the platform's pointers to members tell it.
template <typename Member>
size_t Slot(Member member) {
  size_t word = 0;
  std::memcpy(&word, &member, sizeof word);
  return (word - 1) / sizeof(void*);
}

TEST_F(BufferStream, InterfaceKeepsTheOrderOfItsSlots) {
  using I = IBufferStream;
  EXPECT_EQ(Slot(&I::IFConstPtr), 0U);
  EXPECT_EQ(Slot(&I::IFPtr), 1U);
  EXPECT_EQ(Slot(&I::IFLength), 2U);
  EXPECT_EQ(Slot(&I::IFClear), 3U);
  EXPECT_EQ(Slot(&I::IFPushBack), 4U);
  EXPECT_EQ(Slot(&I::IFPopFront), 5U);
  EXPECT_EQ(Slot(&I::IFReserveAdditional), 6U);
  EXPECT_EQ(Slot(&I::IFInsert), 7U);
  EXPECT_EQ(Slot(&I::IFRemove), 8U);
  EXPECT_EQ(Slot(&I::IFAssign), 9U);
  EXPECT_EQ(Slot(&I::IFStartPushingBack), 10U);
  EXPECT_EQ(Slot(&I::IFStopPushingBack), 11U);
  EXPECT_EQ(Slot(&I::IFTellg), 12U);
  EXPECT_EQ(Slot(&I::IFSeekg), 13U);
  EXPECT_EQ(Slot(&I::IFTellp), 14U);
  EXPECT_EQ(Slot(&I::IFSeekp), 15U);
  EXPECT_EQ(Slot(&I::IFRead), 16U);
  EXPECT_EQ(Slot(&I::IFWrite), 17U);
  EXPECT_EQ(Slot(&I::IFAcquireFile), 18U);
  EXPECT_EQ(Slot(&I::IFIsFileAcquired), 19U);
  EXPECT_EQ(Slot(&I::IFReleaseFile), 20U);
  EXPECT_EQ(Slot(&I::IFSwapToFile), 21U);
  EXPECT_EQ(Slot(&I::IFSwapToMemory), 22U);
  EXPECT_EQ(Slot(&I::IFGetFileName), 23U);
  EXPECT_EQ(Slot(&I::IFReOpen), 24U);
  EXPECT_EQ(Slot(&I::IFEof), 25U);
  EXPECT_EQ(Slot(&I::IFIsReadOnly), 26U);
  EXPECT_EQ(Slot(&I::IFReleaseMapping), 27U);
  EXPECT_EQ(Slot(&I::IFIsInMemory), 28U);
  EXPECT_TRUE(std::has_virtual_destructor_v<I>);
}

TEST_F(BufferStream, PushBackMovesToAFileBehindTheSwapSizeOnly) {
  CBufferStream stream(true, 10);
  EXPECT_EQ(PushBack(stream, "0123456789"), 10U);
  EXPECT_TRUE(stream.IFIsInMemory());
  EXPECT_EQ(stream.IFGetFileName(), "");
  EXPECT_EQ(PushBack(stream, "a"), 1U);
  EXPECT_FALSE(stream.IFIsInMemory());
  EXPECT_NE(stream.IFGetFileName(), "");
  EXPECT_EQ(stream.ToStdString(), "0123456789a");
}

TEST_F(BufferStream, WriteMovesToAFileBehindTheSwapSizeOnly) {
  CBufferStream stream(true, 10);
  stream.IFWrite("01234", 5);
  stream.IFSeekp(0, 0);
  stream.IFWrite("abcde", 5);  // 5 + 5: not more than 10
  EXPECT_TRUE(stream.IFIsInMemory());
  stream.IFSeekp(0, 0);
  stream.IFWrite("012345", 6);  // length + n counts, wherever the bytes go
  EXPECT_FALSE(stream.IFIsInMemory());
  EXPECT_EQ(stream.ToStdString(), "012345");
}

TEST_F(BufferStream, StartPushingBackMovesToAFileForWhatIsWanted) {
  CBufferStream stream(true, 10);
  size_t available = 10;
  ASSERT_NE(stream.IFStartPushingBack(&available, 10), nullptr);
  stream.IFStopPushingBack(0);
  EXPECT_TRUE(stream.IFIsInMemory());
  available = 11;
  char* area = stream.IFStartPushingBack(&available, 11);
  EXPECT_FALSE(stream.IFIsInMemory());
  EXPECT_EQ(available, 11U);
  std::string("0123456789a").copy(area, 11);
  stream.IFStopPushingBack(11);
  EXPECT_EQ(stream.ToStdString(), "0123456789a");
}

TEST_F(BufferStream, ReserveAdditionalTestsItsCountAlone) {
  CBufferStream stream(true, 10);
  PushBack(stream, "0123456789");
  stream.IFReserveAdditional(10);
  EXPECT_TRUE(stream.IFIsInMemory());
  stream.IFReserveAdditional(11);
  EXPECT_FALSE(stream.IFIsInMemory());
  stream.IFReserveAdditional(1000);
  EXPECT_EQ(stream.ToStdString(), "0123456789");
}

TEST_F(BufferStream, AssignMovesToAFileAtTheSwapSizeAlready) {
  const std::string bytes = Pattern(kDefaultSwapSize);
  CBufferStream assigned(true);
  assigned.IFAssign(bytes.data(), bytes.size());
  EXPECT_FALSE(assigned.IFIsInMemory());
  CBufferStream pushed(true);
  PushBack(pushed, bytes);
  EXPECT_TRUE(pushed.IFIsInMemory());
  EXPECT_EQ(assigned.ToStdString(), bytes);
  assigned.IFAssign("x", 1);  // once in a file it stays there
  EXPECT_FALSE(assigned.IFIsInMemory());
  EXPECT_EQ(assigned.ToStdString(), "x");
  CBufferStream zero(true, 0);
  zero.IFAssign("", 0);
  EXPECT_FALSE(zero.IFIsInMemory());
}

TEST_F(BufferStream, DefaultSwapSizeIsAskedForWhenAStreamIsMade) {
  EXPECT_EQ(CBufferStream::sDefaultSwapSize, kDefaultSwapSize);
  CBufferStream::sDefaultSwapSize = 4;
  CBufferStream by_default(true);
  CBufferStream by_number(true, 0x500000);
  CBufferStream other(true, 0x500001);
  CBufferStream::sDefaultSwapSize = kDefaultSwapSize;
  for (CBufferStream* stream : {&by_default, &by_number, &other}) PushBack(*stream, "01234");
  EXPECT_FALSE(by_default.IFIsInMemory());
  EXPECT_FALSE(by_number.IFIsInMemory());
  EXPECT_TRUE(other.IFIsInMemory());
}

TEST_F(BufferStream, BorrowedMemoryIsReadAndNeverChanged) {
  const std::string bytes = "caller's bytes";
  std::string memory = bytes;
  CBufferStream stream(memory.data(), memory.size(), true);
  EXPECT_TRUE(stream.IFIsReadOnly());
  EXPECT_EQ(stream.IFConstPtr(), memory.data());
  EXPECT_EQ(PushBack(stream, "x"), 0U);
  EXPECT_EQ(stream.IFWrite("x", 1), 0U);
  EXPECT_EQ(stream.IFRemove(0, 1), 0U);
  stream.IFInsert(0, "x", 1);
  stream.IFAssign("x", 1);
  stream.IFPopFront(1);
  stream.IFReserveAdditional(100);
  stream.IFClear(0);
  size_t available = 7;
  EXPECT_EQ(stream.IFStartPushingBack(&available, 7), nullptr);
  EXPECT_EQ(available, 0U);
  stream.IFStopPushingBack(1);
  EXPECT_EQ(stream.ToStdString(), bytes);
  EXPECT_EQ(memory, bytes);
  EXPECT_EQ(stream.IFConstPtr(), memory.data());
  EXPECT_EQ(Read(stream, 8), "caller's");
  EXPECT_TRUE(stream.IFSwapToFile());  // not a modification
  EXPECT_EQ(stream.ToStdString(), bytes);
  EXPECT_EQ(PushBack(stream, "x"), 0U);
}

TEST_F(BufferStream, CopiedMemoryIsItsOwn) {
  std::string memory = "0123";
  CBufferStream stream(memory.data(), memory.size(), false);
  memory = "XXXX";
  EXPECT_FALSE(stream.IFIsReadOnly());
  PushBack(stream, "4");
  EXPECT_EQ(stream.ToStdString(), "01234");
}

TEST_F(BufferStream, NamedFileIsAppendedTo) {
  const std::string path = directory.file("named", "0123");
  {
    CBufferStream stream(path.c_str(), false, false);
    EXPECT_FALSE(stream.IFIsInMemory());
    EXPECT_EQ(stream.IFGetFileName(), path);
    EXPECT_EQ(PushBack(stream, "45"), 2U);
    stream.IFSeekp(0, 0);
    EXPECT_EQ(stream.IFWrite("67", 2), 2U);  // open for appending: at the end all the same
    EXPECT_EQ(stream.IFTellp(), 8);
    EXPECT_EQ(stream.ToStdString(), "01234567");
  }
  EXPECT_EQ(Contents(path), "01234567");
}

TEST_F(BufferStream, NamedReadOnlyFileIsNotChanged) {
  const std::string path = directory.file("named", "0123");
  CBufferStream stream(path, true, false);
  EXPECT_EQ(PushBack(stream, "45"), 0U);
  EXPECT_EQ(std::string(stream.IFConstPtr(), 4), "0123");
  EXPECT_EQ(stream.IFPtr(), nullptr);  // no writable mapping of a file open for reading
  stream.IFClear(0);
  EXPECT_EQ(Contents(path), "0123");
}

TEST_F(BufferStream, NullFileNameIsALogicError) {
  try {
    const CBufferStream stream(static_cast<const char*>(nullptr), true, false);
    FAIL();
  } catch (const std::logic_error& error) {
    EXPECT_STREQ(error.what(), "basic_string::_M_construct null not valid");
  }
}

TEST_F(BufferStream, MissingFileForReadingThrows) {
  EXPECT_THROW(CBufferStream(directory.path("none"), true, false),
               std::filesystem::filesystem_error);
  EXPECT_THROW(CBufferStream(directory.path("none"), false, true),
               std::filesystem::filesystem_error);
}

TEST_F(BufferStream, CopyOnWriteLeavesTheNamedFileAlone) {
  const std::string path = directory.file("named", "0123456789");
  CBufferStream stream(path, false, true);
  stream.IFSeekg(4, 0);
  stream.IFSeekp(6, 0);
  EXPECT_FALSE(stream.IFIsInMemory());
  EXPECT_EQ(PushBack(stream, "abc"), 3U);
  EXPECT_TRUE(stream.IFIsInMemory());
  EXPECT_EQ(stream.ToStdString(), "0123456789abc");
  EXPECT_EQ(stream.IFTellg(), 4);
  EXPECT_EQ(stream.IFTellp(), 6);
  EXPECT_EQ(Contents(path), "0123456789");
}

TEST_F(BufferStream, CopyOnWriteOfALargeFileGoesToATemporaryOne) {
  const std::string path = directory.file("named", "0123456789");
  CBufferStream::sDefaultSwapSize = 9;
  CBufferStream stream(path, false, true);
  CBufferStream::sDefaultSwapSize = kDefaultSwapSize;
  stream.IFSeekg(4, 0);
  stream.IFSeekp(6, 0);
  EXPECT_EQ(stream.IFWrite("a", 1), 1U);
  EXPECT_FALSE(stream.IFIsInMemory());
  EXPECT_NE(stream.IFGetFileName(), path);
  EXPECT_EQ(stream.ToStdString(), "012345a789");
  EXPECT_EQ(stream.IFTellg(), 4);
  EXPECT_EQ(Contents(path), "0123456789");
}

TEST_F(BufferStream, CopyOnWriteServesEveryModification) {
  using Change = void (*)(CBufferStream&);
  const struct {
    Change change;
    std::string result;
  } cases[] = {
      {[](CBufferStream& s) { s.IFPushBack("x", 1); }, "0123456789x"},
      {[](CBufferStream& s) { s.IFWrite("x", 1); }, "x123456789"},
      {[](CBufferStream& s) { s.IFPopFront(4); }, "456789"},
      {[](CBufferStream& s) { s.IFInsert(1, "x", 1); }, "0x123456789"},
      {[](CBufferStream& s) { s.IFRemove(1, 2); }, "03456789"},
      {[](CBufferStream& s) { s.IFAssign("x", 1); }, "x"},
      {[](CBufferStream& s) { s.IFClear(0); }, ""},
      {[](CBufferStream& s) { s.IFReserveAdditional(5); }, "0123456789"},
      {[](CBufferStream& s) {
         size_t available = 1;
         *s.IFStartPushingBack(&available, 1) = 'x';
         s.IFStopPushingBack(1);
       },
       "0123456789x"},
  };
  for (const auto& one : cases) {
    for (const bool loaded : {false, true}) {
      const std::string path = directory.file("named", "0123456789");
      CBufferStream stream(path, false, true);
      if (loaded) stream.IFSwapToMemory();
      one.change(stream);
      EXPECT_EQ(stream.ToStdString(), one.result);
      EXPECT_TRUE(stream.IFIsInMemory());
      EXPECT_EQ(Contents(path), "0123456789");
    }
  }
}

TEST_F(BufferStream, InsertAfterACopyOnWriteThatWentToAFileWorksInMemory) {
  const std::string path = directory.file("named", "0123456789");
  CBufferStream::sDefaultSwapSize = 9;
  CBufferStream stream(path, false, true);
  CBufferStream other(path, false, true);
  CBufferStream::sDefaultSwapSize = kDefaultSwapSize;
  stream.IFSwapToMemory();
  stream.IFInsert(1, "x", 1);
  EXPECT_TRUE(stream.IFIsInMemory());
  EXPECT_EQ(stream.ToStdString(), "0x123456789");
  other.IFSwapToMemory();
  EXPECT_EQ(other.IFRemove(1, 2), 2U);
  EXPECT_EQ(other.ToStdString(), "03456789");
}

TEST_F(BufferStream, StartPushingBackReservesWhatTheCallerSetAvailableTo) {
  CBufferStream stream(true);
  size_t available = 0;
  stream.IFClear(0);  // no block
  EXPECT_NE(stream.IFStartPushingBack(&available, 100), nullptr);
  EXPECT_EQ(available, 0U);
  available = 50;
  EXPECT_NE(stream.IFStartPushingBack(&available, 100), nullptr);
  EXPECT_EQ(available, 50U);
}

TEST_F(BufferStream, SeekInAFileIsShortByWhatWasPopped) {
  const auto stream = Stream(false, Pattern(1000));
  stream->IFPopFront(100);
  EXPECT_EQ(stream->IFSeekg(0, 2), 800);  // the logical end, 900, less 100
  EXPECT_EQ(stream->IFTellg(), 900);
  EXPECT_EQ(stream->IFSeekp(0, 0), -100);
  EXPECT_EQ(stream->IFTellp(), 0);
  EXPECT_EQ(stream->IFSeekg(200, 0), 100);
  EXPECT_EQ(stream->IFSeekg(50, 1), 150);
  EXPECT_EQ(stream->IFTellg(), 250);
  EXPECT_EQ(Read(*stream, 3), Pattern(1000).substr(350, 3));
}

TEST_F(BufferStream, SeekInAFileRefusesAndStaysWhereItIs) {
  const auto stream = Stream(false, Pattern(100));
  stream->IFSeekg(40, 0);
  stream->IFSeekp(30, 0);
  EXPECT_EQ(stream->IFSeekg(101, 0), -1);
  EXPECT_EQ(stream->IFSeekg(-1, 0), -1);
  EXPECT_EQ(stream->IFSeekg(61, 1), -1);
  EXPECT_EQ(stream->IFSeekg(-41, 1), -1);
  EXPECT_EQ(stream->IFSeekg(1, 2), -1);
  EXPECT_EQ(stream->IFSeekg(-101, 2), -1);
  EXPECT_EQ(stream->IFSeekp(101, 0), -1);
  EXPECT_EQ(stream->IFSeekp(71, 1), -1);
  EXPECT_EQ(stream->IFSeekp(1, 2), -1);
  EXPECT_EQ(stream->IFTellg(), 40);
  EXPECT_EQ(stream->IFTellp(), 30);
  EXPECT_EQ(stream->IFSeekg(60, 1), 100);
  EXPECT_EQ(stream->IFSeekg(-100, 2), 0);
}

TEST_F(BufferStream, SeekInAFileTakesAnyOtherWhenceAsRelative) {
  const auto stream = Stream(false, Pattern(100));
  stream->IFSeekg(40, 0);
  EXPECT_EQ(stream->IFSeekg(10, 7), 50);
  const auto memory = Stream(true, Pattern(100));
  memory->IFSeekg(40, 0);
  EXPECT_EQ(memory->IFSeekg(10, 7), 10);
}

TEST_P(BufferStreamAnywhere, PositionsAreIndependent) {
  const auto stream = Stream(GetParam(), "0123456789");
  EXPECT_EQ(Read(*stream, 3), "012");
  EXPECT_EQ(stream->IFTellp(), 0);
  stream->IFSeekp(5, 0);
  EXPECT_EQ(stream->IFWrite("ab", 2), 2U);
  EXPECT_EQ(stream->IFTellg(), 3);
  EXPECT_EQ(stream->IFTellp(), 7);
  PushBack(*stream, "cd");
  EXPECT_EQ(stream->IFTellg(), 3);
  EXPECT_EQ(stream->IFTellp(), 7);
  EXPECT_EQ(Read(*stream, 100), "34ab789cd");
}

TEST_P(BufferStreamAnywhere, WriteOverwritesAndGrows) {
  const auto stream = Stream(GetParam(), "0123456789");
  stream->IFSeekp(8, 0);
  EXPECT_EQ(stream->IFWrite("abcd", 4), 4U);
  EXPECT_EQ(stream->IFLength(), 12U);
  EXPECT_EQ(stream->ToStdString(), "01234567abcd");
}

TEST_P(BufferStreamAnywhere, PopFrontLetsPositionsStayWithTheirBytes) {
  const auto stream = Stream(GetParam(), "0123456789");
  stream->IFSeekg(2, 0);
  stream->IFSeekp(6, 0);
  stream->IFPopFront(4);
  EXPECT_EQ(stream->IFTellg(), 0);
  EXPECT_EQ(stream->IFTellp(), 2);
  EXPECT_EQ(stream->ToStdString(), "456789");
  stream->IFPopFront(kAll);
  EXPECT_EQ(stream->IFLength(), 0U);
  PushBack(*stream, "ab");
  EXPECT_EQ(stream->ToStdString(), "ab");
}

TEST_P(BufferStreamAnywhere, ClearEmptiesAndRewinds) {
  const auto stream = Stream(GetParam(), "0123456789");
  stream->IFPopFront(2);
  stream->IFSeekg(3, 0);
  stream->IFClear(100);
  EXPECT_EQ(stream->IFLength(), 0U);
  EXPECT_EQ(stream->IFTellg(), 0);
  EXPECT_EQ(stream->IFIsInMemory(), GetParam());
  PushBack(*stream, "ab");
  EXPECT_EQ(stream->ToStdString(), "ab");
}

TEST_P(BufferStreamAnywhere, PointersSeeAndChangeTheContent) {
  const auto stream = Stream(GetParam(), "0123456789");
  stream->IFPopFront(2);
  EXPECT_EQ(std::string(stream->IFConstPtr(), 8), "23456789");
  stream->IFPtr()[1] = 'X';
  EXPECT_EQ(std::string(stream->IFConstPtr(), 8), "2X456789");
  EXPECT_EQ(Read(*stream, 3), "2X4");
  stream->IFReleaseMapping();
  EXPECT_EQ(stream->ToStdString(), "2X456789");
}

TEST_P(BufferStreamAnywhere, SwapKeepsBytesAndPositions) {
  const auto stream = Stream(GetParam(), Pattern(20000));
  stream->IFPopFront(100);
  stream->IFSeekg(7000, 0);
  stream->IFSeekp(9000, 0);
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(stream->IFSwapToFile());
    EXPECT_TRUE(stream->IFSwapToFile());
    EXPECT_EQ(stream->IFTellg(), 7000);
    EXPECT_EQ(stream->IFTellp(), 9000);
    const std::string name = stream->IFGetFileName();
    EXPECT_TRUE(std::filesystem::exists(name));
    EXPECT_TRUE(stream->IFSwapToMemory());
    EXPECT_TRUE(stream->IFSwapToMemory());
    EXPECT_FALSE(std::filesystem::exists(name));
    EXPECT_EQ(stream->IFTellg(), 7000);
    EXPECT_EQ(stream->IFTellp(), 9000);
  }
  EXPECT_EQ(stream->ToStdString(), Pattern(20000).substr(100));
}

TEST_F(BufferStream, SwapWithAnInvalidPositionIsSound) {
  const auto stream = Stream(true, "0123456789");
  EXPECT_EQ(stream->IFSeekg(11, 0), -1);
  EXPECT_EQ(stream->IFSeekp(11, 0), -1);
  EXPECT_EQ(stream->IFWrite("x", 1), 0U);
  EXPECT_TRUE(stream->IFSwapToFile());
  EXPECT_EQ(stream->IFTellg(), 0);
  EXPECT_EQ(stream->IFTellp(), 10);
  EXPECT_EQ(Read(*stream, 100), "0123456789");
}

TEST_P(BufferStreamAnywhere, AcquireLendsTheContentAndRefusesEverything) {
  const auto stream = Stream(GetParam(), "0123456789");
  stream->IFSeekg(3, 0);
  stream->IFSeekp(5, 0);
  EXPECT_FALSE(stream->IFIsFileAcquired());
  ASSERT_TRUE(stream->IFAcquireFile());
  EXPECT_TRUE(stream->IFAcquireFile());
  EXPECT_TRUE(stream->IFIsFileAcquired());
  EXPECT_FALSE(stream->IFIsInMemory());
  EXPECT_EQ(Contents(stream->IFGetFileName()), "0123456789");

  char byte = 0;
  size_t available = 7;
  EXPECT_EQ(stream->IFConstPtr(), nullptr);
  EXPECT_EQ(stream->IFPtr(), nullptr);
  EXPECT_EQ(stream->IFLength(), 0U);
  stream->IFClear(0);
  EXPECT_EQ(PushBack(*stream, "x"), 0U);
  stream->IFPopFront(1);
  stream->IFReserveAdditional(1);
  stream->IFInsert(0, "x", 1);
  EXPECT_EQ(stream->IFRemove(0, 1), 0U);
  stream->IFAssign("x", 1);
  EXPECT_EQ(stream->IFStartPushingBack(&available, 7), nullptr);
  EXPECT_EQ(available, 0U);
  stream->IFStopPushingBack(1);
  EXPECT_EQ(stream->IFTellg(), -1);
  EXPECT_EQ(stream->IFSeekg(0, 0), -1);
  EXPECT_EQ(stream->IFTellp(), -1);
  EXPECT_EQ(stream->IFSeekp(0, 0), -1);
  EXPECT_EQ(stream->IFRead(&byte, 1), 0U);
  EXPECT_EQ(stream->IFWrite("x", 1), 0U);
  EXPECT_FALSE(stream->IFSwapToFile());
  EXPECT_FALSE(stream->IFSwapToMemory());
  EXPECT_FALSE(stream->IFReOpen());
  EXPECT_FALSE(stream->IFEof());
  stream->IFReleaseMapping();
  stream->WriteCheck();
  EXPECT_EQ(stream->ToStdString(), "");
  EXPECT_FALSE(stream->WriteToFile(directory.path("out").c_str()));
  EXPECT_EQ(CBufferStream::GetBufferPtrSizeLimit(stream, 100), nullptr);
  stream->Assign(Stream(true, "other"));
  const CBufferStream copy{std::shared_ptr<IBufferStream>(stream)};
  EXPECT_EQ(copy.IFLength(), 0U);

  EXPECT_TRUE(stream->IFReleaseFile());
  EXPECT_FALSE(stream->IFIsFileAcquired());
  EXPECT_EQ(stream->IFTellg(), 3);
  EXPECT_EQ(stream->IFTellp(), 5);
  EXPECT_EQ(stream->ToStdString(), "0123456789");
  EXPECT_TRUE(stream->IFReleaseFile());  // nothing to take back
  EXPECT_EQ(stream->IFTellg(), 3);
}

TEST_F(BufferStream, ReleaseTakesTheFileAsItIsNow) {
  const auto stream = Stream(false, Pattern(1000));
  stream->IFPopFront(100);
  stream->IFSeekg(800, 0);
  stream->IFSeekp(200, 0);
  ASSERT_TRUE(stream->IFAcquireFile());
  std::filesystem::resize_file(stream->IFGetFileName(), 500);
  ASSERT_TRUE(stream->IFReleaseFile());
  EXPECT_EQ(stream->IFLength(), 400U);
  EXPECT_EQ(stream->IFTellg(), 400);
  EXPECT_EQ(stream->IFTellp(), 200);
  EXPECT_EQ(stream->ToStdString(), Pattern(1000).substr(100, 400));
  ASSERT_TRUE(stream->IFAcquireFile());
  std::filesystem::resize_file(stream->IFGetFileName(), 50);  // less than was popped
  ASSERT_TRUE(stream->IFReleaseFile());
  EXPECT_EQ(stream->IFLength(), 0U);
  PushBack(*stream, "ab");
  EXPECT_EQ(stream->ToStdString(), "ab");
}

TEST_F(BufferStream, ReleaseOfAStreamInMemoryIsRefused) {
  EXPECT_FALSE(Stream(true, "x")->IFReleaseFile());
}

TEST_F(BufferStream, ReOpenOfATemporaryFileKeepsItsContent) {
  const auto stream = Stream(false, "0123456789");
  stream->IFPopFront(2);
  stream->IFSeekg(3, 0);
  stream->IFSeekp(5, 0);
  EXPECT_TRUE(stream->IFReOpen());
  EXPECT_EQ(stream->IFTellg(), 3);
  EXPECT_EQ(stream->IFTellp(), 5);
  EXPECT_EQ(stream->ToStdString(), "23456789");
  EXPECT_EQ(PushBack(*stream, "a"), 1U);
  EXPECT_EQ(stream->ToStdString(), "23456789a");
  EXPECT_FALSE(Stream(true, "x")->IFReOpen());
}

TEST_F(BufferStream, EofInMemoryIsTrueOneByteBeforeTheEndOnly) {
  const auto stream = Stream(true, "0123");
  EXPECT_FALSE(stream->IFEof());
  stream->IFSeekg(3, 0);
  EXPECT_TRUE(stream->IFEof());
  stream->IFSeekg(4, 0);
  EXPECT_FALSE(stream->IFEof());
}

TEST_F(BufferStream, EofInAFileIsAReadThatCameShort) {
  const auto stream = Stream(false, "0123");
  stream->IFSeekg(3, 0);
  EXPECT_FALSE(stream->IFEof());
  EXPECT_EQ(Read(*stream, 1), "3");
  EXPECT_FALSE(stream->IFEof());
  EXPECT_EQ(Read(*stream, 1), "");
  EXPECT_TRUE(stream->IFEof());
  EXPECT_EQ(stream->IFTellg(), 4);
  stream->IFSeekg(0, 0);
  EXPECT_FALSE(stream->IFEof());
}

TEST_F(BufferStream, SpilledStreamIsReadAgainAndAgainAndAppendedTo) {
  const std::string bytes = Pattern(6U << 20);
  CBufferStream stream(true);
  PushBack(stream, bytes);
  ASSERT_FALSE(stream.IFIsInMemory());
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Read(stream, bytes.size() + 1), bytes);
    EXPECT_TRUE(stream.IFEof());
    stream.IFSeekg(0, 0);
  }
  stream.IFSeekg(0, 2);
  EXPECT_EQ(Read(stream, 1), "");
  EXPECT_EQ(PushBack(stream, "more"), 4U);
  EXPECT_FALSE(stream.IFEof());
  EXPECT_EQ(Read(stream, 100), "more");
  stream.IFSeekp(-1, 2);
  EXPECT_EQ(stream.IFWrite("E", 1), 1U);
  EXPECT_EQ(stream.ToStdString(), bytes + "morE");
}

TEST_F(BufferStream, InsertBringsASpilledStreamBackForGood) {
  const std::string bytes = Pattern(6U << 20);
  CBufferStream stream(true);
  PushBack(stream, bytes);
  const std::string name = stream.IFGetFileName();
  ASSERT_TRUE(std::filesystem::exists(name));
  stream.IFInsert(0, "x", 1);
  EXPECT_TRUE(stream.IFIsInMemory());
  EXPECT_EQ(stream.IFLength(), bytes.size() + 1);
  EXPECT_FALSE(std::filesystem::exists(name));
  EXPECT_EQ(stream.ToStdString(), "x" + bytes);
}

TEST_P(BufferStreamAnywhere, InsertAndRemoveWorkInMemory) {
  const auto stream = Stream(GetParam(), "__0123456789");
  stream->IFPopFront(2);
  stream->IFSeekg(7, 0);
  stream->IFInsert(5, "abc", 3);
  EXPECT_TRUE(stream->IFIsInMemory());
  EXPECT_EQ(stream->ToStdString(), "01234abc56789");
  EXPECT_EQ(stream->IFTellg(), 7);
  EXPECT_EQ(stream->IFTellp(), 8);
  if (!GetParam()) stream->IFSwapToFile();
  EXPECT_EQ(stream->IFRemove(1, 6), 6U);
  EXPECT_TRUE(stream->IFIsInMemory());
  EXPECT_EQ(stream->ToStdString(), "0c56789");
  EXPECT_EQ(stream->IFRemove(8, 1), 0U);
  stream->IFInsert(8, "x", 1);
  EXPECT_EQ(stream->ToStdString(), "0c56789");
}

TEST_F(BufferStream, InsertIntoANamedFileLeavesTheFileAsItIs) {
  const std::string path = directory.file("named", "0123");
  CBufferStream stream(path, false, false);
  stream.IFInsert(1, "x", 1);
  EXPECT_EQ(stream.ToStdString(), "0x123");
  EXPECT_EQ(Contents(path), "0123");
}

TEST_P(BufferStreamAnywhere, AssignCopiesAnotherStream) {
  const auto source = Stream(GetParam(), "__0123456789");
  source->IFPopFront(2);
  source->IFSeekg(4, 0);
  const struct {
    size_t swap_size;
    bool in_memory;
  } cases[] = {{11, true}, {10, false}, {9, false}};  // exactly the swap size goes to a file
  for (const auto& one : cases) {
    CBufferStream stream(true, one.swap_size);
    PushBack(stream, "old");
    stream.IFSeekg(2, 0);
    stream.Assign(source);
    EXPECT_EQ(stream.IFIsInMemory(), one.in_memory) << one.swap_size;
    EXPECT_EQ(stream.ToStdString(), "0123456789");
    EXPECT_EQ(stream.IFTellg(), 0);
    EXPECT_EQ(stream.IFTellp(), 0);
  }
  EXPECT_EQ(source->IFTellg(), 4);
  EXPECT_EQ(source->ToStdString(), "0123456789");
  CBufferStream copy{std::shared_ptr<IBufferStream>(source)};
  PushBack(copy, "a");
  EXPECT_EQ(CBufferStream{source}.ToStdString(), "0123456789");
}

TEST_F(BufferStream, AssignEndsReadOnly) {
  CBufferStream stream("0123", size_t{4}, true);
  stream.Assign(Stream(true, "ab"));
  EXPECT_FALSE(stream.IFIsReadOnly());
  EXPECT_EQ(PushBack(stream, "c"), 1U);
  EXPECT_EQ(stream.ToStdString(), "abc");
}

TEST_F(BufferStream, AssignOfNothingEmptiesTheStreamAndOfItselfDoesNothing) {
  const auto stream = Stream(false, "0123");
  stream->Assign(stream);
  EXPECT_EQ(stream->ToStdString(), "0123");
  stream->Assign(std::shared_ptr<IBufferStream>());
  EXPECT_EQ(stream->IFLength(), 0U);
  EXPECT_TRUE(stream->IFIsInMemory());
}

TEST_F(BufferStream, AssignOfAStreamThatStandsOnItsOwnMemory) {
  const auto stream = Stream(true, "0123456789");
  stream->Assign(std::make_shared<CBufferStream>(stream->IFConstPtr() + 4, size_t{4}, true));
  EXPECT_EQ(stream->ToStdString(), "4567");
}

TEST_F(BufferStream, BufferPointerIsOfMemoryUpToTheLimitAndOfAMappingAbove) {
  const auto stream = Stream(false, "__0123456789");
  stream->IFPopFront(2);
  char* mapped = CBufferStream::GetBufferPtrSizeLimit(stream, 9);
  ASSERT_NE(mapped, nullptr);
  EXPECT_FALSE(stream->IFIsInMemory());
  mapped[0] = 'X';
  const std::string name = stream->IFGetFileName();
  EXPECT_EQ(Contents(name), "__X123456789");
  char* loaded = CBufferStream::GetBufferPtrSizeLimit(stream, 10);
  ASSERT_NE(loaded, nullptr);
  EXPECT_TRUE(stream->IFIsInMemory());
  EXPECT_EQ(std::string(loaded, 10), "X123456789");
  EXPECT_EQ(CBufferStream::GetBufferPtrSizeLimit(stream, 3), stream->IFPtr());
  EXPECT_EQ(CBufferStream::GetBufferPtrSizeLimit(nullptr, 3), nullptr);
}

TEST_P(BufferStreamAnywhere, WriteToFileWritesAllBytes) {
  const auto stream = Stream(GetParam(), Pattern(20000));
  stream->IFPopFront(10);
  const std::string path = directory.file("out", "older and longer");
  EXPECT_TRUE(stream->WriteToFile(path.c_str()));
  EXPECT_EQ(Contents(path), Pattern(20000).substr(10));
  EXPECT_FALSE(stream->WriteToFile(directory.path("missing/out").c_str()));
  EXPECT_FALSE(stream->WriteToFile("/dev/full"));
  EXPECT_FALSE(stream->WriteToFile(nullptr));
}

TEST_F(BufferStream, WriteToItsOwnFileIsRefused) {
  const auto stream = Stream(false, "0123");
  EXPECT_FALSE(stream->WriteToFile(stream->IFGetFileName().c_str()));
  EXPECT_EQ(stream->ToStdString(), "0123");
}

TEST_F(BufferStream, SmallWriteThatTheDiskRefusesOnCloseIsNoSuccess) {
  EXPECT_FALSE(Stream(true, "0123")->WriteToFile("/dev/full"));
}

TEST_P(BufferStreamAnywhere, EmptyStreamHasNothing) {
  const auto stream = Stream(GetParam(), "");
  EXPECT_EQ(stream->IFLength(), 0U);
  EXPECT_EQ(stream->ToStdString(), "");
  EXPECT_EQ(Read(*stream, 5), "");
  EXPECT_EQ(stream->IFPushBack(nullptr, 0), 0U);
  stream->IFPopFront(5);
  EXPECT_EQ(stream->IFRemove(0, 5), 0U);
  EXPECT_TRUE(stream->WriteToFile(directory.path("out").c_str()));
}

TEST_F(BufferStream, DestructionDeletesATemporaryFileAndKeepsANamedOne) {
  const std::string path = directory.file("named", "0123");
  std::string name;
  {
    CBufferStream temporary(false);
    name = temporary.IFGetFileName();
    const CBufferStream named(path, false, false);
    EXPECT_TRUE(std::filesystem::exists(name));
  }
  EXPECT_FALSE(std::filesystem::exists(name));
  EXPECT_TRUE(std::filesystem::exists(path));
}

}  // namespace
