// The sections of releases 13 to 2000: stretches of the file itself, listed in its header ("Open
// Design Specification for .dwg files", 3.2).

#include <array>

#include "engine/core/engine_error.h"
#include "engine/core/fields.h"
#include "engine/readers/dwg_file.h"

namespace trfilter::dwg {
namespace {

constexpr std::uint64_t page_size = 64 << 10;

class FileLoader final : public PageLoader {
 public:
  explicit FileLoader(Document& document) : document_(document) {}
  std::string load(const Page& page, const Storage& /*storage*/) override {
    return read_bytes(document_, page.offset, page.size);
  }

 private:
  Document& document_;
};

class SectionsR13 final : public Sections {
 public:
  SectionsR13(Document& document, Limits& limits)
      : document_(document), limits_(limits), loader_(document) {
    // Records of a number, an offset and a length.
    constexpr std::size_t count_at = 0x15;
    constexpr std::size_t record_size = 9;
    const std::string_view head = document.head(count_at + 4 + names.size() * record_size);
    const std::uint32_t count = le32(head, count_at);
    for (std::size_t i = 0; i < count && i < names.size(); ++i) {
      const std::size_t at = count_at + 4 + i * record_size;
      const std::uint32_t number = byte_at(head, at);
      if (!has(head, at, record_size) || number >= names.size()) continue;
      places_[number] = {le32(head, at + 1), le32(head, at + 5)};
    }
    if (places_[handles].length == 0) {
      throw EngineError(Code::corrupt, "the drawing has no map of objects");
    }
  }

  std::unique_ptr<Section> open(std::string_view name) override {
    // Objects stand anywhere in the file.
    if (name == "AcDbObjects") return section_of({0, document_.size()});
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (name == names[i] && places_[i].length != 0) return section_of(places_[i]);
    }
    return nullptr;
  }

 private:
  static constexpr std::size_t handles = 2;
  static constexpr std::array<std::string_view, 3> names{"Header", "Classes", "Handles"};

  struct Place {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
  };

  std::unique_ptr<Section> section_of(Place place) {
    std::vector<Page> pages;
    if (place.offset >= document_.size()) return nullptr;
    const std::uint64_t length = std::min(place.length, document_.size() - place.offset);
    for (std::uint64_t at = 0; at < length; at += page_size) {
      pages.push_back({at, std::min(page_size, length - at), place.offset + at, 0});
    }
    return std::make_unique<Section>(std::move(pages), Storage{}, loader_, limits_);
  }

  Document& document_;
  Limits& limits_;
  FileLoader loader_;
  std::array<Place, names.size()> places_{};
};

}  // namespace

std::unique_ptr<Sections> open_sections_r13(Document& document, Limits& limits) {
  return std::make_unique<SectionsR13>(document, limits);
}

}  // namespace trfilter::dwg
