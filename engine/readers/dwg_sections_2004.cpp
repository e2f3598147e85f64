// The sections of releases 2004, 2010 and later ("Open Design Specification for .dwg files", 4): an
// obfuscated header names the map of pages and the map of sections, each a packed page itself.

#include <algorithm>
#include <unordered_map>

#include "engine/core/byte_cursor.h"
#include "engine/core/engine_error.h"
#include "engine/core/fields.h"
#include "engine/readers/dwg_file.h"
#include "engine/readers/dwg_unpack.h"

namespace trfilter::dwg {
namespace {

constexpr std::uint64_t first_page = 0x100;
constexpr std::size_t page_header_size = 0x20;
constexpr std::uint64_t most_map_bytes = std::uint64_t{8} << 20;

/// 4.1: exclusive or with the numbers of a linear congruential generator.
std::string revealed(std::string bytes) {
  std::uint32_t seed = 1;
  for (char& c : bytes) {
    seed = seed * 0x343FD + 0x269EC3;
    c = static_cast<char>(static_cast<unsigned char>(c) ^ (seed >> 16 & 0xFF));
  }
  return bytes;
}

class PackedLoader final : public PageLoader {
 public:
  explicit PackedLoader(Document& document) : document_(document) {}

  std::string load(const Page& page, const Storage& storage) override {
    // 4.6: the header's words are obfuscated by the page's own place.
    const std::string header = read_bytes(document_, page.offset, page_header_size);
    const std::uint32_t mask = 0x4164536B ^ static_cast<std::uint32_t>(page.offset);
    constexpr std::uint32_t data_page = 0x4163043B;
    if (header.size() < page_header_size || (le32(header, 0) ^ mask) != data_page) return {};
    const std::uint64_t stored = le32(header, 8) ^ mask;
    std::string bytes =
        read_bytes(document_, page.offset + page_header_size, std::min(stored, most_page_bytes));
    const auto size = static_cast<std::size_t>(page.size);
    if (!storage.packed) {
      bytes.resize(std::min(bytes.size(), size));
      return bytes;
    }
    return unpack_2004(bytes, size).bytes;
  }

 private:
  Document& document_;
};

class Sections2004 final : public Sections {
 public:
  Sections2004(Document& document, Limits& limits)
      : document_(document), limits_(limits), loader_(document) {
    constexpr std::size_t header_at = 0x80;
    constexpr std::size_t header_size = 0x6C;
    const std::string header = revealed(read_bytes(document, header_at, header_size));
    if (header.size() < header_size || !header.starts_with("AcFssFcAJMB")) {
      throw EngineError(Code::corrupt, "the drawing's file header is damaged");
    }
    read_page_map(le64(header, 0x54) + first_page);
    const auto section_map = places_.find(static_cast<std::int32_t>(le32(header, 0x5C)));
    if (section_map == places_.end()) {
      throw EngineError(Code::corrupt, "the drawing has no map of sections");
    }
    read_section_map(section_map->second);
  }

  std::unique_ptr<Section> open(std::string_view name) override {
    return open_named(sections_, name, loader_, limits_);
  }

 private:
  std::string system_page(std::uint64_t offset, std::uint32_t expected_kind) {
    constexpr std::size_t header_size = 0x14;
    const std::string header = read_bytes(document_, offset, header_size);
    if (le32(header, 0) != expected_kind) {
      throw EngineError(Code::corrupt, "a map of the drawing is not where it should be");
    }
    const std::uint64_t size = le32(header, 4);
    const std::uint64_t stored = le32(header, 8);
    if (size > most_map_bytes || stored > most_map_bytes) {
      throw EngineError(Code::corrupt, "a map of the drawing is too large");
    }
    const std::string packed = read_bytes(document_, offset + header_size, stored);
    std::string map = unpack_2004(packed, static_cast<std::size_t>(size)).bytes;
    limits_.charge_unpacked(map.size());
    return map;
  }

  /// 4.4: pages one behind another, by number and size. A gap has a negative number and a place in
  /// a tree of gaps.
  void read_page_map(std::uint64_t offset) {
    constexpr std::uint32_t page_map = 0x41630E3B;
    const std::string map = system_page(offset, page_map);
    std::uint64_t place = first_page;
    ByteCursor cursor(map);
    while (cursor.rest().size() >= 8) {
      const std::int32_t number = cursor.i32();
      const std::uint32_t size = cursor.u32();
      if (number >= 0) places_.emplace(number, place);
      if (number < 0) cursor.skip(16);
      place += size;
    }
  }

  /// 4.5
  void read_section_map(std::uint64_t offset) {
    constexpr std::uint32_t section_map = 0x4163003B;
    constexpr std::size_t name_size = 64;
    constexpr std::string_view prefix = "AcDb:";
    const std::string map = system_page(offset, section_map);
    ByteCursor cursor(map);
    std::uint32_t count = cursor.u32();
    cursor.skip(16);
    for (; count != 0 && !cursor.rest().empty(); --count) {
      NamedSection section;
      std::uint64_t left = cursor.u64();
      std::uint32_t pages = cursor.u32();
      section.storage.page_size = cursor.u32();
      cursor.skip(4);
      section.storage.packed = cursor.u32() == 2;
      cursor.skip(8);
      const std::string_view name = cursor.bytes(name_size);
      section.name = name.substr(0, name.find('\0'));
      if (section.name.starts_with(prefix)) section.name.erase(0, prefix.size());
      const bool sound = section.storage.page_size <= most_page_bytes;
      for (; pages != 0 && !cursor.failed(); --pages) {
        const std::int32_t number = cursor.i32();
        cursor.skip(4);
        const std::uint64_t start = cursor.u64();
        const auto place = places_.find(number);
        const std::uint64_t size = std::min(left, section.storage.page_size);
        left -= size;
        if (sound && !cursor.failed() && place != places_.end() && start < max_section) {
          section.pages.push_back({start, size, place->second, 0});
        }
      }
      if (!section.name.empty()) sections_.push_back(std::move(section));
    }
  }

  static constexpr std::uint64_t max_section = std::uint64_t{1} << 48;

  Document& document_;
  Limits& limits_;
  PackedLoader loader_;
  std::unordered_map<std::int32_t, std::uint64_t> places_;  ///< of pages in the file
  std::vector<NamedSection> sections_;
};

}  // namespace

std::unique_ptr<Sections> open_sections_2004(Document& document, Limits& limits) {
  return std::make_unique<Sections2004>(document, limits);
}

}  // namespace trfilter::dwg
