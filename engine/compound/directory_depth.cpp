#include "engine/compound/directory_depth.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "engine/core/fields.h"

namespace trfilter {
namespace {

constexpr std::uint32_t last_regular_sector = 0xFFFFFFFA;
constexpr std::uint32_t no_entry = 0xFFFFFFFF;
constexpr std::uint32_t end_of_chain = 0xFFFFFFFE;
constexpr std::size_t entry_size = 128;
constexpr std::size_t header_size = 512;
constexpr std::uint32_t header_table_sectors = 109;
constexpr std::size_t table_list_offset = 76;
constexpr std::size_t most_entries = std::size_t{1} << 22;

/// The links of the directory's entries, all that is kept of them.
struct Links {
  std::array<std::uint32_t, 3> to;  ///< left and right sibling, child
  bool seen = false;
};

class DirectoryReader {
 public:
  explicit DirectoryReader(Document& document) : document_(document), header_(header_size, '\0') {
    header_.resize(document.read_at(0, header_));
    sector_shift_ = le16(header_, 30);
    valid_ = header_.size() == header_size && sector_shift_ >= 7 && sector_shift_ <= 16;
  }

  /// The directory's entries in its order; a chain that bites its tail ends with the file's length.
  std::vector<Links> entries() {
    std::vector<Links> entries;
    if (!valid_) return entries;
    const std::uint64_t most_sectors = document_.size() >> sector_shift_;
    std::string sector_bytes(std::size_t{1} << sector_shift_, '\0');
    std::uint32_t sector = le32(header_, 48);
    for (std::uint64_t steps = 0; sector < last_regular_sector && steps <= most_sectors; ++steps) {
      const std::size_t count = document_.read_at(offset_of(sector), sector_bytes);
      for (std::size_t at = 0; at + entry_size <= count; at += entry_size) {
        entries.push_back({{le32(sector_bytes, at + 68), le32(sector_bytes, at + 72),
                            le32(sector_bytes, at + 76)}});
      }
      if (count < sector_bytes.size() || entries.size() >= most_entries) break;
      sector = next_of(sector);
    }
    return entries;
  }

 private:
  std::uint64_t offset_of(std::uint32_t sector) const {
    return (std::uint64_t{sector} + 1) << sector_shift_;
  }

  std::uint32_t field(std::uint64_t offset) {
    std::array<char, 4> bytes;
    if (document_.read_at(offset, bytes) < bytes.size()) return end_of_chain;
    return le32({bytes.data(), bytes.size()}, 0);
  }

  std::uint32_t next_of(std::uint32_t sector) {
    const std::uint32_t per_sector = 1u << (sector_shift_ - 2);
    const std::uint32_t table = table_sector(sector / per_sector);
    if (table >= last_regular_sector) return end_of_chain;
    return field(offset_of(table) + std::uint64_t{sector % per_sector} * 4);
  }

  /// The sector that holds the allocation table's part of this number: [MS-CFB] 2.5.
  std::uint32_t table_sector(std::uint32_t number) {
    if (number < header_table_sectors) return le32(header_, table_list_offset + number * 4);
    const std::uint32_t per_sector = (1u << (sector_shift_ - 2)) - 1;
    const std::uint32_t list = (number - header_table_sectors) / per_sector;
    if (lists_.empty()) lists_.push_back(le32(header_, 68));
    while (lists_.size() <= list) {
      const std::uint32_t last = lists_.back();
      if (last >= last_regular_sector) return end_of_chain;
      lists_.push_back(field(offset_of(last) + std::uint64_t{per_sector} * 4));
    }
    if (lists_[list] >= last_regular_sector) return end_of_chain;
    const std::uint32_t within = (number - header_table_sectors) % per_sector;
    return field(offset_of(lists_[list]) + std::uint64_t{within} * 4);
  }

  Document& document_;
  std::string header_;
  unsigned sector_shift_ = 0;
  bool valid_ = false;
  std::vector<std::uint32_t> lists_;  ///< sectors that list the table's sectors, as far as needed
};

}  // namespace

std::uint32_t compound_directory_depth(Document& document, std::uint32_t most) {
  std::vector<Links> entries = DirectoryReader(document).entries();
  if (entries.size() >= most_entries) return most;
  struct Place {
    std::uint32_t entry;
    std::uint32_t depth;
  };
  std::vector<Place> ahead{{0, 1}};
  std::uint32_t deepest = 0;
  while (!ahead.empty()) {
    const Place place = ahead.back();
    ahead.pop_back();
    if (place.entry == no_entry || place.entry >= entries.size()) continue;
    Links& links = entries[place.entry];
    if (links.seen) {
      // Whoever goes another way round may come here by a longer one.
      if (entries.size() > most) return most;
      continue;
    }
    links.seen = true;
    deepest = std::max(deepest, place.depth);
    if (deepest >= most) return most;
    for (const std::uint32_t next : links.to) ahead.push_back({next, place.depth + 1});
  }
  return deepest;
}

}  // namespace trfilter
