#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/detect/content.h"

namespace trfilter::detection {

/// A storage or stream of a compound file.
struct CompoundEntry {
  std::string name;  ///< in ASCII lower case; a character beyond ASCII is "?"
  bool storage = false;
  std::uint32_t child = 0;  ///< of a storage: the entry number below which its own entries stand
  std::uint32_t start = 0;  ///< of a stream: its first sector
  std::uint64_t size = 0;   ///< of a stream, in bytes
};

/// The directory of a compound file ([MS-CFB]) as far as detection needs it. Reads the header, the
/// sectors of the directory and of the allocation tables on the way, and the streams asked for,
/// nothing else. Every chain is followed a bounded number of steps, and all of them together too,
/// so that one that bites its tail ends.
class CompoundDirectory {
 public:
  static constexpr std::size_t most_entries = 4096;     ///< of one storage
  static constexpr std::uint32_t most_sectors = 16384;  ///< of the directory, and steps in a stream
  static constexpr std::uint32_t most_fields = 1 << 17;  ///< of the allocation tables, in all

  /// Reads the header and the root's entries of `content`, which must outlive this object.
  explicit CompoundDirectory(Content& content);

  /// The children of the root; empty when the directory cannot be read.
  const std::vector<CompoundEntry>& entries() const { return entries_; }

  /// The root's entry of this lower-case name; null without one.
  const CompoundEntry* find(std::string_view name) const;

  /// The children of a storage.
  std::vector<CompoundEntry> children(const CompoundEntry& storage);

  /// The class identifier of the root, its 16 bytes as they stand; empty when there is none.
  std::string_view class_identifier() const { return class_identifier_; }

  /// Up to `count` bytes of a stream from `offset`.
  std::string read(const CompoundEntry& stream, std::uint64_t offset, std::size_t count);

 private:
  std::uint32_t next_sector(std::uint32_t sector);
  std::uint32_t allocation_sector(std::uint32_t number);
  std::uint32_t nth_sector(std::uint32_t start, std::uint64_t steps);
  std::string directory_entry(std::uint32_t number);
  std::uint64_t sector_offset(std::uint32_t sector) const;
  std::uint32_t field(std::uint64_t offset);
  std::string read_small(const CompoundEntry& stream, std::uint64_t offset, std::size_t count);

  Content* content_;
  std::string header_;
  unsigned sector_shift_ = 0;
  std::uint32_t fields_left_ = most_fields;
  std::vector<std::uint32_t> directory_sectors_;  ///< as far as they were needed
  std::vector<CompoundEntry> entries_;
  std::string class_identifier_;
  std::uint32_t small_stream_start_ = 0;  ///< the stream that holds the small streams
};

}  // namespace trfilter::detection
