// Second looks at audio and video.

#include <algorithm>
#include <array>

#include "engine/core/fields.h"
#include "engine/detect/families.h"
#include "engine/detect/mpeg_audio.h"
#include "engine/detect/refinements.h"

namespace trfilter::detection {
namespace {

constexpr Detection nothing{};

struct FormType {
  std::string_view type;
  Format format;
};

constexpr std::array riff_types{
    FormType{"WAVE", Format::wave},      FormType{"WEBP", Format::webp},
    FormType{"AVI ", Format::avi},       FormType{"ACON", Format::animated_cursor},
    FormType{"PAL ", Format::palette},   FormType{"RDIB", Format::riff_dib},
    FormType{"RMID", Format::riff_midi}, FormType{"RMMP", Format::riff_movie},
    FormType{"CMX1", Format::corel_cmx}, FormType{"MV93", Format::director},
    FormType{"39VM", Format::director},  FormType{"FGDC", Format::director},
    FormType{"CDGF", Format::director},  FormType{"FGDM", Format::director},
    FormType{"MDGF", Format::director},
};

}  // namespace

Detection refine_riff(Content& content, Format) {
  const std::string_view head = content.head();
  for (const FormType& row : riff_types) {
    if (matches(head, 8, row.type)) return found(row.format);
  }
  if (matches(head, 8, "CDR") || matches(head, 8, "cdr")) {
    // The fourth letter counts versions: a digit, then A for 10.
    const std::uint32_t mark = byte_at(head, 11);
    const std::uint32_t version = mark >= '0' && mark <= '9'   ? mark - '0'
                                  : mark >= 'A' && mark <= 'Z' ? mark - 'A' + 10
                                                               : 0;
    return found(Format::corel_draw, Detection::version_of(version));
  }
  return nothing;
}

Detection refine_iff(Content& content, Format format) {
  const std::string_view head = content.head();
  if (matches(head, 8, "AIFF") || matches(head, 8, "AIFC")) return found(format);
  if (matches(head, 8, "8SVX")) return found(Format::iff_8svx);
  return nothing;
}

/// A tag before the audio; lossless audio may have one too.
Detection refine_id3(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t version = byte_at(head, 3);
  std::uint64_t size = 0;
  for (std::size_t at = 6; at < 10; ++at) {
    if (byte_at(head, at) >= 0x80) return nothing;
    size = size << 7 | byte_at(head, at);
  }
  if (version < 2 || version > 4 || !has(head, 0, 10)) return nothing;
  if (matches(content.read(10 + size, 4), 0, "fLaC")) return found(Format::flac);
  return found(format);
}

/// EBML (RFC 8794) names the type of the document in its header.
Detection refine_matroska(Content& content, Format format) {
  const std::string_view header = content.head().substr(0, 64);
  return contains(header, "\x42\x82\x88matroska") || contains(header, "\x42\x82\x84webm")
             ? found(format)
             : nothing;
}

Detection refine_mpeg_audio(Content& content, Format format) {
  return has_mpeg_audio_frames(content, 0) ? found(format) : nothing;
}

/// A frame of AC-3 or E-AC-3 (ATSC A/52), followed by another.
Detection refine_ac3(Content& content, Format format) {
  const std::string_view head = content.head();
  const bool swapped = byte_at(head, 0) == 0x77;
  const auto at = [&](std::size_t offset) { return byte_at(head, swapped ? offset ^ 1 : offset); };
  const std::uint32_t stream_version = at(5) >> 3;
  std::size_t frame = 0;
  if (stream_version > 10 && stream_version <= 16) {
    frame = 2 * (std::size_t{((at(2) & 7) << 8) | at(3)} + 1);
  } else if (stream_version <= 10) {
    constexpr std::array<std::uint16_t, 19> rates{32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                                  192, 224, 256, 320, 384, 448, 512, 576, 640};
    const std::uint32_t sampling = at(4) >> 6;
    const std::uint32_t code = at(4) & 0x3F;
    if (sampling == 3 || code / 2 >= rates.size()) return nothing;
    const std::size_t rate = rates[code / 2];
    const std::array<std::size_t, 3> words{rate * 2, rate * 320 / 147 + (code & 1), rate * 3};
    frame = words[sampling] * 2;
  } else {
    return nothing;
  }
  const bool again = has(head, frame, 2) && head.substr(frame, 2) == head.substr(0, 2);
  return frame >= 8 && (again || frame == content.size()) ? found(format) : nothing;
}

/// ASF: which streams it has, and whether its content is encrypted.
Detection refine_asf(Content& content, Format format) {
  constexpr std::string_view video =
      literal("\xC0\xEF\x19\xBC\x4D\x5B\xCF\x11\xA8\xFD\x00\x80\x5F\x5C\x44\x2B");
  constexpr std::string_view audio =
      literal("\x40\x9E\x69\xF8\x4D\x5B\xCF\x11\xA8\xFD\x00\x80\x5F\x5C\x44\x2B");
  constexpr std::string_view encryption =
      literal("\xFB\xB3\x11\x22\x23\xBD\xD2\x11\xB4\xB7\x00\xA0\xC9\x55\xFC\x6E");
  const std::string_view head = content.head().substr(0, 8192);
  const std::uint64_t attributes = contains(head, encryption) ? Detection::encrypted : 0;
  if (const std::size_t at = head.find(video); at != npos) {
    // Behind the fixed part of the stream's properties: sizes, flags, then a bitmap header.
    const bool windows_media = contains(head.substr(at, 128), "WMV");
    return found(windows_media ? Format::wmv : format, 0, attributes);
  }
  return found(contains(head, audio) ? Format::wma : format, 0, attributes);
}

/// ISO base media files: movies and sound; the still images and others of the family are not.
Detection refine_media_brand(Content& content, Format format) {
  constexpr std::array<std::string_view, 8> stills{"heic", "heix", "heim", "heis",
                                                   "mif1", "msf1", "avif", "avis"};
  constexpr std::array<std::string_view, 3> others{"crx ", "jxl ", "jxs "};
  const std::string_view head = content.head();
  if (be32(head, 0) < 8) return nothing;
  if (matches(head, 8, "jp2 ") || matches(head, 8, "jpx ") || matches(head, 8, "jpm ")) {
    return found(Format::jp2);
  }
  const std::string_view brand = head.substr(std::min<std::size_t>(8, head.size()), 4);
  const auto is_one_of = [&](const auto& brands) {
    return std::find(brands.begin(), brands.end(), brand) != brands.end();
  };
  if (is_one_of(stills)) return found(Format::heif);
  return is_one_of(others) ? nothing : found(format);
}

Detection refine_quicktime(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint64_t size = be32(head, 0);
  // 1: a 64-bit size follows; 0: up to the end.
  if (size > 1 && size < 8) return nothing;
  if (size <= 1 || size >= content.size()) {
    return size <= content.size() || matches(head, 4, "mdat") || matches(head, 4, "moov")
               ? found(format)
               : nothing;
  }
  // Another atom follows, its name in lower case letters.
  const std::string next = content.read(size, 8);
  if (next.size() < 8) return size + next.size() == content.size() ? found(format) : nothing;
  for (std::size_t at = 4; at < 8; ++at) {
    const std::uint32_t c = byte_at(next, at);
    if (c < 0x20 || c >= 0x7F) return nothing;
  }
  return found(format);
}

/// Packets of 188 bytes (ISO/IEC 13818-1), five of them.
Detection refine_transport_stream(Content& content, Format format) {
  const std::string_view head = content.head();
  for (std::size_t packet = 0; packet < 5; ++packet) {
    if (byte_at(head, packet * 188) != 0x47) return nothing;
  }
  return (byte_at(head, 1) & 0x80) == 0 ? found(format) : nothing;
}

Detection refine_swf(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t version = byte_at(head, 3);
  return version >= 1 && version < 0x40 && le32(head, 4) > 8
             ? found(format, Detection::version_of(version))
             : nothing;
}

Detection refine_fli(Content& content, Format format) {
  const std::string_view head = content.head();
  const bool sound = le32(head, 0) >= 128 && le32(head, 0) <= content.size() + 4096 &&
                     le16(head, 6) != 0 && le16(head, 8) != 0 && le16(head, 10) != 0 &&
                     le16(head, 12) == 8;
  return sound ? found(format) : nothing;
}

}  // namespace trfilter::detection
