#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/engine/compound_writer.h"
#include "tests/engine/read_document.h"
#include "tests/engine/zip_writer.h"

namespace trfilter::test {
namespace {

using Names = std::vector<std::string>;

constexpr std::string_view spaces =
    " xmlns:office='urn:oasis:names:tc:opendocument:xmlns:office:1.0'"
    " xmlns:text='urn:oasis:names:tc:opendocument:xmlns:text:1.0'"
    " xmlns:draw='urn:oasis:names:tc:opendocument:xmlns:drawing:1.0'"
    " xmlns:svg='urn:oasis:names:tc:opendocument:xmlns:svg-compatible:1.0'"
    " xmlns:xlink='http://www.w3.org/1999/xlink'";

std::string content(const std::string& body) {
  return "<office:document-content" + std::string(spaces) + "><office:body><office:text>" + body +
         "</office:text></office:body></office:document-content>";
}

std::string entry(const std::string& path, const std::string& type) {
  return "<m:file-entry m:full-path='" + path + "' m:media-type='" + type + "'/>";
}

std::string manifest(const std::string& entries) {
  return "<m:manifest xmlns:m='urn:oasis:names:tc:opendocument:xmlns:manifest:1.0'>" + entries +
         "</m:manifest>";
}

Names names_of(const std::string& bytes, Format format, const Options& options = {}) {
  const Listing listing = list_members(bytes, format, options);
  EXPECT_EQ(listing.code, 0) << listing.reason;
  Names names;
  for (const Subfile& member : listing.members) names.push_back(member.name);
  return names;
}

ZipWriter letter() {
  ZipWriter writer;
  writer.add("mimetype", "application/vnd.oasis.opendocument.text");
  writer.add("content.xml", content("<text:p>a</text:p>"));
  writer.add("META-INF/manifest.xml",
             manifest(entry("/", "application/vnd.oasis.opendocument.text") +
                      entry("Object 1/", "application/vnd.oasis.opendocument.chart") +
                      entry("Object 1/content.xml", "text/xml") +
                      entry("Object 2", "application/vnd.sun.star.oleobject") +
                      entry("extra/film", "video/mp4")));
  return writer;
}

TEST(OdfMembers, ArePicturesObjectsAndFonts) {
  CompoundWriter object;
  object.add("CONTENTS", "%PDF-1.4");
  ZipWriter writer = letter();
  writer.add("Pictures/1.png", "picture");
  writer.add("Object 2", object.bytes());
  writer.add("ObjectReplacements/Object 1", "VCLMTF");
  writer.add("Fonts/a.ttf", "font");
  writer.add("Thumbnails/thumbnail.png", "small");
  writer.add("Configurations2/images/Bitmaps/a.png", "machinery");
  writer.add("settings.xml", "<a/>");
  writer.add("extra/film", "film");
  EXPECT_EQ(names_of(writer.bytes(), Format::odf_text),
            (Names{"1.png", "contents.pdf", "Object 1.svm", "a.ttf", "thumbnail.png", "film"}));
  Options options;
  options.skip_embedded_fonts = true;
  options.skip_thumbnail = true;
  EXPECT_EQ(names_of(writer.bytes(), Format::odf_text, options),
            (Names{"1.png", "contents.pdf", "Object 1.svm", "film"}));
}

TEST(OdfMembers, EmbeddedDocumentsArePackagesOfTheirOwn) {
  ZipWriter writer = letter();
  writer.add("Object 1/content.xml", content("<text:p>inner</text:p>"));
  writer.add("Object 1/Pictures/2.png", std::string(200'000, 'p'));
  writer.add("Object 1/Object 1/content.xml", content("<text:p>innermost</text:p>"));
  const std::string bytes = writer.bytes();
  ASSERT_EQ(names_of(bytes, Format::odf_text), Names{"Object 1.odc"});
  const Extracted extracted = extract_member(bytes, Format::odf_text, 0);
  ASSERT_EQ(extracted.code, 0) << extracted.reason;
  EXPECT_EQ(extracted.bytes.substr(30, 48), "mimetypeapplication/vnd.oasis.opendocument.chart");
  EXPECT_EQ(read_document(extracted.bytes, Format::odf_text).text, "inner\n");
  const Names inner = names_of(extracted.bytes, Format::odf_text);
  ASSERT_EQ(inner, (Names{"2.png", "Object 1.odt"}));
  EXPECT_EQ(extract_member(extracted.bytes, Format::odf_text, 0).bytes, std::string(200'000, 'p'));
}

TEST(OdfMembers, OutsideOfThePackageAreExternal) {
  ZipWriter writer;
  writer.add("content.xml",
             content("<draw:image xlink:href='https://host/a.png'/><draw:image "
                     "xlink:href='Pictures/1.png'/><draw:image xlink:href='https://host/a.png'/>"));
  const std::string bytes = writer.bytes();
  ASSERT_EQ(names_of(bytes, Format::odf_text), Names{"a.png"});
  EXPECT_EQ(extract_member(bytes, Format::odf_text, 0).location, "https://host/a.png");
}

TEST(OdfMembers, OfAFlatDocumentAreItsBinaryData) {
  const std::string flat =
      "<office:document" + std::string(spaces) +
      "><svg:font-face-uri><office:binary-data>T1RUTw==</office:binary-data></svg:font-face-uri>"
      "<office:body><office:text><text:p>a</text:p><draw:image><office:binary-data>iVBO\n "
      "RwABAgME</office:binary-data></draw:image></office:text></office:body></office:document>";
  EXPECT_EQ(names_of(flat, Format::odf_text), (Names{"font1.otf", "image2.png"}));
  EXPECT_EQ(extract_member(flat, Format::odf_text, 1).bytes,
            std::string("\x89PNG\x00\x01\x02\x03\x04", 9));
  Options options;
  options.skip_embedded_fonts = true;
  EXPECT_EQ(names_of(flat, Format::odf_text, options), Names{"image2.png"});
  EXPECT_EQ(extract_member(flat, Format::odf_text, 0, options).bytes.size(), 9u);
}

}  // namespace
}  // namespace trfilter::test
