// Film, fonts and pictures: Matroska (RFC 9559), AVI (RIFF), OpenType (ISO/IEC 14496-22), PNG
// (ISO/IEC 15948), TIFF 6.0, PSD (Adobe Photoshop File Formats).

#include <cstdint>
#include <utility>
#include <vector>

#include "tests/engine/workbook_writer.h"
#include "tests/options/long_documents.h"

namespace tarnis::options {
namespace {

using namespace std::string_literals;
using trfilter::test::u16;
using trfilter::test::u32;

std::string be(std::uint64_t value, unsigned size) {
  std::string bytes;
  while (size-- != 0) bytes += static_cast<char>(value >> 8 * size);
  return bytes;
}

// Film.

/// An element of EBML, its length in eight bytes.
std::string element(std::string_view id, std::string_view content) {
  return std::string(id) + '\x01' + be(content.size(), 7) + std::string(content);
}

std::string film_of(std::string_view elements) {
  return element("\x1A\x45\xDF\xA3", "\x42\x82\x88matroska") +
         element("\x18\x53\x80\x67", elements);
}

const std::string tags = "\x12\x54\xC3\x67";
const std::string tag = "\x73\x73";

std::string chunk(std::string_view name, std::string_view content) {
  return std::string(name) + u32(static_cast<std::uint32_t>(content.size())) + std::string(content);
}

// Fonts.

using Tables = std::vector<std::pair<std::string, std::string>>;

/// A collection of `faces` fonts that are all one.
std::string font_of(const Tables& tables, unsigned faces) {
  const std::size_t head = 12 + std::size_t{4} * faces;
  std::string collection = "ttcf" + be(0x10000, 4) + be(faces, 4);
  for (unsigned i = 0; i < faces; ++i) collection += be(head, 4);
  std::string directory = "\0\1\0\0"s + be(tables.size(), 2) + std::string(6, '\0');
  const std::size_t begin = head + directory.size() + tables.size() * 16;
  std::string body;
  for (const auto& [name, content] : tables) {
    directory += name + be(0, 4) + be(begin + body.size(), 4) + be(content.size(), 4);
    body += content;
    body.resize((body.size() + 3) / 4 * 4);
  }
  return collection + directory + body;
}

/// What a font needs to be one, in the order of names: a table goes between the first and the rest.
Tables tables_with(const std::string& character_maps, const std::string& names) {
  Tables tables;
  if (!character_maps.empty()) tables.emplace_back("cmap", character_maps);
  tables.emplace_back("glyf", std::string(4, '\0'));
  tables.emplace_back("head", be(0x10000, 4) + be(0x10000, 4) + be(0, 4) + be(0x5F0F3CF5, 4) +
                                  be(0, 2) + be(1000, 2) + std::string(30, '\0') + be(8, 2) +
                                  be(2, 2));
  tables.back().second.resize(54);
  tables.emplace_back("hhea", be(0x10000, 4) + be(800, 2) + std::string(28, '\0') + be(1, 2));
  tables.emplace_back("hmtx", be(500, 2) + be(0, 2));
  tables.emplace_back("loca", std::string(4, '\0'));
  tables.emplace_back("maxp", be(0x10000, 4) + be(1, 2) + std::string(26, '\0'));
  tables.emplace_back("name", names);
  return tables;
}

/// A table of `count` records that share their text.
std::string name_table(unsigned count, std::size_t length) {
  std::string table = be(0, 2) + be(count, 2) + be(6 + std::size_t{12} * count, 2);
  // The place of the texts has two bytes: theirs are where records are, whatever these say.
  for (unsigned i = 0; i < count; ++i) {
    table += be(3, 2) + be(1, 2) + be(0x409, 2) + be(i % 10, 2) + be(length, 2) + be(0, 2);
  }
  return table + repeated("\0A"s, length);
}

// Pictures.

std::string packet(std::size_t size) {
  return "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF "
         "xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description "
         "xmlns:dc='http://purl.org/dc/elements/1.1/'><dc:subject><rdf:Bag>" +
         repeated("<rdf:li>harbour</rdf:li>", size) +
         "</rdf:Bag></dc:subject></rdf:Description></rdf:RDF></x:xmpmeta>";
}

std::string png_chunk(std::string_view name, std::string_view content) {
  return be(content.size(), 4) + std::string(name) + std::string(content) + be(0, 4);
}

std::string png_of(std::string_view chunks) {
  return "\x89PNG\r\n\x1A\n" + png_chunk("IHDR", be(16, 4) + be(16, 4) + "\x08\2\0\0\0"s) +
         std::string(chunks) + png_chunk("IDAT", "x") + png_chunk("IEND", "");
}

std::string tiff_entry(unsigned tag_number, unsigned type, std::size_t count, std::size_t value) {
  return u16(tag_number) + u16(type) + u32(static_cast<std::uint32_t>(count)) +
         u32(static_cast<std::uint32_t>(value));
}

}  // namespace

std::string film_of_many_tags() {
  std::string simple;
  for (int i = 0; simple.size() < 15 * megabyte; ++i) {
    simple += element("\x67\xC8", element("\x45\xA3", "TITLE") +
                                      element("\x44\x87", "title " + std::to_string(i)));
  }
  return film_of(element(tags, element(tag, simple)));
}

std::string film_of_small_elements() {
  return film_of(
      repeated(element(tags, element(tag, repeated("\xEC\x80", 15 * megabyte))), 100 * megabyte));
}

std::string film_of_many_chunks() {
  const std::string texts = chunk("LIST", "INFO" + repeated(chunk("INAM", "text"), 5 * megabyte));
  return chunk("RIFF", "AVI " + texts);
}

std::string font_of_many_names() {
  return font_of(tables_with({}, name_table(65'535, 60'000)), 100);
}

std::string font_of_many_character_maps() {
  constexpr unsigned maps = 1'000;
  constexpr std::size_t groups = 500'000;
  std::string table = be(0, 2) + be(maps, 2);
  for (unsigned i = 0; i < maps; ++i) table += be(3, 2) + be(10, 2) + be(4 + 8 * maps, 4);
  table += be(12, 2) + be(0, 2) + be(16 + groups * 12, 4) + be(0, 4) + be(groups, 4);
  for (std::size_t i = 0; i < groups; ++i) table += be(2 * i, 4) + be(2 * i, 4) + be(0, 4);
  return font_of(tables_with(table, name_table(4, 20)), 8);
}

std::string png_of_a_long_packet() {
  return png_of(png_chunk("iTXt", "XML:com.adobe.xmp\0\0\0\0\0"s + packet(10 * megabyte)));
}

std::string png_of_many_texts() {
  return png_of(repeated(png_chunk("tEXt", "Comment\0text"s), 5 * megabyte));
}

std::string tiff_of_a_long_packet() {
  const std::string content = packet(10 * megabyte);
  return "II*\0"s + u32(8) + u16(1) + tiff_entry(700, 1, content.size(), 26) + u32(0) + content;
}

std::string tiff_of_many_directories() {
  std::string bytes = "II*\0"s + u32(8);
  constexpr unsigned entries = 2'000;
  for (int directory = 0; directory < 500; ++directory) {
    bytes += u16(entries);
    for (unsigned i = 0; i < entries; ++i) bytes += tiff_entry(0x8000 + i, 4, 1, 7);
    bytes += u32(static_cast<std::uint32_t>(bytes.size() + 4));
  }
  return bytes + u16(0) + u32(0);
}

std::string psd_of_many_resources() {
  const std::string resources =
      repeated("8BIM"s + be(0x03F3, 2) + be(0, 2) + be(4, 4) + "text", 5 * megabyte) + "8BIM" +
      be(0x0424, 2) + be(0, 2) + be(packet(10 * megabyte).size(), 4) + packet(10 * megabyte);
  return "8BPS" + be(1, 2) + std::string(6, '\0') + be(3, 2) + be(8, 4) + be(8, 4) + be(8, 2) +
         be(3, 2) + be(0, 4) + be(resources.size(), 4) + resources + be(0, 4);
}

}  // namespace tarnis::options
