// The sections of release 2007 ("Open Design Specification for .dwg files", 5): every page is coded
// by Reed and Solomon's code, whose blocks may be interleaved, and packed. The parity bytes are
// left out unread: what is damaged stays so.

#include <algorithm>
#include <limits>
#include <unordered_map>

#include "engine/core/byte_cursor.h"
#include "engine/core/engine_error.h"
#include "engine/core/fields.h"
#include "engine/core/utf8.h"
#include "engine/readers/dwg_file.h"
#include "engine/readers/dwg_unpack.h"

namespace trfilter::dwg {
namespace {

constexpr std::uint64_t first_page = 0x480;
constexpr std::uint64_t most_map_bytes = std::uint64_t{8} << 20;
constexpr std::size_t block_size = 255;
constexpr std::size_t system_block_data = 239;  // bytes of a block that are no parity
constexpr std::size_t data_block_data = 251;

/// Takes the data out of `count` interleaved blocks: a block's bytes stand `count` apart.
std::string decoded(std::string_view coded, std::size_t count, std::size_t data) {
  std::string out;
  out.reserve(count * data);
  for (std::size_t block = 0; block < count; ++block) {
    for (std::size_t i = 0; i < data; ++i) {
      const std::size_t at = i * count + block;
      if (at >= coded.size()) return out;
      out += coded[at];
    }
  }
  return out;
}

constexpr std::uint64_t rounded_up(std::uint64_t size, std::uint64_t to) {
  return (size + to - 1) / to;
}

class CodedLoader final : public PageLoader {
 public:
  explicit CodedLoader(Document& document) : document_(document) {}

  std::string load(const Page& page, const Storage& storage) override {
    std::string bytes;
    if (storage.interleaved) {
      constexpr std::uint64_t alignment = 8;
      const std::uint64_t stored = rounded_up(page.stored, alignment) * alignment;
      const std::uint64_t count = rounded_up(stored, data_block_data);
      const std::string coded = read_bytes(document_, page.offset, count * block_size);
      bytes = decoded(coded, static_cast<std::size_t>(count), data_block_data);
      bytes.resize(std::min(bytes.size(), static_cast<std::size_t>(page.stored)));
    } else {
      bytes = read_bytes(document_, page.offset, page.stored);  // all parity stands behind it
    }
    if (page.stored == page.size) return bytes;
    return unpack_2007(bytes, static_cast<std::size_t>(page.size)).bytes;
  }

 private:
  Document& document_;
};

class Sections2007 final : public Sections {
 public:
  Sections2007(Document& document, Limits& limits)
      : document_(document), limits_(limits), loader_(document) {
    const std::string header = file_header();
    PageOfMap page_map;
    page_map.offset = le64(header, 0x38) + first_page;
    page_map.correction = le64(header, 0x18);
    page_map.stored = le64(header, 0x50);
    page_map.size = le64(header, 0x58);
    read_page_map(system_page(page_map));
    const auto place = places_.find(static_cast<std::int64_t>(le64(header, 0xC0)));
    if (place == places_.end()) {
      throw EngineError(Code::corrupt, "the drawing has no map of sections");
    }
    PageOfMap section_map;
    section_map.offset = place->second;
    section_map.correction = le64(header, 0xD8);
    section_map.stored = le64(header, 0xB0);
    section_map.size = le64(header, 0xC8);
    read_section_map(system_page(section_map));
  }

  std::unique_ptr<Section> open(std::string_view name) override {
    return open_named(sections_, name, loader_, limits_);
  }

 private:
  struct PageOfMap {
    std::uint64_t offset = 0;
    std::uint64_t correction = 0;  ///< how many times the data is repeated
    std::uint64_t stored = 0;
    std::uint64_t size = 0;
  };

  /// 5.2: three interleaved blocks.
  std::string file_header() {
    constexpr std::size_t header_at = 0x80;
    constexpr std::size_t blocks = 3;
    constexpr std::size_t header_size = 0x110;
    constexpr std::size_t packed_at = 0x20;
    const std::string coded = read_bytes(document_, header_at, blocks * block_size);
    const std::string data = decoded(coded, blocks, system_block_data);
    const auto length = static_cast<std::int32_t>(le32(data, 0x18));
    const std::string_view rest = std::string_view(data).substr(std::min(packed_at, data.size()));
    // A negative length is that of data that is not packed.
    std::string header(rest.substr(0, header_size));
    if (length > 0) {
      header = unpack_2007(rest.substr(0, static_cast<std::size_t>(length)), header_size).bytes;
    }
    if (header.size() < header_size) {
      throw EngineError(Code::corrupt, "the drawing's file header is damaged");
    }
    return header;
  }

  /// 5.3
  std::string system_page(const PageOfMap& page) {
    constexpr std::uint64_t alignment = 8;
    if (page.size > most_map_bytes || page.stored > most_map_bytes ||
        page.correction > most_map_bytes || page.correction == 0) {
      throw EngineError(Code::corrupt, "a map of the drawing is too large");
    }
    const std::uint64_t aligned = rounded_up(page.stored, alignment) * alignment;
    const std::uint64_t count = rounded_up(aligned * page.correction, system_block_data);
    if (count > most_map_bytes / block_size) {
      throw EngineError(Code::corrupt, "a map of the drawing is too large");
    }
    const std::string coded = read_bytes(document_, page.offset, count * block_size);
    std::string map = decoded(coded, static_cast<std::size_t>(count), system_block_data);
    map.resize(std::min(map.size(), static_cast<std::size_t>(page.stored)));
    if (page.stored < page.size) map = unpack_2007(map, static_cast<std::size_t>(page.size)).bytes;
    limits_.charge_unpacked(map.size());
    return map;
  }

  /// 5.4: pages one behind another, by size and number.
  void read_page_map(std::string_view map) {
    std::uint64_t place = first_page;
    ByteCursor cursor(map);
    while (cursor.rest().size() >= 16) {
      const std::uint64_t size = cursor.u64();
      const auto number = static_cast<std::int64_t>(cursor.u64());
      if (number >= 0) places_.emplace(number, place);
      if (size > document_.size()) break;
      place += size;
    }
  }

  /// 5.5
  void read_section_map(std::string_view map) {
    constexpr std::uint64_t interleaved_encoding = 4;
    constexpr std::u16string_view prefix = u"AcDb:";
    ByteCursor cursor(map);
    while (!cursor.rest().empty()) {
      NamedSection section;
      cursor.skip(std::size_t{4} * 8);
      const std::uint64_t name_length = cursor.u64();
      cursor.skip(8);
      section.storage.interleaved = cursor.u64() == interleaved_encoding;
      std::uint64_t pages = cursor.u64();
      const std::string_view name = cursor.bytes(
          static_cast<std::size_t>(std::min<std::uint64_t>(name_length, cursor.rest().size())));
      std::u16string units;
      for (std::size_t at = 0; at + 1 < name.size() && le16(name, at) != 0; at += 2) {
        units += static_cast<char16_t>(le16(name, at));
      }
      if (units.starts_with(prefix)) units.erase(0, prefix.size());
      section.name = utf16_to_utf8(units);
      for (; pages != 0 && !cursor.failed(); --pages) {
        Page page;
        page.start = cursor.u64();
        cursor.skip(8);
        const auto place = places_.find(static_cast<std::int64_t>(cursor.u64()));
        page.size = cursor.u64();
        page.stored = cursor.u64();
        cursor.skip(std::size_t{2} * 8);
        const bool sound = !cursor.failed() && place != places_.end() &&
                           page.size <= most_page_bytes && page.stored <= most_page_bytes &&
                           page.start < std::uint64_t{1} << 48;
        if (!sound) continue;
        page.offset = place->second;
        section.pages.push_back(page);
      }
      if (!section.name.empty()) sections_.push_back(std::move(section));
    }
  }

  Document& document_;
  Limits& limits_;
  CodedLoader loader_;
  std::unordered_map<std::int64_t, std::uint64_t> places_;  ///< of pages in the file
  std::vector<NamedSection> sections_;
};

}  // namespace

std::unique_ptr<Sections> open_sections_2007(Document& document, Limits& limits) {
  return std::make_unique<Sections2007>(document, limits);
}

}  // namespace trfilter::dwg
