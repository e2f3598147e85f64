#include "engine/zip/zip_package.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "engine/core/engine_error.h"
#include "tests/engine/zip_writer.h"

namespace trfilter {
namespace {

using test::ZipWriter;

constexpr ZipWriter::Member deflated{.method = ZipWriter::Method::deflated};

/// A package over bytes, with all that it needs.
struct Opened {
  explicit Opened(std::string bytes, const Limits::Bounds& bounds = {})
      : limits(bounds), document(Document::from_memory(std::move(bytes))) {
    limits.set_document_size(document.size());
    package = std::make_unique<ZipPackage>(document, limits);
  }

  Limits limits;
  Document document;
  std::unique_ptr<ZipPackage> package;
};

/// What came out of a member, and the code that it ended with.
struct Read {
  std::string content;
  Code code = Code::success;
};

Read read(ZipPackage& package, std::string_view name, std::size_t piece = 1000) {
  Read result;
  try {
    const auto part = package.open(name);
    if (!part) return {"", Code::general};
    std::string buffer(piece, '\0');
    while (const std::size_t count = part->read(buffer)) result.content.append(buffer, 0, count);
  } catch (const EngineError& error) {
    result.code = error.code();
  }
  return result;
}

Code code_of_opening(std::string bytes) {
  try {
    const Opened opened(std::move(bytes));
  } catch (const EngineError& error) {
    return error.code();
  }
  return Code::success;
}

/// Text that deflates to less than itself but not to nothing.
std::string varied_text(std::size_t size) {
  std::string text;
  std::uint32_t state = 12345;
  while (text.size() < size) {
    state = state * 1664525 + 1013904223;
    text += "word" + std::to_string(state >> 20) + ' ';
  }
  text.resize(size);
  return text;
}

TEST(ZipPackage, ReadsStoredAndDeflatedMembers) {
  const std::string large = varied_text(300'000);
  Opened opened(ZipWriter().add("a.xml", "alpha").add("b/c.xml", large, deflated).bytes());
  EXPECT_FALSE(opened.package->damaged());
  EXPECT_EQ(opened.package->names(), (std::vector<std::string>{"a.xml", "b/c.xml"}));
  EXPECT_EQ(opened.package->read_all("a.xml"), "alpha");
  for (const std::size_t piece :
       {std::size_t{1}, std::size_t{7}, std::size_t{4096}, large.size()}) {
    const Read result = read(*opened.package, "b/c.xml", piece);
    EXPECT_EQ(result.code, Code::success);
    EXPECT_EQ(result.content, large);
  }
}

TEST(ZipPackage, ComparesNamesWithoutCaseAndLeadingSlash) {
  Opened opened(ZipWriter().add("Word\\Document.xml", "x").bytes());
  EXPECT_TRUE(opened.package->contains("/word/document.XML"));
  EXPECT_EQ(opened.package->read_all("word/document.xml"), "x");
  EXPECT_FALSE(opened.package->contains("word/document"));
  EXPECT_EQ(opened.package->open("nothing"), nullptr);
  EXPECT_EQ(opened.package->read_all("nothing"), "");
}

TEST(ZipPackage, ReadsLongNames) {
  const std::string name(5000, 'n');
  Opened opened(ZipWriter().add(name, "x").bytes());
  EXPECT_EQ(opened.package->names(), std::vector<std::string>{name});
  EXPECT_EQ(opened.package->read_all(name), "x");
}

TEST(ZipPackage, KeepsSeveralPartsOpen) {
  const std::string first = varied_text(100'000);
  const std::string second = varied_text(200'000).substr(100'000);
  Opened opened(ZipWriter().add("1", first, deflated).add("2", second, deflated).bytes());
  const auto one = opened.package->open("1");
  const auto two = opened.package->open("2");
  std::string from_one(1000, '\0');
  std::string from_two(1000, '\0');
  ASSERT_EQ(one->read(from_one), 1000u);
  ASSERT_EQ(two->read(from_two), 1000u);
  EXPECT_EQ(from_one, first.substr(0, 1000));
  EXPECT_EQ(from_two, second.substr(0, 1000));
  ASSERT_EQ(one->read(from_one), 1000u);
  EXPECT_EQ(from_one, first.substr(1000, 1000));
}

TEST(ZipPackage, OpensBehindJunk) {
  Opened opened("junk before the archive" + ZipWriter().add("a", "alpha", deflated).bytes());
  EXPECT_FALSE(opened.package->damaged());
  EXPECT_EQ(opened.package->read_all("a"), "alpha");
}

TEST(ZipPackage, ReadsMembersWithDataDescriptors) {
  const ZipWriter::Member member{.method = ZipWriter::Method::deflated, .descriptor = true};
  Opened opened(ZipWriter().add("a", "alpha", member).add("b", "beta", member).bytes());
  EXPECT_EQ(opened.package->read_all("a"), "alpha");
  EXPECT_EQ(opened.package->read_all("b"), "beta");
}

TEST(ZipPackage, RecoversMembersWithoutDirectory) {
  const ZipWriter::Member with_descriptor{.method = ZipWriter::Method::deflated,
                                          .descriptor = true};
  const std::string large = varied_text(200'000);
  Opened opened("junk" + ZipWriter()
                             .add("a", "alpha")
                             .add("b", large, with_descriptor)
                             .add("c", large, deflated)
                             .bytes_without_directory());
  EXPECT_TRUE(opened.package->damaged());
  EXPECT_EQ(opened.package->names(), (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(opened.package->read_all("a"), "alpha");
  EXPECT_EQ(opened.package->read_all("b"), large);
  EXPECT_EQ(opened.package->read_all("c"), large);
}

TEST(ZipPackage, ChecksTheDescriptorOfARecoveredMember) {
  const ZipWriter::Member wrong{
      .method = ZipWriter::Method::deflated, .descriptor = true, .checksum_error = 1};
  Opened opened(ZipWriter().add("a", "alpha", wrong).bytes_without_directory());
  const Read result = read(*opened.package, "a");
  EXPECT_EQ(result.content, "alpha");
  EXPECT_EQ(result.code, Code::corrupt);
}

TEST(ZipPackage, GivesWhatIsLeftOfAMemberCutShort) {
  const std::string large = varied_text(200'000);
  for (const auto& member : {ZipWriter::Member{}, deflated}) {
    std::string bytes = ZipWriter().add("a", "alpha").add("b", large, member).bytes();
    bytes.resize(bytes.size() / 2);
    Opened opened(bytes);
    EXPECT_EQ(opened.package->read_all("a"), "alpha");
    const Read result = read(*opened.package, "b");
    EXPECT_EQ(result.code, Code::corrupt);
    EXPECT_GT(result.content.size(), 50'000u);
    EXPECT_EQ(result.content, large.substr(0, result.content.size()));
  }
}

TEST(ZipPackage, GivesAllBytesBeforeAWrongChecksum) {
  for (const auto method : {ZipWriter::Method::stored, ZipWriter::Method::deflated}) {
    Opened opened(ZipWriter().add("a", "alpha", {.method = method, .checksum_error = 1}).bytes());
    const Read result = read(*opened.package, "a", 2);
    EXPECT_EQ(result.content, "alpha");
    EXPECT_EQ(result.code, Code::corrupt);
  }
}

TEST(ZipPackage, StaysAtTheErrorWhenReadOn) {
  Opened opened(ZipWriter().add("a", "alpha", {.checksum_error = 1}).bytes());
  const auto part = opened.package->open("a");
  std::string buffer(100, '\0');
  EXPECT_EQ(part->read(buffer), 5u);
  EXPECT_THROW(part->read(buffer), EngineError);
  EXPECT_THROW(part->read(buffer), EngineError);
}

TEST(ZipPackage, RefusesEncryptedMembersAndUnknownMethods) {
  Opened opened(ZipWriter()
                    .add("secret", "x", {.encrypted = true})
                    .add("odd", "x", {.stated_method = 99})
                    .bytes());
  EXPECT_EQ(read(*opened.package, "secret").code, Code::password_protected);
  EXPECT_EQ(read(*opened.package, "odd").code, Code::unknown_compression);
}

TEST(ZipPackage, RefusesWhatHasNoMember) {
  EXPECT_EQ(code_of_opening(""), Code::corrupt);
  EXPECT_EQ(code_of_opening("PK"), Code::corrupt);
  EXPECT_EQ(code_of_opening("no archive at all"), Code::corrupt);
  EXPECT_EQ(code_of_opening(ZipWriter().bytes()), Code::corrupt);
  EXPECT_EQ(code_of_opening(std::string("PK\x03\x04", 4) + std::string(10, '\0')), Code::corrupt);
}

TEST(ZipPackage, FindsAMemberWhoseDirectoryEntryPointsAstray) {
  std::string bytes = ZipWriter().add("a", "alpha").bytes();
  const std::size_t entry = bytes.find(std::string("PK\x01\x02", 4));
  ASSERT_NE(entry, std::string::npos);
  bytes[entry + 42] = 5;  // the local header's offset
  Opened opened(bytes);
  EXPECT_EQ(opened.package->read_all("a"), "alpha");
}

TEST(ZipPackage, BoundsWhatReadAllReturns) {
  Opened opened(ZipWriter().add("a", std::string(1001, 'x'), deflated).bytes());
  EXPECT_EQ(opened.package->read_all("a", 1001).size(), 1001u);
  EXPECT_THROW(opened.package->read_all("a", 1000), EngineError);
}

TEST(ZipPackage, ChargesWhatIsUnpacked) {
  const std::string bytes = ZipWriter().add("a", std::string(10'000, 'x'), deflated).bytes();
  Limits::Bounds bounds;
  bounds.expansion_floor = 9'999;
  bounds.expansion_ratio = 10;
  Opened tight(bytes, bounds);
  EXPECT_EQ(read(*tight.package, "a").code, Code::corrupt);
  bounds.expansion_floor = 10'000;
  Opened enough(bytes, bounds);
  EXPECT_EQ(read(*enough.package, "a").code, Code::success);
}

/// A package of one stored member whose directory is changed by `change`, told the entry's offset.
template <typename Change>
std::string with_changed_entry(Change change) {
  std::string bytes = ZipWriter().add("a", "alpha").bytes();
  change(bytes, bytes.find("PK\1\2"));
  return bytes;
}

TEST(ZipPackage, TellsTimesButNotThoseOfTheFirstYear) {
  const auto time_of = [](unsigned year) {
    return Opened(with_changed_entry([&](std::string& bytes, std::size_t entry) {
             const unsigned date = (year - 1980) << 9 | 2 << 5 | 29;
             const unsigned time = 12 << 11 | 30 << 5 | 4;
             bytes[entry + 12] = static_cast<char>(time);
             bytes[entry + 13] = static_cast<char>(time >> 8);
             bytes[entry + 14] = static_cast<char>(date);
             bytes[entry + 15] = static_cast<char>(date >> 8);
           }))
        .package->stated("a")
        .time.ticks;
  };
  EXPECT_EQ(time_of(2024), FileTime::from_unix_seconds(1'709'209'808).ticks);
  EXPECT_EQ(time_of(1980), 0);
  EXPECT_EQ(time_of(2023), 0);  // no leap year
}

TEST(ZipPackage, TellsSizesOfTheZip64Field) {
  Opened opened(with_changed_entry([](std::string& bytes, std::size_t entry) {
    constexpr std::size_t fixed_size = 46;
    constexpr std::size_t name_size = 1;
    bytes.replace(entry + 20, 8, std::string(8, '\xFF'));
    bytes[entry + 30] = 20;
    std::string extra("\1\0\x10\0", 4);
    for (int i = 0; i < 2; ++i) extra += std::string("\5\0\0\0\0\0\0\0", 8);
    bytes.insert(entry + fixed_size + name_size, extra);
    const std::size_t end = bytes.find("PK\5\6");
    bytes[end + 12] = static_cast<char>(bytes[end + 12] + 20);
  }));
  EXPECT_FALSE(opened.package->damaged());
  EXPECT_EQ(opened.package->stated("a").size, 5);
  EXPECT_EQ(read(*opened.package, "a").content, "alpha");
  EXPECT_EQ(opened.package->stated("none").size, 0);
}

TEST(ZipPackage, SurvivesEveryCut) {
  const std::string bytes =
      ZipWriter()
          .add("a", "alpha", deflated)
          .add("b", varied_text(500), {.method = ZipWriter::Method::deflated, .descriptor = true})
          .bytes();
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    try {
      Opened opened(bytes.substr(0, size));
      for (const std::string& name : opened.package->names()) read(*opened.package, name);
    } catch (const EngineError& error) {
      EXPECT_EQ(error.code(), Code::corrupt) << "cut at " << size;
    }
  }
}

}  // namespace
}  // namespace trfilter
