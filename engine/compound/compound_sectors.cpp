#include "engine/compound/compound_sectors.h"

#include <algorithm>
#include <array>

#include "engine/core/fields.h"
#include "engine/core/utf8.h"

namespace trfilter {
namespace {

constexpr std::size_t header_size = 512;
constexpr std::string_view signature = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";

// [MS-CFB] 2.2: 512 and 4,096 bytes are in use; the format could have others.
constexpr unsigned least_sector_shift = 7;
constexpr unsigned most_sector_shift = 16;
constexpr unsigned usual_small_sector_shift = 6;

constexpr std::uint32_t header_table_sectors = 109;
constexpr std::size_t table_list_offset = 76;
constexpr std::uint64_t steps_between_checks = 4096;

std::string name_of(std::string_view entry) {
  const std::size_t bytes = std::min<std::size_t>(le16(entry, 64), 64);
  // A few programs wrote names of one byte a character; UTF-16 would have two at the end.
  if (bytes > 1 && entry[bytes - 1] == '\0' && entry[bytes - 2] != '\0') {
    std::string name(entry.substr(0, std::min(entry.find('\0'), bytes)));
    for (char& c : name) {
      if (static_cast<unsigned char>(c) >= 0x80) c = '?';
    }
    return name;
  }
  std::u16string units;
  for (std::size_t at = 0; at + 2 < bytes; at += 2) {
    const auto unit = static_cast<char16_t>(le16(entry, at));
    if (unit == 0) break;
    units += unit;
  }
  return utf16_to_utf8(units);
}

DirectoryEntry::Type type_of(std::uint32_t stored) {
  using enum DirectoryEntry::Type;
  switch (stored) {
    case 1:
      return storage;
    case 2:
      return stream;
    case 5:
      return root;
    default:
      return unused;
  }
}

}  // namespace

CompoundSectors::CompoundSectors(ByteSource& bytes, const Limits* limits, std::uint64_t most_steps)
    : bytes_(bytes), limits_(limits), steps_left_(most_steps), header_(header_size, '\0') {
  header_.resize(bytes.read_at(0, header_));
  const std::uint32_t shift = le16(header_, 30);
  if (header_.size() < header_size || !header_.starts_with(signature) ||
      shift < least_sector_shift || shift > most_sector_shift) {
    return;
  }
  sector_shift_ = shift;
  const std::uint64_t sector_size = std::uint64_t{1} << shift;
  begin_ = std::max<std::uint64_t>(header_size, sector_size);
  if (bytes.size() > begin_) {
    sectors_ = std::min<std::uint64_t>((bytes.size() - begin_ + sector_size - 1) >> shift,
                                       last_regular_sector);
  }
  lists_.push_back(le32(header_, 68));
}

std::uint32_t CompoundSectors::directory_start() const {
  return le32(header_, 48);
}

std::uint32_t CompoundSectors::small_table_start() const {
  return le32(header_, 60);
}

std::uint64_t CompoundSectors::small_stream_limit() const {
  return le32(header_, 56);
}

unsigned CompoundSectors::small_sector_shift() const {
  const std::uint32_t shift = le16(header_, 32);
  return shift >= 4 && shift < sector_shift_ ? shift : usual_small_sector_shift;
}

bool CompoundSectors::count_step() {
  if (steps_left_ == 0) return false;
  --steps_left_;
  if (limits_ != nullptr && steps_left_ % steps_between_checks == 0) limits_->check_time();
  return true;
}

std::uint32_t CompoundSectors::next(std::uint32_t sector) {
  if (sector >= sectors_ || !count_step()) return end_of_chain;
  const unsigned per_sector_shift = sector_shift_ - 2;
  const std::uint32_t number = sector >> per_sector_shift;
  if (number != table_number_) {
    const std::uint32_t place = table_sector(number);
    if (place >= sectors_) return end_of_chain;
    table_.resize(std::size_t{1} << sector_shift_);
    table_.resize(read_at(std::uint64_t{place} << sector_shift_, table_));
    table_number_ = number;
  }
  const std::size_t at = std::size_t{sector & ((1u << per_sector_shift) - 1)} * 4;
  return has(table_, at, 4) ? le32(table_, at) : end_of_chain;
}

std::size_t CompoundSectors::read_at(std::uint64_t place, std::span<char> out) {
  return bytes_.read_at(begin_ + place, out);
}

/// The sector that holds the table's part of this number ([MS-CFB] 2.5).
std::uint32_t CompoundSectors::table_sector(std::uint32_t number) {
  if (number < header_table_sectors)
    return le32(header_, table_list_offset + std::size_t{number} * 4);
  // The rest is listed in a chain of sectors, each of which ends with the number of the next.
  const std::uint32_t per_sector = (1u << (sector_shift_ - 2)) - 1;
  const std::uint32_t index = number - header_table_sectors;
  while (lists_.size() <= index / per_sector) {
    const std::uint32_t following = field(lists_.back(), per_sector);
    if (following >= sectors_) return end_of_chain;
    lists_.push_back(following);
  }
  return field(lists_[index / per_sector], index % per_sector);
}

std::uint32_t CompoundSectors::field(std::uint32_t sector, std::uint32_t index) {
  std::array<char, 4> bytes;
  if (sector >= sectors_ || !count_step()) return end_of_chain;
  const std::uint64_t place = (std::uint64_t{sector} << sector_shift_) + std::uint64_t{index} * 4;
  if (read_at(place, bytes) < bytes.size()) return end_of_chain;
  return le32({bytes.data(), bytes.size()}, 0);
}

SmallSectors::SmallSectors(CompoundSectors& file, std::uint32_t start)
    : file_(file), table_(file, file.small_table_start()), content_(file, start) {
  sector_shift_ = file.small_sector_shift();
  const std::uint64_t most = file.sectors() << (file.sector_shift() - sector_shift_);
  sectors_ = std::min<std::uint64_t>(most, last_regular_sector);
}

std::uint32_t SmallSectors::next(std::uint32_t sector) {
  std::array<char, 4> bytes;
  if (!file_.count_step()) return end_of_chain;
  if (table_.read_at(std::uint64_t{sector} * 4, bytes) < bytes.size()) return end_of_chain;
  return le32({bytes.data(), bytes.size()}, 0);
}

std::size_t SmallSectors::read_at(std::uint64_t place, std::span<char> out) {
  return content_.read_at(place, out);
}

CompoundDirectory::CompoundDirectory(CompoundSectors& sectors)
    : sectors_(sectors), chain_(sectors, sectors.directory_start()) {
  if (const auto root = entry(0)) small_.emplace(sectors, root->start);
}

std::optional<DirectoryEntry> CompoundDirectory::entry(std::uint32_t number) {
  std::array<char, DirectoryEntry::stored_size> stored;
  if (chain_.read_at(std::uint64_t{number} * stored.size(), stored) < stored.size()) {
    return std::nullopt;
  }
  const std::string_view bytes(stored.data(), stored.size());
  DirectoryEntry entry;
  entry.name = name_of(bytes);
  entry.type = type_of(byte_at(bytes, 66));
  entry.left = le32(bytes, 68);
  entry.right = le32(bytes, 72);
  entry.child = le32(bytes, 76);
  std::transform(bytes.begin() + 80, bytes.begin() + 96, entry.class_id.begin(),
                 [](char c) { return static_cast<unsigned char>(c); });
  entry.start = le32(bytes, 116);
  entry.size = le32(bytes, 120);
  // The upper half may be anything where sectors have 512 bytes: [MS-CFB] 2.6.1.
  constexpr unsigned shift_of_version_3 = 9;
  if (sectors_.sector_shift() > shift_of_version_3) {
    entry.size |= std::uint64_t{le32(bytes, 124)} << 32;
  }
  return entry;
}

bool CompoundDirectory::take(std::uint32_t number) {
  if (number >= taken_.size()) taken_.resize(std::max<std::size_t>(64, std::size_t{number} * 2));
  if (taken_[number]) return false;
  taken_[number] = true;
  return true;
}

std::vector<std::uint32_t> CompoundDirectory::children(const DirectoryEntry& storage,
                                                       std::uint64_t most) {
  std::vector<std::uint32_t> found;
  struct Ancestor {
    std::uint32_t number;
    std::uint32_t right;
  };
  std::vector<Ancestor> above;
  std::uint32_t number = storage.child;
  for (;;) {
    // Number 0 is the root, and nobody's child.
    std::optional<DirectoryEntry> at;
    const bool room = found.size() + above.size() < most;
    if (room && number != 0 && number != DirectoryEntry::none) at = entry(number);
    const bool usable = at && (at->type == DirectoryEntry::Type::storage ||
                               at->type == DirectoryEntry::Type::stream);
    if (usable && take(number)) {
      above.push_back({number, at->right});
      number = at->left;
      continue;
    }
    if (above.empty()) break;
    found.push_back(above.back().number);
    number = above.back().right;
    above.pop_back();
  }
  return found;
}

SectorChain CompoundDirectory::open(const DirectoryEntry& stream) {
  if (stream.size >= sectors_.small_stream_limit() || !small_) {
    return SectorChain(sectors_, stream.start, stream.size);
  }
  return SectorChain(*small_, stream.start, stream.size);
}

}  // namespace trfilter
