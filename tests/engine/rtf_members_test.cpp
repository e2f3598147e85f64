#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/engine/compound_writer.h"
#include "tests/engine/read_document.h"

namespace trfilter::test {
namespace {

using namespace std::string_literals;
using Names = std::vector<std::string>;

std::string hexadecimal(std::string_view bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += digits[byte >> 4];
    text += digits[byte & 15];
    if (text.size() % 65 == 0) text += "\r\n";
  }
  return text;
}

std::string number32(std::size_t value) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<char>(value >> (8 * i)));
  return bytes;
}

std::string counted(const std::string& text) {
  return text.empty() ? number32(0) : number32(text.size() + 1) + text + '\0';
}

/// An object's data of OLE 1.
std::string object(const std::string& class_name, const std::string& data) {
  return number32(0x501) + number32(2) + counted(class_name) + counted("") + counted("") +
         number32(data.size()) + data;
}

std::string packaged(const std::string& label, const std::string& content) {
  return "\2\0"s + label + '\0' + label + '\0' + "\0\0\3\0"s + number32(0) +
         number32(content.size()) + content;
}

std::string document(const std::string& body) {
  return "{\\rtf1\\ansi before " + body + " after\\par}";
}

Names names_of(const std::string& body) {
  const Listing listing = list_members(document(body), Format::rtf);
  EXPECT_EQ(listing.code, 0) << listing.reason;
  Names names;
  for (const Subfile& member : listing.members) names.push_back(member.name);
  return names;
}

Extracted extracted(const std::string& body, std::size_t index) {
  return extract_member(document(body), Format::rtf, index);
}

TEST(RtfMembers, ArePicturesByTheirDigits) {
  const std::string body =
      "{\\*\\shppict{\\pict{\\*\\picprop ff}\\pngblip\\picw10{\\*\\blipuid ab} " +
      hexadecimal("\x89PNG-data") +
      "}}{\\nonshppict{\\pict\\wmetafile8 0102}}{\\pict\\jpegblip 0a0B}";
  EXPECT_EQ(names_of(body), (Names{"picture1.png", "picture2.jpg"}));
  EXPECT_EQ(extracted(body, 0).bytes, "\x89PNG-data");
  EXPECT_EQ(extracted(body, 1).bytes, "\n\v");
}

TEST(RtfMembers, ArePicturesByTheirBytes) {
  const std::string body = "{\\pict\\emfblip\\bin5 a{}\\b}{\\pict\\bin4 BM}{}";
  EXPECT_EQ(names_of(body), (Names{"picture1.emf", "picture2.bmp"}));
  EXPECT_EQ(extracted(body, 0).bytes, "a{}\\b");
  EXPECT_EQ(extracted(body, 1).bytes, "BM}{");
}

TEST(RtfMembers, ArePackagedFilesByTheirNames) {
  const std::string content(100'000, 'x');
  const std::string body = "{\\object\\objemb{\\*\\objclass Package}{\\*\\objdata " +
                           hexadecimal(object("Package", packaged("a.txt", content)) + "tail") +
                           "}{\\result{\\pict\\wmetafile8 0102}}}";
  EXPECT_EQ(names_of(body), (Names{"a.txt", "picture1.wmf"}));
  const Extracted file = extracted(body, 0);
  EXPECT_EQ(file.code, 0) << file.reason;
  EXPECT_EQ(file.bytes, content);
  EXPECT_EQ(list_members(document(body), Format::rtf).members[0].size, 100'000);
}

TEST(RtfMembers, AreCompoundFilesOrWhatTheyWrap) {
  CompoundWriter word;
  word.add("WordDocument", "w");
  CompoundWriter portable;
  portable.add("CONTENTS", "%PDF-1.4");
  const std::string body =
      "{\\object{\\*\\objdata " + hexadecimal(object("Word.Document.8", word.bytes())) +
      "}}{\\object{\\*\\objdata " + hexadecimal(object("AcroExch", portable.bytes())) +
      "}}{\\object{\\*\\objdata " + hexadecimal(object("PBrush", "BMpicture")) + "}}";
  EXPECT_EQ(names_of(body), (Names{"object1.doc", "contents.pdf", "object3.bmp"}));
  EXPECT_EQ(extracted(body, 0).bytes, word.bytes());
  EXPECT_EQ(extracted(body, 1).bytes, "%PDF-1.4");
  EXPECT_EQ(extracted(body, 2).bytes, "BMpicture");
}

TEST(RtfMembers, OutsideOfTheDocumentAreExternal) {
  const std::string body =
      "{\\object{\\*\\objdata " +
      hexadecimal(number32(0x501) + number32(1) + counted("Excel") + counted("C:\\a\\b.xls")) +
      "}}";
  ASSERT_EQ(names_of(body), Names{});
  const std::string complete = "{\\object{\\*\\objdata " +
                               hexadecimal(number32(0x501) + number32(1) + counted("Excel") +
                                           counted("C:\\a\\b.xls") + counted("R1C1")) +
                               "}}";
  ASSERT_EQ(names_of(complete), Names{"b.xls"});
  EXPECT_EQ(extracted(complete, 0).location, "C:\\a\\b.xls");
}

TEST(RtfMembers, BelieveNoSizeBeyondTheirData) {
  std::string data = object("PBrush", "BM123");
  data.replace(data.size() - 9, 4, "\xFF\xFF\xFF\xFF");
  const std::string body = "{\\object{\\*\\objdata " + hexadecimal(data) + "}}";
  EXPECT_EQ(names_of(body), Names{"object1.bmp"});
  EXPECT_EQ(extracted(body, 0).bytes, "BM123");
  EXPECT_EQ(names_of("{\\pict\\pngblip\\bin2147483647 abc}"), Names{"picture1.png"});
}

TEST(RtfMembers, OfDamagedDocumentsAreNoDanger) {
  const std::string whole =
      document("{\\object{\\*\\objdata " + hexadecimal(object("Package", packaged("a", "b"))) +
               "}{\\pict\\pngblip\\bin3 abc}}");
  for (std::size_t size = 6; size < whole.size(); ++size) {
    const std::string cut = whole.substr(0, size);
    const Listing listing = list_members(cut, Format::rtf);
    EXPECT_EQ(listing.code, 0);
    for (std::size_t i = 0; i < listing.members.size(); ++i) {
      extract_member(cut, Format::rtf, i);
    }
  }
}

}  // namespace
}  // namespace trfilter::test
