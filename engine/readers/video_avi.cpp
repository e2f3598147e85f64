// AVI: a RIFF file of lists ("hdrl", the headers; "INFO", texts; "movi", the streams).

#include <algorithm>
#include <array>

#include "engine/core/fields.h"
#include "engine/core/property_names.h"
#include "engine/readers/video_facts.h"

namespace trfilter::video {
namespace {

struct Row {
  std::string_view chunk;
  std::string_view property;
};

constexpr auto rows = std::to_array<Row>({
    {"INAM", property::title},
    {"ISBJ", property::subject},
    {"IART", property::artist},
    {"ICMT", property::comments},
    {"IKEY", property::keywords},
    {"ICOP", property::copyright},
    {"IGNR", property::genre},
    {"IPRD", property::album},
    {"ILNG", property::language},
    {"ICRD", property::release_date},
    {"ISFT", property::application},
    {"ITCH", property::producer},
});

constexpr std::size_t header_size = 8;
constexpr std::uint64_t most_text = 64 << 10;
constexpr unsigned most_chunks = 1u << 20;

/// A code of four characters, as far as it is text.
std::string four_characters(std::string_view code) {
  std::string text;
  for (const char c : code) {
    if (c > ' ' && c < 0x7F) text += c;
  }
  return text.size() == code.size() ? text : std::string();
}

class Avi {
 public:
  Avi(Document& document, Limits& limits, Properties& properties)
      : document_(document), limits_(limits), properties_(properties) {}

  void read() {
    constexpr std::uint64_t first_chunk = 12;
    walk(first_chunk, document_.size(), 0);
    if (!picture_codec_.empty() || width_ != 0) {
      streams_.add_picture(width_, height_, frame_rate_, picture_codec_);
    }
    streams_.write(frame_rate_ > 0 ? frames_ / frame_rate_ : 0, properties_);
  }

 private:
  /// Reads the chunks from `at` to `end`.
  void walk(std::uint64_t at, std::uint64_t end, unsigned depth) {
    constexpr unsigned deepest = 4;
    if (depth > deepest) return;
    while (at + header_size <= end && chunks_++ < most_chunks) {
      limits_.check_time();
      const std::string head = read_bytes(document_, at, header_size + 4);
      if (head.size() < header_size) return;
      const std::uint64_t size = le32(head, 4);
      const std::uint64_t content = at + header_size;
      const std::uint64_t content_end = std::min(content + size, end);
      const std::string_view name = std::string_view(head).substr(0, 4);
      if (name == "LIST") {
        const std::string kind = head.substr(header_size);
        if (kind != "movi" && kind != "rec ") walk(content + 4, content_end, depth + 1);
      } else {
        chunk(name, content, content_end - content);
      }
      at = content + size + size % 2;
    }
  }

  void chunk(std::string_view name, std::uint64_t at, std::uint64_t size) {
    if (name == "avih") {
      constexpr double microseconds = 1'000'000;
      const std::string header = read_bytes(document_, at, std::min<std::uint64_t>(size, 40));
      if (le32(header, 0) != 0) frame_rate_ = microseconds / le32(header, 0);
      frames_ = le32(header, 16);
      width_ = le32(header, 32);
      height_ = le32(header, 36);
    } else if (name == "strh") {
      const std::string header = read_bytes(document_, at, std::min<std::uint64_t>(size, 36));
      kind_ = header.substr(0, 4);
      if (kind_ != "vids" || !picture_codec_.empty()) return;
      picture_codec_ = four_characters(std::string_view(header).substr(4, 4));
      // The stream's own rate is exact.
      if (le32(header, 20) != 0 && le32(header, 24) != 0) {
        frame_rate_ = static_cast<double>(le32(header, 24)) / le32(header, 20);
      }
    } else if (name == "strf" && kind_ == "auds") {
      const std::string format = read_bytes(document_, at, std::min<std::uint64_t>(size, 16));
      streams_.add_sound(le32(format, 4), le16(format, 2), le16(format, 14),
                         codec_of(le16(format, 0)));
    } else {
      for (const Row& row : rows) {
        if (name != row.chunk || texts_++ >= most_texts) continue;
        const std::string text = read_bytes(document_, at, std::min(size, most_text));
        properties_.add(row.property, text_of(text));
      }
    }
  }

  /// Of the format tags that films have.
  static std::string codec_of(std::uint32_t tag) {
    switch (tag) {
      case 0x0001:
        return "PCM";
      case 0x0002:
        return "ADPCM";
      case 0x0050:
        return "MP2";
      case 0x0055:
        return "MP3";
      case 0x00FF:
        return "AAC";
      case 0x0161:
        return "WMA";
      case 0x2000:
        return "AC-3";
      default:
        return {};
    }
  }

  Document& document_;
  Limits& limits_;
  Properties& properties_;
  StreamFacts streams_;
  unsigned chunks_ = 0;
  std::size_t texts_ = 0;
  std::string kind_;  ///< of the stream whose header came last
  double frame_rate_ = 0;
  double frames_ = 0;
  std::uint64_t width_ = 0;
  std::uint64_t height_ = 0;
  std::string picture_codec_;
};

}  // namespace

bool add_avi_facts(Document& document, Limits& limits, Properties& properties) {
  const std::string_view head = document.head(64);
  if (!matches(head, 0, "RIFF") || !matches(head, 8, "AVI ")) return false;
  Avi(document, limits, properties).read();
  return true;
}

}  // namespace trfilter::video
