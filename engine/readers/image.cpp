// Pictures: size, EXIF, IPTC and XMP metadata, through Exiv2. Exif 2.32 (CIPA DC-008),
// IPTC-IIM 4.2, XMP (ISO 16684-1).
//
// A fact that several of the three state is taken from XMP first, then IPTC, then EXIF. Times of
// EXIF have no zone of their own: where the file states an offset it is applied, else they are
// taken as UTC. There is no text.
//
// Bounds: the library is not to be stopped within an XMP packet, and its work grows with the square
// of the packet's properties. A packet of more than 64 KiB, which is what a segment of a JPEG has
// room for, is kept from it and read here, 1 MiB of it; its Dublin Core and basic properties count.

#include <exiv2/exiv2.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "engine/core/fields.h"
#include "engine/core/property_names.h"
#include "engine/core/reader.h"
#include "engine/core/utf8.h"
#include "engine/html/iso_time.h"
#include "engine/xml/xmp.h"

namespace trfilter {
namespace {

constexpr std::size_t most_library_packet = std::size_t{64} << 10;
constexpr std::size_t most_library_block = std::size_t{256} << 10;
constexpr std::size_t most_packet = std::size_t{1} << 20;
constexpr std::size_t block_head = 4096;

bool is_packet(std::string_view bytes) {
  bytes = bytes.substr(0, block_head);
  return contains(bytes, "<x:xmpmeta") || contains(bytes, "<rdf:RDF") ||
         contains(bytes, "<?xpacket");
}

/// Makes the first directory of a TIFF file name no long packet. Other directories name none that
/// the library reads.
/// @param packet  what was named; left alone when there was none
/// @return whether `file` had to be copied to `copy` and changed
bool hide_tiff_packet(std::string_view file, const Limits& limits, std::string& copy,
                      std::string& packet) {
  constexpr std::uint32_t packet_tag = 700;
  constexpr std::size_t entry_size = 12;
  constexpr std::size_t largest_value = 8;
  constexpr std::size_t most_copied = std::size_t{256} << 20;
  const bool big = file.starts_with("MM");
  if (!big && !file.starts_with("II")) return false;
  const auto u16 = big ? be16 : le16;
  const auto u32 = big ? be32 : le32;
  const std::size_t directory = u32(file, 4);
  const std::uint32_t count = u16(file, directory);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::size_t entry = directory + 2 + i * entry_size;
    if (!has(file, entry, entry_size)) break;
    const std::size_t values = u32(file, entry + 4);
    if (u16(file, entry) != packet_tag || values * largest_value <= most_library_packet) continue;
    if (copy.empty()) {
      if (file.size() > most_copied) {
        throw EngineError(Code::out_of_memory, "a picture with a long packet is too large");
      }
      constexpr std::size_t block = std::size_t{1} << 20;
      copy.reserve(file.size());
      while (copy.size() < file.size()) {
        limits.check_time();
        copy += file.substr(copy.size(), block);
      }
    }
    // A tag of 0 means nothing, and directories are not in need of their order.
    copy[entry] = copy[entry + 1] = '\0';
    const std::size_t offset = u32(file, entry + 8);
    if (packet.empty() && offset <= file.size()) {
      packet = file.substr(offset, std::min(values, most_packet));
    }
  }
  return !copy.empty();
}

/// A document as Exiv2 reads one. Nothing is ever written.
class DocumentIo final : public Exiv2::BasicIo {
 public:
  /// @param packet  what is kept from the library is put there
  DocumentIo(const ReaderContext& context, std::string& packet)
      : context_(context), packet_(packet) {}

  int open() override {
    position_ = 0;
    at_end_ = false;
    return 0;
  }
  int close() override { return 0; }
  long write(const Exiv2::byte*, long) override { return 0; }
  long write(Exiv2::BasicIo&) override { return 0; }
  int putb(Exiv2::byte) override { return EOF; }
  void transfer(Exiv2::BasicIo&) override {}

  Exiv2::DataBuf read(long count) override {
    const long left = std::max(static_cast<long>(size()) - position_, 0L);
    Exiv2::DataBuf buffer(std::clamp(count, 0L, left));
    buffer.size_ = read(buffer.pData_, buffer.size_);
    return buffer;
  }

  long read(Exiv2::byte* buffer, long count) override {
    if (count <= 0) return 0;
    const std::span<char> out(reinterpret_cast<char*>(buffer), static_cast<std::size_t>(count));
    const std::size_t got = take(out);
    keep_long_packet(out.first(got));
    return static_cast<long>(got);
  }

  int getb() override {
    char value = 0;
    return take({&value, 1}) == 1 ? static_cast<unsigned char>(value) : EOF;
  }

  int seek(long offset, Position from) override {
    long base = 0;
    if (from == cur) base = position_;
    if (from == end) base = static_cast<long>(size());
    long target = 0;
    if (__builtin_add_overflow(base, offset, &target) || target < 0 ||
        target > static_cast<long>(size())) {
      return 1;
    }
    position_ = target;
    at_end_ = false;
    return 0;
  }

  Exiv2::byte* mmap(bool) override {
    const std::string_view bytes = context_.document.bytes();
    if (copy_.empty()) hide_tiff_packet(bytes, context_.limits, copy_, packet_);
    if (!copy_.empty()) return reinterpret_cast<Exiv2::byte*>(copy_.data());
    // What Exiv2 maps it only reads: nothing here can be written to.
    return reinterpret_cast<Exiv2::byte*>(const_cast<char*>(bytes.data()));
  }
  int munmap() override { return 0; }
  long tell() const override { return position_; }
  std::size_t size() const override { return context_.document.size(); }
  bool isopen() const override { return true; }
  int error() const override { return 0; }
  bool eof() const override { return at_end_; }
  std::string path() const override { return {}; }

 private:
  /// The next bytes of the document. @return how many there were
  std::size_t take(std::span<char> out) {
    context_.limits.check_time();
    const std::size_t got = context_.document.read_at(static_cast<std::uint64_t>(position_), out);
    position_ += static_cast<long>(got);
    at_end_ = got < out.size();
    return got;
  }

  /// What is a long packet, or may be one, has only its begin left, which tells sizes. Behind it
  /// stands what ends the parsing of XML at once.
  void keep_long_packet(std::span<char> block) {
    if (block.size() <= most_library_packet) return;
    const std::string_view bytes(block.data(), block.size());
    const bool packet = is_packet(bytes);
    if (!packet && block.size() <= most_library_block) return;
    if (packet && packet_.empty()) packet_ = bytes.substr(0, most_packet);
    std::ranges::fill(block.subspan(block_head), '<');
  }

  const ReaderContext& context_;
  std::string& packet_;
  std::string copy_;  ///< of a mapped file that has a long packet
  long position_ = 0;
  bool at_end_ = false;
};

void prepare_library() {
  static std::once_flag once;
  std::call_once(once, [] {
    // Messages would go to standard error, which is the host's. Without its initialisation the
    // XMP part is not safe for several threads.
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    Exiv2::XmpParser::initialize();
    Exiv2::enableBMFF(true);
  });
}

// The library's interface speaks in std::auto_ptr, which it keeps for its callers' sake.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
/// Takes `io` over. @return null for what is no picture
std::unique_ptr<Exiv2::Image> open_image(DocumentIo* io) {
  return std::unique_ptr<Exiv2::Image>(
      Exiv2::ImageFactory::open(Exiv2::BasicIo::AutoPtr(io)).release());
}
#pragma GCC diagnostic pop

std::string_view trimmed(std::string_view text) {
  const auto blank = [](char c) { return c == '\0' || static_cast<unsigned char>(c) <= ' '; };
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  return text;
}

/// Text as a camera or a program has written it: UTF-8, or taken for Latin 1.
std::string as_utf8(std::string_view text) {
  text = trimmed(text);
  if (is_valid_utf8(text)) return std::string(text);
  std::string converted;
  for (const char c : text) append_utf8(converted, static_cast<unsigned char>(c));
  return converted;
}

class Facts {
 public:
  explicit Facts(Exiv2::Image& image)
      : exif_(image.exifData()), iptc_(image.iptcData()), xmp_(image.xmpData()) {}

  std::string exif(const char* key) const {
    const auto found = exif_.findKey(Exiv2::ExifKey(key));
    return found == exif_.end() ? std::string() : as_utf8(found->toString());
  }

  std::optional<double> exif_number(const char* key) const {
    const auto found = exif_.findKey(Exiv2::ExifKey(key));
    if (found == exif_.end() || found->count() == 0) return std::nullopt;
    return ratio(found->toRational(0));
  }

  /// Degrees, minutes and seconds as one number; south and west are negative.
  std::optional<double> exif_angle(const char* key, const char* reference) const {
    const auto found = exif_.findKey(Exiv2::ExifKey(key));
    if (found == exif_.end() || found->count() < 3) return std::nullopt;
    double angle = 0;
    double unit = 1;
    for (long part = 0; part < 3; ++part, unit *= 60) {
      const auto value = ratio(found->toRational(part));
      if (!value) return std::nullopt;
      angle += *value / unit;
    }
    const std::string side = exif(reference);
    return side == "S" || side == "W" ? -angle : angle;
  }

  /// All values of a data set, in their order.
  std::vector<std::string> iptc(const char* key) const {
    std::vector<std::string> values;
    const Exiv2::IptcKey wanted(key);
    for (const Exiv2::Iptcdatum& datum : iptc_) {
      if (datum.tag() == wanted.tag() && datum.record() == wanted.record()) {
        values.push_back(as_utf8(datum.toString()));
      }
    }
    return values;
  }

  /// All values of a property, of alternatives in several languages the first.
  std::vector<std::string> xmp(const char* key) const {
    const auto found = xmp_.findKey(Exiv2::XmpKey(key));
    if (found == xmp_.end()) return {};
    if (found->typeId() == Exiv2::langAlt) return {as_utf8(found->toString(0))};
    std::vector<std::string> values;
    for (long i = 0; i < found->count(); ++i) values.push_back(as_utf8(found->toString(i)));
    return values;
  }

 private:
  static std::optional<double> ratio(const Exiv2::Rational& value) {
    if (value.second == 0) return std::nullopt;
    return static_cast<double>(value.first) / static_cast<double>(value.second);
  }

  const Exiv2::ExifData& exif_;
  const Exiv2::IptcData& iptc_;
  const Exiv2::XmpData& xmp_;
};

/// "2024:05:06 07:08:09", the zone's offset such as "+02:00" beside it or not at all.
std::optional<FileTime> exif_time(std::string text, const std::string& offset) {
  constexpr std::size_t length = 19;
  if (text.size() < length) return std::nullopt;
  text.resize(length);
  text[4] = text[7] = '-';
  text[10] = 'T';
  const bool has_offset = offset.size() == 6 && (offset[0] == '+' || offset[0] == '-');
  return parse_iso_time(text + (has_offset ? offset : "Z"));
}

// Where a text stands in the three kinds of metadata; null where there is no such place.
struct TextRow {
  std::string_view property;
  const char* xmp;
  const char* iptc;
  const char* exif;
};

constexpr auto text_rows = std::to_array<TextRow>({
    {property::title, "Xmp.dc.title", "Iptc.Application2.ObjectName", nullptr},
    {property::subject, "Xmp.photoshop.Headline", "Iptc.Application2.Headline", nullptr},
    {property::author, "Xmp.dc.creator", "Iptc.Application2.Byline", "Exif.Image.Artist"},
    {property::keywords, "Xmp.dc.subject", "Iptc.Application2.Keywords", nullptr},
    {property::comments, "Xmp.dc.description", "Iptc.Application2.Caption",
     "Exif.Image.ImageDescription"},
    {property::copyright, "Xmp.dc.rights", "Iptc.Application2.Copyright", "Exif.Image.Copyright"},
    {property::publisher, "Xmp.dc.publisher", nullptr, nullptr},
    {property::application, "Xmp.xmp.CreatorTool", "Iptc.Application2.Program",
     "Exif.Image.Software"},
    {property::camera_make, "Xmp.tiff.Make", nullptr, "Exif.Image.Make"},
    {property::camera_model, "Xmp.tiff.Model", nullptr, "Exif.Image.Model"},
    {property::lens, "Xmp.aux.Lens", nullptr, "Exif.Photo.LensModel"},
});

struct NumberRow {
  std::string_view property;
  const char* exif;
};

constexpr auto number_rows = std::to_array<NumberRow>({
    {property::horizontal_resolution, "Exif.Image.XResolution"},
    {property::vertical_resolution, "Exif.Image.YResolution"},
    {property::exposure_time, "Exif.Photo.ExposureTime"},
    {property::f_number, "Exif.Photo.FNumber"},
    {property::focal_length, "Exif.Photo.FocalLength"},
});

constexpr auto integer_rows = std::to_array<NumberRow>({
    {property::orientation, "Exif.Image.Orientation"},
    {property::iso_speed, "Exif.Photo.ISOSpeedRatings"},
});

class ImageReader final : public Reader {
 public:
  explicit ImageReader(const ReaderContext& context) : context_(context) {}

  bool step(TextSink& /*sink*/) override {
    throw EngineError(Code::unsupported_format, "a picture has no text");
  }

  void properties(Properties& properties) override {
    std::string packet;
    const std::unique_ptr<Exiv2::Image> image = open(packet);
    // Texts may stand before the packet where it lies, and behind it.
    packet.erase(0, packet.find('<'));
    add_xmp_properties(packet, context_.limits, properties);
    try {
      add_all(*image, properties);
    } catch (const Exiv2::Error&) {
      // What has been found is stated; a value that cannot be read is not.
      return;
    }
  }

 private:
  std::unique_ptr<Exiv2::Image> open(std::string& packet) const {
    prepare_library();
    try {
      std::unique_ptr<Exiv2::Image> image = open_image(new DocumentIo(context_, packet));
      // The library's readers of film go round and round in a damaged one, and its reader of RW2
      // ends the process: it throws where nothing may be thrown.
      if (!image || image->mimeType().starts_with("video/") ||
          image->mimeType() == "image/x-panasonic-rw2") {
        throw EngineError(Code::corrupt, "no picture that can be read");
      }
      image->readMetadata();
      return image;
    } catch (const Exiv2::Error& error) {
      throw EngineError(Code::corrupt, std::string("the picture cannot be read: ") + error.what());
    }
  }

  void add_all(Exiv2::Image& image, Properties& properties) const {
    const Facts facts(image);
    for (const TextRow& row : text_rows) {
      if (!states(properties, row.property)) add_text(facts, row, properties);
    }
    if (!states(properties, property::created)) add_creation(facts, properties);
    if (!states(properties, property::last_saved)) add_saving(facts, properties);
    add_integer(property::width, image.pixelWidth(), properties);
    add_integer(property::height, image.pixelHeight(), properties);
    for (const NumberRow& row : number_rows) {
      if (const auto number = facts.exif_number(row.exif)) {
        properties.add(std::string(row.property), *number);
      }
    }
    for (const NumberRow& row : integer_rows) {
      if (const auto number = facts.exif_number(row.exif)) {
        add_integer(row.property, *number, properties);
      }
    }
    add_place(facts, properties);
  }

  static void add_creation(const Facts& facts, Properties& properties) {
    if (const auto time = exif_time(facts.exif("Exif.Photo.DateTimeOriginal"),
                                    facts.exif("Exif.Photo.OffsetTimeOriginal"))) {
      properties.add(std::string(property::created), *time);
    } else {
      add_time(facts, property::created, {"Xmp.photoshop.DateCreated", "Xmp.xmp.CreateDate"},
               properties);
    }
  }

  static void add_saving(const Facts& facts, Properties& properties) {
    if (const auto time =
            exif_time(facts.exif("Exif.Image.DateTime"), facts.exif("Exif.Photo.OffsetTime"))) {
      properties.add(std::string(property::last_saved), *time);
    } else {
      add_time(facts, property::last_saved, {"Xmp.xmp.ModifyDate"}, properties);
    }
  }

  /// Whether a long packet has stated it.
  static bool states(const Properties& properties, std::string_view name) {
    return std::ranges::any_of(properties.items(),
                               [&](const Properties::Item& item) { return item.name == name; });
  }

  static void add_text(const Facts& facts, const TextRow& row, Properties& properties) {
    std::vector<std::string> values = facts.xmp(row.xmp);
    if (values.empty() && row.iptc != nullptr) values = facts.iptc(row.iptc);
    if (values.empty() && row.exif != nullptr) values = {facts.exif(row.exif)};
    for (std::string& value : values) properties.add(std::string(row.property), std::move(value));
  }

  static void add_time(const Facts& facts, std::string_view name,
                       std::initializer_list<const char*> keys, Properties& properties) {
    for (const char* key : keys) {
      for (const std::string& value : facts.xmp(key)) {
        if (const auto time = parse_iso_time(value)) {
          properties.add(std::string(name), *time);
          return;
        }
      }
    }
  }

  static void add_integer(std::string_view name, double value, Properties& properties) {
    constexpr double most = 2147483647;
    if (value > 0 && value <= most) {
      properties.add(std::string(name), static_cast<std::int32_t>(value));
    }
  }

  static void add_place(const Facts& facts, Properties& properties) {
    if (const auto latitude =
            facts.exif_angle("Exif.GPSInfo.GPSLatitude", "Exif.GPSInfo.GPSLatitudeRef")) {
      properties.add(std::string(property::latitude), *latitude);
    }
    if (const auto longitude =
            facts.exif_angle("Exif.GPSInfo.GPSLongitude", "Exif.GPSInfo.GPSLongitudeRef")) {
      properties.add(std::string(property::longitude), *longitude);
    }
    if (const auto altitude = facts.exif_number("Exif.GPSInfo.GPSAltitude")) {
      const bool below_sea = facts.exif("Exif.GPSInfo.GPSAltitudeRef") == "1";
      properties.add(std::string(property::altitude), below_sea ? -*altitude : *altitude);
    }
  }

  const ReaderContext context_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(image, trfilter::ImageReader)
