// Matroska and WebM (RFC 9559): elements of EBML (RFC 8794), an identifier, a length, content.
//
// Read are the segment's information, its tracks and its tags, found by walking to the first
// cluster, and from there by the list of places that the segment begins with.

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "engine/core/fields.h"
#include "engine/core/property_names.h"
#include "engine/readers/video_facts.h"

namespace trfilter::video {
namespace {

namespace id {
constexpr std::uint32_t header = 0x1A45DFA3;
constexpr std::uint32_t segment = 0x18538067;
constexpr std::uint32_t seek_head = 0x114D9B74;
constexpr std::uint32_t seek = 0x4DBB;
constexpr std::uint32_t seek_id = 0x53AB;
constexpr std::uint32_t seek_position = 0x53AC;
constexpr std::uint32_t information = 0x1549A966;
constexpr std::uint32_t timestamp_scale = 0x2AD7B1;
constexpr std::uint32_t duration = 0x4489;
constexpr std::uint32_t date = 0x4461;
constexpr std::uint32_t title = 0x7BA9;
constexpr std::uint32_t muxing_application = 0x4D80;
constexpr std::uint32_t writing_application = 0x5741;
constexpr std::uint32_t tracks = 0x1654AE6B;
constexpr std::uint32_t track = 0xAE;
constexpr std::uint32_t track_type = 0x83;
constexpr std::uint32_t codec = 0x86;
constexpr std::uint32_t frame_duration = 0x23E383;
constexpr std::uint32_t picture = 0xE0;
constexpr std::uint32_t width = 0xB0;
constexpr std::uint32_t height = 0xBA;
constexpr std::uint32_t sound = 0xE1;
constexpr std::uint32_t sample_rate = 0xB5;
constexpr std::uint32_t channels = 0x9F;
constexpr std::uint32_t bit_depth = 0x6264;
constexpr std::uint32_t tags = 0x1254C367;
constexpr std::uint32_t tag = 0x7373;
constexpr std::uint32_t targets = 0x63C0;
constexpr std::uint32_t target_track = 0x63C5;
constexpr std::uint32_t simple_tag = 0x67C8;
constexpr std::uint32_t tag_name = 0x45A3;
constexpr std::uint32_t tag_text = 0x4487;
constexpr std::uint32_t cluster = 0x1F43B675;
}  // namespace id

struct Row {
  std::string_view name;
  std::string_view property;
};

// Of tags: https://www.rfc-editor.org/rfc/rfc9559, and the registry of tag names.
constexpr auto rows = std::to_array<Row>({
    {"TITLE", property::title},
    {"ARTIST", property::artist},
    {"ALBUM", property::album},
    {"COMPOSER", property::composer},
    {"DIRECTOR", property::author},
    {"COMMENT", property::comments},
    {"DESCRIPTION", property::comments},
    {"SUBJECT", property::subject},
    {"KEYWORDS", property::keywords},
    {"GENRE", property::genre},
    {"COPYRIGHT", property::copyright},
    {"PUBLISHER", property::publisher},
    {"DATE_RELEASED", property::release_date},
    {"PART_NUMBER", property::track_number},
});

constexpr std::uint64_t unknown_size = ~std::uint64_t{0};
constexpr std::uint64_t most_master_bytes = std::uint64_t{16} << 20;
constexpr std::uint64_t most_text = 64 << 10;

struct Element {
  std::uint32_t id = 0;
  std::uint64_t size = 0;
  std::size_t head = 0;  ///< bytes of identifier and length
};

/// The element that `bytes` begin with; nothing when its head is not there.
std::optional<Element> element_of(std::string_view bytes) {
  if (bytes.empty()) return std::nullopt;
  const auto id_length =
      static_cast<std::size_t>(std::countl_zero(static_cast<unsigned char>(bytes.front())) + 1);
  if (id_length > 4 || bytes.size() <= id_length) return std::nullopt;
  Element element;
  for (std::size_t i = 0; i < id_length; ++i) element.id = element.id << 8 | byte_at(bytes, i);
  const std::uint32_t first = byte_at(bytes, id_length);
  const auto size_length =
      static_cast<std::size_t>(std::countl_zero(static_cast<unsigned char>(first)) + 1);
  if (size_length > 8 || bytes.size() < id_length + size_length) return std::nullopt;
  const std::uint64_t mask = (std::uint64_t{1} << (7 * size_length)) - 1;
  for (std::size_t i = 0; i < size_length; ++i) {
    element.size = element.size << 8 | byte_at(bytes, id_length + i);
  }
  element.size &= mask;
  if (element.size == mask) element.size = unknown_size;
  element.head = id_length + size_length;
  return element;
}

/// Calls `use` with each element of a master element that is in memory.
template <typename Use>
void for_each(std::string_view content, const Limits& limits, Use use) {
  constexpr unsigned elements_between_checks = 1024;
  unsigned elements = 0;
  while (const auto element = element_of(content)) {
    if (++elements % elements_between_checks == 0) limits.check_time();
    content.remove_prefix(element->head);
    const auto size =
        static_cast<std::size_t>(std::min<std::uint64_t>(element->size, content.size()));
    use(element->id, content.substr(0, size));
    content.remove_prefix(size);
  }
}

std::uint64_t integer(std::string_view content) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < content.size() && i < 8; ++i)
    value = value << 8 | byte_at(content, i);
  return value;
}

double real(std::string_view content) {
  if (content.size() == 4) return std::bit_cast<float>(be32(content, 0));
  return content.size() == 8 ? std::bit_cast<double>(be64(content, 0)) : 0;
}

class Matroska {
 public:
  Matroska(Document& document, Limits& limits, Properties& properties)
      : document_(document), limits_(limits), properties_(properties) {}

  bool read() {
    const auto header = element_at(0);
    if (!header || header->id != id::header || header->size > document_.size()) return false;
    const std::uint64_t at = header->head + header->size;
    const auto segment = element_at(at);
    if (!segment || segment->id != id::segment) return false;
    segment_ = at + segment->head;
    walk();
    for (const std::uint64_t place : places_) take(place);
    streams_.write(seconds_, properties_);
    return true;
  }

 private:
  std::optional<Element> element_at(std::uint64_t at) {
    constexpr std::size_t most_head = 12;
    return element_of(read_bytes(document_, at, most_head));
  }

  /// Reads the elements of the segment up to the first cluster.
  void walk() {
    std::uint64_t at = segment_;
    constexpr unsigned most_elements = 4096;
    for (unsigned count = 0; count < most_elements; ++count) {
      limits_.check_time();
      const auto element = element_at(at);
      if (!element || element->id == id::cluster || element->size == unknown_size) return;
      take(at);
      at += element->head;
      if (element->size > document_.size() - std::min(at, document_.size())) return;
      at += element->size;
    }
  }

  /// Reads an element of the segment, if it says something; each place once.
  void take(std::uint64_t at) {
    limits_.check_time();
    const auto element = element_at(at);
    if (!element || element->size > most_master_bytes) return;
    const bool wanted = element->id == id::seek_head || element->id == id::information ||
                        element->id == id::tracks || element->id == id::tags;
    if (!wanted || !taken_.insert(at).second) return;
    const std::string content = read_bytes(document_, at + element->head, element->size);
    for_each(content, limits_, [&](std::uint32_t identifier, std::string_view part) {
      if (element->id == id::seek_head && identifier == id::seek) take_place(part);
      if (element->id == id::tracks && identifier == id::track) take_track(part);
      if (element->id == id::tags && identifier == id::tag) take_tag(part);
    });
    if (element->id == id::information) take_information(content);
  }

  void take_place(std::string_view content) {
    constexpr std::size_t most_places = 256;
    std::uint64_t what = 0;
    std::uint64_t where = 0;
    for_each(content, limits_, [&](std::uint32_t identifier, std::string_view value) {
      if (identifier == id::seek_id) what = integer(value);
      if (identifier == id::seek_position) where = integer(value);
    });
    const bool wanted = what == id::information || what == id::tracks || what == id::tags;
    if (wanted && where < document_.size() && places_.size() < most_places) {
      places_.push_back(segment_ + where);
    }
  }

  void take_information(std::string_view content) {
    std::uint64_t scale = 1'000'000;  // nanoseconds
    double duration = 0;
    for_each(content, limits_, [&](std::uint32_t identifier, std::string_view value) {
      switch (identifier) {
        case id::timestamp_scale:
          scale = integer(value);
          break;
        case id::duration:
          duration = real(value);
          break;
        case id::title:
          add_text(property::title, value);
          break;
        case id::writing_application:
          add_text(property::application, value);
          break;
        case id::muxing_application:
          add_text(property::producer, value);
          break;
        case id::date:
          add_date(value);
          break;
        default:
          break;
      }
    });
    constexpr double nanoseconds = 1e9;
    const double seconds = duration * static_cast<double>(scale) / nanoseconds;
    if (std::isfinite(seconds) && seconds > 0) seconds_ = seconds;
  }

  void take_track(std::string_view content) {
    std::uint64_t type = 0;
    std::uint64_t frame = 0;
    std::uint64_t width = 0;
    std::uint64_t height = 0;
    std::uint64_t channels = 1;
    std::uint64_t bits = 0;
    double sample_rate = 0;
    std::string codec;
    for_each(content, limits_, [&](std::uint32_t identifier, std::string_view value) {
      switch (identifier) {
        case id::track_type:
          type = integer(value);
          break;
        case id::codec:
          codec = text_of(value.substr(0, most_text));
          break;
        case id::frame_duration:
          frame = integer(value);
          break;
        case id::picture:
        case id::sound:
          for_each(value, limits_, [&](std::uint32_t inner, std::string_view fact) {
            if (inner == id::width) width = integer(fact);
            if (inner == id::height) height = integer(fact);
            if (inner == id::sample_rate) sample_rate = real(fact);
            if (inner == id::channels) channels = integer(fact);
            if (inner == id::bit_depth) bits = integer(fact);
          });
          break;
        default:
          break;
      }
    });
    // The name says what the track is, too: V_VP9, A_OPUS, A_AAC/MPEG2/LC.
    if (codec.starts_with("V_") || codec.starts_with("A_")) codec.erase(0, 2);
    constexpr std::uint64_t picture_track = 1;
    constexpr std::uint64_t sound_track = 2;
    constexpr double nanoseconds = 1e9;
    const double rate = frame == 0 ? 0 : nanoseconds / static_cast<double>(frame);
    if (type == picture_track) streams_.add_picture(width, height, rate, codec);
    if (type == sound_track) streams_.add_sound(sample_rate, channels, bits, codec);
  }

  /// A tag of the whole; those of one track describe that.
  void take_tag(std::string_view content) {
    bool of_track = false;
    for_each(content, limits_, [&](std::uint32_t identifier, std::string_view part) {
      if (identifier != id::targets) return;
      for_each(part, limits_, [&](std::uint32_t inner, std::string_view value) {
        if (inner == id::target_track && integer(value) != 0) of_track = true;
      });
    });
    if (of_track) return;
    for_each(content, limits_, [&](std::uint32_t identifier, std::string_view part) {
      if (identifier != id::simple_tag) return;
      std::string_view name;
      std::string_view text;
      for_each(part, limits_, [&](std::uint32_t inner, std::string_view value) {
        if (inner == id::tag_name) name = value;
        if (inner == id::tag_text) text = value;
      });
      for (const Row& row : rows) {
        if (name == row.name) add_text(row.property, text);
      }
    });
  }

  /// The title is in the information and may be a tag as well.
  void add_text(std::string_view name, std::string_view value) {
    limits_.check_time();
    if (texts_.size() == most_texts) return;
    std::string text = text_of(value.substr(0, most_text));
    if (texts_.emplace(name, text).second) properties_.add(name, std::move(text));
  }

  /// Nanoseconds since the begin of 2001.
  void add_date(std::string_view value) {
    constexpr std::int64_t second_of_2001 = 978'307'200;
    constexpr std::int64_t nanoseconds = 1'000'000'000;
    if (value.size() != 8) return;
    const auto since = static_cast<std::int64_t>(integer(value));
    const FileTime time = FileTime::from_unix_seconds(second_of_2001 + since / nanoseconds);
    if (time.ticks != 0) properties_.add(property::created, time);
  }

  Document& document_;
  Limits& limits_;
  Properties& properties_;
  StreamFacts streams_;
  std::uint64_t segment_ = 0;  ///< where its content begins; places are told from here
  double seconds_ = 0;
  std::vector<std::uint64_t> places_;
  std::unordered_set<std::uint64_t> taken_;
  std::set<std::pair<std::string_view, std::string>> texts_;  ///< by the property's name
};

}  // namespace

bool add_matroska_facts(Document& document, Limits& limits, Properties& properties) {
  return Matroska(document, limits, properties).read();
}

}  // namespace trfilter::video
