#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tests/engine/read_document.h"
#include "tests/engine/zip_writer.h"

namespace trfilter::test {
namespace {

using Names = std::vector<std::string>;

std::string package_document(const std::string& manifest, const std::string& spine,
                             const std::string& metadata = {}) {
  return "<package xmlns='http://www.idpf.org/2007/opf' version='3.0'><metadata "
         "xmlns:dc='http://purl.org/dc/elements/1.1/' xmlns:opf='http://www.idpf.org/2007/opf'>" +
         metadata + "</metadata><manifest>" + manifest + "</manifest><spine>" + spine +
         "</spine></package>";
}

std::string item(const std::string& id, const std::string& href,
                 const std::string& type = "application/xhtml+xml",
                 const std::string& properties = {}) {
  return "<item id='" + id + "' href='" + href + "' media-type='" + type + "' properties='" +
         properties + "'/>";
}

std::string reference(const std::string& id) {
  return "<itemref idref='" + id + "'/>";
}

std::string page(const std::string& body) {
  return "<?xml version='1.0'?><html "
         "xmlns='http://www.w3.org/1999/xhtml'><head><title>No</title></head><body>" +
         body + "</body></html>";
}

ZipWriter book(const std::string& package) {
  ZipWriter writer;
  writer.add("mimetype", "application/epub+zip");
  writer.add("META-INF/container.xml",
             "<container><rootfiles><rootfile full-path='OPS/book.opf' "
             "media-type='application/oebps-package+xml'/></rootfiles></container>");
  writer.add("OPS/book.opf", package);
  return writer;
}

Reading read(const ZipWriter& writer) {
  return read_document(writer.bytes(), Format::epub);
}

TEST(EpubReader, ReadsDocumentsInTheOrderOfTheSpine) {
  ZipWriter writer = book(package_document(item("b", "two.xhtml") + item("a", "text/one%20a.xhtml"),
                                           reference("a") + reference("b")));
  writer.add("OPS/two.xhtml", page("<h1>Two</h1><p>c&nbsp;d &amp; e</p>"));
  writer.add("OPS/text/one a.xhtml", page("<h1>One</h1><p>a<br/>b</p>"));
  const Reading reading = read(writer);
  EXPECT_EQ(reading.code, 0) << reading.reason;
  EXPECT_EQ(reading.text, "One\na\nb\nTwo\nc\u00A0d & e\n");
}

TEST(EpubReader, LeavesTheTableOfContentsOut) {
  ZipWriter writer = book(package_document(
      item("n", "nav.xhtml", "application/xhtml+xml", "scripted nav") + item("a", "one.xhtml"),
      reference("n") + reference("a")));
  writer.add("OPS/nav.xhtml", page("<nav>One</nav>"));
  writer.add("OPS/one.xhtml", page("<p>One"));
  EXPECT_EQ(read(writer).text, "One\n");
}

TEST(EpubReader, ReadsDocumentsOfOtherEncodings) {
  ZipWriter writer = book(package_document(item("a", "a.xhtml"), reference("a")));
  writer.add("OPS/a.xhtml",
             "<?xml version='1.0' encoding='iso-8859-1'?><html><body><p>Gr\xFC\xDF"
             "e</p></body></html>");
  EXPECT_EQ(read(writer).text, "Grüße\n");
}

TEST(EpubReader, ReadsAPublicationWithoutASpine) {
  ZipWriter writer = book(package_document(item("a", "a.xhtml") + item("b", "b.xhtml"), ""));
  writer.add("OPS/a.xhtml", page("<p>a"));
  writer.add("OPS/b.xhtml", page("<p>b"));
  EXPECT_EQ(read(writer).text, "a\nb\n");
}

TEST(EpubReader, GivesWhatIsLeftOfADamagedPublication) {
  ZipWriter writer = book(package_document(item("a", "a.xhtml") + item("b", "gone.xhtml"),
                                           reference("b") + reference("a")));
  writer.add("OPS/a.xhtml", page("<p>a"));
  const Reading reading = read(writer);
  EXPECT_EQ(reading.text, "a\n");
  EXPECT_EQ(reading.code, 4);
}

TEST(EpubReader, FindsThePackageDocumentWithoutTheContainer) {
  ZipWriter writer;
  writer.add("x/book.opf", package_document(item("a", "a.xhtml"), reference("a")));
  writer.add("x/a.xhtml", page("<p>a"));
  const Reading reading = read(writer);
  EXPECT_EQ(reading.text, "a\n");
  EXPECT_EQ(reading.code, 4);
  EXPECT_EQ(read(ZipWriter().add("mimetype", "application/epub+zip")).code, 4);
}

TEST(EpubReader, RefusesEncryptedContentButNotHiddenFonts) {
  const auto with_encryption = [](const std::string& algorithm) {
    ZipWriter writer = book(package_document(item("a", "a.xhtml"), reference("a")));
    writer.add("OPS/a.xhtml", page("<p>a"));
    writer.add("META-INF/encryption.xml",
               "<encryption><EncryptedData><EncryptionMethod Algorithm='" + algorithm +
                   "'/></EncryptedData></encryption>");
    return read(writer);
  };
  EXPECT_EQ(with_encryption("http://www.idpf.org/2008/embedding").text, "a\n");
  EXPECT_EQ(with_encryption("http://www.w3.org/2001/04/xmlenc#aes128-cbc").code, 8);
}

TEST(EpubReader, ReadsProperties) {
  const ZipWriter writer = book(package_document(
      "", "",
      "<dc:title> A\n title </dc:title><dc:creator>Ann</dc:creator><dc:creator>Bob</dc:creator>"
      "<dc:publisher>House</dc:publisher><dc:language>de</dc:language>"
      "<dc:identifier>urn:isbn:1</dc:identifier><dc:subject>k</dc:subject>"
      "<dc:description>d</dc:description><dc:rights>r</dc:rights>"
      "<dc:date>2024-02-29</dc:date><dc:date opf:event='creation'>2023</dc:date>"
      "<meta property='dcterms:modified'>2024-03-01T00:00:00Z</meta>"
      "<meta name='generator' content='G'/>"));
  const Properties properties = read_properties(writer.bytes(), Format::epub);
  std::string names;
  for (const Properties::Item& each : properties.items()) names += each.name + ' ';
  EXPECT_EQ(names,
            "Title Author Author Publisher Language Identifier Keywords Comments Copyright "
            "Published Created LastSaved Application ");
  EXPECT_EQ(std::get<std::string>(properties.items()[2].value), "Bob");
  EXPECT_EQ(std::get<FileTime>(properties.items()[9].value).ticks,
            FileTime::from_unix_seconds(1'709'164'800).ticks);
}

TEST(EpubReader, PicturesSoundAndFontsAreMembers) {
  ZipWriter writer = book(package_document(
      item("a", "a.xhtml") + item("i", "i/cover.jpg", "image/jpeg") +
          item("f", "f.otf", "application/vnd.ms-opentype") + item("c", "s.css", "text/css") +
          item("s", "s.mp3", "audio/mpeg") + item("x", "https://host/film.mp4", "video/mp4") +
          item("g", "gone.png", "image/png"),
      reference("a")));
  writer.add("OPS/a.xhtml", page("<p>a"));
  writer.add("OPS/i/cover.jpg", "cover");
  writer.add("OPS/f.otf", "font");
  writer.add("OPS/s.css", "style");
  writer.add("OPS/s.mp3", "sound");
  const auto names_of = [&](const Options& options) {
    Names names;
    for (const Subfile& member : list_members(writer.bytes(), Format::epub, options).members) {
      names.push_back(member.name);
    }
    return names;
  };
  EXPECT_EQ(names_of({}), (Names{"cover.jpg", "f.otf", "s.mp3", "film.mp4"}));
  EXPECT_EQ(extract_member(writer.bytes(), Format::epub, 0).bytes, "cover");
  EXPECT_EQ(extract_member(writer.bytes(), Format::epub, 3).location, "https://host/film.mp4");
  Options options;
  options.skip_embedded_fonts = true;
  EXPECT_EQ(names_of(options), (Names{"cover.jpg", "s.mp3", "film.mp4"}));
}

}  // namespace
}  // namespace trfilter::test
