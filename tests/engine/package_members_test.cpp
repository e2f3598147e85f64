#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/engine/compound_writer.h"
#include "tests/engine/ooxml_package.h"
#include "tests/engine/read_document.h"
#include "tests/engine/zip_writer.h"

namespace trfilter::test {
namespace {

using namespace std::string_literals;

std::vector<std::string> names_of(const std::string& bytes, Format format,
                                  const Options& options = {}) {
  const Listing listing = list_members(bytes, format, options);
  EXPECT_EQ(listing.code, 0) << listing.reason;
  std::vector<std::string> names;
  for (const Subfile& member : listing.members) names.push_back(member.name);
  return names;
}

using Names = std::vector<std::string>;

OoxmlPackage letter() {
  return docx("<w:p><w:r><w:t>text</w:t></w:r></w:p>");
}

std::string number32(std::uint32_t value) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<char>(value >> (8 * i)));
  return bytes;
}

/// The data of a packaged file.
std::string packaged(const std::string& label, const std::string& content) {
  return "\2\0"s + label + '\0' + "C:\\dir\\" + label + '\0' + "\0\0\3\0"s + number32(4) +
         "C:\\\0"s + number32(static_cast<std::uint32_t>(content.size())) + content;
}

std::string native_stream(const std::string& data) {
  return number32(static_cast<std::uint32_t>(data.size())) + data;
}

TEST(PackageMembers, AreTheFilesThatAnOfficeDocumentCarries) {
  OoxmlPackage source = letter();
  source.relate("word/document.xml", "r1", "image", "media/image1.png")
      .relate("word/document.xml", "r2", "package", "embeddings/Sheet1.xlsx")
      .relate("word/document.xml", "r3", "styles", "styles.xml")
      .relate("word/fontTable.xml", "r1", "font", "fonts/font1.odttf")
      .relate("", "t", "metadata/thumbnail", "docProps/thumbnail.jpeg")
      .part("word/styles.xml", "<w:styles xmlns:w='w'/>")
      .part("word/media/image1.png", "picture")
      .part("word/embeddings/Sheet1.xlsx", "sheet")
      .part("word/fonts/font1.odttf", "font")
      .part("docProps/thumbnail.jpeg", "small");
  const std::string bytes = source.bytes();
  EXPECT_EQ(names_of(bytes, Format::docx),
            (Names{"image1.png", "Sheet1.xlsx", "font1.odttf", "thumbnail.jpeg"}));
  const Listing listing = list_members(bytes, Format::docx);
  EXPECT_EQ(listing.members[0].kind, SubfileKind::embedded);
  EXPECT_EQ(listing.members[0].size, 7);
  EXPECT_EQ(listing.members[0].parent, Subfile::no_parent);
  EXPECT_EQ(extract_member(bytes, Format::docx, 1).bytes, "sheet");
  Options options;
  options.skip_thumbnail = true;
  options.skip_embedded_fonts = true;
  EXPECT_EQ(names_of(bytes, Format::docx, options), (Names{"image1.png", "Sheet1.xlsx"}));
}

TEST(PackageMembers, OfADocumentWithoutFilesAreNone) {
  EXPECT_TRUE(names_of(letter().bytes(), Format::docx).empty());
  EXPECT_TRUE(names_of(pptx({""}).bytes(), Format::pptx).empty());
}

TEST(PackageMembers, ThatShareANameHaveTheirPaths) {
  OoxmlPackage source = letter();
  source.part("word/media/image1.png", "one").part("xl/media/image1.png", "two");
  EXPECT_EQ(names_of(source.bytes(), Format::docx),
            (Names{"word/media/image1.png", "xl/media/image1.png"}));
}

TEST(PackageMembers, OutsideOfThePackageAreExternal) {
  OoxmlPackage source = letter();
  source.relate("word/document.xml", "r1", "image", "https://host/dir/picture.png?x=1", true)
      .relate("word/document.xml", "r2", "image", "https://host/dir/picture.png?x=1", true)
      .relate("word/document.xml", "r3", "hyperlink", "https://host/page", true);
  const std::string bytes = source.bytes();
  EXPECT_EQ(names_of(bytes, Format::docx), Names{"picture.png"});
  const Extracted extracted = extract_member(bytes, Format::docx, 0);
  EXPECT_EQ(extracted.location, "https://host/dir/picture.png?x=1");
  EXPECT_TRUE(extracted.bytes.empty());
}

TEST(PackageMembers, HaveChunksThatAreNoText) {
  OoxmlPackage source = letter();
  source.relate("word/document.xml", "r1", "aFChunk", "chunk1.html")
      .relate("word/document.xml", "r2", "aFChunk", "chunk2.rtf")
      .part("word/chunk1.html", "<p>shown")
      .type("word/chunk1.html", "text/html")
      .part("word/chunk2.rtf", "{\\rtf1}")
      .type("word/chunk2.rtf", "application/rtf");
  EXPECT_EQ(names_of(source.bytes(), Format::docx), Names{"chunk2.rtf"});
}

TEST(PackageMembers, OfOleObjectsAreTheFilesThatTheyWrap) {
  CompoundWriter package;
  package.add("\1Ole10Native", native_stream(packaged("notes.txt", "some notes") + "more"));
  CompoundWriter portable;
  portable.add("CONTENTS", "%PDF-1.4 and so on").add("\1Ole", "x");
  CompoundWriter open_document;
  open_document.add("EmbeddedOdf",
                    ZipWriter().add("mimetype", "application/vnd.oasis.opendocument.text").bytes());
  CompoundWriter document;
  document.add("WordDocument", std::string(5000, 'w'));
  OoxmlPackage source = letter();
  source.part("word/embeddings/oleObject1.bin", package.bytes())
      .part("word/embeddings/oleObject2.bin", portable.bytes())
      .part("word/embeddings/oleObject3.bin", open_document.bytes())
      .part("word/embeddings/oleObject4.bin", document.bytes())
      .part("word/embeddings/oleObject5.bin", "no compound file");
  const std::string bytes = source.bytes(ZipWriter::Method::deflated);
  EXPECT_EQ(names_of(bytes, Format::docx), (Names{"notes.txt", "contents.pdf", "package.odt",
                                                  "oleObject4.bin", "oleObject5.bin"}));
  EXPECT_EQ(extract_member(bytes, Format::docx, 0).bytes, "some notes");
  EXPECT_EQ(extract_member(bytes, Format::docx, 1).bytes, "%PDF-1.4 and so on");
  EXPECT_EQ(extract_member(bytes, Format::docx, 3).bytes, document.bytes());
  EXPECT_EQ(list_members(bytes, Format::docx).members[0].size, 10);
}

TEST(PackageMembers, WrappedFilesThatShareANameHaveTheirObjectsPaths) {
  CompoundWriter portable;
  portable.add("CONTENTS", "%PDF-1.4");
  OoxmlPackage source = letter();
  source.part("word/embeddings/oleObject1.bin", portable.bytes())
      .part("word/embeddings/oleObject2.bin", portable.bytes());
  EXPECT_EQ(names_of(source.bytes(), Format::docx),
            (Names{"word/embeddings/oleObject1/contents.pdf",
                   "word/embeddings/oleObject2/contents.pdf"}));
}

TEST(PackageMembers, DamagedOnesAreListedAndFailAlone) {
  ZipWriter::Member broken;
  broken.checksum_error = 1;
  ZipWriter writer;
  writer.add("[Content_Types].xml",
             "<Types><Override PartName='/word/document.xml' ContentType='x.main+xml'/></Types>");
  writer.add("word/document.xml", "<w:document xmlns:w='w'/>");
  writer.add("word/media/good.png", "good");
  writer.add("word/media/bad.png", "bad", broken);
  const std::string bytes = writer.bytes();
  ASSERT_EQ(names_of(bytes, Format::docx), (Names{"good.png", "bad.png"}));
  EXPECT_EQ(extract_member(bytes, Format::docx, 0).code, 0);
  EXPECT_EQ(extract_member(bytes, Format::docx, 1).code, 4);
}

TEST(PackageMembers, OfACutPackageAreThoseThatAreLeft) {
  OoxmlPackage source = letter();
  source.part("word/media/image1.png", std::string(1000, 'p')).part("word/media/image2.png", "q");
  const std::string whole = source.bytes();
  for (std::size_t size = whole.size(); size > 0; size -= std::min<std::size_t>(size, 37)) {
    const Listing listing = list_members(whole.substr(0, size), Format::docx);
    for (std::size_t i = 0; i < listing.members.size(); ++i) {
      const int code = extract_member(whole.substr(0, size), Format::docx, i).code;
      EXPECT_TRUE(code == 0 || code == 4) << code;
    }
  }
}

TEST(CompoundReader, GivesTheFileOfAnObjectAndNoText) {
  CompoundWriter package;
  package.add("\1Ole10Native", native_stream(packaged("a/b\\..\\notes.txt", "some notes")));
  const std::string bytes = package.bytes();
  EXPECT_EQ(names_of(bytes, Format::compound_document), Names{"notes.txt"});
  EXPECT_EQ(read_document(bytes, Format::compound_document).code, 7);
  CompoundWriter other;
  other.add("Stream", "bytes");
  EXPECT_TRUE(names_of(other.bytes(), Format::compound_document).empty());
}

TEST(CompoundReader, GivesNativeDataWithoutAFileAsTheyAre) {
  CompoundWriter picture;
  picture.add("\1Ole10Native", native_stream("BM-a-picture"));
  EXPECT_EQ(names_of(picture.bytes(), Format::compound_document), Names{"picture.bmp"});
  EXPECT_EQ(extract_member(picture.bytes(), Format::compound_document, 0).bytes, "BM-a-picture");
}

TEST(CompoundReader, BelievesNoSizeBeyondTheStream) {
  std::string data = packaged("long.txt", "short");
  CompoundWriter package;
  package.add("\1Ole10Native",
              "\xFF\xFF\xFF\x7F" + data.replace(data.size() - 9, 4, "\xFF\xFF\xFF\x7F"));
  const Extracted extracted = extract_member(package.bytes(), Format::compound_document, 0);
  EXPECT_EQ(extracted.bytes, "short");
  EXPECT_EQ(list_members(package.bytes(), Format::compound_document).members.at(0).size, 5);
}

// ---- fonts that are combined with a GUID

std::string font() {
  std::string bytes("\0\1\0\0"s);
  for (int i = 0; i < 60; ++i) bytes.push_back(static_cast<char>('A' + i));
  return bytes;
}

/// The font as a package with this GUID keeps it.
std::string obfuscated_font() {
  constexpr unsigned char guid[] = {0x65, 0xA3, 0x7E, 0x01, 0x23, 0x2A, 0x19, 0xB0,
                                    0x2A, 0x5E, 0xCA, 0x2B, 0x2E, 0x78, 0xE7, 0x1F};
  std::string bytes = font();
  for (std::size_t i = 0; i < 32; ++i) bytes[i] = static_cast<char>(bytes[i] ^ guid[15 - i % 16]);
  return bytes;
}

OoxmlPackage letter_with_font(const std::string& key) {
  OoxmlPackage source = letter();
  source.relate("word/fontTable.xml", "rId7", "font", "fonts/font1.odttf")
      .part("word/fontTable.xml",
            "<w:fonts xmlns:w='w' xmlns:r='r'><w:font><w:embedRegular r:id='rId7' w:fontKey='" +
                key + "'/></w:font></w:fonts>")
      .part("word/fonts/font1.odttf", obfuscated_font());
  return source;
}

TEST(PackageMembers, GiveAFontClearByTheKeyOfTheTableOfFonts) {
  const std::string bytes = letter_with_font("{65A37E01-232A-19B0-2A5E-CA2B2E78E71F}").bytes();
  EXPECT_EQ(extract_member(bytes, Format::docx, 0).bytes, font());
}

TEST(PackageMembers, GiveAFontAsItIsWhereItsKeyIsNone) {
  for (const char* key :
       {"", "{65A37E01}", "{no GUID}", "{65A37E01-232A-19B0-2A5E-CA2B2E78E71F0}"}) {
    EXPECT_EQ(extract_member(letter_with_font(key).bytes(), Format::docx, 0).bytes,
              obfuscated_font())
        << key;
  }
}

TEST(PackageMembers, GiveAFontClearByTheKeyThatItIsNamedBy) {
  for (const char* name : {"fonts/65A37E01-232A-19B0-2A5E-CA2B2E78E71F.odttf",
                           "fonts/65a37e01-232a-19b0-2a5e-ca2b2e78e71f.ODTTF"}) {
    OoxmlPackage source = letter();
    source.part(name, obfuscated_font());
    EXPECT_EQ(extract_member(source.bytes(), Format::docx, 0).bytes, font()) << name;
  }
}

}  // namespace
}  // namespace trfilter::test
