// What becomes of the bytes when the system says no. Every cause is real: full and read-only file
// systems mounted over the temporary directory of a child process, resource limits, files that
// somebody removes or cuts.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "bufferstream/CBufferStream.h"
#include "bufferstream/CBufferStreamFileImpl.h"
#include "bufferstream/CBufferStreamMemImpl.h"
#include "tests/bufferstream/support.h"

// A request for more memory than there is must fail here as it does without the sanitizer.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}

namespace {

using ostrel::CBufferStream;
using ostrel::CBufferStreamFileImpl;
using ostrel::CBufferStreamMemImpl;
using ostrel::IBufferStream;
using test::Contents;
using test::Directory;
using test::InChild;
using test::Outcome;
using test::Pattern;
using test::Printed;

constexpr size_t kAll = static_cast<size_t>(-1);
constexpr size_t kNever = kAll;  // a swap size that is never reached

size_t PushBack(IBufferStream& stream, const std::string& bytes) {
  return stream.IFPushBack(bytes.data(), bytes.size());
}

std::string ReadAll(IBufferStream& stream) {
  std::string bytes(stream.IFLength(), '\0');
  stream.IFSeekg(0, 0);
  bytes.resize(stream.IFRead(bytes.data(), bytes.size()));
  return bytes;
}

/// Mounts a small file system over the directory of temporary names, for this process alone.
/// @return false where the system forbids it
bool MountTemporaryDirectory(const char* options, unsigned long flags = 0) {
  return ::unshare(CLONE_NEWNS) == 0 &&
         ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         ::mount("none", "/tmp", "tmpfs", flags, options) == 0;
}

/// No file may grow beyond `bytes`.
bool LimitFileSize(size_t bytes) {
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{bytes, bytes};
  return ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

/// No file can be opened.
bool LimitDescriptors() {
  const rlimit limit{3, 3};
  return ::setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

/// No more than `bytes` of memory can be had on top of what the process has.
bool LimitMemory(size_t bytes) {
  size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const size_t size = pages * static_cast<size_t>(::sysconf(_SC_PAGESIZE)) + bytes;
  const rlimit limit{size, size};
  return ::setrlimit(RLIMIT_AS, &limit) == 0;
}

#define EXPECT_IN_CHILD(body, why_not)                        \
  do {                                                        \
    const Outcome outcome = InChild(body);                    \
    if (outcome == Outcome::skipped) GTEST_SKIP() << why_not; \
    EXPECT_EQ(outcome, Outcome::passed);                      \
  } while (false)

constexpr char kNoMount[] =
    "mounting is not permitted here; the tests of the file size limit and of the descriptor limit "
    "cover the same results";
constexpr char kNoMemoryLimit[] =
    "the address space of a process under AddressSanitizer cannot be limited; "
    "NoMemory.RequestsThatNoMemoryCanMeetAreRefused covers refused requests";

#ifdef TEST_UNDER_ADDRESS_SANITIZER
constexpr bool kMemoryCanBeLimited = false;
#else
constexpr bool kMemoryCanBeLimited = true;
#endif

/// A temporary file that takes 64 KiB and no more: by a full disk or by a limit.
void ExpectSwapThatDoesNotFitStaysInMemory() {
  const std::string bytes = Pattern(200000);
  CBufferStream stream(true, 100000);
  EXPECT_EQ(PushBack(stream, bytes.substr(0, 90000)), 90000U);
  stream.IFSeekg(50, 0);
  EXPECT_EQ(stream.IFPushBack(bytes.data() + 90000, 110000), 110000U);
  EXPECT_TRUE(stream.IFIsInMemory());
  EXPECT_FALSE(stream.IFSwapToFile());
  EXPECT_FALSE(stream.IFAcquireFile());
  EXPECT_FALSE(stream.IFIsFileAcquired());
  EXPECT_EQ(stream.IFTellg(), 50);
  EXPECT_EQ(stream.ToStdString(), bytes);
  stream.IFAssign(bytes.data(), bytes.size());
  EXPECT_TRUE(stream.IFIsInMemory());
  stream.IFReserveAdditional(150000);
  EXPECT_TRUE(stream.IFIsInMemory());
  EXPECT_EQ(stream.ToStdString(), bytes);
  EXPECT_FALSE(std::filesystem::exists(ostrel::kTempPath));
}

void ExpectCopyThatDoesNotFitIsMadeInMemory() {
  const std::string bytes = Pattern(200000);
  const auto source = std::make_shared<CBufferStream>(bytes.data(), bytes.size(), true);
  CBufferStream stream(true, 100000);
  PushBack(stream, "old");
  stream.Assign(source);
  EXPECT_TRUE(stream.IFIsInMemory());
  EXPECT_EQ(stream.ToStdString(), bytes);
}

void ExpectAppendThatDoesNotFitKeepsWhatWasThere() {
  const std::string bytes = Pattern(40000);
  CBufferStream stream(true, 10);
  PushBack(stream, bytes);
  ASSERT_FALSE(stream.IFIsInMemory());
  stream.IFSeekg(100, 0);
  {
    const Printed printed;
    EXPECT_EQ(PushBack(stream, Pattern(200000, 1)), 200000U);  // the result does not tell
    EXPECT_NE(printed.out().find("File failed in writing 2!\n"), std::string::npos);
    EXPECT_EQ(PushBack(stream, "x"), 1U);
    EXPECT_NE(printed.out().find("File failed in writing!\nFile failed in writing 2!\n"),
              std::string::npos);
    char byte = 0;
    EXPECT_EQ(stream.IFRead(&byte, 1), 0U);
    EXPECT_EQ(stream.IFTellg(), -1);
    EXPECT_EQ(stream.IFConstPtr(), nullptr);
    EXPECT_EQ(stream.IFLength(), 40000U);
  }
  EXPECT_TRUE(stream.IFReOpen());
  EXPECT_EQ(ReadAll(stream).substr(0, 40000), bytes);
  EXPECT_TRUE(stream.IFSwapToMemory());
  EXPECT_EQ(stream.ToStdString().substr(0, 40000), bytes);
}

TEST(FullDisk, SwapThatDoesNotFitStaysInMemory) {
  EXPECT_IN_CHILD(
      [] {
        if (!MountTemporaryDirectory("size=64k")) return false;
        ExpectSwapThatDoesNotFitStaysInMemory();
        ExpectCopyThatDoesNotFitIsMadeInMemory();
        EXPECT_TRUE(std::filesystem::is_empty("/tmp"));
        return true;
      },
      kNoMount);
}

TEST(FullDisk, AppendThatDoesNotFitKeepsWhatWasThere) {
  EXPECT_IN_CHILD(
      [] {
        if (!MountTemporaryDirectory("size=64k")) return false;
        ExpectAppendThatDoesNotFitKeepsWhatWasThere();
        return true;
      },
      kNoMount);
}

TEST(FullDisk, LoadOfAFailedFileIsRefusedAndMayBeTriedAgain) {
  EXPECT_IN_CHILD(
      [] {
        if (!MountTemporaryDirectory("size=64k")) return false;
        CBufferStream stream(true, 10);
        PushBack(stream, Pattern(40000));
        const Printed printed;
        PushBack(stream, Pattern(200000));
        EXPECT_FALSE(stream.IFSwapToMemory());
        EXPECT_FALSE(stream.IFIsInMemory());
        EXPECT_TRUE(stream.IFReOpen());
        EXPECT_TRUE(stream.IFSwapToMemory());
        EXPECT_EQ(stream.ToStdString().substr(0, 40000), Pattern(40000));
        return true;
      },
      kNoMount);
}

TEST(FileSizeLimit, SwapThatDoesNotFitStaysInMemory) {
  EXPECT_IN_CHILD(
      [] {
        if (!LimitFileSize(65536)) return false;
        ExpectSwapThatDoesNotFitStaysInMemory();
        ExpectCopyThatDoesNotFitIsMadeInMemory();
        return true;
      },
      "file sizes cannot be limited");
}

TEST(FileSizeLimit, AppendThatDoesNotFitKeepsWhatWasThere) {
  EXPECT_IN_CHILD(
      [] {
        if (!LimitFileSize(65536)) return false;
        ExpectAppendThatDoesNotFitKeepsWhatWasThere();
        return true;
      },
      "file sizes cannot be limited");
}

TEST(FileSizeLimit, CopyOnWriteThatDoesNotFitIsMadeInMemory) {
  const Directory directory;
  const std::string path = directory.file("named", Pattern(100000));
  EXPECT_IN_CHILD(
      [&] {
        if (!LimitFileSize(65536)) return false;
        CBufferStream::sDefaultSwapSize = 10;
        CBufferStream stream(path, false, true);
        EXPECT_EQ(PushBack(stream, "x"), 1U);
        EXPECT_TRUE(stream.IFIsInMemory());
        EXPECT_EQ(stream.ToStdString(), Pattern(100000) + "x");
        return true;
      },
      "file sizes cannot be limited");
  EXPECT_EQ(Contents(path), Pattern(100000));
}

TEST(FileSizeLimit, FileIsNotLentOutWhileItsLastBytesCannotBeWritten) {
  EXPECT_IN_CHILD(
      [] {
        CBufferStream stream(false);
        PushBack(stream, Pattern(4096));
        EXPECT_TRUE(stream.IFReOpen());
        if (!LimitFileSize(4096)) return false;
        EXPECT_EQ(PushBack(stream, Pattern(100)), 100U);  // collected, not yet on disk
        EXPECT_FALSE(stream.IFAcquireFile());
        EXPECT_FALSE(stream.IFIsFileAcquired());
        EXPECT_TRUE(stream.IFReOpen());
        EXPECT_EQ(ReadAll(stream), Pattern(4096));
        return true;
      },
      "file sizes cannot be limited");
}

/// No temporary file can be made at all.
void ExpectStreamsToDoWithoutTemporaryFiles() {
  ExpectSwapThatDoesNotFitStaysInMemory();
  ExpectCopyThatDoesNotFitIsMadeInMemory();
  CBufferStream in_file(false);
  EXPECT_FALSE(in_file.IFIsInMemory());
  EXPECT_EQ(PushBack(in_file, "0123"), 0U);
  EXPECT_EQ(in_file.IFWrite("0123", 4), 0U);
  EXPECT_EQ(in_file.IFLength(), 0U);
  EXPECT_EQ(in_file.IFTellg(), -1);
  EXPECT_EQ(in_file.IFSeekg(0, 0), -1);
  EXPECT_EQ(in_file.IFConstPtr(), nullptr);
  EXPECT_EQ(in_file.ToStdString(), "");
  EXPECT_FALSE(in_file.IFEof());
  EXPECT_FALSE(in_file.IFReOpen());
  EXPECT_FALSE(in_file.IFAcquireFile());
  in_file.IFPopFront(1);
  in_file.IFClear(0);
  in_file.IFAssign("0123", 4);
  EXPECT_EQ(in_file.IFLength(), 0U);
}

TEST(UnwritableTemporaryDirectory, StreamsDoWithoutTemporaryFiles) {
  EXPECT_IN_CHILD(
      [] {
        if (!MountTemporaryDirectory("size=64k", MS_RDONLY)) return false;
        ExpectStreamsToDoWithoutTemporaryFiles();
        return true;
      },
      kNoMount);
}

TEST(NoDescriptorsLeft, StreamsDoWithoutTemporaryFiles) {
#if defined(__clang__)
#if __has_feature(undefined_behavior_sanitizer)
  GTEST_SKIP() << "clang's check of object types needs a descriptor of its own";
#endif
#endif
  EXPECT_IN_CHILD(
      [] {
        if (!LimitDescriptors()) return false;
        ExpectStreamsToDoWithoutTemporaryFiles();
        return true;
      },
      "descriptors cannot be limited");
}

TEST(MissingTemporaryDirectory, DoesNotEndTheProgramThatLoadsTheLibrary) {
  const std::string command = "TMPDIR=/nonexistent/directory " +
                              std::filesystem::read_symlink("/proc/self/exe").string() +
                              " --gtest_filter=TemporaryName.IsAbsoluteAndNew >/dev/null 2>&1";
  EXPECT_EQ(std::system(command.c_str()), 0);  // NOLINT(cert-env33-c)
}

TEST(RemovedFile, StaysReadableAndAppendable) {
  const Printed printed;
  CBufferStream stream(true, 10);
  PushBack(stream, Pattern(100000));
  std::filesystem::remove(stream.IFGetFileName());
  EXPECT_EQ(ReadAll(stream), Pattern(100000));
  EXPECT_EQ(PushBack(stream, "more"), 4U);
  EXPECT_EQ(ReadAll(stream), Pattern(100000) + "more");
  EXPECT_EQ(std::string(stream.IFConstPtr(), 100004), Pattern(100000) + "more");
  EXPECT_FALSE(stream.IFReOpen());
  EXPECT_FALSE(stream.IFAcquireFile());
  EXPECT_EQ(stream.ToStdString(), Pattern(100000) + "more");
  EXPECT_TRUE(stream.IFSwapToMemory());
  EXPECT_EQ(stream.ToStdString(), Pattern(100000) + "more");
}

TEST(RemovedFile, WhoseSizeWasNeverMeasuredIsMappedAndLoadedAllTheSame) {
  const Printed printed;
  CBufferStream stream(false);
  PushBack(stream, Pattern(100000));
  std::filesystem::remove(stream.IFGetFileName());
  EXPECT_EQ(std::string(stream.IFConstPtr(), 100000), Pattern(100000));
  stream.IFPtr()[0] = 'x';
  stream.IFInsert(0, "y", 1);
  EXPECT_TRUE(stream.IFIsInMemory());
  EXPECT_EQ(stream.ToStdString(), "yx" + Pattern(100000).substr(1));
}

TEST(RemovedFile, CanBeEmptiedAndFilledAgain) {
  CBufferStream stream(false);
  PushBack(stream, Pattern(1000));
  std::filesystem::remove(stream.IFGetFileName());
  stream.IFClear(0);
  EXPECT_EQ(PushBack(stream, "again"), 5U);
  EXPECT_EQ(ReadAll(stream), "again");
}

TEST(RemovedFile, ThatIsLentOutStaysLentOutUntilItIsBack) {
  CBufferStream stream(false);
  PushBack(stream, "0123456789");
  stream.IFSeekg(4, 0);
  ASSERT_TRUE(stream.IFAcquireFile());
  const std::string name = stream.IFGetFileName();
  std::filesystem::rename(name, name + ".away");
  EXPECT_THROW(stream.IFReleaseFile(), std::filesystem::filesystem_error);
  EXPECT_TRUE(stream.IFIsFileAcquired());
  std::filesystem::rename(name + ".away", name);
  EXPECT_TRUE(stream.IFReleaseFile());
  EXPECT_EQ(stream.IFTellg(), 4);
  EXPECT_EQ(ReadAll(stream), "0123456789");
}

TEST(ReadOnlyFile, ThatWasLentOutIsReadAgain) {
  const Directory directory;
  EXPECT_IN_CHILD(
      [&] {
        if (!MountTemporaryDirectory("size=64k")) return false;
        { std::ofstream("/tmp/named") << "0123456789"; }
        CBufferStream stream("/tmp/named", true, false);
        stream.IFSeekg(4, 0);
        if (::mount("none", "/tmp", "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) != 0) return false;
        EXPECT_TRUE(stream.IFAcquireFile());
        EXPECT_TRUE(stream.IFReleaseFile());
        EXPECT_EQ(stream.IFTellg(), 4);
        EXPECT_EQ(ReadAll(stream), "0123456789");
        return true;
      },
      kNoMount);
}

TEST(UndeletableFile, IsReportedWhenItsStreamEnds) {
  const Printed printed;
  std::string name;
  {
    CBufferStream stream(false);
    name = stream.IFGetFileName();
    std::filesystem::remove(name);
    std::filesystem::create_directories(name + "/inner");
  }
  EXPECT_NE(printed.err().find(name), std::string::npos);
  std::filesystem::remove_all(name);
}

TEST(UndeletableFile, ThrowsOnASwapThatHasBroughtEveryByteToMemory) {
  CBufferStream stream(true, 10);
  PushBack(stream, Pattern(1000));
  const std::string name = stream.IFGetFileName();
  std::filesystem::remove(name);
  std::filesystem::create_directories(name + "/inner");
  EXPECT_THROW(stream.IFSwapToMemory(), std::filesystem::filesystem_error);
  EXPECT_TRUE(stream.IFIsInMemory());
  EXPECT_EQ(stream.ToStdString(), Pattern(1000));
  std::filesystem::remove_all(name);
}

TEST(CutFile, IsNotMappedAndGivesTheBytesItHas) {
  CBufferStream stream(false);
  PushBack(stream, Pattern(100000));
  EXPECT_TRUE(stream.IFReOpen());
  std::filesystem::resize_file(stream.IFGetFileName(), 40000);
  const Printed printed;
  EXPECT_EQ(stream.IFConstPtr(), nullptr);
  EXPECT_EQ(stream.IFPtr(), nullptr);
  EXPECT_NE(printed.out().find("' - NOT OK\n"), std::string::npos);
  EXPECT_EQ(stream.ToStdString(), Pattern(100000).substr(0, 40000));
}

TEST(FailedMapping, GivesNullAndLosesNothing) {
  if (!kMemoryCanBeLimited) GTEST_SKIP() << kNoMemoryLimit;
  EXPECT_IN_CHILD(
      [] {
        const size_t size = 64U << 20;
        CBufferStream stream(false);
        PushBack(stream, Pattern(1000));
        EXPECT_TRUE(stream.IFReOpen());
        std::filesystem::resize_file(stream.IFGetFileName(), size);
        EXPECT_TRUE(stream.IFReOpen());
        EXPECT_EQ(stream.IFLength(), size);
        if (!LimitMemory(32U << 20)) return false;
        const Printed printed;
        EXPECT_EQ(stream.IFConstPtr(), nullptr);
        EXPECT_EQ(printed.out(), "creating mapping for file '" + stream.IFGetFileName() +
                                     "'\ncreating mapping for file '" + stream.IFGetFileName() +
                                     "' - NOT OK\n");
        EXPECT_EQ(stream.IFPtr(), nullptr);
        EXPECT_EQ(CBufferStream::GetBufferPtrSizeLimit(
                      std::shared_ptr<IBufferStream>(std::shared_ptr<void>(), &stream), 10),
                  nullptr);
        std::string bytes(1000, '\0');
        EXPECT_EQ(stream.IFRead(bytes.data(), 1000), 1000U);
        EXPECT_EQ(bytes, Pattern(1000));
        return true;
      },
      "the address space cannot be limited");
}

TEST(NoMemory, PushBackIsRefusedAndTheBytesStay) {
  if (!kMemoryCanBeLimited) GTEST_SKIP() << kNoMemoryLimit;
  EXPECT_IN_CHILD(
      [] {
        const std::string piece = Pattern(1U << 20);
        CBufferStream stream(true, kNever);
        if (!LimitMemory(64U << 20)) return false;
        size_t pieces = 0;
        while (pieces < 1000 && PushBack(stream, piece) != 0) ++pieces;
        EXPECT_LT(pieces, 1000U);
        EXPECT_EQ(stream.IFLength(), pieces * piece.size());
        for (size_t i = 0; i < pieces; ++i) {
          EXPECT_EQ(std::memcmp(stream.IFConstPtr() + i * piece.size(), piece.data(), piece.size()),
                    0);
        }
        stream.IFSeekp(0, 2);
        EXPECT_EQ(stream.IFWrite(piece.data(), piece.size()), 0U);
        EXPECT_EQ(stream.IFLength(), pieces * piece.size());
        stream.IFInsert(0, piece.data(), piece.size());
        EXPECT_EQ(stream.IFLength(), pieces * piece.size());
        EXPECT_TRUE(stream.IFSwapToFile());
        EXPECT_EQ(stream.IFLength(), pieces * piece.size());
        return true;
      },
      "the address space cannot be limited");
}

TEST(NoMemory, SwapToMemoryIsRefusedAndTheFileStays) {
  if (!kMemoryCanBeLimited) GTEST_SKIP() << kNoMemoryLimit;
  EXPECT_IN_CHILD(
      [] {
        const std::string piece = Pattern(1U << 20);
        CBufferStream stream(false);
        for (int i = 0; i < 32; ++i) PushBack(stream, piece);
        stream.IFSeekg(5, 0);
        if (!LimitMemory(16U << 20)) return false;
        EXPECT_FALSE(stream.IFSwapToMemory());
        EXPECT_EQ(CBufferStream::GetBufferPtrSizeLimit(
                      std::shared_ptr<IBufferStream>(std::shared_ptr<void>(), &stream), kAll),
                  nullptr);
        stream.IFInsert(0, "x", 1);
        EXPECT_EQ(stream.IFRemove(0, 1), 0U);
        EXPECT_FALSE(stream.IFIsInMemory());
        EXPECT_EQ(stream.IFTellg(), 5);
        EXPECT_EQ(stream.IFLength(), 32U << 20);
        char bytes[8] = {};
        EXPECT_EQ(stream.IFRead(bytes, 8), 8U);
        EXPECT_EQ(std::string(bytes, 8), piece.substr(5, 8));
        return true;
      },
      "the address space cannot be limited");
}

TEST(NoMemory, MemoryStoresAreEmptyAndSound) {
  if (!kMemoryCanBeLimited) GTEST_SKIP() << kNoMemoryLimit;
  EXPECT_IN_CHILD(
      [] {
        const std::string bytes = Pattern(24U << 20);
        CBufferStreamMemImpl queue(bytes.data(), bytes.size(), false);
        queue.pop_front(6U << 20);  // a third of what is left is dead, not yet half
        const auto source = std::make_shared<CBufferStream>(bytes.data(), bytes.size(), true);
        if (!LimitMemory(16U << 20)) return false;
        const CBufferStreamMemImpl copy(bytes.data(), bytes.size(), false);
        EXPECT_EQ(copy.length(), 0U);
        EXPECT_EQ(copy.capacity(), 0U);
        EXPECT_EQ(copy.block(), nullptr);
        CBufferStream assigned(true, kNever);
        PushBack(assigned, "0123");
        assigned.Assign(source);
        EXPECT_EQ(assigned.IFLength(), 0U);
        EXPECT_EQ(PushBack(assigned, "0123"), 4U);
        // The live bytes must move to a new block, and cannot.
        queue.reserve_additional(1U << 20);
        EXPECT_EQ(queue.length(), 0U);
        EXPECT_EQ(queue.capacity(), 0U);
        EXPECT_EQ(queue.front_offset(), 0U);
        EXPECT_EQ(queue.block(), nullptr);
        EXPECT_EQ(queue.push_back("again", 5), 5U);
        std::free(queue.block());
        return true;
      },
      "the address space cannot be limited");
}

TEST(NoMemory, RequestsThatNoMemoryCanMeetAreRefused) {
  CBufferStream stream(true, kNever);
  PushBack(stream, "0123456789");
  stream.IFReserveAdditional(kAll - 100);
  size_t available = kAll / 4;
  EXPECT_EQ(stream.IFStartPushingBack(&available, kAll / 4), nullptr);
  EXPECT_EQ(available, 0U);
  EXPECT_EQ(stream.ToStdString(), "0123456789");
  CBufferStream file(false);
  available = kAll / 4;
  EXPECT_EQ(file.IFStartPushingBack(&available, kAll / 4), nullptr);
  EXPECT_EQ(available, 0U);
  file.IFStopPushingBack(10);
  EXPECT_EQ(file.IFLength(), 0U);
}

}  // namespace
