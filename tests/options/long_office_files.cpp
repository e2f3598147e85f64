// Compound files ([MS-CFB]) with their property sets ([MS-OLEPS]), and documents of office programs
// beyond the usual ones: WordPerfect 5.1, Write of Windows 3, Pages of 2009, Visio.

#include <array>
#include <cstdint>
#include <utility>

#include "tests/engine/compound_writer.h"
#include "tests/engine/workbook_writer.h"
#include "tests/engine/zip_writer.h"
#include "tests/options/documents.h"
#include "tests/options/long_documents.h"

namespace tarnis::options {
namespace {

using namespace std::string_view_literals;
using trfilter::test::CompoundWriter;
using trfilter::test::u16;
using trfilter::test::u32;
using trfilter::test::ZipWriter;

constexpr std::string_view summary_set =
    "\xE0\x85\x9F\xF2\xF9\x4F\x68\x10\xAB\x91\x08\x00\x2B\x27\xB3\xD9"sv;
constexpr std::string_view user_set =
    "\x05\xD5\xCD\xD5\x9C\x2E\x1B\x10\x93\x97\x08\x00\x2B\x2C\xF9\xAE"sv;

std::string property_stream(std::string_view id, std::string_view set) {
  constexpr std::uint32_t begin = 48;
  return u16(0xFFFE) + u16(0) + u32(0) + std::string(16, '\0') + u32(1) + std::string(id) +
         u32(begin) + std::string(set);
}

std::string lpstr(std::string_view text) {
  return u32(30) + u32(static_cast<std::uint32_t>(text.size())) + std::string(text);
}

std::string pages_of(std::string_view body) {
  const std::string index =
      R"(<?xml version="1.0"?><sl:document xmlns:sfa="http://developer.apple.com/namespaces/sfa")"
      R"( xmlns:sf="http://developer.apple.com/namespaces/sf")"
      R"( xmlns:sl="http://developer.apple.com/namespaces/sl" sl:version="92008102400">)"
      R"(<sf:text-storage sf:kind="body"><sf:text-body>)" +
      std::string(body) + "</sf:text-body></sf:text-storage></sl:document>";
  ZipWriter writer;
  writer.add("index.xml", index, {.method = ZipWriter::Method::deflated});
  return writer.bytes();
}

/// An object that wraps a file, which makes it one of no program.
std::string object_of(CompoundWriter writer) {
  return writer.add("Package", "PK\3\4 a file").bytes();
}

}  // namespace

std::string compound_file_of_many_properties() {
  // A dictionary of names, and as many properties that share a text.
  constexpr std::uint32_t count = 60'000;
  const std::uint32_t text_at = 8 + (count + 1) * 8;
  const std::string text = lpstr(repeated("some text of a property ", 2 * megabyte));
  const auto dictionary_at = static_cast<std::uint32_t>(text_at + text.size());
  std::string places = u32(0) + u32(dictionary_at);
  std::string names = u32(count);
  for (std::uint32_t i = 2; i < count + 2; ++i) {
    places += u32(i) + u32(text_at);
    names += u32(i) + u32(6) + "name " + '\0';
  }
  const std::string set = places + text + names;
  return object_of(CompoundWriter().add(
      "\5DocumentSummaryInformation",
      property_stream(user_set,
                      u32(static_cast<std::uint32_t>(set.size() + 8)) + u32(count + 1) + set)));
}

std::string compound_file_of_one_text() {
  // A title that is stated again and again.
  constexpr std::uint32_t count = 60'000;
  const std::uint32_t text_at = 8 + count * 8;
  std::string set;
  for (std::uint32_t i = 0; i < count; ++i) set += u32(2) + u32(text_at);
  set += lpstr(repeated("some text of a property ", 4 * megabyte));
  return object_of(CompoundWriter().add(
      "\5SummaryInformation",
      property_stream(summary_set,
                      u32(static_cast<std::uint32_t>(set.size() + 8)) + u32(count) + set)));
}

std::string compound_file_of_many_storages() {
  CompoundWriter writer;
  for (int i = 0; i < 20'000; ++i) writer.add_storage(std::to_string(i));
  return object_of(std::move(writer));
}

std::string compound_file_of_a_long_file() {
  return CompoundWriter().add("Package", repeated("PK\3\4 a file ", 5 * megabyte)).bytes();
}

std::string long_wordperfect() {
  constexpr std::uint32_t text_at = 26;
  return "\xFFWPC" + u32(text_at) + std::string("\1\x0A\0\1", 4) + u16(0) + u16(0) + u16(0xFFFB) +
         u16(5) + u16(50) + u32(0) + repeated("some text of minutes\x0A", 2 * megabyte);
}

std::string long_windows_write() {
  constexpr std::size_t page = 128;
  std::string text = repeated("some text of a letter\r\n", 2 * megabyte);
  const auto end = static_cast<std::uint32_t>(page + text.size());
  text.resize((text.size() + page - 1) / page * page);
  const auto characters = static_cast<unsigned>(1 + text.size() / page);
  // A page of formatting: one run, which ends with the text and has nothing of its own.
  std::string runs = u32(page) + u32(end) + u16(0xFFFF);
  runs.resize(page - 1);
  runs += '\1';
  std::string head = u16(0xBE31) + u16(0) + u16(0xAB00) + std::string(8, '\0') + u32(end);
  head += u16(characters + 1);
  for (int i = 0; i < 5; ++i) head += u16(characters + 2);
  head.resize(96);
  head += u16(characters + 2);
  head.resize(page);
  return head + text + runs + runs;
}

std::string long_pages() {
  return pages_of(repeated("<sf:p>some text and more<sf:br/></sf:p>", 2 * megabyte));
}

std::string pages_of_page_numbers() {
  return pages_of(repeated("<sf:page-number/>", 10 * megabyte));
}

std::string long_visio() {
  constexpr std::string_view relations =
      "<Relationships xmlns='http://schemas.openxmlformats.org/package/2006/relationships'>";
  const std::string kind = "http://schemas.microsoft.com/visio/2010/relationships/";
  const std::string space = "xmlns='http://schemas.microsoft.com/office/visio/2012/main'";
  const auto relation = [&](std::string_view what, std::string_view target) {
    return std::string(relations) + "<Relationship Id='r1' Type='" + kind + std::string(what) +
           "' Target='" + std::string(target) + "'/></Relationships>";
  };
  std::string shapes;
  for (int i = 1; i < 2'000; ++i) {
    shapes += "<Shape ID='" + std::to_string(i) +
              "' Type='Shape'><Cell N='PinX' V='1'/><Cell N='PinY' V='1'/><Cell N='Width' V='1'/>"
              "<Cell N='Height' V='1'/><Text>Kitchen\n</Text></Shape>";
  }
  ZipWriter writer;
  writer.add("[Content_Types].xml",
             "<Types xmlns='http://schemas.openxmlformats.org/package/2006/content-types'>"
             "<Default Extension='rels' "
             "ContentType='application/vnd.openxmlformats-package.relationships+xml'/>"
             "<Override PartName='/visio/document.xml' "
             "ContentType='application/vnd.ms-visio.drawing.main+xml'/>"
             "<Override PartName='/visio/pages/pages.xml' "
             "ContentType='application/vnd.ms-visio.pages+xml'/>"
             "<Override PartName='/visio/pages/page1.xml' "
             "ContentType='application/vnd.ms-visio.page+xml'/></Types>");
  writer.add("_rels/.rels", relation("document", "visio/document.xml"));
  writer.add("visio/document.xml", "<VisioDocument " + space + "/>");
  writer.add("visio/_rels/document.xml.rels", relation("pages", "pages/pages.xml"));
  writer.add("visio/pages/pages.xml",
             "<Pages " + space +
                 " xmlns:r='http://schemas.openxmlformats.org/officeDocument/2006/relationships'>"
                 "<Page ID='1' Name='Floor' NameU='Floor'><PageSheet><Cell N='PageWidth' V='8'/>"
                 "<Cell N='PageHeight' V='11'/></PageSheet><Rel r:id='r1'/></Page></Pages>");
  writer.add("visio/pages/_rels/pages.xml.rels", relation("page", "page1.xml"));
  writer.add("visio/pages/page1.xml",
             "<PageContents " + space + "><Shapes>" + shapes + "</Shapes></PageContents>");
  return writer.bytes();
}

}  // namespace tarnis::options
