// Compound files whose header, tables or directory lie.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "engine/compound/compound_file.h"
#include "engine/compound/compound_output.h"
#include "engine/core/engine_error.h"
#include "engine/core/fields.h"
#include "tests/engine/compound_writer.h"

namespace trfilter {
namespace {

using test::CompoundWriter;

constexpr std::size_t sector = 512;
constexpr std::uint32_t free_sector = 0xFFFFFFFF;

void put16(std::string& bytes, std::size_t at, std::uint32_t value) {
  bytes[at] = static_cast<char>(value);
  bytes[at + 1] = static_cast<char>(value >> 8);
}

void put32(std::string& bytes, std::size_t at, std::uint32_t value) {
  put16(bytes, at, value & 0xFFFF);
  put16(bytes, at + 2, value >> 16);
}

std::size_t place_of_sector(std::uint32_t number) {
  return (std::size_t{number} + 1) * sector;
}

/// Where the table's field of a sector stands; for the tables that the header lists.
std::size_t place_of_field(const std::string& file, std::uint32_t number) {
  return place_of_sector(le32(file, 76 + std::size_t{number / 128} * 4)) +
         std::size_t{number % 128} * 4;
}

/// Where an entry of the directory stands; for directories of one sector.
std::size_t place_of_entry(const std::string& file, std::uint32_t number) {
  return place_of_sector(le32(file, 48)) + std::size_t{number} * 128;
}

std::string sound_file() {
  return CompoundWriter()
      .add("long", std::string(10'000, 'x'))
      .add("small", std::string(200, 'y'))
      .bytes();
}

/// The number in the directory of the entry with this name.
std::uint32_t entry_number(const std::string& file, char first) {
  for (std::uint32_t number = 1; number < 4; ++number) {
    if (file[place_of_entry(file, number)] == first) return number;
  }
  ADD_FAILURE() << "no entry begins with " << first;
  return 0;
}

std::string read_stream(std::string bytes, std::string_view name) {
  Document document = Document::from_memory(std::move(bytes));
  const Limits limits;
  const CompoundFile file(document, limits);
  const auto entry = file.find(name);
  return entry ? file.read(*entry) : "no such stream";
}

Code code_of_opening(std::string bytes, const Limits& limits = Limits()) {
  Document document = Document::from_memory(std::move(bytes));
  try {
    const CompoundFile file(document, limits);
  } catch (const EngineError& error) {
    return error.code();
  }
  return Code::success;
}

class Collected : public ByteOutput {
 public:
  void write(std::string_view more) override { bytes += more; }
  std::string bytes;
};

class Bytes final : public CompoundStream {
 public:
  explicit Bytes(std::string bytes) : bytes_(std::move(bytes)) {}
  std::uint64_t size() const override { return bytes_.size(); }
  std::size_t read_at(std::uint64_t offset, std::span<char> out) override {
    return offset < bytes_.size() ? bytes_.copy(out.data(), out.size(), offset) : 0;
  }

 private:
  std::string bytes_;
};

/// The same file with sectors of 4,096 bytes, as version 4 has them: every part by itself moves.
std::string version_4_file() {
  constexpr std::size_t large = 4096;
  std::string file(large * 6, '\0');
  file.replace(0, 8, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1");
  put16(file, 24, 0x3E);
  put16(file, 26, 4);
  put16(file, 28, 0xFFFE);
  put16(file, 30, 12);
  put16(file, 32, 6);
  put32(file, 40, 1);
  put32(file, 44, 1);
  put32(file, 48, 1);
  put32(file, 56, 4096);
  put32(file, 60, end_of_chain);
  put32(file, 68, end_of_chain);
  for (std::size_t i = 0; i < 109; ++i) put32(file, 76 + i * 4, i == 0 ? 0 : free_sector);
  for (std::size_t i = 0; i < large / 4; ++i) put32(file, large + i * 4, free_sector);
  put32(file, large, 0xFFFFFFFD);
  put32(file, large + 4, end_of_chain);
  put32(file, large + 8, 4);  // the stream: sectors 2, 4 and 3
  put32(file, large + 16, 3);
  put32(file, large + 12, end_of_chain);
  const auto entry = [&](std::size_t number, char name, char type, std::uint32_t child,
                         std::uint32_t start, std::uint32_t size) {
    const std::size_t at = large * 2 + number * 128;
    file[at] = name;
    put16(file, at + 64, 4);
    file[at + 66] = type;
    put32(file, at + 68, free_sector);
    put32(file, at + 72, free_sector);
    put32(file, at + 76, child);
    put32(file, at + 116, start);
    put32(file, at + 120, size);
  };
  entry(0, 'R', 5, 1, end_of_chain, 0);
  entry(1, 's', 2, free_sector, 2, 10'000);
  file.replace(large * 3, large, std::string(large, 'a'));
  file.replace(large * 5, large, std::string(large, 'b'));
  file.replace(large * 4, large, std::string(large, 'c'));
  return file;
}

TEST(CompoundDamage, ReadsSectorsOf4096BytesInTheirChainsOrder) {
  EXPECT_EQ(read_stream(version_4_file(), "s"),
            std::string(4096, 'a') + std::string(4096, 'b') + std::string(10'000 - 8192, 'c'));
}

TEST(CompoundDamage, EndsAChainThatGoesInACircle) {
  std::string file = sound_file();
  const std::uint32_t start = le32(file, place_of_entry(file, entry_number(file, 'l')) + 116);
  put32(file, place_of_field(file, start + 2), start);
  const std::string read = read_stream(file, "long");
  EXPECT_LT(read.size(), 10'000u) << "a circle of three sectors has no 10,000 bytes";
  EXPECT_TRUE(read.starts_with(std::string(3 * sector, 'x')));
  put32(file, place_of_field(file, start), start);
  EXPECT_TRUE(read_stream(file, "long").starts_with(std::string(sector, 'x')));
}

TEST(CompoundDamage, GivesAStreamAsFarAsItsChainGoes) {
  std::string file = sound_file();
  const std::uint32_t start = le32(file, place_of_entry(file, entry_number(file, 'l')) + 116);
  for (const std::uint32_t wrong : {end_of_chain, free_sector, 0x00FFFFFFu}) {
    put32(file, place_of_field(file, start + 1), wrong);
    EXPECT_EQ(read_stream(file, "long"), std::string(2 * sector, 'x')) << wrong;
  }
}

TEST(CompoundDamage, GivesWhatIsThereOfACutFile) {
  // The parts stand in the order: streams, small streams, their table, the directory, the table.
  std::string file = sound_file();
  const std::uint32_t table = le32(file, 76);
  file.resize(place_of_sector(table) + 4);
  EXPECT_NE(read_stream(file, "long"), std::string(10'000, 'x')) << "the table is gone";
}

TEST(CompoundDamage, BelievesNoSizeBeyondTheFile) {
  std::string file = sound_file();
  put32(file, place_of_entry(file, entry_number(file, 'l')) + 120, 0xFFFFFF00);
  Document document = Document::from_memory(file);
  const Limits limits;
  const CompoundFile compound(document, limits);
  const auto entry = compound.find("long");
  ASSERT_TRUE(entry);
  EXPECT_EQ(compound.entries()[*entry].size, file.size());
  EXPECT_EQ(compound.read(*entry).size(), 20 * sector) << "the chain has 20 sectors";
}

TEST(CompoundDamage, ReadsNoSmallStreamBeyondTheStreamThatHoldsIt) {
  std::string file = sound_file();
  const std::size_t root = place_of_entry(file, 0);
  const std::size_t small = place_of_entry(file, entry_number(file, 's'));
  put32(file, small + 116, 5'000);
  EXPECT_EQ(read_stream(file, "small"), "");
  put32(file, small + 116, 0);
  EXPECT_EQ(read_stream(file, "small"), std::string(200, 'y'));
  put32(file, root + 116, end_of_chain);
  EXPECT_EQ(read_stream(file, "small"), "");
  EXPECT_EQ(read_stream(file, "long"), std::string(10'000, 'x'));
}

TEST(CompoundDamage, EndsACircleOfSmallSectors) {
  std::string file = sound_file();
  put32(file, place_of_sector(le32(file, 60)) + 4, 0);
  EXPECT_LE(read_stream(file, "small").size(), 200u);
  put32(file, 60, end_of_chain);
  EXPECT_EQ(read_stream(file, "small"), std::string(64, 'y')) << "one sector needs no table";
}

TEST(CompoundDamage, EndsATreeThatGoesInACircle) {
  const std::string sound = sound_file();
  for (const std::size_t link : {68u, 72u, 76u}) {
    for (std::uint32_t from = 0; from < 3; ++from) {
      for (std::uint32_t to = 0; to < 3; ++to) {
        std::string file = sound;
        put32(file, place_of_entry(file, from) + link, to);
        Document document = Document::from_memory(file);
        const Limits limits;
        EXPECT_LE(CompoundFile(document, limits).entries().size(), 3u);
      }
    }
  }
}

TEST(CompoundDamage, EndsAStorageThatHoldsItself) {
  std::string file = CompoundWriter().add("Pool/inner", "text").bytes();
  const std::uint32_t pool = entry_number(file, 'P');
  put32(file, place_of_entry(file, pool) + 76, pool);
  Document document = Document::from_memory(file);
  const Limits limits;
  EXPECT_EQ(CompoundFile(document, limits).entries().size(), 2u);
}

TEST(CompoundDamage, RefusesAHeaderThatLeadsNowhere) {
  const std::string sound = sound_file();
  for (const std::size_t field : {0u, 30u, 48u}) {
    std::string file = sound;
    put16(file, field, 0xFFF0);
    EXPECT_EQ(code_of_opening(file), Code::corrupt) << field;
  }
  EXPECT_EQ(code_of_opening(sound.substr(0, 511)), Code::corrupt);
  EXPECT_EQ(code_of_opening(sound.substr(0, 512)), Code::corrupt);
}

TEST(CompoundDamage, FollowsNoListOfTableSectorsInACircle) {
  // The directory's chain leads to a sector whose part of the table only the list would know.
  std::string file = sound_file();
  put32(file, 44, 0xFFFFFFFF);
  put32(file, 68, 0);
  put32(file, 72, 0xFFFFFFFF);
  EXPECT_EQ(read_stream(file, "long"), std::string(10'000, 'x')) << "counts are not believed";
  put32(file, 48, 0x00F00000);
  EXPECT_EQ(code_of_opening(file), Code::corrupt);
}

TEST(CompoundDamage, CountsTheEntriesOfTheDirectory) {
  CompoundWriter writer;
  for (int i = 0; i < 40; ++i) writer.add("stream " + std::to_string(i), "x");
  Limits::Bounds bounds;
  bounds.members = 20;
  EXPECT_EQ(code_of_opening(writer.bytes(), Limits(bounds)), Code::archive_broken);
  bounds.members = 41;
  EXPECT_EQ(code_of_opening(writer.bytes(), Limits(bounds)), Code::success);
}

TEST(CompoundDamage, LooksAtTheClock) {
  Limits::Bounds bounds;
  bounds.time = std::chrono::milliseconds(-1);
  EXPECT_EQ(code_of_opening(sound_file(), Limits(bounds)), Code::timed_out);
}

TEST(CompoundDamage, ReadsNamesOfOneByteACharacter) {
  std::string file = sound_file();
  const std::size_t entry = place_of_entry(file, entry_number(file, 'l'));
  file.replace(entry, 64, "plain" + std::string(59, '\0'));
  put16(file, entry + 64, 6);
  EXPECT_EQ(read_stream(file, "plain"), std::string(10'000, 'x'));
}

TEST(CompoundOutput, WritesWhatItReads) {
  for (const std::size_t count : {0u, 1u, 2u, 3u, 7u, 8u, 100u}) {
    CompoundOutput output({7});
    const std::size_t storage = output.add_storage(CompoundOutput::root, "Storage", {8});
    for (std::size_t i = 0; i < count; ++i) {
      const std::string content(i * 379, static_cast<char>('a' + i % 26));
      output.add_stream(storage, "s" + std::to_string(i), std::make_unique<Bytes>(content));
    }
    Collected written;
    output.write(written);
    Document document = Document::from_memory(written.bytes);
    const Limits limits;
    const CompoundFile file(document, limits);
    EXPECT_EQ(file.entries().size(), count + 2);
    for (std::size_t i = 0; i < count; ++i) {
      const auto entry = file.find("Storage/s" + std::to_string(i));
      ASSERT_TRUE(entry) << i;
      EXPECT_EQ(file.read(*entry), std::string(i * 379, static_cast<char>('a' + i % 26))) << i;
    }
  }
}

TEST(CompoundOutput, WritesMoreThanTheHeaderCanList) {
  // 109 sectors of the table stand for 7 MB.
  const std::string content(std::size_t{9} << 20, 'z');
  CompoundOutput output({});
  output.add_stream(CompoundOutput::root, "large", std::make_unique<Bytes>(content));
  output.add_stream(CompoundOutput::root, "after", std::make_unique<Bytes>("end"));
  Collected written;
  output.write(written);
  EXPECT_EQ(read_stream(written.bytes, "large"), content);
  EXPECT_EQ(read_stream(written.bytes, "after"), "end");
}

TEST(CompoundOutput, KeepsTheTreeOfSiblingsBalanced) {
  for (std::size_t count = 1; count < 70; ++count) {
    CompoundOutput output({});
    for (std::size_t i = 0; i < count; ++i) {
      output.add_stream(CompoundOutput::root, "s" + std::to_string(i), std::make_unique<Bytes>(""));
    }
    Collected written;
    output.write(written);
    const std::string& file = written.bytes;
    const std::size_t directory = place_of_sector(le32(file, 48));
    // The directory is one run of sectors here. Every way down passes as many black nodes, and no
    // red one has a red child.
    const auto black_height = [&](auto&& self, std::uint32_t number, bool above_is_red) -> int {
      if (number == free_sector) return 0;
      const std::size_t at = directory + std::size_t{number} * 128;
      const bool red = file[at + 67] == 0;
      EXPECT_FALSE(red && above_is_red) << count;
      const int left = self(self, le32(file, at + 68), red);
      const int right = self(self, le32(file, at + 72), red);
      EXPECT_EQ(left, right) << count;
      return left + (red ? 0 : 1);
    };
    black_height(black_height, le32(file, directory + 76), false);
  }
}

}  // namespace
}  // namespace trfilter
