#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "engine/core/document.h"
#include "engine/core/options.h"
#include "engine/core/properties.h"

namespace trfilter {

/// Where the central directory of a zip archive is, and what its end says (APPNOTE 4.3.16).
struct ZipDirectoryPlace {
  std::uint64_t begin = 0;
  std::uint64_t prefix = 0;  ///< bytes before the archive; offsets count from behind them
  std::uint64_t entries = 0;
  bool entries_modulo_65536 = false;  ///< the number is what 16 bits hold of it
};

/// @return none when there is no end of a directory
std::optional<ZipDirectoryPlace> find_zip_directory(Document& document);

/// An entry of the central directory (APPNOTE 4.3.12).
struct ZipDirectoryEntry {
  static constexpr unsigned flag_encrypted = 1u << 0;
  static constexpr unsigned flag_descriptor = 1u << 3;
  static constexpr unsigned flag_strong_encryption = 1u << 6;
  static constexpr unsigned flag_utf8 = 1u << 11;
  static constexpr unsigned method_aes = 99;

  std::string name;
  bool name_is_utf8 = false;
  bool folder = false;
  bool link = false;
  unsigned flags = 0;
  unsigned method = 0;
  unsigned dos_time = 0;
  FileTime time;
  std::uint32_t checksum = 0;
  std::uint64_t packed_size = 0;
  std::uint64_t size = 0;
  std::uint64_t header_offset = 0;  ///< of the local header, without the prefix
  std::string aes_field;            ///< extra field 0x9901 with its head; empty: no AES
  std::uint64_t next = 0;           ///< where the next entry begins

  bool encrypted() const { return (flags & flag_encrypted) != 0; }
};

/// @return none when no complete entry begins at `offset`
std::optional<ZipDirectoryEntry> read_zip_entry(Document& document, std::uint64_t offset);

/// The archive's comment as UTF-8.
std::string zip_comment_of(Document& document, const Options& options);

}  // namespace trfilter
