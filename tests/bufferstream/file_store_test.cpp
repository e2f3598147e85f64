#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>

#include "bufferstream/CBufferStream.h"
#include "bufferstream/CBufferStreamFileImpl.h"
#include "bufferstream/CBufferStreamMemImpl.h"
#include "bufferstream/temporary_name.h"
#include "tests/bufferstream/support.h"

namespace {

using ostrel::CBufferStream;
using ostrel::CBufferStreamFileImpl;
using ostrel::CBufferStreamMemImpl;
using test::Contents;
using test::Directory;
using test::Pattern;
using test::Printed;

constexpr size_t kAll = static_cast<size_t>(-1);

std::string ReadAll(CBufferStreamFileImpl& store) {
  std::string bytes(store.length(), '\0');
  store.seekg(0, 0);
  bytes.resize(store.read(bytes.data(), bytes.size()));
  return bytes;
}

void Fill(CBufferStreamFileImpl& store, const std::string& bytes) {
  store.append(bytes.data(), bytes.size());
}

TEST(FileStore, NewStoreIsAnEmptyTemporaryFile) {
  const CBufferStreamFileImpl store;
  EXPECT_TRUE(store.temporary());
  EXPECT_EQ(static_cast<int>(store.mode()), 60);
  EXPECT_EQ(store.name(), ostrel::kTempPath.string());
  EXPECT_TRUE(std::filesystem::exists(store.name()));
  EXPECT_EQ(store.length(), 0U);
  EXPECT_TRUE(store.mapping_read_only());
}

TEST(FileStore, TemporaryFileCanBeReadByItsOwnerAlone) {
  const CBufferStreamFileImpl store;
  struct stat status {};
  ASSERT_EQ(::stat(store.name().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST(FileStore, TwoStoresHaveTwoFilesAndEachIsRemovedWithItsStore) {
  auto first = std::make_unique<CBufferStreamFileImpl>();
  auto second = std::make_unique<CBufferStreamFileImpl>();
  const std::string one = first->name();
  const std::string two = second->name();
  EXPECT_NE(one, two);
  EXPECT_EQ(ostrel::kTempPath.string(), two);
  first.reset();
  EXPECT_FALSE(std::filesystem::exists(one));
  EXPECT_TRUE(std::filesystem::exists(two));
  second.reset();
  EXPECT_FALSE(std::filesystem::exists(two));
}

TEST(FileStore, NamedFileIsNeverDeleted) {
  const Directory directory;
  const std::string path = directory.file("named", "0123");
  {
    const CBufferStreamFileImpl reading(path, true);
    EXPECT_EQ(static_cast<int>(reading.mode()), 12);
    EXPECT_EQ(reading.length(), 4U);
    EXPECT_FALSE(reading.temporary());
    CBufferStreamFileImpl writing(path, false);
    EXPECT_EQ(static_cast<int>(writing.mode()), 29);
    Fill(writing, "45");
    EXPECT_EQ(writing.length(), 6U);
  }
  EXPECT_EQ(Contents(path), "012345");
}

TEST(FileStore, NamedFileThatIsMissingThrowsForReadingAndIsCreatedForWriting) {
  const Directory directory;
  EXPECT_THROW(CBufferStreamFileImpl(directory.path("none"), true),
               std::filesystem::filesystem_error);
  EXPECT_THROW(CBufferStreamFileImpl(directory.path("none/none"), false),
               std::filesystem::filesystem_error);
  const CBufferStreamFileImpl store(directory.path("new"), false);
  EXPECT_TRUE(std::filesystem::exists(directory.path("new")));
}

TEST(FileStore, CopyOfAMemoryStoreKeepsBothPositions) {
  const std::string bytes = Pattern(1000);
  CBufferStreamMemImpl memory(bytes.data(), bytes.size(), true);
  memory.seekg(300, 0);
  memory.seekp(700, 0);
  CBufferStreamFileImpl store(&memory);
  EXPECT_EQ(store.tellg(), 300);
  EXPECT_EQ(store.tellp(), 700);
  EXPECT_EQ(store.size(), 1000U);
  EXPECT_EQ(ReadAll(store), bytes);
}

TEST(FileStore, CopyOfAMemoryStoreWithInvalidPositionsIsSound) {
  CBufferStreamMemImpl memory("0123456789", 10, true);
  memory.seekg(11, 0);
  memory.seekp(11, 0);
  CBufferStreamFileImpl store(&memory);
  EXPECT_TRUE(store.file()->stream().good());
  EXPECT_EQ(store.tellg(), 0);
  EXPECT_EQ(store.tellp(), 10);
  EXPECT_EQ(ReadAll(store), "0123456789");
}

TEST(FileStore, InitTurnsToAnotherFileAndClosesTheOldOne) {
  CBufferStreamFileImpl store;
  Fill(store, "0123");
  const std::string old = store.name();
  store.Init();
  EXPECT_NE(store.name(), old);
  EXPECT_EQ(store.length(), 0U);
  EXPECT_EQ(Contents(old), "0123");
  std::filesystem::remove(old);
}

TEST(FileStore, RemoveFromTheFrontChangesNoByteOnDisk) {
  const std::string bytes = Pattern(1000);
  CBufferStreamFileImpl store;
  Fill(store, bytes);
  const Printed printed;
  EXPECT_EQ(store.remove(0, 100), 100U);
  EXPECT_EQ(store.length(), 900U);
  EXPECT_EQ(store.start_offset(), 100U);
  ASSERT_NE(store.pointer(true), nullptr);
  EXPECT_EQ(store.pointer(true), store.mapping() + 100);
  EXPECT_EQ(std::string(store.pointer(true), 900), bytes.substr(100));
  EXPECT_EQ(Contents(store.name()), bytes);
}

TEST(FileStore, RemoveFromTheFrontLetsPositionsStayWithTheirBytes) {
  CBufferStreamFileImpl store;
  Fill(store, Pattern(1000));
  store.seekg(50, 0);
  store.seekp(500, 0);
  store.remove(0, 100);
  EXPECT_EQ(store.tellg(), 0);  // its byte is gone
  EXPECT_EQ(store.tellp(), 400);
}

TEST(FileStore, RemoveOfEverythingFromTheFrontEmptiesTheFile) {
  CBufferStreamFileImpl store;
  Fill(store, Pattern(1000));
  store.remove(0, 10);
  EXPECT_EQ(store.remove(0, kAll), 990U);
  EXPECT_EQ(store.start_offset(), 0U);
  EXPECT_EQ(store.size(), 0U);
  EXPECT_EQ(std::filesystem::file_size(store.name()), 0U);
  EXPECT_EQ(store.tellg(), 0);
  EXPECT_EQ(store.remove(0, 0), 0U);
  Fill(store, "again");
  EXPECT_EQ(ReadAll(store), "again");
}

TEST(FileStore, RemoveOfEverythingFromAReadOnlyFileKeepsIt) {
  const Directory directory;
  CBufferStreamFileImpl store(directory.file("named", "0123"), true);
  EXPECT_EQ(store.remove(0, 4), 4U);
  EXPECT_EQ(store.length(), 4U);
  EXPECT_EQ(ReadAll(store), "0123");
}

// The move of the bytes behind the range ends in `Truncate`, which empties the file whatever size
// it is given: the recorded size is right, the bytes are gone.
TEST(FileStore, RemoveInsideKeepsTheSizeAndLosesTheBytes) {
  CBufferStreamFileImpl store;
  Fill(store, Pattern(1000));
  EXPECT_EQ(store.remove(100, 50), 50U);
  EXPECT_EQ(store.length(), 950U);
  EXPECT_EQ(std::filesystem::file_size(store.name()), 0U);
  EXPECT_EQ(ReadAll(store), "");
  const Printed printed;
  EXPECT_EQ(store.pointer(true), nullptr);
  EXPECT_NE(printed.out().find("NOT OK"), std::string::npos);
}

TEST(FileStore, RemoveOfTheTailKeepsTheSizeAndLosesTheBytes) {
  CBufferStreamFileImpl store;
  Fill(store, Pattern(1000));
  store.remove(0, 100);
  EXPECT_EQ(store.remove(400, kAll), 500U);
  EXPECT_EQ(store.length(), 400U);
  EXPECT_EQ(std::filesystem::file_size(store.name()), 0U);
  EXPECT_EQ(store.remove(401, 5), 0U);
}

// `Truncate` empties the file before the bytes behind `pos` are moved: only what is inserted is
// there afterwards, behind zeros.
TEST(FileStore, InsertInsideLosesTheBytesThatWereThere) {
  CBufferStreamFileImpl store;
  Fill(store, Pattern(1000));
  store.insert(400, "inserted", 8);
  EXPECT_EQ(store.length(), 1008U);
  EXPECT_EQ(ReadAll(store), std::string(400, '\0') + "inserted");
  EXPECT_FALSE(store.file()->stream().fail());
}

TEST(FileStore, InsertAtTheEndAppends) {
  CBufferStreamFileImpl store;
  Fill(store, "0123");
  store.seekp(1, 0);
  store.insert(4, "45", 2);
  EXPECT_EQ(ReadAll(store), "012345");
  EXPECT_EQ(store.tellp(), 4);
  store.insert(100, "67", 2);
  EXPECT_EQ(ReadAll(store), "01234567");
  EXPECT_EQ(store.tellp(), 4);
}

TEST(FileStore, AssignReplacesEverythingAndReturnsToTheBeginning) {
  CBufferStreamFileImpl store;
  Fill(store, Pattern(1000));
  store.remove(0, 100);
  store.seekg(10, 0);
  store.assign("0123", 4);
  EXPECT_EQ(store.length(), 4U);
  EXPECT_EQ(store.tellp(), 0);
  EXPECT_EQ(store.tellg(), 0);
  EXPECT_EQ(ReadAll(store), "0123");
  store.assign(nullptr, 4);
  EXPECT_EQ(store.length(), 0U);
}

TEST(FileStore, ReplaceOverwritesInsideTheContentOnly) {
  CBufferStreamFileImpl store;
  Fill(store, "__0123456789");
  store.remove(0, 2);
  store.replace(3, "abc", 3);
  EXPECT_EQ(store.tellp(), 6);
  EXPECT_EQ(ReadAll(store), "012abc6789");
  store.replace(8, "xyz", 3);
  EXPECT_EQ(store.tellp(), 8);
  EXPECT_EQ(ReadAll(store), "012abc6789");
}

TEST(FileStore, WriteBehindTheEndLeavesZerosBetween) {
  CBufferStreamFileImpl store;
  Fill(store, "__0123");
  store.remove(0, 2);
  EXPECT_EQ(store.seekp(6, 0), 4);  // allowed up to the size of the file; 6 less the start offset
  EXPECT_EQ(store.write("x", 1), 1U);
  EXPECT_EQ(ReadAll(store), std::string("0123\0\0x", 7));
}

TEST(FileStore, EmptyFileIsNeverMapped) {
  CBufferStreamFileImpl store;
  const Printed printed;
  EXPECT_FALSE(store.CreateMapping(true));
  EXPECT_EQ(store.pointer(true), nullptr);
  EXPECT_EQ(printed.out(), "");
}

TEST(FileStore, MappingIsAnnouncedAndReused) {
  CBufferStreamFileImpl store;
  Fill(store, "0123");
  const std::string lines = "creating mapping for file '" + store.name() +
                            "'\ncreating mapping for file '" + store.name() + "' - OK\n";
  const Printed printed;
  const char* address = store.pointer(true);
  EXPECT_EQ(printed.out(), lines);
  EXPECT_EQ(store.pointer(true), address);
  EXPECT_EQ(printed.out(), lines);
  char* writable = store.pointer(false);  // takes the place of the read-only one
  EXPECT_EQ(writable, address);
  EXPECT_FALSE(store.mapping_read_only());
  EXPECT_EQ(store.pointer(true), address);
  EXPECT_EQ(printed.out(), lines + lines);
}

TEST(FileStore, WritesThroughAMappingAreReadBack) {
  CBufferStreamFileImpl store;
  Fill(store, "0123456789");
  const Printed printed;
  char byte = 0;
  store.read(&byte, 1);  // reads ahead
  store.pointer(false)[1] = 'a';
  store.read(&byte, 1);
  EXPECT_EQ(byte, 'a');
  store.pointer(false)[2] = 'b';
  store.unmap();
  store.read(&byte, 1);
  EXPECT_EQ(byte, 'b');
  EXPECT_EQ(Contents(store.name()), "0ab3456789");
}

TEST(FileStore, EveryChangeUnmaps) {
  using Change = void (*)(CBufferStreamFileImpl&);
  const Change changes[] = {
      [](CBufferStreamFileImpl& s) { s.insert(10, "x", 1); },
      [](CBufferStreamFileImpl& s) { s.remove(0, 1); },
      [](CBufferStreamFileImpl& s) { s.remove(2, 1); },
      [](CBufferStreamFileImpl& s) { s.assign("x", 1); },
      [](CBufferStreamFileImpl& s) { s.replace(0, "x", 1); },
      [](CBufferStreamFileImpl& s) { s.write("x", 1); },
      [](CBufferStreamFileImpl& s) { s.append("x", 1); },
      [](CBufferStreamFileImpl& s) { s.clear(); },
      [](CBufferStreamFileImpl& s) {
        std::istringstream in("x");
        s.ReadFromStream(in, 0);
      },
      [](CBufferStreamFileImpl& s) {
        s.AppendFromBuffer(std::make_shared<CBufferStream>("x", size_t{1}, true), 0, kAll);
      },
  };
  for (const Change change : changes) {
    CBufferStreamFileImpl store;
    Fill(store, "0123456789");
    const Printed printed;
    ASSERT_NE(store.pointer(true), nullptr);
    change(store);
    EXPECT_EQ(store.mapping(), nullptr) << &change - changes;
  }
}

TEST(FileStore, ReadPastTheEndLeavesTheEndOfFileStateAndNothingElse) {
  CBufferStreamFileImpl store;
  Fill(store, "0123");
  char bytes[10];
  EXPECT_EQ(store.read(bytes, 4), 4U);
  EXPECT_FALSE(store.at_end());
  EXPECT_EQ(store.read(bytes, 1), 0U);
  EXPECT_TRUE(store.at_end());
  EXPECT_FALSE(store.file()->stream().fail());
  EXPECT_EQ(store.tellg(), 4);
  EXPECT_EQ(store.read(bytes, 1), 0U);
  EXPECT_TRUE(store.at_end());
  Fill(store, "45");
  EXPECT_FALSE(store.at_end());
  EXPECT_EQ(store.read(bytes, 10), 2U);
  EXPECT_TRUE(store.at_end());
  store.seekg(0, 0);
  EXPECT_FALSE(store.at_end());
  EXPECT_EQ(store.read(bytes, 10), 6U);
  EXPECT_EQ(store.seekp(1, 0), 1);
  EXPECT_FALSE(store.at_end());
}

TEST(FileStore, ReadIntoAString) {
  CBufferStreamFileImpl store;
  Fill(store, "0123456789");
  std::string text;
  EXPECT_EQ(store.read(text, 4), 4U);
  EXPECT_EQ(text, "0123");
  EXPECT_FALSE(store.at_end());
  EXPECT_EQ(store.read(text, 100), 6U);
  EXPECT_EQ(text, "456789");
  EXPECT_TRUE(store.at_end());
  store.seekg(0, 0);
  EXPECT_EQ(store.read(text, 0), 10U);
  store.file()->Close();
  EXPECT_EQ(store.read(text, 1), 0U);
}

TEST(FileStore, FailureOfAnotherCauseStays) {
  CBufferStreamFileImpl store;
  Fill(store, "0123");
  store.file()->stream().setstate(std::ios_base::failbit);
  char byte = 0;
  EXPECT_EQ(store.read(&byte, 1), 0U);
  EXPECT_EQ(store.tellg(), -1);
  EXPECT_EQ(store.seekg(0, 0), -1);
  EXPECT_EQ(store.read(&byte, 1), 0U);
  const Printed printed;
  EXPECT_EQ(store.append("x", 1), 1U);
  EXPECT_EQ(printed.out(), "File failed in writing!\nFile failed in writing 2!\n");
  EXPECT_EQ(store.length(), 4U);
  EXPECT_EQ(store.pointer(true), nullptr);
  EXPECT_NE(printed.out().find("' - NOT OK\n"), std::string::npos);
  EXPECT_TRUE(store.reopen());
  EXPECT_EQ(ReadAll(store), "0123");
}

TEST(FileStore, ReadFromStreamReplacesTheContent) {
  CBufferStreamFileImpl store;
  Fill(store, "old content");
  store.remove(0, 3);
  std::istringstream in(Pattern(20000));
  in.seekg(100);
  EXPECT_EQ(store.ReadFromStream(in, 0), 19900U);
  EXPECT_EQ(store.length(), 19900U);
  EXPECT_EQ(store.tellg(), 0);
  EXPECT_EQ(store.tellp(), 0);
  EXPECT_EQ(ReadAll(store), Pattern(20000).substr(100));
  in.clear();
  in.seekg(0);
  EXPECT_EQ(store.ReadFromStream(in, 10), 10U);
  EXPECT_EQ(ReadAll(store), Pattern(20000).substr(0, 10));
}

TEST(FileStore, ReadFromStreamReportsAThrowingStreamAndKeepsWhatItGave) {
  CBufferStreamFileImpl store;
  std::istringstream in("0123");
  in.exceptions(std::ios_base::failbit);
  const Printed printed;
  store.ReadFromStream(in, 100);
  EXPECT_EQ(printed.err(), "iostream error\n");
}

TEST(FileStore, WriteToFileWritesTheContentAndKeepsTheGetPosition) {
  CBufferStreamFileImpl store;
  Fill(store, Pattern(20000));
  store.remove(0, 100);
  store.seekg(7, 0);
  std::ostringstream out;
  EXPECT_TRUE(store.WriteToFile(out));
  EXPECT_EQ(out.str(), Pattern(20000).substr(100));
  EXPECT_EQ(store.tellg(), 7);
  out.setstate(std::ios_base::badbit);
  EXPECT_FALSE(store.WriteToFile(out));
  std::ofstream full("/dev/full");
  full.exceptions(std::ios_base::badbit);
  const Printed printed;
  EXPECT_FALSE(store.WriteToFile(full));
  EXPECT_NE(printed.err(), "");
}

TEST(FileStore, AppendToBufferMovesBytesFromTheGetPosition) {
  CBufferStreamFileImpl store;
  Fill(store, Pattern(200000));
  store.seekg(1000, 0);
  const auto dst = std::make_shared<CBufferStream>("<", size_t{1}, false);
  EXPECT_EQ(store.AppendToBuffer(dst, 100000), 100000U);
  EXPECT_EQ(dst->ToStdString(), "<" + Pattern(200000).substr(1000, 100000));
  EXPECT_EQ(store.AppendToBuffer(dst, kAll), 99000U);
  const auto refusing = std::make_shared<CBufferStream>("", size_t{0}, true);
  store.seekg(0, 0);
  EXPECT_EQ(store.AppendToBuffer(refusing, 10), 0U);
  EXPECT_EQ(store.tellg(), 0);
}

TEST(FileStore, AppendFromBufferKeepsEveryPosition) {
  const auto source = std::make_shared<CBufferStream>("0123456789", size_t{10}, false);
  source->IFSeekg(4, 0);
  CBufferStreamFileImpl store;
  Fill(store, "<");
  EXPECT_EQ(store.AppendFromBuffer(source, 2, 3), 3U);
  EXPECT_EQ(store.AppendFromBuffer(source, 8, 100), 2U);
  EXPECT_EQ(store.AppendFromBuffer(source, 10, kAll), 0U);
  EXPECT_EQ(store.AppendFromBuffer(source, 11, 0), 0U);
  EXPECT_EQ(source->IFTellg(), 4);
  EXPECT_EQ(store.tellp(), 0);
  EXPECT_EQ(ReadAll(store), "<23489");
}

TEST(FileStore, DirectAreaNeverCommitsMoreThanItHas) {
  CBufferStreamFileImpl store;
  Fill(store, "0123");
  size_t available = 0;
  char* area = store.start_pushing_back(&available, 3);
  ASSERT_NE(area, nullptr);
  EXPECT_EQ(available, 3U);
  std::string("456").copy(area, 3);
  store.stop_pushing_back(100);
  EXPECT_EQ(ReadAll(store), "0123456");
  store.stop_pushing_back(1);  // no area
  EXPECT_EQ(store.length(), 7U);
}

TEST(FileStore, DestructorLetsAnErrorOfTheDeletionOut) {
  auto* store = new CBufferStreamFileImpl();
  const std::string name = store->name();
  std::filesystem::remove(name);
  std::filesystem::create_directories(name + "/inner");
  EXPECT_THROW(delete store, std::filesystem::filesystem_error);
  std::filesystem::remove_all(name);
}

TEST(TemporaryName, IsAbsoluteAndNew) {
  const std::string name = ostrel::temporary_name();
  EXPECT_TRUE(std::filesystem::path(name).is_absolute());
  EXPECT_FALSE(std::filesystem::exists(name));
  EXPECT_NE(ostrel::temporary_name(), name);
}

}  // namespace
