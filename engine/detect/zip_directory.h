#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/detect/content.h"

namespace trfilter::detection {

/// One entry of a zip file's directory.
struct ZipEntry {
  std::string_view name;
  std::uint16_t flags = 0;
  std::uint16_t method = 0;
  std::uint32_t packed_size = 0;
  std::uint32_t size = 0;
  std::uint32_t header_offset = 0;

  bool encrypted() const { return (flags & 1) != 0; }
};

/// The directory of a zip file as far as detection needs it: at most `directory_bytes` of the
/// central directory (APPNOTE.TXT 4.3.12), or the local headers at the begin where that is missing.
/// Reads the end of the file, the directory, and the members asked for, nothing else. Encryption of
/// the directory itself and files of several disks are not followed.
class ZipDirectory {
 public:
  static constexpr std::size_t directory_bytes = std::size_t{1} << 20;
  static constexpr std::size_t most_entries = 4096;

  /// Reads the directory of `content`, which must outlive this object.
  explicit ZipDirectory(Content& content);

  /// In the directory's order, at most `most_entries`.
  const std::vector<ZipEntry>& entries() const { return entries_; }

  /// Whether the central directory was found; else `entries()` come from local headers.
  bool complete() const { return complete_; }

  /// The entry of this name, case told apart; null without one.
  const ZipEntry* find(std::string_view name) const;

  /// The member's first bytes, unpacked (methods 0 and 8), at most `count`; empty for what is
  /// encrypted, packed otherwise or damaged from the start.
  std::string unpack(const ZipEntry& entry, std::size_t count);

 private:
  bool read_central_directory();
  void read_local_headers();

  Content* content_;
  std::string directory_;  ///< what the names point into
  std::vector<ZipEntry> entries_;
  std::uint64_t prefix_ = 0;  ///< bytes before the archive, e.g. a self-extractor
  bool complete_ = false;
};

}  // namespace trfilter::detection
