#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "tests/wrapper/support.h"
#include "wrapper/CTarnisIOWrapper.h"

namespace {

using tarnis::InBufferStream;
using tarnis::test::contents_of;
using tarnis::test::TemporaryDirectory;
using tarnis::test::write_file;

constexpr std::size_t swap_size = 0x500000;

InBufferStream ten_bytes() {
  InBufferStream stream;
  stream.write("0123456789", 10);
  return stream;
}

/// Up to `count` bytes from the read position.
std::string read(InBufferStream& stream, long count) {
  std::string bytes(static_cast<std::size_t>(count), '?');
  bytes.resize(static_cast<std::size_t>(stream.read(bytes.data(), count)));
  return bytes;
}

TEST(InBufferStream, IsAFile) {
  EXPECT_TRUE((std::is_base_of_v<tarnis::v1::io::IFile, InBufferStream>));
}

TEST(InBufferStream, StartsEmpty) {
  InBufferStream stream;
  EXPECT_EQ(stream.size(), 0);
  EXPECT_EQ(stream.tell(), 0);
  EXPECT_EQ(read(stream, 4), "");
  EXPECT_FALSE(stream.has_data());
}

TEST(InBufferStream, WritesReadsAndTellsWhereItReads) {
  InBufferStream stream;
  EXPECT_EQ(stream.write("abc", 3), 3);
  EXPECT_EQ(stream.write("", 0), 0);
  EXPECT_EQ(stream.size(), 3);
  EXPECT_EQ(stream.tell(), 0);
  EXPECT_EQ(read(stream, 2), "ab");
  EXPECT_EQ(stream.tell(), 2);
  EXPECT_EQ(read(stream, 5), "c");
  EXPECT_EQ(read(stream, 5), "");
  EXPECT_EQ(std::string(stream.data(), 3), "abc");
  EXPECT_FALSE(stream.has_data());
}

TEST(InBufferStream, AppendsWhateverTheReadPosition) {
  InBufferStream stream = ten_bytes();
  stream.seek(0, 0);
  EXPECT_EQ(stream.write("new", 3), 3);
  EXPECT_EQ(stream.tell(), 0);
  EXPECT_EQ(read(stream, 20), "0123456789new");
}

TEST(InBufferStream, ReadsAndWritesNothingForANegativeCount) {
  InBufferStream stream = ten_bytes();
  char untouched = '?';
  EXPECT_EQ(stream.read(&untouched, -1), 0);
  EXPECT_EQ(untouched, '?');
  EXPECT_EQ(stream.write("x", -1), 0);
  EXPECT_EQ(stream.size(), 10);
  EXPECT_EQ(stream.tell(), 0);
}

// ---- Seeking ------------------------------------------------------------------------------------

TEST(InBufferStreamSeek, SilentlyRefusesANegativeOffsetFromTheEnd) {
  InBufferStream stream = ten_bytes();
  stream.seek(3, 0);
  EXPECT_EQ(stream.seek(-1, 2), 0);
  EXPECT_EQ(stream.tell(), 3);
}

TEST(InBufferStreamSeek, SilentlyRefusesANegativeOffsetFromThePosition) {
  InBufferStream stream = ten_bytes();
  stream.seek(3, 0);
  EXPECT_EQ(stream.seek(-1, 1), 0);
  EXPECT_EQ(stream.tell(), 3);
}

TEST(InBufferStreamSeek, RefusesAnOffsetBehindTheEndAndMovesToTheEnd) {
  InBufferStream stream = ten_bytes();
  EXPECT_EQ(stream.seek(11, 0), 0);
  EXPECT_EQ(stream.tell(), 0);
  EXPECT_EQ(stream.seek(10, 0), 0);
  EXPECT_EQ(stream.tell(), 10);
}

TEST(InBufferStreamSeek, BoundsTheOffsetItselfWhateverItCountsFrom) {
  InBufferStream stream = ten_bytes();
  stream.seek(8, 0);
  EXPECT_EQ(stream.seek(2, 1), 0);
  EXPECT_EQ(stream.tell(), 10);
  stream.seek(2, 0);
  EXPECT_EQ(stream.seek(11, 1), 0);
  EXPECT_EQ(stream.seek(11, 2), 0);
  EXPECT_EQ(stream.tell(), 2);
  EXPECT_EQ(stream.seek(0, 2), 0);
  EXPECT_EQ(stream.tell(), 10);
}

TEST(InBufferStreamSeek, LeavesATargetBehindTheEndToTheBuffer) {
  InBufferStream stream = ten_bytes();
  stream.seek(8, 0);
  EXPECT_EQ(stream.seek(4, 1), 0);
  EXPECT_EQ(stream.tell(), -1);
  EXPECT_EQ(read(stream, 4), "");
  EXPECT_EQ(stream.seek(4, 0), 0);
  EXPECT_EQ(read(stream, 2), "45");
}

TEST(InBufferStreamSeek, IgnoresAnUnknownOrigin) {
  InBufferStream stream = ten_bytes();
  stream.seek(3, 0);
  for (const int whence : {-1, 3, 256, 257, 258}) {
    EXPECT_EQ(stream.seek(5, whence), 0);
    EXPECT_EQ(stream.tell(), 3) << whence;
  }
}

// ---- Copies and named files ---------------------------------------------------------------------

TEST(InBufferStreamCopy, SharesBytesAndReadPosition) {
  InBufferStream stream = ten_bytes();
  InBufferStream copy = stream;
  copy.write("new", 3);
  EXPECT_EQ(stream.size(), 13);
  EXPECT_EQ(read(stream, 10), "0123456789");
  EXPECT_EQ(copy.tell(), 10);
  EXPECT_EQ(read(copy, 10), "new");
}

TEST(InBufferStreamCopy, OutlivesWhatItWasMadeFrom) {
  InBufferStream copy;
  copy = ten_bytes();
  EXPECT_EQ(read(copy, 10), "0123456789");
}

TEST(InBufferStreamOfString, TakesTheStringForTheNameOfAFile) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("document");
  write_file(path, "on disk");
  InBufferStream stream(path);
  EXPECT_TRUE(stream.has_data());
  EXPECT_EQ(stream.size(), 7);
  EXPECT_EQ(read(stream, 20), "on disk");
  ASSERT_NE(stream.data(), nullptr);
  EXPECT_EQ(std::string(stream.data(), 7), "on disk");
  const InBufferStream copy = stream;
  EXPECT_TRUE(copy.has_data());
}

TEST(InBufferStreamOfString, NeverWritesToTheFile) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("document");
  write_file(path, "on disk");
  {
    InBufferStream stream(path);
    EXPECT_EQ(stream.write("more", 4), 0);
    EXPECT_EQ(stream.size(), 7);
  }
  EXPECT_EQ(contents_of(path), "on disk");
}

TEST(InBufferStreamOfString, HasNoDataForAnEmptyFile) {
  const TemporaryDirectory directory;
  write_file(directory.file("empty"), "");
  InBufferStream stream(directory.file("empty"));
  EXPECT_EQ(stream.data(), nullptr);
  EXPECT_FALSE(stream.has_data());
  EXPECT_EQ(stream.size(), 0);
  EXPECT_EQ(read(stream, 4), "");
}

TEST(InBufferStreamOfString, LetsTheFailureOfTheBufferOutForAnEmptyStringAsForAnyMissingFile) {
  const TemporaryDirectory directory;
  for (const std::string& name : {std::string(), directory.file("missing")}) {
    EXPECT_THROW(ostrel::CBufferStream(name, true, false), std::filesystem::filesystem_error);
    EXPECT_THROW(InBufferStream{name}, std::filesystem::filesystem_error);
  }
  EXPECT_FALSE(std::filesystem::exists(directory.file("missing")));
}

TEST(InBufferStream, MovesToAFileBeyondItsSwapSizeUnseen) {
  for (const std::size_t size : {swap_size - 1, swap_size, swap_size + 1}) {
    InBufferStream stream;
    const std::string half(size / 2, 'a');
    const std::string rest(size - size / 2, 'b');
    EXPECT_EQ(stream.write(half.data(), static_cast<long>(half.size())),
              static_cast<long>(half.size()));
    EXPECT_EQ(stream.write(rest.data(), static_cast<long>(rest.size())),
              static_cast<long>(rest.size()));
    EXPECT_EQ(stream.size(), static_cast<long>(size));
    ASSERT_NE(stream.data(), nullptr);
    EXPECT_TRUE(std::string(stream.data(), size) == half + rest);
    EXPECT_TRUE(read(stream, static_cast<long>(size) + 1) == half + rest);
  }
}

}  // namespace
