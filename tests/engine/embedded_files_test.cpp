#include "engine/core/embedded_files.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

TEST(EmbeddedName, IsOneFilesName) {
  EXPECT_EQ(embedded_name("a.txt", "x"), "a.txt");
  EXPECT_EQ(embedded_name("C:\\dir\\a.txt", "x"), "a.txt");
  EXPECT_EQ(embedded_name("/dir/../a b.txt/", "x"), "a b.txt");
  EXPECT_EQ(embedded_name("a\n\tb\x7F", "x"), "ab");
  EXPECT_EQ(embedded_name("..", "x"), "x");
  EXPECT_EQ(embedded_name("//", "x"), "x");
  EXPECT_EQ(embedded_name("", "x"), "x");
}

TEST(EmbeddedName, IsValidUtf8) {
  EXPECT_EQ(embedded_name("a\xFF.txt", "x"), "a\uFFFD.txt");
}

TEST(EmbeddedFiles, ThatShareANameHavePathsThatLeadNowhereElse) {
  EmbeddedFiles files;
  for (const char* path : {"../../b/a.txt", "/c\\..\\a.txt", "d/other.txt"}) {
    EmbeddedFiles::File file;
    file.name = path;
    file.path = path;
    files.add(std::move(file), [](ByteOutput&) {});
  }
  files.settle_names(Limits());
  EXPECT_EQ(files.describe(0).name, "b/a.txt");
  EXPECT_EQ(files.describe(1).name, "c/a.txt");
  EXPECT_EQ(files.describe(2).name, "other.txt");
}

TEST(EmbeddedName, KeepsTheEndOfALongName) {
  std::string longest;
  for (int i = 0; i < 200; ++i) longest += "é";
  const std::string name = embedded_name(longest + ".txt", "x");
  EXPECT_LE(name.size(), 255u);
  EXPECT_TRUE(name.starts_with("é"));
  EXPECT_TRUE(name.ends_with("é.txt"));
}

TEST(XmlMembers, AreBinaryPartsOfWordDocumentsAndBooks) {
  const std::string word =
      "<w:wordDocument xmlns:w='http://schemas.microsoft.com/office/word/2003/wordml'><w:pict>"
      "<w:binData w:name='wordml://1.png'>YWJj</w:binData></w:pict></w:wordDocument>";
  const Listing listing = list_members(word, Format::xml);
  ASSERT_EQ(listing.members.size(), 1u);
  EXPECT_EQ(listing.members[0].name, "1.png");
  EXPECT_EQ(listing.members[0].size, 3);
  EXPECT_EQ(extract_member(word, Format::xml, 0).bytes, "abc");
  const std::string book =
      "<FictionBook><binary id='a.jpg'>YWI=</binary><binary id='b.jpg'>YQ==</binary></FictionBook>";
  EXPECT_EQ(list_members(book, Format::xml).members.size(), 2u);
  EXPECT_EQ(extract_member(book, Format::xml, 1).bytes, "a");
  EXPECT_TRUE(list_members("<a>YWJj</a>", Format::xml).members.empty());
}

TEST(XmlMembers, CutShortAreDamagedAndNoMoreThanListed) {
  const std::string cut = "<b><binary id='a'>YWJj</binary><binary id='b'>YW";
  EXPECT_EQ(list_members(cut, Format::xml).members.size(), 1u);
  EXPECT_EQ(extract_member(cut, Format::xml, 0).bytes, "abc");
}

}  // namespace
}  // namespace trfilter::test
