#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "engine/opc/opc_package.h"
#include "engine/xml/date_time.h"
#include "tests/engine/ooxml_package.h"
#include "tests/engine/read_document.h"

namespace trfilter {
namespace {

using test::OoxmlPackage;

struct Opened {
  explicit Opened(std::string bytes) : document(Document::from_memory(std::move(bytes))) {
    package = std::make_unique<OpcPackage>(document, limits);
  }
  Limits limits;
  Document document;
  std::unique_ptr<OpcPackage> package;
};

const PropertyValue* find(const Properties& properties, std::string_view name) {
  for (const Properties::Item& item : properties.items()) {
    if (item.name == name) return &item.value;
  }
  return nullptr;
}

std::string text(const Properties& properties, std::string_view name) {
  const PropertyValue* value = find(properties, name);
  return value == nullptr ? "(absent)" : std::get<std::string>(*value);
}

TEST(ResolvePartName, FollowsRelativeAndAbsoluteReferences) {
  EXPECT_EQ(resolve_part_name("word/document.xml", "styles.xml"), "word/styles.xml");
  EXPECT_EQ(resolve_part_name("word/document.xml", "/docProps/core.xml"), "docProps/core.xml");
  EXPECT_EQ(resolve_part_name("ppt/slides/slide1.xml", "../media/./image1.png#x?y"),
            "ppt/media/image1.png");
  EXPECT_EQ(resolve_part_name("", "word/document.xml"), "word/document.xml");
  EXPECT_EQ(resolve_part_name("a/b.xml", "..\\..\\..\\c.xml"), "c.xml");
  EXPECT_EQ(resolve_part_name("a/b.xml", ""), "a");
}

TEST(OpcPackage, FindsRelationshipsByIdAndKind) {
  OoxmlPackage source("word/document.xml", "wordprocessingml.document");
  source.part("word/document.xml", "<x/>").part("word/my file.xml", "<x/>");
  source.relate("word/document.xml", "r1", "hyperlink", "http://example.org/styles", true);
  source.relate("word/document.xml", "r2", "styles", "my%20file.xml");
  Opened opened(source.bytes());
  const OpcRelationships found = opened.package->relationships("word/document.xml");
  ASSERT_NE(found.by_id("r2"), nullptr);
  EXPECT_EQ(found.by_id("r2")->target, "word/my file.xml");
  EXPECT_EQ(found.of_kind("styles"), found.by_id("r2"));
  EXPECT_EQ(found.of_kind("hyperlink"), nullptr) << "it is no part";
  EXPECT_EQ(found.by_id("r1")->target, "http://example.org/styles");
  EXPECT_EQ(found.by_id("r3"), nullptr);
  EXPECT_TRUE(opened.package->relationships("word/my file.xml").all().empty());
  EXPECT_FALSE(opened.package->damaged());
}

TEST(OpcPackage, KnowsContentTypesByNameAndExtension) {
  OoxmlPackage source("word/document.xml", "wordprocessingml.document");
  source.type("word/Note.HTM", "text/html; charset=utf-8").part("word/document.xml", "<x/>");
  Opened opened(source.bytes());
  EXPECT_EQ(opened.package->main_part(), "word/document.xml");
  EXPECT_EQ(opened.package->content_type("word/note.htm"), "text/html");
  EXPECT_EQ(opened.package->content_type("any/other.XML"), "application/xml");
  EXPECT_EQ(opened.package->content_type("any/other"), "");
}

TEST(OpcPackage, NotesDamageOfAPart) {
  OoxmlPackage source("word/document.xml", "wordprocessingml.document");
  source.part("word/document.xml", "<x><y></x>");
  Opened opened(source.bytes());
  XmlHandler handler;
  EXPECT_FALSE(opened.package->parse("nothing.xml", handler));
  EXPECT_FALSE(opened.package->damaged());
  EXPECT_TRUE(opened.package->parse("word/document.xml", handler));
  EXPECT_TRUE(opened.package->damaged());
}

TEST(OpcPackage, ReadsCoreExtendedAndCustomProperties) {
  OoxmlPackage source = test::docx("");
  source.relate("", "c", "metadata/core-properties", "docProps/core.xml");
  source.relate("", "e", "extended-properties", "docProps/app.xml");
  source.relate("", "u", "custom-properties", "docProps/custom.xml");
  source.part(
      "docProps/core.xml",
      R"(<cp:coreProperties xmlns:cp="c" xmlns:dc="d" xmlns:dcterms="t"><dc:title> A title </dc:title><dc:creator>Ada</dc:creator><cp:lastModifiedBy>Bob</cp:lastModifiedBy><dc:description/><dcterms:created>2024-02-29T12:00:00Z</dcterms:created><dcterms:modified>nonsense</dcterms:modified></cp:coreProperties>)");
  source.part(
      "docProps/app.xml",
      R"(<Properties><Application>Writer</Application><TotalTime>12</TotalTime><Pages>3</Pages><Words>many</Words><AppVersion>16.0000</AppVersion><CharactersWithSpaces>70</CharactersWithSpaces><DocSecurity>8</DocSecurity><HyperlinkBase>http://b/</HyperlinkBase><TitlesOfParts><Pages>9</Pages></TitlesOfParts></Properties>)");
  source.part(
      "docProps/custom.xml",
      R"(<Properties xmlns:vt="v"><property name="Flag"><vt:bool>true</vt:bool></property><property name="Count"><vt:i4>-5</vt:i4></property><property name="Share"><vt:r8>0.25</vt:r8></property><property name="When"><vt:filetime>2010-12-30T23:00:00Z</vt:filetime></property><property name="Word"><vt:lpwstr>text</vt:lpwstr></property></Properties>)");
  const Properties properties = test::read_properties(source.bytes(), Format::docx);
  EXPECT_EQ(text(properties, "Title"), "A title");
  EXPECT_EQ(text(properties, "Author"), "Ada");
  EXPECT_EQ(text(properties, "LastAuthor"), "Bob");
  EXPECT_EQ(text(properties, "Comments"), "(absent)");
  EXPECT_EQ(text(properties, "Application"), "Writer");
  EXPECT_EQ(std::get<FileTime>(*find(properties, "Created")).ticks,
            FileTime::from_unix_seconds(1'709'208'000).ticks);
  EXPECT_EQ(find(properties, "LastSaved"), nullptr);
  EXPECT_EQ(std::get<std::int32_t>(*find(properties, "EditTime")), 12);
  EXPECT_EQ(std::get<std::int32_t>(*find(properties, "PageCount")), 3);
  EXPECT_EQ(find(properties, "WordCount"), nullptr);
  EXPECT_EQ(text(properties, "ApplicationVersion"), "16.0000");
  EXPECT_EQ(std::get<std::int32_t>(*find(properties, "CharacterCountWithSpaces")), 70);
  EXPECT_EQ(std::get<std::int32_t>(*find(properties, "Security")), 8);
  EXPECT_EQ(text(properties, "HyperlinkBase"), "http://b/");
  EXPECT_TRUE(std::get<bool>(*find(properties, "Flag")));
  EXPECT_EQ(std::get<std::int32_t>(*find(properties, "Count")), -5);
  EXPECT_EQ(std::get<double>(*find(properties, "Share")), 0.25);
  EXPECT_EQ(std::get<FileTime>(*find(properties, "When")).ticks,
            FileTime::from_unix_seconds(1'293'750'000).ticks);
  EXPECT_EQ(text(properties, "Word"), "text");
}

TEST(OpcPackage, KeepsDamageOfPropertiesFromTheText) {
  OoxmlPackage source = test::docx("<w:p><w:r><w:t>text</w:t></w:r></w:p>");
  source.part("docProps/core.xml", "<coreProperties><title>A title</title>");
  Opened opened(source.bytes());
  Properties properties;
  opened.package->properties(properties);
  EXPECT_EQ(text(properties, "Title"), "A title");
  EXPECT_FALSE(opened.package->damaged());
}

TEST(ParseDateTime, ReadsTheFormsOfXmlDates) {
  const auto seconds = [](std::string_view text) {
    const auto time = parse_date_time(text);
    return time ? (time->ticks - FileTime::from_unix_seconds(0).ticks) / 10'000'000 : -1;
  };
  EXPECT_EQ(seconds("1970-01-02"), 86'400);
  EXPECT_EQ(seconds("1971"), 31'536'000);
  EXPECT_EQ(seconds(" 1970-01-01T01:02:03Z "), 3723);
  EXPECT_EQ(seconds("1970-01-01T02:00:00+02:00"), 0);
  EXPECT_EQ(seconds("1970-01-01T00:00:00-0130"), 5400);
  EXPECT_EQ(parse_date_time("1970-01-01T00:00:00.25Z")->ticks,
            FileTime::from_unix_seconds(0).ticks + 2'500'000);
  for (const char* wrong : {"", "today", "2024-13-01", "2023-02-29", "2024-01-01T25:00:00",
                            "2024-01-01T00:61:00", "2024-01-01 x", "-024-01-01"}) {
    EXPECT_EQ(parse_date_time(wrong), std::nullopt) << wrong;
  }
}

}  // namespace
}  // namespace trfilter
