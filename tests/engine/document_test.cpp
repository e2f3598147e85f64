#include "engine/core/document.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

constexpr auto in_memory = static_cast<std::size_t>(Document::block_in_memory);
constexpr std::size_t block = Document::cache_block;

std::string pattern(std::size_t size) {
  std::string bytes(size, '\0');
  std::minstd_rand random(7);
  for (char& byte : bytes) byte = static_cast<char>(random() & 0xFF);
  return bytes;
}

/// Bytes that record how they are read.
class RecordingSource : public ByteSource {
 public:
  struct Record {
    std::size_t reads = 0;
    std::uint64_t bytes = 0;
  };

  /// @param stated   the size that the source claims
  /// @param at_once  most bytes that one read gives
  RecordingSource(const std::string& bytes, Record& record, std::uint64_t stated,
                  std::size_t at_once = std::string::npos)
      : bytes_(&bytes), record_(&record), stated_(stated), at_once_(at_once) {}

  std::uint64_t size() const override { return stated_; }

  std::size_t read_at(std::uint64_t offset, std::span<char> out) override {
    ++record_->reads;
    if (offset >= bytes_->size()) return 0;
    const std::size_t count = bytes_->copy(out.data(), std::min(out.size(), at_once_), offset);
    record_->bytes += count;
    return count;
  }

 private:
  const std::string* bytes_;
  Record* record_;
  std::uint64_t stated_;
  std::size_t at_once_;
};

class DocumentTest : public testing::Test {
 protected:
  Document document_of(std::size_t size, std::size_t at_once = std::string::npos) {
    bytes_ = pattern(size);
    return Document(std::make_unique<RecordingSource>(bytes_, record_, size, at_once));
  }

  static std::string read(Document& document, std::uint64_t offset, std::size_t count) {
    std::string out(count, '#');
    out.resize(document.read_at(offset, out));
    return out;
  }

  std::string bytes_;
  RecordingSource::Record record_;
};

TEST_F(DocumentTest, ReadsASmallSourceOnce) {
  Document document = document_of(in_memory);
  const std::size_t reads = record_.reads;
  EXPECT_EQ(document.size(), in_memory);
  EXPECT_TRUE(read(document, 0, in_memory) == bytes_);
  EXPECT_EQ(read(document, 100, 50), bytes_.substr(100, 50));
  EXPECT_TRUE(document.bytes() == bytes_);
  EXPECT_EQ(document.head(10), bytes_.substr(0, 10));
  EXPECT_EQ(record_.reads, reads);
  EXPECT_EQ(record_.bytes, in_memory);
}

TEST_F(DocumentTest, ReadsNothingOfALargeSourceBeforeItIsAskedFor) {
  Document document = document_of(in_memory + 1);
  EXPECT_EQ(document.size(), in_memory + 1);
  EXPECT_EQ(record_.reads, 0u);
  EXPECT_EQ(read(document, in_memory, 10), bytes_.substr(in_memory));
  EXPECT_LE(record_.bytes, block);
}

TEST_F(DocumentTest, ReadsUpToTheEndAndNotBeyond) {
  for (const std::size_t size :
       {std::size_t{0}, std::size_t{1}, in_memory, in_memory + 1, in_memory + block}) {
    Document document = document_of(size);
    EXPECT_EQ(read(document, size, 1), "");
    EXPECT_EQ(read(document, size + 1, 1), "");
    EXPECT_EQ(read(document, ~std::uint64_t{0}, 1), "");
    EXPECT_EQ(read(document, 0, 0), "");
    if (size == 0) continue;
    EXPECT_EQ(read(document, size - 1, 10), bytes_.substr(size - 1));
    EXPECT_TRUE(read(document, 1, in_memory * 2) == bytes_.substr(1));
  }
}

TEST_F(DocumentTest, ReadsTheSameAtEverySizeAndOffset) {
  Document document = document_of(in_memory + 3 * block + 17);
  std::minstd_rand random(3);
  for (int i = 0; i < 300; ++i) {
    const std::size_t offset = random() % bytes_.size();
    const std::size_t lengths[] = {1, 7, block - 1, block, block + 1, 4 * block - 1, 4 * block};
    const std::size_t count = lengths[random() % std::size(lengths)];
    EXPECT_TRUE(read(document, offset, count) == bytes_.substr(offset, count))
        << offset << ' ' << count;
  }
}

TEST_F(DocumentTest, KeepsTheBlocksThatWereUsedLast) {
  Document document = document_of((Document::cache_blocks + 10) * block);
  for (std::size_t i = 0; i < Document::cache_blocks; ++i) read(document, i * block, 1);
  EXPECT_EQ(record_.reads, Document::cache_blocks);
  for (std::size_t i = 0; i < Document::cache_blocks; ++i) read(document, i * block + 5, 1);
  EXPECT_EQ(record_.reads, Document::cache_blocks);
  // Block 0 is used again, so that block 1 gives way to the next one.
  read(document, 0, 1);
  read(document, Document::cache_blocks * block, 1);
  EXPECT_EQ(record_.reads, Document::cache_blocks + 1);
  EXPECT_EQ(read(document, 9, 2), bytes_.substr(9, 2));
  EXPECT_EQ(record_.reads, Document::cache_blocks + 1);
  EXPECT_EQ(read(document, block, 2), bytes_.substr(block, 2));
  EXPECT_EQ(record_.reads, Document::cache_blocks + 2);
}

TEST_F(DocumentTest, GoesOnAfterShortReads) {
  for (const std::size_t size : {std::size_t{5000}, in_memory + block + 3}) {
    Document document = document_of(size, 1000);
    EXPECT_TRUE(read(document, 0, 3000) == bytes_.substr(0, 3000));
    EXPECT_TRUE(read(document, 7, 5 * block) == bytes_.substr(7, 5 * block));
    EXPECT_EQ(document.head(4000), bytes_.substr(0, 4000));
    EXPECT_TRUE(document.bytes() == bytes_);
  }
}

TEST_F(DocumentTest, TakesTheEndOfASmallSourceForItsSize) {
  bytes_ = pattern(100);
  Document document(std::make_unique<RecordingSource>(bytes_, record_, 200));
  EXPECT_EQ(document.size(), 100u);
  EXPECT_EQ(document.bytes(), bytes_);
}

TEST_F(DocumentTest, ReportsTheEarlyEndOfALargeSource) {
  bytes_ = pattern(in_memory + 100);
  Document document(std::make_unique<RecordingSource>(bytes_, record_, in_memory + block));
  EXPECT_EQ(read(document, in_memory + 50, 1000), bytes_.substr(in_memory + 50));
  try {
    document.bytes();
    FAIL() << "a view of bytes that are not there";
  } catch (const EngineError& error) {
    EXPECT_EQ(error.code(), Code::open_stream_failed);
  }
}

TEST_F(DocumentTest, ShowsItsHead) {
  for (const std::size_t size : {std::size_t{10}, in_memory + 1}) {
    Document document = document_of(size);
    EXPECT_EQ(document.head(4), bytes_.substr(0, 4));
    EXPECT_TRUE(document.head(block) == bytes_.substr(0, block));
    EXPECT_EQ(document.head(0), "");
  }
  for (const std::size_t size : {in_memory, in_memory + 1}) {
    EXPECT_EQ(document_of(size).head(2 * block).size(), block);
  }
}

TEST_F(DocumentTest, MapsALargeSource) {
  Document document = document_of(in_memory + 12345);
  const std::string_view view = document.bytes();
  EXPECT_TRUE(view == bytes_);
  const std::size_t reads = record_.reads;
  EXPECT_EQ(document.bytes().data(), view.data());
  EXPECT_EQ(read(document, in_memory, 100), bytes_.substr(in_memory, 100));
  EXPECT_EQ(record_.reads, reads);
}

TEST_F(DocumentTest, ReportsADirectoryThatTakesNoFile) {
  bytes_ = pattern(in_memory + 1);
  Document document(std::make_unique<RecordingSource>(bytes_, record_, bytes_.size()),
                    "/nonexistent-directory");
  try {
    document.bytes();
    FAIL() << "a file in no directory";
  } catch (const EngineError& error) {
    EXPECT_EQ(error.code(), Code::temporary_file);
  }
  EXPECT_EQ(read(document, 3, 5), bytes_.substr(3, 5));
}

TEST_F(DocumentTest, NeedsNoDirectoryForASmallSource) {
  bytes_ = pattern(in_memory);
  Document document(std::make_unique<RecordingSource>(bytes_, record_, bytes_.size()),
                    "/nonexistent-directory");
  EXPECT_TRUE(document.bytes() == bytes_);
}

TEST_F(DocumentTest, HoldsBytesOfAnySizeThatAreHereAlready) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{3}, in_memory + 1}) {
    const std::string bytes = pattern(size);
    Document document = Document::from_memory(bytes);
    EXPECT_EQ(document.size(), size);
    EXPECT_TRUE(document.bytes() == bytes);
    EXPECT_TRUE(read(document, 0, size) == bytes);
  }
}

TEST_F(DocumentTest, GoesOnAfterAMove) {
  Document first = document_of(in_memory + 1);
  read(first, 0, 10);
  Document second = std::move(first);
  EXPECT_EQ(read(second, 0, 10), bytes_.substr(0, 10));
  EXPECT_TRUE(second.bytes() == bytes_);
}

TEST_F(DocumentTest, IsReadByACursor) {
  Document document = document_of(100);
  DocumentCursor cursor(document, 10);
  std::string out(40, '#');
  EXPECT_EQ(cursor.read(out), 40u);
  EXPECT_EQ(out, bytes_.substr(10, 40));
  EXPECT_EQ(cursor.offset(), 50u);
  EXPECT_FALSE(cursor.at_end());
  cursor.seek(90);
  EXPECT_EQ(cursor.read(out), 10u);
  EXPECT_TRUE(cursor.at_end());
  EXPECT_EQ(cursor.read(out), 0u);
  cursor.seek(1000);
  EXPECT_TRUE(cursor.at_end());
  EXPECT_EQ(cursor.read(out), 0u);
}

}  // namespace
}  // namespace trfilter
