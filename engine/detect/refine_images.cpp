// Second looks at images and drawings.

#include <algorithm>

#include "engine/core/fields.h"
#include "engine/detect/families.h"
#include "engine/detect/refinements.h"

namespace trfilter::detection {
namespace {

constexpr Detection nothing{};

constexpr bool is_space(std::uint32_t c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}
constexpr bool is_digit(std::uint32_t c) {
  return c >= '0' && c <= '9';
}

}  // namespace

Detection refine_bmp(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t header = le32(head, 14);
  const bool known = header == 12 || header == 16 || header == 40 || header == 52 || header == 56 ||
                     header == 64 || header == 108 || header == 124;
  const std::uint32_t planes = header == 12 ? le16(head, 22) : le16(head, 26);
  return known && planes == 1 ? found(format) : nothing;
}

Detection refine_pcx(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t version = byte_at(head, 1);
  const std::uint32_t bits = byte_at(head, 3);
  const bool sound = version <= 5 && version != 1 && byte_at(head, 2) <= 1 &&
                     (bits == 1 || bits == 2 || bits == 4 || bits == 8) && has(head, 0, 128) &&
                     le16(head, 4) <= le16(head, 8) && le16(head, 6) <= le16(head, 10) &&
                     byte_at(head, 64) == 0 && byte_at(head, 65) >= 1 && byte_at(head, 65) <= 4;
  return sound ? found(format, Detection::version_of(version)) : nothing;
}

Detection refine_sgi_image(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t depth = byte_at(head, 3);
  const std::uint32_t dimensions = be16(head, 4);
  const bool sound = byte_at(head, 2) <= 1 && (depth == 1 || depth == 2) && dimensions >= 1 &&
                     dimensions <= 3 && be16(head, 6) != 0;
  return sound ? found(format) : nothing;
}

/// Icons and cursors: a directory of images, each within the file and behind the directory.
Detection refine_icon(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t count = le16(head, 4);
  if (count == 0 || count > 256) return nothing;
  const std::uint64_t directory = 6 + std::uint64_t{count} * 16;
  for (std::uint32_t i = 0; i < std::min(count, 8u); ++i) {
    const std::size_t entry = 6 + std::size_t{i} * 16;
    const std::uint64_t size = le32(head, entry + 8);
    const std::uint64_t offset = le32(head, entry + 12);
    if (byte_at(head, entry + 3) != 0 || size == 0 || offset < directory ||
        offset >= content.size()) {
      return nothing;
    }
  }
  return found(format);
}

Detection refine_gem_image(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t planes = be16(head, 4);
  const bool sound = planes >= 1 && planes <= 24 && be16(head, 6) >= 1 && be16(head, 6) <= 8 &&
                     be16(head, 12) != 0 && be16(head, 14) != 0;
  return sound ? found(format) : nothing;
}

/// "P5 width height", comments between.
Detection refine_portable_anymap(Content& content, Format format) {
  const std::string_view head = content.head();
  std::size_t at = 2;
  if (!is_space(byte_at(head, at))) return nothing;
  for (int number = 0; number < 2; ++number) {
    while (at < head.size() && (is_space(byte_at(head, at)) || head[at] == '#')) {
      at = head[at] == '#' ? std::min(head.find('\n', at), head.size()) : at + 1;
    }
    const std::size_t begin = at;
    while (is_digit(byte_at(head, at))) ++at;
    if (at == begin || at - begin > 9 || !is_space(byte_at(head, at))) return nothing;
  }
  return found(format);
}

Detection refine_wmf(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t version = le16(head, 4);
  const bool sound =
      (version == 0x0100 || version == 0x0300) && le32(head, 6) * 2ull >= 18 && le16(head, 16) == 0;
  return sound ? found(format) : nothing;
}

Detection refine_emf(Content& content, Format format) {
  return le32(content.head(), 0) == 1 ? found(format) : nothing;
}

/// Version 1 pictures: behind 512 free bytes a size and a frame whose edges are in order.
Detection refine_pict_1(Content& content, Format format) {
  const std::string_view head = content.head();
  const auto edge = [&](std::size_t offset) {
    return static_cast<std::int16_t>(be16(head, offset));
  };
  const std::uint32_t size = be16(head, 512);
  const std::uint64_t really = (content.size() - 512) & 0xFFFF;
  const bool ordered = edge(514) < edge(518) && edge(516) < edge(520);
  return ordered && size == really ? found(format) : nothing;
}

/// The version is the number of the header, AC1032 giving 1032.
Detection refine_dwg(Content& content, Format format) {
  const std::string_view head = content.head();
  std::uint32_t number = 0;
  for (std::size_t at = 2; at < 6; ++at) {
    const std::uint32_t c = byte_at(head, at);
    if (is_digit(c)) {
      number = number * 10 + (c - '0');
    } else if (c != '.') {
      return nothing;
    }
  }
  return byte_at(head, 6) == 0 ? found(format, Detection::version_of(number)) : nothing;
}

Detection refine_freehand(Content& content, Format format) {
  const std::uint32_t version = byte_at(content.head(), 3);
  return version >= '1' && version <= '4' ? refine_binary_begin(content, format) : nothing;
}

/// Binary encoding (ISO 8632-3): "begin metafile" with its name, then "metafile version".
Detection refine_cgm(Content& content, Format format) {
  constexpr std::uint32_t metafile_version = 0x1022;
  const std::string_view head = content.head();
  std::size_t length = byte_at(head, 1) & 0x1F;
  std::size_t next = 2;
  if (length == 0x1F) {
    length = be16(head, 2) & 0x7FFF;
    next = 4;
  }
  next += length + length % 2;
  return be16(head, next) == metafile_version
             ? found(format, Detection::version_of(be16(head, next + 2)))
             : nothing;
}

}  // namespace trfilter::detection
