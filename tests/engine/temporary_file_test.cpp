// Temporary files, what they take together, and bytes that are kept in memory or in one.

#include "engine/core/temporary_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "engine/core/engine_error.h"
#include "engine/core/kept_bytes.h"
#include "engine/core/registry.h"
#include "tests/engine/archive_writer.h"
#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

template <typename Work>
int code_of(Work work) {
  try {
    work();
  } catch (const EngineError& error) {
    return static_cast<int>(error.code());
  }
  return 0;
}

std::string pattern(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>('a' + i * 31 % 26);
  return bytes;
}

/// Lets the process have another bound for its temporary files.
class BoundOfProcess {
 public:
  explicit BoundOfProcess(std::uint64_t bytes) { TemporarySpace::of_process().set_bound(bytes); }
  BoundOfProcess(const BoundOfProcess&) = delete;
  BoundOfProcess& operator=(const BoundOfProcess&) = delete;
  ~BoundOfProcess() { TemporarySpace::of_process().set_bound(TemporarySpace::default_bound); }
};

TEST(TemporaryFile, GivesWhatWasWrittenAnywhere) {
  TemporarySpace space;
  TemporaryFile file({}, space);
  file.append("first");
  file.write_at(10, "later");
  file.write_at(0, "F");
  EXPECT_EQ(file.size(), 15u);
  std::string out(20, 'x');
  EXPECT_EQ(file.read_at(0, out), 15u);
  EXPECT_EQ(out.substr(0, 15), std::string("First\0\0\0\0\0later", 15));
  EXPECT_EQ(file.read_at(12, out), 3u);
  EXPECT_EQ(file.read_at(15, out), 0u);
  EXPECT_EQ(file.read_at(~std::uint64_t{0}, out), 0u);
  const TemporaryMapping mapped(file);
  EXPECT_EQ(mapped.bytes(), std::string_view("First\0\0\0\0\0later", 15));
}

TEST(TemporaryFile, RefusesADirectoryThatIsNone) {
  EXPECT_EQ(code_of([] { TemporaryFile file("/nonexistent-directory"); }), 15);
}

TEST(TemporaryFile, RefusesToGrowBeyondWhatAFileCanBe) {
  TemporarySpace space;
  TemporaryFile file({}, space);
  EXPECT_EQ(code_of([&] { file.write_at(~std::uint64_t{0} - 1, "far"); }), 15);
  EXPECT_EQ(code_of([&] { file.write_at(std::uint64_t{1} << 40, "far"); }), 15);
  EXPECT_EQ(space.used(), 0u);
}

TEST(TemporarySpace, BoundsWhatAllFilesTakeTogether) {
  TemporarySpace space(100);
  TemporaryFile first({}, space);
  {
    TemporaryFile second({}, space);
    first.append(pattern(60));
    second.append(pattern(39));
    EXPECT_EQ(space.used(), 99u);
    EXPECT_EQ(code_of([&] { second.append("ab"); }), 15);
    EXPECT_EQ(code_of([&] { first.append("ab"); }), 15);
    first.append("a");
    // What is written over something takes nothing.
    first.write_at(0, pattern(61));
    EXPECT_EQ(code_of([&] { second.append("a"); }), 15);
  }
  EXPECT_EQ(space.used(), 61u);
  first.append(pattern(39));
  EXPECT_EQ(code_of([&] { first.append("a"); }), 15);
}

TEST(TemporarySpace, BoundsManyFiles) {
  TemporarySpace space(1000);
  std::vector<std::unique_ptr<TemporaryFile>> files;
  int code = 0;
  while (code == 0 && files.size() < 100) {
    files.push_back(std::make_unique<TemporaryFile>("", space));
    code = code_of([&] { files.back()->append(pattern(99)); });
  }
  EXPECT_EQ(code, 15);
  EXPECT_EQ(files.size(), 11u);
  files.clear();
  EXPECT_EQ(space.used(), 0u);
}

TEST(KeptBytes, GivesTheSameFromMemoryAndFromAFile) {
  const std::string expected = pattern(3 * KeptBytes::most_in_memory);
  std::mt19937 chance(1);
  for (const std::size_t block : {std::size_t{7}, std::size_t{65'536}, KeptBytes::most_in_memory,
                                  KeptBytes::most_in_memory + 1}) {
    KeptBytes kept("");
    const std::size_t size = block == 7 ? 7000 : expected.size();
    for (std::size_t at = 0; at < size; at += block) {
      kept.append(std::string_view(expected).substr(at, std::min(block, size - at)));
    }
    ASSERT_EQ(kept.size(), size);
    for (int i = 0; i < 50; ++i) {
      const std::size_t at = chance() % size;
      std::string out(chance() % (2 * KeptBytes::most_in_memory), '\0');
      const std::size_t count = kept.read_at(at, out);
      ASSERT_EQ(count, std::min(out.size(), size - at));
      ASSERT_TRUE(std::string_view(out).substr(0, count) ==
                  std::string_view(expected).substr(at, count));
    }
    std::string out(1, '\0');
    EXPECT_EQ(kept.read_at(size, out), 0u);
  }
}

TEST(KeptBytes, KeepsWhatItHasWhenThereIsNoRoomForMore) {
  const BoundOfProcess bound(100'000);
  KeptBytes kept("");
  const std::string block = pattern(60'000);
  std::uint64_t size = 0;
  while (code_of([&] { kept.append(block); }) == 0) size += block.size();
  EXPECT_EQ(kept.size(), size);
  EXPECT_GT(size, KeptBytes::most_in_memory);
  kept.append("last");
  std::string out(10, '\0');
  EXPECT_EQ(kept.read_at(size - 2, out), 6u);
  EXPECT_EQ(out.substr(0, 6), block.substr(block.size() - 2) + "last");
}

/// A compressed tar archive that unpacks to more than what is kept in memory.
struct Packed {
  std::vector<ArchiveMember> members;
  std::string bytes;
  explicit Packed(const char* filter = "gzip", int count = 40) {
    std::mt19937 chance(7);
    for (int i = 0; i < count; ++i) {
      std::string content(150'000 + chance() % 100'000, '\0');
      for (std::size_t at = 0; at < content.size(); ++at) {
        content[at] = static_cast<char>(chance() % 16);
      }
      members.push_back({"file" + std::to_string(i), std::move(content)});
    }
    bytes = write_archive("pax", filter, members);
  }
};

TEST(TemporarySpace, CountsTheFilesOfReaderModules) {
  const Packed packed;
  const ReaderModules modules(TARNIS_ENGINE_DIRECTORY);
  Document document = Document::from_memory(packed.bytes);
  Limits limits;
  limits.set_document_size(packed.bytes.size());
  const Options options;
  Detection detection;
  detection.format = Format::gzip;
  const auto reader = modules.open({document, options, limits, detection, modules});
  EXPECT_EQ(TemporarySpace::of_process().used(), 0u);
  auto subfiles = reader->subfiles();
  EXPECT_GT(TemporarySpace::of_process().used(), std::uint64_t{5} << 20);
  subfiles.reset();
  EXPECT_EQ(TemporarySpace::of_process().used(), 0u);
}

TEST(CompressedArchive, GivesItsMembersInAnyOrder) {
  const Packed packed;
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < packed.members.size(); ++i) order.push_back(i);
  std::mt19937 chance(3);
  const auto check = [&] {
    const auto extracted = extract_members(packed.bytes, Format::gzip, order);
    for (std::size_t i = 0; i < order.size(); ++i) {
      ASSERT_EQ(extracted[i].code, 0) << extracted[i].reason;
      ASSERT_TRUE(extracted[i].bytes == packed.members[order[i]].content) << order[i];
    }
  };
  // All of it kept, some of it, and no more than what goes into memory.
  for (const std::uint64_t bound :
       {TemporarySpace::default_bound, std::uint64_t{3} << 20, std::uint64_t{0}}) {
    SCOPED_TRACE(bound);
    const BoundOfProcess bounded(bound);
    std::sort(order.begin(), order.end());
    check();
    std::reverse(order.begin(), order.end());
    check();
    std::shuffle(order.begin(), order.end(), chance);
    check();
  }
}

TEST(SolidArchive, GivesItsMembersInAnyOrder) {
  Packed packed("", 12);
  packed.members[5] = {"link", "file4", ArchiveMember::Type::symbolic_link};
  packed.bytes = write_archive("7zip", "", packed.members);
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < packed.members.size(); ++i) order.push_back(i);
  // The format puts what has no bytes behind the others.
  const Listing listing = list_members(packed.bytes, Format::seven_zip);
  ASSERT_EQ(listing.members.size(), order.size());
  const auto member = [&](std::size_t index) {
    return *std::ranges::find_if(packed.members, [&](const ArchiveMember& candidate) {
      return candidate.name == listing.members[index].name;
    });
  };
  std::mt19937 chance(3);
  for (const std::uint64_t bound : {TemporarySpace::default_bound, std::uint64_t{0}}) {
    SCOPED_TRACE(bound);
    const BoundOfProcess bounded(bound);
    std::ranges::reverse(order);
    for (int round = 0; round < 3; ++round) {
      const auto extracted = extract_members(packed.bytes, Format::seven_zip, order);
      for (std::size_t i = 0; i < order.size(); ++i) {
        const ArchiveMember expected = member(order[i]);
        ASSERT_EQ(extracted[i].code, 0) << extracted[i].reason;
        const bool link = expected.type == ArchiveMember::Type::symbolic_link;
        ASSERT_TRUE((link ? extracted[i].location : extracted[i].bytes) == expected.content)
            << order[i];
      }
      std::shuffle(order.begin(), order.end(), chance);
    }
    std::ranges::sort(order);
  }
}

TEST(SolidArchive, ThatIsDamagedGivesInAnyOrderWhatItGivesInItsOwn) {
  const Packed packed("", 12);
  std::mt19937 chance(5);
  const std::string whole = write_archive("7zip", "", packed.members);
  for (int round = 0; round < 5; ++round) {
    std::string damaged = whole;
    damaged[100 + chance() % (damaged.size() - 4000)] ^= 0x55;
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < packed.members.size(); ++i) order.push_back(i);
    const auto forward = extract_members(damaged, Format::seven_zip, order);
    std::ranges::reverse(order);
    const auto backward = extract_members(damaged, Format::seven_zip, order);
    for (std::size_t i = 0; i < order.size(); ++i) {
      const Extracted& first = forward[order[i]];
      EXPECT_EQ(first.code, backward[i].code) << order[i];
      if (first.code != 0) continue;
      EXPECT_TRUE(first.bytes == backward[i].bytes) << order[i];
    }
  }
}

TEST(CompressedArchive, ThatIsDamagedGivesWhatStandsBeforeTheDamageEachTime) {
  const Packed packed;
  const std::string cut = packed.bytes.substr(0, packed.bytes.size() / 2);
  for (const std::uint64_t bound : {TemporarySpace::default_bound, std::uint64_t{0}}) {
    SCOPED_TRACE(bound);
    const BoundOfProcess bounded(bound);
    const Listing listing = list_members(cut, Format::gzip);
    EXPECT_EQ(listing.code, 4);
    ASSERT_GT(listing.members.size(), 10u);
    const std::size_t last = listing.members.size() - 1;
    const auto extracted =
        extract_members(cut, Format::gzip, {last, last - 1, last, 0, last + 1, last - 1});
    for (const std::size_t i : {0u, 2u}) {
      const std::string& content = packed.members[last].content;
      EXPECT_EQ(extracted[i].code, 4);
      EXPECT_LT(extracted[i].bytes.size(), content.size());
      EXPECT_TRUE(content.starts_with(extracted[i].bytes));
    }
    for (const std::size_t i : {1u, 5u}) {
      EXPECT_EQ(extracted[i].code, 0);
      EXPECT_TRUE(extracted[i].bytes == packed.members[last - 1].content);
    }
    EXPECT_TRUE(extracted[3].bytes == packed.members[0].content);
    EXPECT_EQ(extracted[4].code, 4);
  }
}

}  // namespace
}  // namespace trfilter::test
