#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <random>
#include <string_view>
#include <type_traits>

#include "tests/api/support.h"

namespace {

using namespace tarnis::v1;
using tarnis::test::contents_of;
using tarnis::test::Failure;
using tarnis::test::failure_of;
using tarnis::test::memory_file;
using tarnis::test::TemporaryDirectory;
using tarnis::test::text_of;
using tarnis::test::write_file;

constexpr long far_away = std::numeric_limits<long>::max();
constexpr long far_before = std::numeric_limits<long>::min();

io::InMemoryFile ten_bytes_at(long position) {
  io::InMemoryFile file = memory_file("0123456789");
  file.seek(position, 0);
  EXPECT_EQ(file.tell(), position);
  return file;
}

/// What reading `n` bytes delivers.
template <class File>
std::string read(File& file, long n) {
  std::string bytes(static_cast<std::size_t>(n), '?');
  bytes.resize(static_cast<std::size_t>(file.read(bytes.data(), n)));
  return bytes;
}

// ---- Files on disk ------------------------------------------------------------------------------

TEST(InputFile, NamesThePathItCannotOpen) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("missing");
  const Failure failure = failure_of([&] { io::InputFile file(path); });
  EXPECT_EQ(failure.type, "runtime_error");
  EXPECT_EQ(failure.message, "Could not open input file at path: " + path);
}

TEST(InputFile, HasSizeZeroWhateverItHolds) {
  const TemporaryDirectory directory;
  write_file(directory.file("f"), "not empty");
  io::InputFile file(directory.file("f"));
  EXPECT_EQ(file.size(), 0);
}

TEST(InputFile, RefusesToWrite) {
  const TemporaryDirectory directory;
  write_file(directory.file("f"), "kept");
  io::InputFile file(directory.file("f"));
  const Failure failure = failure_of([&] { file.write("x", 1); });
  EXPECT_EQ(failure.type, "runtime_error");
  EXPECT_EQ(failure.message, "Write not supported!!!");
  EXPECT_EQ(contents_of(directory.file("f")), "kept");
}

TEST(InputFile, ReadsSeeksAndTells) {
  const TemporaryDirectory directory;
  write_file(directory.file("f"), std::string("ab\0d\r\nef", 8));
  io::InputFile file(directory.file("f"));
  EXPECT_EQ(read(file, 4), std::string("ab\0d", 4));
  EXPECT_EQ(file.tell(), 4);
  EXPECT_EQ(read(file, 100), "\r\nef");
  EXPECT_EQ(read(file, 1), "");
  EXPECT_EQ(file.seek(1, 0), 0);
  EXPECT_EQ(read(file, 1), "b");
  EXPECT_EQ(file.seek(1, 1), 0);
  EXPECT_EQ(read(file, 1), "d");
  EXPECT_EQ(file.seek(-2, 2), 0);
  EXPECT_EQ(read(file, 5), "ef");
  EXPECT_NE(file.seek(-1, 0), 0);
  EXPECT_NE(file.seek(0, 9), 0);
  EXPECT_EQ(file.read(nullptr, -1), 0);
}

TEST(OutputFile, NamesThePathItCannotCreate) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("missing/f");
  const Failure failure = failure_of([&] { io::OutputFile file(path); });
  EXPECT_EQ(failure.type, "runtime_error");
  EXPECT_EQ(failure.message, "Could not create output file at path: " + path);
}

TEST(OutputFile, HoldsWhatItsAdapterWrote) {
  const TemporaryDirectory directory;
  write_file(directory.file("f"), "what was there before is lost");
  {
    io::OutputFile file(directory.file("f"));
    const generic_io::Output output(file);
    EXPECT_EQ(output.write("a\0b", 3), 3);
    EXPECT_EQ(output.write("c\n", 2), 2);
    EXPECT_EQ(output.write("zzz", 0), 0);
    EXPECT_EQ(output.write("zzz", -1), 0);
    EXPECT_EQ(file.path(), directory.file("f"));
  }
  EXPECT_EQ(contents_of(directory.file("f")), std::string("a\0bc\n", 5));
}

TEST(OutputFile, ReplacesWhatTheFileHeld) {
  const TemporaryDirectory directory;
  for (const char* text : {"longer than the next", "short", ""}) {
    {
      io::OutputFile file(directory.file("f"));
      generic_io::Output(file).write(text, static_cast<long>(std::string_view(text).size()));
    }
    EXPECT_EQ(contents_of(directory.file("f")), text);
  }
}

TEST(OutputFile, IsNoFileInterface) {
  EXPECT_FALSE((std::is_base_of_v<io::IFile, io::OutputFile>));
  EXPECT_FALSE(std::is_polymorphic_v<io::OutputFile>);
}

// ---- In memory ----------------------------------------------------------------------------------

TEST(InMemoryFile, WritesInsideWithoutMoving) {
  io::InMemoryFile file = ten_bytes_at(2);
  EXPECT_EQ(file.write("abc", 3), 3);
  EXPECT_EQ(text_of(file), "01abc56789");
  EXPECT_EQ(file.tell(), 2);
  EXPECT_EQ(file.size(), 10);
}

TEST(InMemoryFile, WritesPastTheEndByCuttingAndAppending) {
  io::InMemoryFile file = ten_bytes_at(8);
  EXPECT_EQ(file.write("abcde", 5), 5);
  EXPECT_EQ(text_of(file), "01234567abcde");
  EXPECT_EQ(file.tell(), 13);
  EXPECT_EQ(file.size(), 13);
}

TEST(InMemoryFile, WritesUpToTheVeryEndByCuttingAndAppending) {
  io::InMemoryFile file = ten_bytes_at(4);
  EXPECT_EQ(file.write("abcdef", 6), 6);
  EXPECT_EQ(text_of(file), "0123abcdef");
  EXPECT_EQ(file.tell(), 10);
  EXPECT_EQ(file.size(), 10);
}

TEST(InMemoryFile, WritesOneByteShortOfTheEndWithoutMoving) {
  io::InMemoryFile file = ten_bytes_at(4);
  EXPECT_EQ(file.write("abcde", 5), 5);
  EXPECT_EQ(text_of(file), "0123abcde9");
  EXPECT_EQ(file.tell(), 4);
}

TEST(InMemoryFile, GrowsFromNothing) {
  io::InMemoryFile file;
  EXPECT_EQ(file.write("abc", 3), 3);
  EXPECT_EQ(file.write("d", 1), 1);
  EXPECT_EQ(text_of(file), "abcd");
  EXPECT_EQ(file.tell(), 4);
}

TEST(InMemoryFile, WritesNothingForACountBelowOne) {
  io::InMemoryFile file = ten_bytes_at(4);
  EXPECT_EQ(file.write("x", 0), 0);
  EXPECT_EQ(file.write("x", -1), 0);
  EXPECT_EQ(text_of(file), "0123456789");
}

TEST(InMemoryFile, SeeksWithinItsData) {
  io::InMemoryFile file = ten_bytes_at(0);
  EXPECT_EQ(file.seek(10, 0), 0);
  EXPECT_EQ(file.tell(), 10);
  EXPECT_EQ(file.seek(-4, 1), 0);
  EXPECT_EQ(file.tell(), 6);
  EXPECT_EQ(file.seek(-1, 2), 0);
  EXPECT_EQ(file.tell(), 9);
  EXPECT_EQ(file.seek(-10, 2), 0);
  EXPECT_EQ(file.tell(), 0);
}

TEST(InMemoryFile, RefusesASeekOutsideOfItsDataSilently) {
  io::InMemoryFile file = ten_bytes_at(3);
  for (const auto& [offset, whence] : std::vector<std::pair<long, int>>{{11, 0},
                                                                        {-1, 0},
                                                                        {8, 1},
                                                                        {-4, 1},
                                                                        {1, 2},
                                                                        {-11, 2},
                                                                        {far_away, 0},
                                                                        {far_away, 1},
                                                                        {far_away, 2},
                                                                        {far_before, 0},
                                                                        {far_before, 1},
                                                                        {far_before, 2}}) {
    EXPECT_EQ(file.seek(offset, whence), 0) << offset << " " << whence;
    EXPECT_EQ(file.tell(), 3) << offset << " " << whence;
  }
}

TEST(InMemoryFile, AnUnknownWhenceMovesToTheStart) {
  for (const int whence : {7, 3, -1}) {
    io::InMemoryFile file = ten_bytes_at(5);
    EXPECT_EQ(file.seek(0, whence), 0);
    EXPECT_EQ(file.tell(), 0);
    file.seek(5, 0);
    EXPECT_EQ(file.seek(4, whence), 0);
    EXPECT_EQ(file.tell(), 0);
  }
}

TEST(InMemoryFile, ReadsNoMoreThanThereIs) {
  io::InMemoryFile file = ten_bytes_at(7);
  EXPECT_EQ(read(file, 100), "789");
  EXPECT_EQ(file.tell(), 10);
  EXPECT_EQ(read(file, 1), "");
  file.seek(0, 0);
  EXPECT_EQ(read(file, 4), "0123");
  EXPECT_EQ(file.read(nullptr, 0), 0);
  EXPECT_EQ(file.read(nullptr, -3), 0);
  EXPECT_EQ(file.tell(), 4);
}

TEST(InMemoryFile, CopiesTakeBytesAndPosition) {
  io::InMemoryFile original = ten_bytes_at(6);
  io::InMemoryFile copy = original;
  original.write("changed", 7);
  EXPECT_EQ(copy.tell(), 6);
  EXPECT_EQ(text_of(copy), "0123456789");
}

/// The rules of the operations said again, byte by byte, on a string.
struct MemoryFileModel {
  std::string data;
  long position = 0;

  long write(const std::string& bytes) {
    const long n = static_cast<long>(bytes.size());
    if (n < 1) return 0;
    const auto at = static_cast<std::size_t>(position);
    if (position + n < static_cast<long>(data.size())) {
      data.replace(at, bytes.size(), bytes);
    } else {
      data = data.substr(0, at) + bytes;
      position += n;
    }
    return n;
  }
  void seek(long offset, int whence) {
    const long size = static_cast<long>(data.size());
    const std::array<long, 3> origins = {0, position, size};
    if (whence < 0 || whence > 2) {
      position = 0;
      return;
    }
    const long target = origins.at(static_cast<std::size_t>(whence)) + offset;
    if (target >= 0 && target <= size) position = target;
  }
  std::string read(long n) {
    std::string bytes =
        data.substr(static_cast<std::size_t>(position), static_cast<std::size_t>(n));
    position += static_cast<long>(bytes.size());
    return bytes;
  }
};

TEST(InMemoryFile, BehavesLikeItsModelInRandomSequences) {
  std::mt19937 random(20240501);
  const auto pick = [&random](int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
  };
  for (int run = 0; run < 200; ++run) {
    io::InMemoryFile file;
    MemoryFileModel model;
    for (int step = 0; step < 60; ++step) {
      const int operation = pick(0, 2);
      if (operation == 0) {
        const std::string bytes(static_cast<std::size_t>(pick(0, 12)),
                                static_cast<char>(pick('a', 'z')));
        ASSERT_EQ(file.write(bytes.data(), static_cast<long>(bytes.size())), model.write(bytes));
      } else if (operation == 1) {
        const long offset = pick(-15, 15);
        const int whence = pick(-1, 3);
        ASSERT_EQ(file.seek(offset, whence), 0);
        model.seek(offset, whence);
      } else {
        const long n = pick(0, 9);
        ASSERT_EQ(read(file, n), model.read(n));
      }
      ASSERT_EQ(text_of(file), model.data);
      ASSERT_EQ(file.tell(), model.position);
      ASSERT_EQ(file.size(), static_cast<long>(model.data.size()));
    }
  }
}

// ---- Type-erased holders ------------------------------------------------------------------------

/// A source and sink of a type that the library does not know.
struct ForeignFile {
  std::string log;
  long read(char* buffer, long n) {
    log += "read " + std::to_string(n) + ";";
    buffer[0] = 'r';
    return 1;
  }
  int seek(long offset, int whence) {
    log += "seek " + std::to_string(offset) + " " + std::to_string(whence) + ";";
    return 5;
  }
  long tell() {
    log += "tell;";
    return 17;
  }
  long write(const char* data, long n) {
    log += "write " + std::string(data, static_cast<std::size_t>(n)) + ";";
    return n - 1;
  }
};

TEST(GenericInput, ReachesAnyTypeWithTheOperations) {
  ForeignFile file;
  const generic_io::Input input(file);
  char byte = 0;
  EXPECT_EQ(input.read(&byte, 9), 1);
  EXPECT_EQ(byte, 'r');
  EXPECT_EQ(input.seek(-3, 2), 5);
  EXPECT_EQ(input.tell(), 17);
  EXPECT_EQ(file.log, "read 9;seek -3 2;tell;");
}

TEST(GenericOutput, ReachesAnyTypeWithTheOperation) {
  ForeignFile file;
  const generic_io::Output output(file);
  EXPECT_EQ(output.write("abc", 3), 2);
  EXPECT_EQ(file.log, "write abc;");
}

TEST(GenericInput, CallsTheVirtualOperationsOfAFileInterface) {
  io::InMemoryFile memory = memory_file("abc");
  io::IFile& file = memory;
  const generic_io::Input input(file);
  char byte = 0;
  EXPECT_EQ(input.seek(1, 0), 0);
  EXPECT_EQ(input.read(&byte, 1), 1);
  EXPECT_EQ(byte, 'b');
  EXPECT_EQ(input.tell(), 2);
}

TEST(GenericOutput, WritesToAnInMemoryFile) {
  io::InMemoryFile file;
  const generic_io::Output output(file);
  EXPECT_EQ(output.write("abc", 3), 3);
  EXPECT_EQ(text_of(file), "abc");
}

TEST(GenericInput, CopiesReachTheSameObject) {
  ForeignFile file;
  generic_io::Input input(file);
  const generic_io::Input copy(input);
  EXPECT_EQ(copy.object(), &file);
  EXPECT_EQ(copy.tell(), 17);
  generic_io::Output output(file);
  const generic_io::Output output_copy(output);
  EXPECT_EQ(output_copy.object(), &file);
}

}  // namespace
