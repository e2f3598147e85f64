// Second looks at archives and images of disks.

#include <algorithm>
#include <string>

#include "engine/core/fields.h"
#include "engine/detect/families.h"
#include "engine/detect/refinements.h"

namespace trfilter::detection {
namespace {

constexpr Detection nothing{};

/// A number of RAR 5 in 7-bit groups; advances `at`.
std::uint64_t rar_number(std::string_view bytes, std::size_t& at) {
  std::uint64_t value = 0;
  for (unsigned shift = 0; shift < 63; shift += 7) {
    const std::uint64_t byte = byte_at(bytes, at++);
    value |= (byte & 0x7F) << shift;
    if ((byte & 0x80) == 0) break;
  }
  return value;
}

/// RAR 4: the flags of the archive header and of the first member.
std::uint64_t rar_4_encryption(std::string_view head) {
  constexpr std::size_t archive_header = 7;
  if ((le16(head, archive_header + 3) & 0x0080) != 0) return Detection::encrypted;
  const std::size_t member = archive_header + le16(head, archive_header + 5);
  const bool encrypted = byte_at(head, member + 2) == 0x74 && (le16(head, member + 3) & 4) != 0;
  return encrypted ? Detection::encrypted : 0;
}

/// RAR 5: a header of encryption at the begin, or a record of it in the first member's header.
std::uint64_t rar_5_encryption(std::string_view head) {
  std::size_t at = 8;
  for (int header = 0; header < 4; ++header) {
    at += 4;
    const std::uint64_t size = rar_number(head, at);
    const std::size_t begin = at;
    const std::uint64_t type = rar_number(head, at);
    if (type == 4) return Detection::encrypted;
    const std::uint64_t flags = rar_number(head, at);
    const std::uint64_t extra = (flags & 1) != 0 ? rar_number(head, at) : 0;
    if (size == 0 || size > head.size() - std::min(begin, head.size())) return 0;
    if (type == 2) {
      if (extra == 0 || extra > size) return 0;
      std::size_t record = begin + static_cast<std::size_t>(size - extra);
      rar_number(head, record);
      return rar_number(head, record) == 1 ? Detection::encrypted : 0;
    }
    at = begin + static_cast<std::size_t>(size);
  }
  return 0;
}

/// Whether eight characters at `offset` are octal digits.
bool octal(std::string_view bytes, std::size_t offset, std::size_t count) {
  if (!has(bytes, offset, count)) return false;
  const std::string_view field = bytes.substr(offset, count);
  return std::all_of(field.begin(), field.end(), [](char c) { return c >= '0' && c <= '7'; });
}

}  // namespace

Detection refine_rar(Content& content, Format format) {
  const std::string_view head = content.head();
  const bool fifth = byte_at(head, 6) == 1;
  return found(format, Detection::version_of(fifth ? 5 : 4),
               fifth ? rar_5_encryption(head) : rar_4_encryption(head));
}

/// The header at the end names the coders, unless it is packed itself.
Detection refine_seven_zip(Content& content, Format format) {
  constexpr std::string_view aes = literal("\x06\xF1\x07\x01");
  constexpr std::uint64_t most = std::uint64_t{64} << 10;
  const std::string_view head = content.head();
  const std::uint64_t offset = le64(head, 12);
  const std::uint64_t size = std::min(le64(head, 20), most);
  std::uint64_t attributes = 0;
  if (offset < content.size()) {
    const std::string header = content.read(32 + offset, static_cast<std::size_t>(size));
    if (contains(header, aes)) attributes = Detection::encrypted;
  }
  return found(format, Detection::version_of(byte_at(head, 6), byte_at(head, 7)), attributes);
}

Detection refine_bzip2(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t level = byte_at(head, 3);
  const bool block = matches(head, 4, literal("\x31\x41\x59\x26\x53\x59")) ||
                     matches(head, 4, literal("\x17\x72\x45\x38\x50\x90"));
  return level >= '1' && level <= '9' && block ? found(format) : nothing;
}

Detection refine_compress(Content& content, Format format) {
  const std::uint32_t bits = byte_at(content.head(), 2) & 0x1F;
  return bits >= 9 && bits <= 16 ? found(format) : nothing;
}

Detection refine_arj(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t size = le16(head, 2);
  const bool sound = size >= 30 && size <= 2600 && byte_at(head, 4) >= 30 && byte_at(head, 10) == 2;
  if (!sound) return nothing;
  const bool garbled = (byte_at(head, 8) & 1) != 0;
  return found(format, 0, garbled ? Detection::encrypted : 0);
}

Detection refine_lha(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t kind = byte_at(head, 3);
  const std::uint32_t method = byte_at(head, 5);
  const bool letters = kind == 'm' || (byte_at(head, 4) == 'h') || (byte_at(head, 4) == 'z');
  const bool number =
      (method >= '0' && method <= '9') || method == 'd' || method == 's' || method == 'x';
  return letters && number && byte_at(head, 20) <= 3 ? found(format) : nothing;
}

Detection refine_cpio(Content& content, Format format) {
  const std::string_view head = content.head();
  if (matches(head, 0, "070707")) return octal(head, 6, 70) ? found(format) : nothing;
  if (!has(head, 0, 110)) return nothing;
  const std::string_view fields = head.substr(6, 104);
  const bool hexadecimal = std::all_of(fields.begin(), fields.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
  });
  return hexadecimal ? found(format) : nothing;
}

/// The old binary header: its name's length leads to the name's closing NUL.
Detection refine_binary_cpio(Content& content, Format format) {
  const std::string_view head = content.head();
  const bool little = byte_at(head, 0) == 0xC7;
  const std::size_t name = little ? le16(head, 20) : be16(head, 20);
  const bool sound = name >= 2 && name <= 1024 && has(head, 26, name) &&
                     byte_at(head, 26 + name - 1) == 0 && byte_at(head, 26) > 0x20;
  return sound ? found(format) : nothing;
}

/// ARC and PAK: a method, a DOS file name, sizes that agree with the file.
Detection refine_arc(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t method = byte_at(head, 1);
  if (method == 0 || method > 11 || !has(head, 0, 29)) return nothing;
  const std::string_view field = head.substr(2, 13);
  const std::size_t end = field.find('\0');
  if (end == npos || end == 0) return nothing;
  const std::string_view name = field.substr(0, end);
  const bool printable =
      std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < '\x7F'; });
  return printable && le32(head, 15) < content.size() ? found(format) : nothing;
}

/// The first sector of a disk: a file system's parameters, or a table of partitions.
Detection refine_boot_sector(Content& content, Format format) {
  const std::string_view head = content.head();
  if (content.size() % 512 != 0) return nothing;
  if (matches(head, 3, "NTFS    ") || matches(head, 3, "EXFAT   ") || matches(head, 54, "FAT") ||
      matches(head, 82, "FAT32   ")) {
    return found(format);
  }
  bool any = false;
  for (std::size_t entry = 446; entry < 510; entry += 16) {
    if ((byte_at(head, entry) & 0x7F) != 0) return nothing;
    const std::uint32_t type = byte_at(head, entry + 4);
    if (type != 0 && (le32(head, entry + 8) == 0 || le32(head, entry + 12) == 0)) return nothing;
    any = any || type != 0;
  }
  return any ? found(format) : nothing;
}

}  // namespace trfilter::detection
