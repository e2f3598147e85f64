#include "engine/detect/compound_directory.h"

#include <algorithm>
#include <array>

#include "engine/core/fields.h"

namespace trfilter::detection {
namespace {

constexpr std::uint32_t last_regular_sector = 0xFFFFFFFA;
constexpr std::uint32_t end_of_chain = 0xFFFFFFFE;
constexpr std::uint32_t no_entry = 0xFFFFFFFF;
constexpr std::size_t entry_size = 128;
constexpr unsigned small_sector_shift = 6;
constexpr std::uint64_t small_stream_limit = 4096;
constexpr std::uint32_t header_allocation_sectors = 109;

bool blank(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](char c) { return c == '\0'; });
}

CompoundEntry decode(std::string_view entry) {
  CompoundEntry decoded;
  const std::size_t name_bytes = std::min<std::size_t>(le16(entry, 64), 64);
  for (std::size_t at = 0; at + 2 < name_bytes; at += 2) {
    const std::uint32_t unit = le16(entry, at);
    char c = unit < 0x80 ? static_cast<char>(unit) : '?';
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    decoded.name += c;
  }
  decoded.storage = byte_at(entry, 66) == 1;
  decoded.child = le32(entry, 76);
  decoded.start = le32(entry, 116);
  decoded.size = le32(entry, 120);
  return decoded;
}

}  // namespace

CompoundDirectory::CompoundDirectory(Content& content)
    : content_(&content), header_(content.head().substr(0, 512)) {
  const std::uint32_t shift = le16(header_, 30);
  if (shift < 7 || shift > 16) return;
  sector_shift_ = shift;
  directory_sectors_.push_back(le32(header_, 48));
  const std::string root = directory_entry(0);
  if (root.size() < entry_size) return;
  if (const auto identifier = std::string_view(root).substr(80, 16); !blank(identifier)) {
    class_identifier_ = identifier;
  }
  const CompoundEntry decoded = decode(root);
  small_stream_start_ = decoded.start;
  entries_ = children(decoded);
}

const CompoundEntry* CompoundDirectory::find(std::string_view name) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const CompoundEntry& entry) { return entry.name == name; });
  return found == entries_.end() ? nullptr : &*found;
}

std::vector<CompoundEntry> CompoundDirectory::children(const CompoundEntry& storage) {
  // A storage's entries form a binary tree. Its order is of no use here; a number that comes up
  // twice only wastes one of the bounded visits.
  std::vector<CompoundEntry> found;
  std::vector<std::uint32_t> ahead{storage.child};
  std::size_t visits = 0;
  while (!ahead.empty() && visits++ < most_entries) {
    const std::uint32_t number = ahead.back();
    ahead.pop_back();
    if (number == no_entry || number == 0) continue;
    const std::string entry = directory_entry(number);
    if (entry.size() < entry_size || byte_at(entry, 66) == 0) continue;
    found.push_back(decode(entry));
    ahead.push_back(le32(entry, 68));
    ahead.push_back(le32(entry, 72));
  }
  return found;
}

std::string CompoundDirectory::read(const CompoundEntry& stream, std::uint64_t offset,
                                    std::size_t count) {
  if (offset >= stream.size) return {};
  count = static_cast<std::size_t>(std::min<std::uint64_t>(count, stream.size - offset));
  if (stream.size < small_stream_limit) return read_small(stream, offset, count);
  const std::uint64_t sector_size = std::uint64_t{1} << sector_shift_;
  std::string bytes;
  std::uint32_t sector = nth_sector(stream.start, offset >> sector_shift_);
  std::uint64_t within = offset & (sector_size - 1);
  while (bytes.size() < count && sector < last_regular_sector) {
    const auto piece = static_cast<std::size_t>(
        std::min<std::uint64_t>(count - bytes.size(), sector_size - within));
    const std::string got = content_->read(sector_offset(sector) + within, piece);
    bytes += got;
    if (got.size() < piece) break;
    within = 0;
    sector = next_sector(sector);
  }
  return bytes;
}

std::string CompoundDirectory::read_small(const CompoundEntry& stream, std::uint64_t offset,
                                          std::size_t count) {
  constexpr std::uint64_t small_size = std::uint64_t{1} << small_sector_shift;
  const std::uint32_t table_start = le32(header_, 60);
  const unsigned per_sector_shift = sector_shift_ - 2;
  const std::uint64_t sector_mask = (std::uint64_t{1} << sector_shift_) - 1;
  const auto next_small = [&](std::uint32_t number) {
    const std::uint32_t sector = nth_sector(table_start, number >> per_sector_shift);
    if (sector >= last_regular_sector) return end_of_chain;
    const std::uint64_t within = (std::uint64_t{number} * 4) & sector_mask;
    return field(sector_offset(sector) + within);
  };
  std::uint32_t number = stream.start;
  // A small stream has less than 64 sectors: so far ahead is never further than that.
  for (std::uint64_t skipped = 0; skipped < offset >> small_sector_shift; ++skipped) {
    number = next_small(number);
  }
  std::uint64_t within = offset & (small_size - 1);
  std::string bytes;
  while (bytes.size() < count && number < last_regular_sector) {
    const std::uint64_t place = (std::uint64_t{number} << small_sector_shift) + within;
    const std::uint32_t sector = nth_sector(small_stream_start_, place >> sector_shift_);
    if (sector >= last_regular_sector) break;
    const auto piece = static_cast<std::size_t>(
        std::min<std::uint64_t>(count - bytes.size(), small_size - within));
    const std::string got = content_->read(sector_offset(sector) + (place & sector_mask), piece);
    bytes += got;
    if (got.size() < piece) break;
    within = 0;
    number = next_small(number);
  }
  return bytes;
}

std::uint64_t CompoundDirectory::sector_offset(std::uint32_t sector) const {
  return (std::uint64_t{sector} + 1) << sector_shift_;
}

std::uint32_t CompoundDirectory::field(std::uint64_t offset) {
  if (fields_left_ == 0) return end_of_chain;
  --fields_left_;
  std::array<char, 4> bytes;
  if (content_->read_at(offset, bytes) < bytes.size()) return end_of_chain;
  return le32({bytes.data(), bytes.size()}, 0);
}

std::uint32_t CompoundDirectory::next_sector(std::uint32_t sector) {
  const unsigned per_sector_shift = sector_shift_ - 2;
  const std::uint32_t table = allocation_sector(sector >> per_sector_shift);
  if (table >= last_regular_sector) return end_of_chain;
  const std::uint64_t mask = (std::uint64_t{1} << sector_shift_) - 1;
  return field(sector_offset(table) + ((std::uint64_t{sector} * 4) & mask));
}

std::uint32_t CompoundDirectory::allocation_sector(std::uint32_t number) {
  if (number < header_allocation_sectors) {
    return has(header_, 76 + std::size_t{number} * 4, 4)
               ? le32(header_, 76 + std::size_t{number} * 4)
               : end_of_chain;
  }
  // The rest of the list stands in a chain of its own, each sector ending with the next one's
  // number.
  const std::uint32_t per_sector = (1u << (sector_shift_ - 2)) - 1;
  std::uint32_t index = number - header_allocation_sectors;
  std::uint32_t sector = le32(header_, 68);
  for (std::uint32_t steps = 0; index >= per_sector; index -= per_sector) {
    if (sector >= last_regular_sector || ++steps > most_sectors) return end_of_chain;
    sector = field(sector_offset(sector) + std::uint64_t{per_sector} * 4);
  }
  if (sector >= last_regular_sector) return end_of_chain;
  return field(sector_offset(sector) + std::uint64_t{index} * 4);
}

std::uint32_t CompoundDirectory::nth_sector(std::uint32_t start, std::uint64_t steps) {
  if (steps > most_sectors) return end_of_chain;
  for (; steps > 0 && start < last_regular_sector; --steps) start = next_sector(start);
  return start;
}

std::string CompoundDirectory::directory_entry(std::uint32_t number) {
  constexpr unsigned entry_shift = 7;
  static_assert(std::size_t{1} << entry_shift == entry_size);
  const std::uint32_t per_sector = 1u << (sector_shift_ - entry_shift);
  const std::uint32_t index = number / per_sector;
  if (index >= most_sectors) return {};
  while (directory_sectors_.size() <= index) {
    const std::uint32_t last = directory_sectors_.back();
    if (last >= last_regular_sector) return {};
    directory_sectors_.push_back(next_sector(last));
  }
  const std::uint32_t sector = directory_sectors_[index];
  if (sector >= last_regular_sector) return {};
  return content_->read(sector_offset(sector) + std::uint64_t{number % per_sector} * entry_size,
                        entry_size);
}

}  // namespace trfilter::detection
