#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

#include "tests/engine/pdf_builder.h"
#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

using Names = std::vector<std::string>;

std::string reference(int object) {
  return std::to_string(object) + " 0 R";
}

int file_of(PdfBuilder& pdf, const std::string& name, const std::string& content,
            const std::string& parameters = {}) {
  const int stream = pdf.stream(content, "/Type/EmbeddedFile/Params<<" + parameters + ">>");
  return pdf.add("<</Type/Filespec/F(" + name + ")/EF<</F " + reference(stream) + ">>>>");
}

Names names_of(const std::string& bytes) {
  const Listing listing = list_members(bytes, Format::pdf);
  EXPECT_EQ(listing.code, 0) << listing.reason;
  Names names;
  for (const Subfile& member : listing.members) names.push_back(member.name);
  return names;
}

TEST(PdfMembers, AreTheFilesOfItsNames) {
  PdfBuilder pdf;
  const int first = file_of(pdf, "a.txt", "first", "/Size 5/ModDate(D:20240229120000Z)");
  const int second = file_of(pdf, "dir/b.txt", "second");
  const int leaf = pdf.add("<</Names[(k2)" + reference(second) + "]>>");
  pdf.page("BT ET").catalog("/Names<</EmbeddedFiles<</Names[(k1)" + reference(first) + "]/Kids[" +
                            reference(leaf) + "]>>>>");
  const std::string bytes = pdf.bytes();
  EXPECT_EQ(names_of(bytes), (Names{"a.txt", "b.txt"}));
  const Listing listing = list_members(bytes, Format::pdf);
  EXPECT_EQ(listing.members[0].size, 5);
  EXPECT_EQ(listing.members[0].time.ticks, FileTime::from_unix_seconds(1'709'208'000).ticks);
  EXPECT_EQ(listing.members[0].kind, SubfileKind::embedded);
  EXPECT_EQ(extract_member(bytes, Format::pdf, 0).bytes, "first");
  EXPECT_EQ(extract_member(bytes, Format::pdf, 1).bytes, "second");
}

TEST(PdfMembers, AreTheFilesOfAnnotationsAndAssociatedFilesOnce) {
  PdfBuilder pdf;
  const int file = file_of(pdf, "a.txt", "first");
  const int asset = file_of(pdf, "film.swf", "film");
  const int associated = file_of(pdf, "data.xml", "<a/>");
  const int note =
      pdf.add("<</Type/Annot/Subtype/FileAttachment/Rect[0 0 9 9]/FS " + reference(file) + ">>");
  const int again =
      pdf.add("<</Type/Annot/Subtype/FileAttachment/Rect[0 0 9 9]/FS " + reference(file) + ">>");
  const int media = pdf.add(
      "<</Type/Annot/Subtype/RichMedia/Rect[0 0 9 9]/RichMediaContent<</Assets<</Names[(f)" +
      reference(asset) + "]>>>>>>");
  pdf.page("BT ET",
           "/Annots[" + reference(note) + " " + reference(again) + " " + reference(media) + "]")
      .catalog("/AF[" + reference(associated) + "]");
  const std::string bytes = pdf.bytes();
  EXPECT_EQ(names_of(bytes), (Names{"data.xml", "a.txt", "film.swf"}));
  EXPECT_EQ(extract_member(bytes, Format::pdf, 2).bytes, "film");
}

TEST(PdfMembers, OfATreeThatHoldsItselfEnd) {
  PdfBuilder pdf;
  const int file = file_of(pdf, "a.txt", "first");
  // The next object is the tree itself.
  const int tree = pdf.add("<</Names[(k)" + reference(file) + "]/Kids[" + reference(file + 1) +
                           " " + reference(file + 1) + "]>>");
  ASSERT_EQ(tree, file + 1);
  pdf.page("BT ET").catalog("/Names<</EmbeddedFiles " + reference(tree) + ">>");
  EXPECT_EQ(names_of(pdf.bytes()), Names{"a.txt"});
}

TEST(PdfMembers, OfADocumentWithoutFilesAreNone) {
  PdfBuilder pdf;
  pdf.page("BT ET");
  EXPECT_TRUE(names_of(pdf.bytes()).empty());
}

TEST(PdfMembers, ThatAreMissingFailAlone) {
  PdfBuilder pdf;
  const int gone = pdf.add("<</Type/Filespec/UF(gone.txt)/EF<</F 999 0 R>>>>");
  const int broken = pdf.stream("no flate data at all", "/Type/EmbeddedFile/Filter/FlateDecode");
  const int damaged = pdf.add("<</Type/Filespec/F(bad)/EF<</F " + reference(broken) + ">>>>");
  pdf.page("BT ET").catalog("/Names<</EmbeddedFiles<</Names[(k)" + reference(gone) + "(l)" +
                            reference(damaged) + "]>>>>");
  const std::string bytes = pdf.bytes();
  ASSERT_EQ(names_of(bytes), (Names{"gone.txt", "bad"}));
  EXPECT_EQ(extract_member(bytes, Format::pdf, 0).code, 4);
  EXPECT_EQ(extract_member(bytes, Format::pdf, 1).code, 4);
}

/// The properties of a document with an XMP packet, as "name=value" words; times as ticks.
std::vector<std::string> properties_of(const std::string& description,
                                       const std::string& information) {
  PdfBuilder pdf;
  const int packet = pdf.stream(
      "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF "
      "xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#' "
      "xmlns:dc='http://purl.org/dc/elements/1.1/' xmlns:xmp='http://ns.adobe.com/xap/1.0/' "
      "xmlns:pdf='http://ns.adobe.com/pdf/1.3/'>" +
          description + "</rdf:RDF></x:xmpmeta>",
      "/Type/Metadata/Subtype/XML");
  const int info = pdf.add("<<" + information + ">>");
  pdf.page("BT ET").catalog("/Metadata " + reference(packet)).trailer("/Info " + reference(info));
  std::vector<std::string> found;
  const Properties properties = read_properties(pdf.bytes(), Format::pdf);
  for (const Properties::Item& item : properties.items()) {
    if (const auto* text = std::get_if<std::string>(&item.value)) {
      found.push_back(item.name + "=" + *text);
    } else if (const auto* time = std::get_if<FileTime>(&item.value)) {
      found.push_back(item.name + "=" + std::to_string(time->ticks));
    }
  }
  return found;
}

TEST(PdfProperties, OfThePacketFillWhatTheDictionaryLacks) {
  const auto found = properties_of(
      "<rdf:Description xmp:CreatorTool='Tool' pdf:Producer='Not this'>"
      "<dc:title><rdf:Alt><rdf:li xml:lang='x-default'>T</rdf:li><rdf:li "
      "xml:lang='de'>No</rdf:li></rdf:Alt></dc:title>"
      "<dc:language><rdf:Bag><rdf:li>de</rdf:li></rdf:Bag></dc:language>"
      "<dc:subject><rdf:Bag><rdf:li>k1</rdf:li><rdf:li>k2</rdf:li></rdf:Bag></dc:subject>"
      "<xmp:CreateDate>2024-02-29T12:00:00Z</xmp:CreateDate></rdf:Description>",
      "/Producer(P)");
  EXPECT_EQ(
      found,
      (std::vector<std::string>{
          "Producer=P", "Application=Tool", "Title=T", "Language=de", "Keywords=k1", "Keywords=k2",
          "Created=" + std::to_string(FileTime::from_unix_seconds(1'709'208'000).ticks)}));
}

TEST(PdfProperties, SeveralAuthorsOfThePacketAreTheAuthors) {
  const std::string authors =
      "<rdf:Description><dc:creator><rdf:Seq><rdf:li>A</rdf:li><rdf:li>B</rdf:li></rdf:Seq>"
      "</dc:creator></rdf:Description>";
  EXPECT_EQ(properties_of(authors, "/Author(A; B)"),
            (std::vector<std::string>{"Author=A", "Author=B"}));
}

TEST(PdfProperties, EscapedTextStringsOfThePacketAreRead) {
  EXPECT_EQ(properties_of("<rdf:Description><dc:title><rdf:Alt><rdf:li>\\376\\377\\000A\\000b"
                          "</rdf:li></rdf:Alt></dc:title></rdf:Description>",
                          ""),
            std::vector<std::string>{"Title=Ab"});
}

TEST(PdfProperties, DamageOfThePacketIsNoneOfTheDocument) {
  EXPECT_EQ(properties_of("<rdf:Description xmp:CreatorTool='Tool'><dc:title>", "/Title(T)"),
            (std::vector<std::string>{"Title=T", "Application=Tool"}));
}

}  // namespace
}  // namespace trfilter::test
