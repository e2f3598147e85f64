#include "engine/readers/archive_zip_directory.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <string_view>

#include "engine/charset/charset_detector.h"
#include "engine/charset/text_decoder.h"
#include "engine/charset/utf8_scan.h"
#include "engine/readers/archive_library.h"
#include "engine/zip/little_endian.h"

namespace trfilter {
namespace {

constexpr std::string_view entry_signature = "PK\x01\x02";
constexpr std::string_view end_signature = "PK\x05\x06";
constexpr std::string_view end_locator_64_signature = "PK\x06\x07";
constexpr std::string_view end_64_signature = "PK\x06\x06";
constexpr std::size_t entry_size = 46;
constexpr std::size_t end_size = 22;
constexpr std::size_t end_locator_64_size = 20;
constexpr std::size_t end_64_size = 56;
constexpr std::size_t longest_comment = 0xFFFF;
constexpr std::uint64_t in_zip64_field = 0xFFFFFFFF;

/// A number that is known to be there.
std::uint64_t number(std::string_view bytes, std::size_t offset, std::size_t count) {
  return little_endian(bytes, offset, count).value_or(0);
}

std::string read(Document& document, std::uint64_t offset, std::size_t count) {
  std::string bytes(count, '\0');
  bytes.resize(document.read_at(offset, bytes));
  return bytes;
}

struct End {
  std::string record;  ///< with its comment, as far as it goes
  std::uint64_t offset = 0;
};

/// The last end record; one whose comment leads to the document's end goes before others.
std::optional<End> find_end(Document& document) {
  const std::uint64_t tail_size =
      std::min<std::uint64_t>(document.size(), end_size + longest_comment);
  const std::uint64_t tail_begin = document.size() - tail_size;
  const std::string tail = read(document, tail_begin, static_cast<std::size_t>(tail_size));
  std::optional<End> any;
  for (std::size_t at = tail.rfind(end_signature); at != std::string::npos;
       at = at == 0 ? std::string::npos : tail.rfind(end_signature, at - 1)) {
    if (tail.size() - at < end_size) continue;
    const std::uint64_t comment = number(tail, at + 20, 2);
    const bool exact = at + end_size + comment == tail.size();
    if (!exact && any) continue;
    any = End{tail.substr(at), tail_begin + at};
    if (exact) break;
  }
  return any;
}

FileTime dos_time(unsigned date_and_time) {
  const unsigned date = date_and_time >> 16;
  const auto day = std::chrono::year(static_cast<int>(1980 + (date >> 9))) /
                   std::chrono::month((date >> 5) & 15) / std::chrono::day(date & 31);
  if (!day.ok()) return {};
  const std::int64_t days = std::chrono::sys_days(day).time_since_epoch().count();
  const std::int64_t seconds = ((date_and_time >> 11) & 31) * 3600 +
                               ((date_and_time >> 5) & 63) * 60 + (date_and_time & 31) * 2;
  return file_time_of(days * 86'400 + seconds);
}

/// What the extra fields (APPNOTE 4.5) add to an entry.
void read_extra_fields(std::string_view extra, ZipDirectoryEntry& entry) {
  constexpr unsigned zip64 = 0x0001;
  constexpr unsigned ntfs = 0x000A;
  constexpr unsigned unix_time = 0x5455;
  constexpr unsigned unicode_path = 0x7075;
  constexpr unsigned aes = 0x9901;
  while (extra.size() >= 4) {
    const auto id = static_cast<unsigned>(number(extra, 0, 2));
    const auto size = static_cast<std::size_t>(number(extra, 2, 2));
    if (extra.size() - 4 < size) return;
    std::string_view field = extra.substr(4, size);
    switch (id) {
      case zip64:
        // The fields that have no room in the entry, in this order.
        for (std::uint64_t* value : {&entry.size, &entry.packed_size, &entry.header_offset}) {
          if (*value != in_zip64_field || field.size() < 8) continue;
          *value = number(field, 0, 8);
          field.remove_prefix(8);
        }
        break;
      case ntfs:
        if (number(field, 4, 2) == 1 && field.size() >= 16) {
          entry.time = {static_cast<std::int64_t>(number(field, 8, 8))};
        }
        break;
      case unix_time:
        if (field.size() >= 5 && (number(field, 0, 1) & 1) != 0) {
          entry.time = file_time_of(static_cast<std::int32_t>(number(field, 1, 4)));
        }
        break;
      case unicode_path: {
        // The name as it was when the field was made: one that has been changed since counts.
        const auto sum =
            static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(entry.name.data()),
                                             static_cast<uInt>(entry.name.size())));
        if (field.size() > 5 && field[0] == 1 && number(field, 1, 4) == sum) {
          entry.name = field.substr(5);
          entry.name_is_utf8 = true;
        }
        break;
      }
      case aes:
        entry.aes_field = extra.substr(0, 4 + size);
        break;
      default:
        break;
    }
    extra.remove_prefix(4 + size);
  }
}

/// Folders and links, by the system that the entry was made on (APPNOTE 4.4.2 and 4.4.15).
void read_attributes(unsigned system, std::uint32_t attributes, ZipDirectoryEntry& entry) {
  constexpr unsigned dos = 0;
  constexpr unsigned os_x = 19;
  constexpr unsigned unix_system = 3;
  constexpr unsigned ntfs = 10;
  constexpr unsigned vfat = 14;
  constexpr unsigned mode_type = 0170000;
  if (system == unix_system || system == os_x) {
    const unsigned type = (attributes >> 16) & mode_type;
    entry.link = type == 0120000;
    entry.folder = type == 0040000;
  } else if (system == dos || system == ntfs || system == vfat) {
    constexpr std::uint32_t dos_folder = 0x10;
    entry.folder = (attributes & dos_folder) != 0 && entry.size == 0;
    // Some programs write the separator of their own system, which the format does not allow.
    if (entry.name.find('/') == std::string::npos) {
      std::replace(entry.name.begin(), entry.name.end(), '\\', '/');
    }
  }
  if (entry.name.ends_with('/')) entry.folder = true;
  if (entry.folder) entry.link = false;
}

}  // namespace

std::optional<ZipDirectoryPlace> find_zip_directory(Document& document) {
  const auto end = find_end(document);
  if (!end) return std::nullopt;
  ZipDirectoryPlace place;
  place.entries = number(end->record, 10, 2);
  place.entries_modulo_65536 = true;
  std::uint64_t size = number(end->record, 12, 4);
  std::uint64_t offset = number(end->record, 16, 4);
  std::uint64_t directory_end = end->offset;
  if (end->offset >= end_locator_64_size) {
    const std::string locator =
        read(document, end->offset - end_locator_64_size, end_locator_64_size);
    if (locator.starts_with(end_locator_64_signature)) {
      // What stands before the archive has moved the record, too.
      std::uint64_t record_offset = number(locator, 8, 8);
      std::string record = read(document, record_offset, end_64_size);
      if (!record.starts_with(end_64_signature) &&
          end->offset >= end_locator_64_size + end_64_size) {
        record_offset = end->offset - end_locator_64_size - end_64_size;
        record = read(document, record_offset, end_64_size);
      }
      if (record.starts_with(end_64_signature) && record.size() == end_64_size) {
        place.entries = number(record, 32, 8);
        place.entries_modulo_65536 = false;
        size = number(record, 40, 8);
        offset = number(record, 48, 8);
        directory_end = record_offset;
      }
    }
  }
  if (size <= directory_end && offset <= directory_end - size) {
    place.prefix = directory_end - size - offset;
  }
  const auto begins_at = [&](std::uint64_t at) {
    return read(document, at, entry_signature.size()) == entry_signature;
  };
  if (place.prefix != 0 && !begins_at(place.prefix + offset) && begins_at(offset)) place.prefix = 0;
  place.begin = place.prefix + offset;
  return place;
}

std::optional<ZipDirectoryEntry> read_zip_entry(Document& document, std::uint64_t offset) {
  std::array<char, entry_size> buffer;
  if (document.read_at(offset, buffer) != buffer.size()) return std::nullopt;
  const std::string_view fixed(buffer.data(), buffer.size());
  if (!fixed.starts_with(entry_signature)) return std::nullopt;
  const auto name_size = static_cast<std::size_t>(number(fixed, 28, 2));
  const auto extra_size = static_cast<std::size_t>(number(fixed, 30, 2));
  const auto comment_size = static_cast<std::size_t>(number(fixed, 32, 2));
  const std::string variable = read(document, offset + entry_size, name_size + extra_size);
  if (variable.size() != name_size + extra_size) return std::nullopt;

  ZipDirectoryEntry entry;
  entry.name = variable.substr(0, name_size);
  entry.flags = static_cast<unsigned>(number(fixed, 8, 2));
  entry.name_is_utf8 = (entry.flags & ZipDirectoryEntry::flag_utf8) != 0;
  entry.method = static_cast<unsigned>(number(fixed, 10, 2));
  entry.dos_time = static_cast<unsigned>(number(fixed, 12, 4));
  entry.time = dos_time(entry.dos_time);
  entry.checksum = static_cast<std::uint32_t>(number(fixed, 16, 4));
  entry.packed_size = number(fixed, 20, 4);
  entry.size = number(fixed, 24, 4);
  entry.header_offset = number(fixed, 42, 4);
  entry.next = offset + entry_size + name_size + extra_size + comment_size;
  read_extra_fields(std::string_view(variable).substr(name_size), entry);
  read_attributes(static_cast<unsigned>(number(fixed, 5, 1)),
                  static_cast<std::uint32_t>(number(fixed, 38, 4)), entry);
  return entry;
}

std::string zip_comment_of(Document& document, const Options& options) {
  const auto end = find_end(document);
  if (!end) return {};
  const auto size = static_cast<std::size_t>(number(end->record, 20, 2));
  const std::string_view comment = std::string_view(end->record).substr(end_size).substr(0, size);
  const Encoding* encoding = encoding_of_number(options.source_encoding);
  if (encoding == nullptr) {
    CharsetDetector detector(options.detect_character_set);
    detector.feed(comment);
    encoding = detector.finish().encoding;
  }
  return std::string(TextDecoder(*encoding).decode(comment, true));
}

}  // namespace trfilter
