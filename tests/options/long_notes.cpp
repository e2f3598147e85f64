// Sections of OneNote ([MS-ONESTORE], [MS-ONE]), packages of InDesign's stories, and property
// lists.

#include <cstdint>
#include <utility>
#include <vector>

#include "tests/engine/workbook_writer.h"
#include "tests/engine/zip_writer.h"
#include "tests/options/long_documents.h"

namespace tarnis::options {
namespace {

using namespace std::string_literals;
using trfilter::test::u16;
using trfilter::test::u32;
using trfilter::test::u8;
using trfilter::test::utf16;
using trfilter::test::ZipWriter;

std::string u64(std::uint64_t value) {
  return u32(static_cast<std::uint32_t>(value)) + u32(static_cast<std::uint32_t>(value >> 32));
}

// Sections of notes.

struct Place {
  std::uint64_t offset = 0;
  std::uint32_t size = 0;
};

std::string node(std::uint32_t kind, std::string_view content = {}) {
  return u32(kind | static_cast<std::uint32_t>(content.size() + 4) << 10) + std::string(content);
}

std::string node(std::uint32_t kind, Place place, std::string_view content = {}) {
  constexpr std::uint32_t refers = 1u << 27;
  return node(kind | refers, u64(place.offset) + u32(place.size) + std::string(content));
}

const std::string guid(16, 'g');

/// A page whose root holds objects of one kind.
class Notes {
 public:
  Place add(std::string_view bytes) {
    const Place place{bytes_.size(), static_cast<std::uint32_t>(bytes.size())};
    bytes_ += bytes;
    return place;
  }

  Place add_list(std::string_view nodes) {
    return add(u64(0xA4567AB1F5F7F4C4) + u32(1) + u32(0) + std::string(nodes) +
               u64(~std::uint64_t{0}) + u32(0) + u64(0x8BC215C38233BA4B));
  }

  /// @param nodes  of objects and of the tables of names that they refer to
  /// @param root  the compact number of the page's object
  std::string finish(const std::string& nodes, std::uint32_t root) {
    const std::string name = guid + u32(1);
    const Place group = add_list(nodes);
    const Place revisions = add_list(node(0x1E, std::string(46, '\0')) + node(0xB0, group, name) +
                                     node(0x5A, guid + u32(root) + u32(1)));
    const Place space = add_list(node(0x10, revisions));
    const Place lists = add_list(node(0x08, space, guid + u32(200)) + node(0x04, guid + u32(100)));
    std::string head = "\xE4\x52\x5C\x7B\x8C\xD8\xA7\x4D\xAE\xB1\x53\x78\xD0\x29\x96\xD3" + guid +
                       std::string(16, '\0') +
                       "\x3F\xDD\x9A\x10\x1B\x91\xF5\x49\xA5\xD0\x17\x91\xED\xC8\xAE\xD8"s;
    head.resize(172);
    head += u64(lists.offset) + u32(lists.size);
    bytes_.replace(0, head.size(), head);
    return std::move(bytes_);
  }

 private:
  std::string bytes_ = std::string(1024, '\0');
};

constexpr std::uint32_t outline = 0x0006000C;
constexpr std::uint32_t paragraph = 0x0006000E;
constexpr std::uint32_t author = 0x00120001;
constexpr std::uint32_t text_property = 0x1C001C22;
constexpr std::uint32_t name_property = 0x1C001D75;
constexpr std::uint32_t children_property = 0x24001C20;

/// The properties of an object that has one, data.
std::string with_data(std::uint32_t property, std::string_view data) {
  return u32(1u << 31) + u16(1) + u32(property) + u32(static_cast<std::uint32_t>(data.size())) +
         std::string(data);
}

/// The properties of an object that has others below it.
std::string with_children(const std::vector<std::uint32_t>& compact) {
  const auto count = static_cast<std::uint32_t>(compact.size());
  std::string bytes = u32(count | 1u << 31);
  for (const std::uint32_t number : compact) bytes += u32(number);
  return bytes + u16(1) + u32(children_property) + u32(count);
}

std::string object_node(std::uint32_t compact, std::uint32_t kind, Place properties) {
  return node(0xA4, properties, u32(compact) + u32(kind) + u8(0) + u8(1));
}

/// A page of `count` objects that are all alike.
std::string notes_of(std::uint32_t kind, std::string_view properties, std::uint32_t count) {
  Notes notes;
  const Place shared = notes.add(properties);
  std::string nodes = node(0x22);
  std::vector<std::uint32_t> children;
  for (std::uint32_t i = 0; i < count; ++i) {
    // Names are a number of 8 bits and one of a GUID, of which each differs.
    if (i % 256 == 0) nodes += node(0x24, u32(i / 256) + u32(i) + std::string(12, 'g'));
    if (i == 0) continue;
    const std::uint32_t compact = i % 256 | i / 256 << 8;
    nodes += object_node(compact, kind, shared);
    children.push_back(compact);
  }
  constexpr std::uint32_t table_of_root = 0xFFFF;
  nodes += node(0x24, u32(table_of_root) + guid);
  nodes += object_node(1 | table_of_root << 8, outline, notes.add(with_children(children)));
  return notes.finish(nodes, 1);
}

// Packages of stories.

ZipWriter idml_package() {
  ZipWriter writer;
  writer.add("mimetype", "application/vnd.adobe.indesign-idml-package");
  return writer;
}

// Property lists.

std::string big_endian(std::uint64_t value, unsigned size) {
  std::string bytes;
  while (size-- != 0) bytes += static_cast<char>(value >> 8 * size);
  return bytes;
}

/// A list of these objects, the first at the top, with references of four bytes.
std::string list_of(const std::vector<std::string>& objects) {
  std::string bytes = "bplist00";
  std::string offsets;
  for (const std::string& object : objects) {
    offsets += big_endian(bytes.size(), 4);
    bytes += object;
  }
  const std::size_t table = bytes.size();
  return bytes + offsets + "\0\0\0\0\0\0\4\4"s + big_endian(objects.size(), 8) + big_endian(0, 8) +
         big_endian(table, 8);
}

/// An object with its count in four bytes: 4 data, 5 text, A an array, D a dictionary.
std::string counted(unsigned type, std::size_t count, std::string_view content) {
  return u8(type << 4 | 0xF) + "\x12" + big_endian(count, 4) + std::string(content);
}

std::string text_object(std::string_view text) {
  return counted(5, text.size(), text);
}

std::string references(const std::vector<std::size_t>& numbers) {
  std::string bytes;
  for (const std::size_t number : numbers) bytes += big_endian(number, 4);
  return bytes;
}

/// The keys and types that an archive's resources share, and one that holds `data`.
std::vector<std::string> archive_objects(std::string_view data) {
  return {"",
          text_object("WebMainResource"),
          text_object("WebSubresources"),
          text_object("WebResourceData"),
          text_object("WebResourceURL"),
          text_object("WebResourceMIMEType"),
          text_object("text/html"),
          text_object("https://example.org/page"),
          counted(4, data.size(), data),
          counted(0xD, 3, references({3, 4, 5, 8, 7, 6}))};
}

}  // namespace

std::string long_notes() {
  return notes_of(paragraph, with_data(text_property, utf16(u"Some text of a note")), 200'000);
}

std::string notes_of_authors() {
  return notes_of(author, with_data(name_property, utf16(u"Ann")), 200'000);
}

std::string notes_of_links() {
  std::u16string text;
  while (text.size() < 7 * megabyte) text += u"see \uFDDFHYPERLINK \"https://example.org/\"this ";
  return notes_of(paragraph, with_data(text_property, utf16(text)), 2);
}

std::string notes_of_one_list() {
  return notes_of(outline, with_children(std::vector<std::uint32_t>(4'000'000, 1)), 4);
}

std::string long_story() {
  ZipWriter writer = idml_package();
  writer.add("designmap.xml", "<Document/>");
  writer.add("Stories/Story_u1.xml",
             "<Story><Story>" +
                 repeated("<Content>Some text &amp; more</Content><Br/>", 20 * megabyte) +
                 "</Story></Story>",
             {.method = ZipWriter::Method::deflated});
  return writer.bytes();
}

std::string idml_of_many_stories() {
  constexpr int count = 20'000;
  ZipWriter writer = idml_package();
  std::string map;
  std::string frames;
  for (int i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    const std::string part = "Stories/Story_u" + number + ".xml";
    map += "<Story src='" + part + "'/>";
    frames += "<TextFrame ParentStory='u" + number + "'/>";
    writer.add(part, "<Story><Story><Content>text</Content></Story></Story>");
  }
  writer.add("Spreads/Spread_1.xml", "<Spread><Spread>" + frames + "</Spread></Spread>");
  writer.add("designmap.xml",
             "<Document><Spread src='Spreads/Spread_1.xml'/>" + map + "</Document>");
  return writer.bytes();
}

std::string idml_of_many_pages() {
  ZipWriter writer = idml_package();
  std::string map;
  for (int i = 0; i < 20; ++i) {
    const std::string part = "Spreads/Spread_" + std::to_string(i) + ".xml";
    map += "<Spread src='" + part + "'/>";
    writer.add(part, "<Spread>" + repeated("<Page/>", 2 * megabyte) + "</Spread>",
               {.method = ZipWriter::Method::deflated});
  }
  writer.add("designmap.xml", "<Document>" + map + "</Document>");
  return writer.bytes();
}

std::string long_property_list() {
  constexpr std::size_t count = 1'000'000;
  std::vector<std::size_t> items(count);
  for (std::size_t i = 0; i < count; ++i) items[i] = 1 + i % 3;
  return list_of({counted(0xA, count, references(items)), text_object("Some text"),
                  "\x33"s + std::string(8, '\x41'), "\x13"s + std::string(8, '\x11')});
}

std::string property_list_of_one_text() {
  return list_of({text_object(repeated("some text that goes on ", 40 * megabyte))});
}

std::string web_archive() {
  std::vector<std::string> objects =
      archive_objects("<html><body>" + repeated("<p>Some <b>text</b> and more</p>", 20 * megabyte));
  objects[0] = counted(0xD, 1, references({1, 9}));
  return list_of(objects);
}

std::string web_archive_of_many_files() {
  std::vector<std::string> objects = archive_objects("<html><body>x</body></html>");
  objects.push_back(counted(0xA, 90'000, references(std::vector<std::size_t>(90'000, 9))));
  objects[0] = counted(0xD, 2, references({1, 2, 9, 10}));
  return list_of(objects);
}

}  // namespace tarnis::options
