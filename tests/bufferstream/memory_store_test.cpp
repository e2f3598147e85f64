#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <string>

#include "bufferstream/CBufferStream.h"
#include "bufferstream/CBufferStreamFileImpl.h"
#include "bufferstream/CBufferStreamMemImpl.h"
#include "bufferstream/CFileOperations.h"
#include "tests/bufferstream/support.h"

namespace {

using ostrel::CBufferStream;
using ostrel::CBufferStreamFileImpl;
using ostrel::CBufferStreamMemImpl;
using ostrel::CFileOperations;
using ostrel::IBufferStream;
using test::Pattern;

constexpr size_t npos = CBufferStreamMemImpl::npos;

/// A store whose block is freed as its owner must.
struct Store : CBufferStreamMemImpl {
  Store() : CBufferStreamMemImpl(nullptr, 0, false) {}
  explicit Store(const std::string& bytes)
      : CBufferStreamMemImpl(bytes.data(), bytes.size(), false) {}
  explicit Store(CBufferStreamFileImpl* file) : CBufferStreamMemImpl(file) {}
  ~Store() {
    if (!borrowed()) std::free(block());
  }
  std::string bytes() const { return {block() + front_offset(), length()}; }
};

TEST(MemoryStore, CopiesTheBytesItIsMadeOf) {
  const std::string bytes = "0123456789";
  const Store store(bytes);
  EXPECT_EQ(store.length(), 10U);
  EXPECT_EQ(store.capacity(), 10U);
  EXPECT_EQ(store.get_position(), 0U);
  EXPECT_EQ(store.put_position(), 0U);
  EXPECT_EQ(store.front_offset(), 0U);
  EXPECT_FALSE(store.borrowed());
  EXPECT_NE(store.block(), bytes.data());
  EXPECT_EQ(store.bytes(), bytes);
}

TEST(MemoryStore, BorrowedMemoryIsTheBlockItself) {
  const char bytes[] = "caller";
  const CBufferStreamMemImpl store(bytes, 6, true);
  EXPECT_EQ(store.block(), bytes);
  EXPECT_TRUE(store.borrowed());
  EXPECT_EQ(store.length(), 6U);
  EXPECT_EQ(store.capacity(), 6U);
}

TEST(MemoryStore, BorrowedMemoryIsCopiedBeforeAnythingChangesIt) {
  const std::string original = "caller's bytes";
  using Change = void (*)(CBufferStreamMemImpl&);
  const struct {
    Change change;
    std::string result;
  } cases[] = {
      {[](CBufferStreamMemImpl& s) { s.push_back("!", 1); }, "caller's bytes!"},
      {[](CBufferStreamMemImpl& s) { s.push_back("", 0); }, "caller's bytes"},
      {[](CBufferStreamMemImpl& s) { s.pop_front(9); }, "bytes"},
      {[](CBufferStreamMemImpl& s) { s.insert(0, "a ", 2); }, "a caller's bytes"},
      {[](CBufferStreamMemImpl& s) { s.remove(6, 2); }, "caller bytes"},
      {[](CBufferStreamMemImpl& s) { s.write("C", 1); }, "Caller's bytes"},
      {[](CBufferStreamMemImpl& s) { s.assign("short", 5); }, "short"},
      {[](CBufferStreamMemImpl& s) { s.clear(0); }, ""},
      {[](CBufferStreamMemImpl& s) {
         s.clear(1000);
         s.push_back("new", 3);
       },
       "new"},
      {[](CBufferStreamMemImpl& s) { s.reserve_additional(5); }, "caller's bytes"},
  };
  for (const auto& one : cases) {
    std::string memory = original;
    CBufferStreamMemImpl store(memory.data(), memory.size(), true);
    one.change(store);
    EXPECT_EQ(std::string(store.block() + store.front_offset(), store.length()), one.result);
    EXPECT_EQ(memory, original);
    EXPECT_FALSE(store.borrowed());
    std::free(store.block());
  }
}

TEST(MemoryStore, NullFileStoreGivesAnEmptyStore) {
  const Store store(static_cast<CBufferStreamFileImpl*>(nullptr));
  EXPECT_EQ(store.length(), 0U);
  EXPECT_EQ(store.capacity(), 0U);
  EXPECT_EQ(store.block(), nullptr);
}

TEST(MemoryStore, ClearKeepsABlockThatIsNotTooLarge) {
  Store store(Pattern(100));
  store.seekg(5, 0);
  store.seekp(6, 0);
  const char* block = store.block();
  store.clear(100);
  EXPECT_EQ(store.block(), block);
  EXPECT_EQ(store.capacity(), 100U);
  EXPECT_EQ(store.length(), 0U);
  EXPECT_EQ(store.get_position(), 0U);
  EXPECT_EQ(store.put_position(), 0U);
}

TEST(MemoryStore, ClearCutsALargerBlockAndNeverGrowsOne) {
  Store store(Pattern(100));
  store.clear(40);
  EXPECT_EQ(store.capacity(), 40U);
  store.clear(1000);
  EXPECT_EQ(store.capacity(), 40U);
  store.clear(0);
  EXPECT_EQ(store.capacity(), 0U);
  EXPECT_EQ(store.block(), nullptr);
  store.clear(0);
  EXPECT_EQ(store.capacity(), 0U);
}

TEST(MemoryStore, ReserveReallocatesAnExactFit) {
  Store store(Pattern(10));
  store.reserve_additional(20);
  EXPECT_EQ(store.capacity(), 30U);
  store.reserve_additional(19);
  EXPECT_EQ(store.capacity(), 30U);
  store.reserve_additional(20);  // 10 + 20 >= 30: again, to the same size
  EXPECT_EQ(store.capacity(), 30U);
  store.reserve_additional(21);
  EXPECT_EQ(store.capacity(), 31U);
  EXPECT_EQ(store.bytes(), Pattern(10));
}

TEST(MemoryStore, ReserveKeepsTheFrontOffsetWhileLittleIsDead) {
  Store store(Pattern(100));
  store.pop_front(10);
  store.reserve_additional(100);  // need 190, a quarter of it 47
  EXPECT_EQ(store.front_offset(), 10U);
  EXPECT_EQ(store.capacity(), 200U);
  EXPECT_EQ(store.bytes(), Pattern(100).substr(10));
}

TEST(MemoryStore, ReserveMovesToAFreshBlockWhenAQuarterIsDead) {
  Store store(Pattern(100));
  store.pop_front(30);  // 30 < 70 / 2: nothing moves yet
  ASSERT_EQ(store.front_offset(), 30U);
  store.reserve_additional(50);  // need 120, a quarter of it 30
  EXPECT_EQ(store.front_offset(), 0U);
  EXPECT_EQ(store.capacity(), 120U);
  EXPECT_EQ(store.bytes(), Pattern(100).substr(30));
}

TEST(MemoryStore, ReserveOfMoreThanCanBeAddressedChangesNothing) {
  Store store(Pattern(10));
  store.pop_front(1);
  store.reserve_additional(npos);
  EXPECT_EQ(store.bytes(), Pattern(10).substr(1));
  store.reserve_additional(npos / 2);
  EXPECT_EQ(store.bytes(), Pattern(10).substr(1));
}

TEST(MemoryStore, PushBackDoublesTheBlock) {
  Store store(Pattern(100));
  EXPECT_EQ(store.push_back("x", 1), 1U);
  EXPECT_EQ(store.capacity(), 200U);
  EXPECT_EQ(store.push_back(Pattern(300).data(), 300), 300U);
  EXPECT_EQ(store.capacity(), 401U);
  EXPECT_EQ(store.get_position(), 0U);
  EXPECT_EQ(store.put_position(), 0U);
  EXPECT_EQ(store.bytes(), Pattern(100) + "x" + Pattern(300));
}

TEST(MemoryStore, PushBackFillsABlockExactly) {
  Store store(Pattern(10));
  store.reserve_additional(10);
  const char* block = store.block();
  store.push_back(Pattern(10).data(), 10);
  EXPECT_EQ(store.capacity(), 20U);
  EXPECT_EQ(store.block(), block);
}

TEST(MemoryStore, PopFrontOfEverythingFreesABlockAbove8192Bytes) {
  Store store(Pattern(8193));
  store.pop_front(npos);
  EXPECT_EQ(store.block(), nullptr);
  EXPECT_EQ(store.capacity(), 0U);
  EXPECT_EQ(store.front_offset(), 0U);
  EXPECT_EQ(store.length(), 0U);
  EXPECT_EQ(store.push_back("again", 5), 5U);
  EXPECT_EQ(store.bytes(), "again");
}

TEST(MemoryStore, PopFrontOfEverythingKeepsABlockOf8192Bytes) {
  Store store(Pattern(8192));
  store.pop_front(8192);
  EXPECT_NE(store.block(), nullptr);
  EXPECT_EQ(store.capacity(), 8192U);
  EXPECT_EQ(store.front_offset(), 8192U);
  EXPECT_EQ(store.push_back("again", 5), 5U);
  EXPECT_EQ(store.bytes(), "again");
}

TEST(MemoryStore, PopFrontMovesTheRestToTheFrontOnceHalfOfItIsDead) {
  Store store(Pattern(150));
  store.pop_front(100);
  EXPECT_EQ(store.front_offset(), 0U);
  EXPECT_EQ(store.capacity(), 150U);
  EXPECT_EQ(store.bytes(), Pattern(150).substr(100));
}

TEST(MemoryStore, PopFrontOfLittleMovesNothing) {
  Store store(Pattern(1000));
  store.pop_front(10);
  EXPECT_EQ(store.front_offset(), 10U);
  EXPECT_EQ(store.length(), 990U);
}

TEST(MemoryStore, PopFrontOfNothingFromAShortStoreMovesNothing) {
  Store store("ab");
  store.pop_front(0);
  EXPECT_EQ(store.front_offset(), 0U);
  EXPECT_EQ(store.bytes(), "ab");
}

TEST(MemoryStore, PopFrontShrinksABlockWithMoreThan8192BytesToSpare) {
  Store store(Pattern(20000));
  store.pop_front(19000);
  EXPECT_EQ(store.capacity(), 1500U);
  EXPECT_EQ(store.bytes(), Pattern(20000).substr(19000));
  Store other(Pattern(9192));
  other.pop_front(8192);  // 8192 to spare: not more
  EXPECT_EQ(other.capacity(), 9192U);
}

TEST(MemoryStore, PopFrontLetsPositionsStayWithTheirBytes) {
  const struct {
    long position, after;
  } cases[] = {{3, 0}, {10, 0}, {11, 1}, {50, 40}, {51, 0}};  // 51: invalid
  for (const auto& one : cases) {
    Store store(Pattern(50));
    store.seekg(one.position, 0);
    store.seekp(one.position, 0);
    store.pop_front(10);
    EXPECT_EQ(store.get_position(), static_cast<size_t>(one.after)) << one.position;
    EXPECT_EQ(store.put_position(), static_cast<size_t>(one.after)) << one.position;
  }
}

TEST(MemoryStore, AssignOfNothingReleasesALargeBlock) {
  Store store(Pattern(1 << 20));
  store.assign("", 0);
  EXPECT_EQ(store.length(), 0U);
  EXPECT_EQ(store.capacity(), 0U);
  EXPECT_EQ(store.block(), nullptr);
}

TEST(MemoryStore, AssignLeavesNoBlockLargerThanTheContent) {
  Store store(Pattern(1000));
  store.assign("0123456789", 10);
  EXPECT_EQ(store.capacity(), 10U);
  EXPECT_EQ(store.bytes(), "0123456789");
  store.assign(nullptr, 10);
  EXPECT_EQ(store.length(), 0U);
}

TEST(MemoryStore, InsertMovesThePutPositionOnly) {
  Store store("0123456789");
  store.seekg(7, 0);
  store.insert(5, "abc", 3);
  EXPECT_EQ(store.bytes(), "01234abc56789");
  EXPECT_EQ(store.put_position(), 8U);
  EXPECT_EQ(store.get_position(), 7U);
  store.insert(13, "!", 1);
  EXPECT_EQ(store.bytes(), "01234abc56789!");
  store.insert(0, "", 0);
  EXPECT_EQ(store.put_position(), 0U);
}

TEST(MemoryStore, InsertBehindTheEndDoesNothing) {
  Store store("0123");
  store.insert(5, "x", 1);
  EXPECT_EQ(store.bytes(), "0123");
  EXPECT_EQ(store.put_position(), 0U);
}

TEST(MemoryStore, RemovePastTheEndCutsTheTail) {
  const struct { long get, after; } cases[] = {{7, 5}, {3, 3}, {5, 5}, {10, 5}};
  for (const auto& one : cases) {
    Store store("0123456789");
    store.seekg(one.get, 0);
    EXPECT_EQ(store.remove(5, 100), 5U);
    EXPECT_EQ(store.bytes(), "01234");
    EXPECT_EQ(store.get_position(), static_cast<size_t>(one.after)) << one.get;
    EXPECT_EQ(store.put_position(), 5U);
  }
}

TEST(MemoryStore, RemoveInsideMovesTheTailDown) {
  const struct {
    long get;
    size_t after;
  } cases[] = {{2, 2}, {3, 2}, {4, 2}, {5, 2}, {8, 5}, {10, 7}, {11, npos}};
  for (const auto& one : cases) {
    Store store("0123456789");
    store.seekg(one.get, 0);
    EXPECT_EQ(store.remove(2, 3), 3U);
    EXPECT_EQ(store.bytes(), "0156789");
    EXPECT_EQ(store.get_position(), one.after) << one.get;
  }
}

TEST(MemoryStore, RemoveBehindTheEndDoesNothing) {
  Store store("0123");
  store.seekp(1, 0);
  EXPECT_EQ(store.remove(5, 1), 0U);
  EXPECT_EQ(store.put_position(), 1U);
  EXPECT_EQ(store.remove(4, npos), 0U);
  EXPECT_EQ(store.put_position(), 4U);
}

TEST(MemoryStore, SeekReachesTheEndAndNoFurther) {
  Store store("0123456789");
  EXPECT_EQ(store.seekg(0, 2), 10);
  EXPECT_EQ(store.seekg(1, 2), -1);
  EXPECT_EQ(store.get_position(), npos);
  EXPECT_EQ(store.seekg(-1, 0), -1);
  EXPECT_EQ(store.seekg(-10, 2), 0);
  EXPECT_EQ(store.seekg(4, 1), 4);
  EXPECT_EQ(store.seekg(-2, 1), 2);
  EXPECT_EQ(store.seekg(9, 1), -1);
  EXPECT_EQ(store.put_position(), 0U);
  EXPECT_EQ(store.seekp(7, 0), 7);
  EXPECT_EQ(store.get_position(), npos);
}

TEST(MemoryStore, SeekFromAnInvalidPositionWrapsAround) {
  Store store("0123456789");
  store.seekg(11, 0);
  EXPECT_EQ(store.seekg(4, 1), 3);
}

TEST(MemoryStore, SeekTakesAnyOtherWhenceAsTheBeginning) {
  Store store("0123456789");
  store.seekg(5, 0);
  EXPECT_EQ(store.seekg(3, 7), 3);
  EXPECT_EQ(store.seekg(4, -1), 4);
}

TEST(MemoryStore, ReadReplacesTheString) {
  Store store("0123456789");
  std::string out = "old";
  EXPECT_EQ(store.read(out, 4), 4U);
  EXPECT_EQ(out, "0123");
  EXPECT_EQ(store.read(out, 0), 0U);
  EXPECT_EQ(out, "0123");
  EXPECT_EQ(store.read(out, 100), 6U);
  EXPECT_EQ(out, "456789");
  EXPECT_EQ(store.read(out, 1), 0U);
  EXPECT_EQ(out, "456789");
  store.seekg(11, 0);
  EXPECT_EQ(store.read(out, 1), 0U);
}

TEST(MemoryStore, ReadFromStreamTakesTheRestWhenNoCountIsGiven) {
  std::istringstream in("0123456789");
  in.seekg(3);
  Store store("old content");
  store.seekg(2, 0);
  EXPECT_EQ(store.ReadFromStream(in, 0), 7U);
  EXPECT_EQ(store.bytes(), "3456789");
  EXPECT_EQ(store.get_position(), 0U);
}

TEST(MemoryStore, ReadFromStreamTakesNoMoreThanThereIs) {
  std::istringstream in("0123456789");
  Store store;
  EXPECT_EQ(store.ReadFromStream(in, 4), 4U);
  EXPECT_EQ(store.bytes(), "0123");
  EXPECT_EQ(store.ReadFromStream(in, 100), 6U);
  EXPECT_EQ(store.bytes(), "456789");
}

TEST(MemoryStore, ReadFromStreamOfAThrowingStreamLeavesItEmpty) {
  std::istringstream in("0123");
  in.exceptions(std::ios_base::failbit);
  Store store("old content");
  EXPECT_EQ(store.ReadFromStream(in, 100), 0U);
  EXPECT_EQ(store.length(), 0U);
  EXPECT_EQ(store.capacity(), 0U);
}

TEST(MemoryStore, WriteToFileTellsTheStateOfTheStream) {
  Store store("0123");
  store.pop_front(1);
  std::ostringstream out;
  EXPECT_TRUE(store.WriteToFile(out));
  EXPECT_EQ(out.str(), "123");
  out.setstate(std::ios_base::failbit);
  EXPECT_FALSE(store.WriteToFile(out));
  Store empty;
  EXPECT_FALSE(empty.WriteToFile(out));
  out.clear();
  EXPECT_TRUE(empty.WriteToFile(out));

  std::ofstream full("/dev/full");
  full.exceptions(std::ios_base::badbit);
  Store large(Pattern(100000));
  EXPECT_FALSE(large.WriteToFile(full));
}

TEST(MemoryStore, WriteToFileObjectLeavesTheFileAloneWhenEmpty) {
  CFileOperations closed("/nonexistent/file");
  Store store;
  EXPECT_TRUE(store.WriteToFile(closed));
  store.push_back("x", 1);
  EXPECT_FALSE(store.WriteToFile(closed));
}

TEST(MemoryStore, LoadsAFileStoreWithItsPositions) {
  Store source(Pattern(20000));
  source.seekg(7000, 0);
  source.seekp(20000, 0);
  CBufferStreamFileImpl file(&source);
  file.remove(0, 5000);
  const Store loaded(&file);
  EXPECT_EQ(loaded.bytes(), Pattern(20000).substr(5000));
  EXPECT_EQ(loaded.get_position(), 2000U);
  EXPECT_EQ(loaded.put_position(), 15000U);
  EXPECT_EQ(loaded.capacity(), 15002U);  // two spare bytes
  EXPECT_EQ(file.tellg(), 2000);
  EXPECT_EQ(file.tellp(), 15000);
}

TEST(MemoryStore, LoadTakesGapsAndOverwrittenBytesForWhatTheyAre) {
  Store source("__0123");
  CBufferStreamFileImpl file(&source);
  file.remove(0, 2);
  file.seekp(6, 0);
  file.write("x", 1);  // two bytes behind the end
  for (int i = 0; i < 5; ++i) {
    file.seekp(0, 0);
    file.write("ab", 2);
  }
  const Store loaded(&file);
  EXPECT_EQ(loaded.bytes(), std::string("ab23\0\0x", 7));
  EXPECT_EQ(loaded.capacity(), 9U);
}

TEST(MemoryStore, LoadClearsTheStateOfAFailedFile) {
  Store source(Pattern(10));
  CBufferStreamFileImpl file(&source);
  file.file()->stream().setstate(std::ios_base::failbit);
  const Store loaded(&file);
  EXPECT_EQ(loaded.length(), 0U);
  EXPECT_TRUE(file.file()->stream().good());
}

TEST(MemoryStore, LoadOfAClosedFileStartsAtTheBeginning) {
  Store source(Pattern(10));
  source.seekg(4, 0);
  CBufferStreamFileImpl file(&source);
  file.file()->Close();
  const Store loaded(&file);
  EXPECT_EQ(loaded.get_position(), 0U);
  EXPECT_EQ(loaded.put_position(), 0U);
}

TEST(MemoryStore, AppendFromBufferReturnsTheRestoredPositionOfTheSource) {
  const auto source = std::make_shared<CBufferStream>("0123456789", size_t{10}, false);
  source->IFSeekg(4, 0);
  Store store("<");
  EXPECT_EQ(store.AppendFromBuffer(source, 2, 3), 4U);
  EXPECT_EQ(store.bytes(), "<234");
  EXPECT_EQ(store.AppendFromBuffer(source, 8, npos), 4U);
  EXPECT_EQ(store.bytes(), "<23489");
  EXPECT_EQ(store.AppendFromBuffer(source, 7, 100), 4U);
  EXPECT_EQ(store.bytes(), "<23489789");
  EXPECT_EQ(source->IFTellg(), 4);
}

TEST(MemoryStore, AppendFromBufferBehindTheSourceReturnsItsLength) {
  const auto source = std::make_shared<CBufferStream>("0123456789", size_t{10}, false);
  Store store("<");
  EXPECT_EQ(store.AppendFromBuffer(source, 10, npos), 10U);
  EXPECT_EQ(store.AppendFromBuffer(source, npos, npos), 10U);
  EXPECT_EQ(store.AppendFromBuffer(source, 11, 0), 10U);
  EXPECT_EQ(store.AppendFromBuffer(source, 10, 0), 0U);
  EXPECT_EQ(store.bytes(), "<");
}

TEST(MemoryStore, AppendFromBufferReadsASourceInAFileByPieces) {
  const auto source = std::make_shared<CBufferStream>(true, size_t{10});
  source->IFPushBack(Pattern(200000).data(), 200000);
  source->IFPopFront(1000);
  ASSERT_FALSE(source->IFIsInMemory());
  Store store("<");
  store.AppendFromBuffer(source, 0, npos);
  EXPECT_EQ(store.bytes(), "<" + Pattern(200000).substr(1000));
}

TEST(MemoryStore, DirectAreaHoldsTwoBytesBack) {
  Store store("0123456789");
  size_t available = 100;
  char* area = store.start_pushing_back(&available, 100);
  ASSERT_NE(area, nullptr);
  EXPECT_EQ(available, 100U);
  EXPECT_EQ(store.capacity(), 112U);
  EXPECT_EQ(area, store.block() + 10);
  store.stop_pushing_back(1000);  // more than the block has
  EXPECT_EQ(store.length(), 112U);
}

}  // namespace
