#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "engine/core/format.h"
#include "tests/engine/read_document.h"

// Nothing in reach writes a mail store: what one gives is tested on those of the corpus, where it
// is there.

namespace trfilter::test {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> stores() {
  std::vector<std::string> names;
  const fs::path folder = fs::path(TARNIS_SOURCE_DIRECTORY) / "../shared/corpus/files";
  std::error_code missing;
  for (const auto& entry : fs::directory_iterator(folder, missing)) {
    const std::string extension = entry.path().extension().string();
    if (extension == ".pst" || extension == ".ost") names.push_back(entry.path().string());
  }
  return names;
}

std::string contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class Store : public testing::Test {
 protected:
  void SetUp() override {
    if (stores().empty()) GTEST_SKIP() << "the corpus is not there";
  }
};

TEST_F(Store, ListsFoldersAndItemsThatAgreeAboutEachOther) {
  for (const std::string& path : stores()) {
    const Listing listing = list_members(contents(path), Format::pst);
    EXPECT_EQ(listing.code, 0) << listing.reason;
    const auto& members = listing.members;
    ASSERT_FALSE(members.empty());
    std::size_t items = 0;
    for (std::size_t i = 0; i < members.size(); ++i) {
      const Subfile& member = members[i];
      if (member.kind != SubfileKind::folder) ++items;
      for (const std::int32_t child : member.children) {
        ASSERT_LT(static_cast<std::size_t>(child), members.size());
        EXPECT_EQ(members[static_cast<std::size_t>(child)].parent, static_cast<std::int32_t>(i));
        EXPECT_TRUE(members[static_cast<std::size_t>(child)].name.starts_with(member.name + "/"));
      }
      if (member.parent == Subfile::no_parent) continue;
      const auto& siblings = members[static_cast<std::size_t>(member.parent)].children;
      EXPECT_EQ(std::ranges::count(siblings, static_cast<std::int32_t>(i)), 1);
    }
    EXPECT_GT(items, 0u);
  }
}

TEST_F(Store, GivesItsItemsAsInternetMessages) {
  for (const std::string& path : stores()) {
    const std::string document = contents(path);
    const Listing listing = list_members(document, Format::pst);
    for (std::size_t i = 0; i < listing.members.size(); ++i) {
      if (listing.members[i].kind != SubfileKind::message) continue;
      const Extracted extracted = extract_member(document, Format::pst, i);
      EXPECT_EQ(extracted.code, 0) << extracted.reason;
      EXPECT_NE(extracted.bytes.find("MIME-Version: 1.0\r\n"), std::string::npos);
      const Extracted formatted = extract_member(document, Format::pst, i, Options{}, true);
      EXPECT_NE(formatted.bytes.find("<html"), std::string::npos);
    }
  }
}

TEST_F(Store, HasNoTextOfItsOwn) {
  EXPECT_EQ(read_document(contents(stores().front()), Format::pst).code, 7);
}

TEST_F(Store, OpensNothingThatIsCutOff) {
  const std::string document = contents(stores().front());
  for (const std::size_t size : {std::size_t{0}, std::size_t{100}, std::size_t{600}}) {
    EXPECT_EQ(list_members(document.substr(0, size), Format::pst).code, 4) << size;
  }
}

TEST(StoreReader, RefusesWhatIsNoStore) {
  EXPECT_EQ(read_document("!BDN and nothing of a store behind it", Format::pst).code, 4);
  EXPECT_EQ(list_members(std::string(2000, '\0'), Format::ost).code, 4);
}

}  // namespace
}  // namespace trfilter::test
