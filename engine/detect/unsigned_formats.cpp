// What has no signature at a fixed place: documents behind something else, trailers, and headers
// that only make sense as a whole.

#include "engine/detect/unsigned_formats.h"

#include <algorithm>
#include <array>

#include "engine/core/fields.h"
#include "engine/detect/families.h"
#include "engine/detect/mpeg_audio.h"

namespace trfilter::detection {
namespace {

constexpr std::size_t pdf_header_within = 1024;

bool is_name_character(std::uint32_t c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

/// dBASE and its successors: a date, sizes that agree, a first field with name and type.
Detection identify_dbase(Content& content) {
  constexpr std::array<std::uint8_t, 15> versions{0x03, 0x04, 0x05, 0x30, 0x31, 0x32, 0x43, 0x63,
                                                  0x83, 0x8B, 0x8C, 0xCB, 0xE5, 0xF5, 0xFB};
  const std::string_view head = content.head();
  const std::uint32_t version = byte_at(head, 0);
  if (std::find(versions.begin(), versions.end(), version) == versions.end()) return {};
  const std::uint32_t month = byte_at(head, 2);
  const std::uint32_t day = byte_at(head, 3);
  const std::uint32_t header = le16(head, 8);
  const std::uint32_t record = le16(head, 10);
  // Some writers leave the date out.
  const bool dated = (month >= 1 && month <= 12 && day >= 1 && day <= 31) || (month | day) == 0;
  if (!dated || header < 65 || record < 2 || header > content.size()) return {};
  // dBASE 7 has fields of 48 bytes behind a longer head.
  const bool seventh = (version & 7) == 4;
  const std::size_t field = seventh ? 68 : 32;
  const std::size_t type = field + (seventh ? 32 : 11);
  const std::uint32_t first = byte_at(head, field);
  if (!is_name_character(first) && first < 0x80) return {};
  constexpr std::string_view types = "CNDLMFBGPITYVWQOX0@+";
  if (types.find(static_cast<char>(byte_at(head, type))) == npos) return {};
  // The generation in the low bits: 3 and 4 are dBASE's own, the 0x30s Visual FoxPro's.
  const std::uint32_t generation = version >= 0x30 && version <= 0x32 ? 0 : version & 7;
  return found(Format::dbase, Detection::version_of(seventh ? 7 : generation),
               byte_at(head, 15) == 1 ? Detection::encrypted : 0);
}

/// Paradox tables: sizes of record and header, a file type, a version, fields.
Detection identify_paradox(Content& content) {
  const std::string_view head = content.head();
  const std::uint32_t header = le16(head, 2);
  const std::uint32_t version = byte_at(head, 0x39);
  const bool sound = has(head, 0, 0x78) && le16(head, 0) != 0 && header >= 0x800 &&
                     header % 0x400 == 0 && header <= content.size() &&
                     (byte_at(head, 4) == 0 || byte_at(head, 4) == 2) && byte_at(head, 5) >= 1 &&
                     byte_at(head, 5) <= 32 && version >= 3 && version <= 12 &&
                     le16(head, 0x21) >= 1 && le16(head, 0x21) <= 255;
  return sound ? found(Format::paradox) : Detection{};
}

/// Targa: the trailer of its second version, or a header all of whose fields are possible.
Detection identify_targa(Content& content) {
  const std::string_view head = content.head();
  if (matches(content.tail(18), 0, "TRUEVISION-XFILE."))
    return found(Format::tga, Detection::version_of(2));
  const std::uint32_t map = byte_at(head, 1);
  const std::uint32_t kind = byte_at(head, 2);
  const std::uint32_t depth = byte_at(head, 16);
  const bool mapped = kind == 1 || kind == 9;
  const bool known = mapped || kind == 2 || kind == 3 || kind == 10 || kind == 11;
  if (!known || map != (mapped ? 1u : 0u) || !has(head, 0, 18)) return {};
  const std::uint32_t entry = byte_at(head, 7);
  if (mapped ? (le16(head, 5) == 0 || (entry != 15 && entry != 16 && entry != 24 && entry != 32))
             : (le16(head, 3) != 0 || le16(head, 5) != 0)) {
    return {};
  }
  const bool deep = kind == 3 || kind == 11 || mapped
                        ? depth == 8 || depth == 16
                        : depth == 15 || depth == 16 || depth == 24 || depth == 32;
  const std::uint64_t pixels = std::uint64_t{le16(head, 12)} * le16(head, 14);
  const bool plain = kind <= 3;
  const std::uint64_t data = pixels * ((depth + 7) / 8);
  const bool fits = plain ? content.size() >= 18 + data && content.size() <= 18 + data + 8192
                          : content.size() > 18 && content.size() <= 18 + data * 2;
  const bool sound = deep && pixels != 0 && fits && (byte_at(head, 17) & 0xC0) == 0;
  return sound ? found(Format::tga, Detection::version_of(1)) : Detection{};
}

/// The archives before POSIX: a header whose sum is right.
Detection identify_old_tar(Content& content) {
  constexpr std::size_t header = 512;
  constexpr std::size_t sum_offset = 148;
  constexpr std::size_t sum_size = 8;
  const std::string_view head = content.head();
  if (!has(head, 0, header) || head[0] == '\0') return {};
  std::uint32_t stated = 0;
  std::size_t digits = 0;
  for (std::size_t at = sum_offset; at < sum_offset + sum_size; ++at) {
    const std::uint32_t c = byte_at(head, at);
    if (c == ' ' && digits == 0) continue;
    if (c < '0' || c > '7') break;
    stated = stated * 8 + (c - '0');
    ++digits;
  }
  if (digits == 0) return {};
  std::uint32_t sum = sum_size * ' ';
  for (std::size_t at = 0; at < header; ++at) {
    if (at < sum_offset || at >= sum_offset + sum_size) sum += byte_at(head, at);
  }
  return sum == stated ? found(Format::tar) : Detection{};
}

/// The trailer of a disk image: 512 bytes at the end.
Detection identify_disk_copy(Content& content) {
  return matches(content.tail(512), 0, literal("koly\0\0\0\x04")) ? found(Format::disk_copy)
                                                                  : Detection{};
}

/// Audio frames that do not begin at once: behind zeros or a rest of another frame.
Detection identify_late_audio(Content& content) {
  const std::string_view begin = content.head().substr(0, 4096);
  const std::size_t first = begin.find_first_not_of('\0');
  if (first == npos || first == 0) return {};
  return has_mpeg_audio_frames(content, first) ? found(Format::mpeg_audio) : Detection{};
}

}  // namespace

Detection identify_behind(Content& content) {
  const std::string_view begin = content.head().substr(0, pdf_header_within);
  for (std::size_t at = begin.find("%PDF-"); at != npos; at = begin.find("%PDF-", at + 1)) {
    const std::string_view version = content.head().substr(at + 5, 3);
    if (version.size() < 3 || version[1] != '.') continue;
    // Text may speak of the header; a document goes on with objects.
    const std::string_view after = content.head().substr(at, 4096);
    if (contains(after, " obj")) return identify_pdf(content, at);
  }
  if (contains(content.tail(22 + 64), literal("PK\x05\x06"))) return identify_zip(content);
  return {};
}

Detection identify_unsigned(Content& content) {
  constexpr std::array identifiers{identify_disk_copy, identify_dbase,   identify_old_tar,
                                   identify_targa,     identify_paradox, identify_late_audio};
  for (const auto identify : identifiers) {
    if (const Detection detection = identify(content); detection.format != Format::none) {
      return detection;
    }
  }
  return {};
}

}  // namespace trfilter::detection
