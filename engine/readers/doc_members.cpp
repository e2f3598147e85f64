#include "engine/readers/doc_members.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "engine/compound/embedded_objects.h"
#include "engine/core/engine_error.h"
#include "engine/core/fields.h"
#include "engine/office_art/blip.h"
#include "engine/office_art/shape_properties.h"

namespace trfilter::doc {
namespace {

constexpr std::uint64_t most_picture_bytes = std::uint64_t{256} << 20;
constexpr std::uint64_t most_shape_bytes = std::uint64_t{64} << 10;
// Enough of a picture's record to tell what it is.
constexpr std::uint64_t blip_head_bytes = 128;

// [MS-DOC] 2.9.192 PICF.
constexpr std::uint64_t least_picture_header = 14;
constexpr std::uint32_t windows_metafile = 8;
constexpr std::uint32_t named_shape = 0x66;

/// A picture in the text, before its data.
struct PictureHeader {
  std::uint64_t begin = 0;  ///< of the data behind the header
  std::uint64_t end = 0;
  std::uint32_t mapping = 0;
};

/// Where the pictures of text are: Word 6 has them in the main stream.
const Stream& picture_stream(const Source& source) {
  return source.fib().version == Version::word_97 ? source.data() : source.main();
}

std::optional<PictureHeader> read_header(const Stream& stream, std::uint64_t location) {
  const std::string fields = stream.read(location, 256);
  const std::uint32_t size = le32(fields, 0);
  std::uint64_t header = le16(fields, 4);
  if (fields.size() < least_picture_header || size <= header || header < least_picture_header) {
    return std::nullopt;
  }
  PictureHeader result;
  result.mapping = le16(fields, 6);
  if (result.mapping == named_shape) header += 1 + byte_at(fields, header);
  result.begin = location + header;
  result.end = std::min<std::uint64_t>(location + size, stream.size());
  if (result.begin >= result.end) return std::nullopt;
  return result;
}

/// A record of a stream, of which only the head has been read.
struct LaidRecord {
  std::uint64_t at = 0;
  std::string bytes;  ///< the begin
  ArtRecord record;

  LaidRecord(const Stream& stream, std::uint64_t offset)
      : at(offset), bytes(stream.read(offset, blip_head_bytes)) {
    known = record.parse(bytes);
  }
  LaidRecord(const LaidRecord&) = delete;
  LaidRecord& operator=(const LaidRecord&) = delete;

  bool known = false;
  std::uint64_t end() const { return at + ArtRecord::head_size + record.size; }
};

class Members {
 public:
  Members(const CompoundFile* file, Source& source) : file_(file), source_(source) {}

  std::unique_ptr<EmbeddedFiles> find() {
    objects();
    pictures_of_text();
    pictures_of_drawings();
    if (files_->count() == 0) return nullptr;
    files_->settle_names(source_.limits());
    return std::move(files_);
  }

 private:
  void objects() {
    if (file_ == nullptr) return;
    const auto pool = file_->find("ObjectPool");
    if (!pool) return;
    for (const std::uint32_t child : file_->entries()[*pool].children) {
      source_.limits().check_time();
      if (file_->entries()[child].storage) add_embedded_object(*files_, *file_, child);
    }
  }

  void pictures_of_text() {
    std::set<std::uint32_t> locations;
    source_.visit_runs([&](const TextRun& run) {
      source_.limits().check_time();
      const CharacterProperties& properties = run.properties;
      if (!properties.picture_location || properties.binary_data || properties.ole_object) return;
      constexpr char picture_mark = 0x01;
      if (run.bytes.find(picture_mark) == std::string_view::npos) return;
      locations.insert(*properties.picture_location);
    });
    for (const std::uint32_t location : locations) picture(location);
  }

  void picture(std::uint32_t location) {
    source_.limits().check_time();
    const Stream& stream = picture_stream(source_);
    const auto header = read_header(stream, location);
    if (!header) return;
    if (header->mapping == windows_metafile) {
      EmbeddedFiles::File member = next_picture(".wmf");
      member.size = static_cast<std::int64_t>(header->end - header->begin);
      files_->add(std::move(member), [&stream, range = *header](ByteOutput& output) {
        output.write(
            stream.read(range.begin, std::min(range.end - range.begin, most_picture_bytes)));
      });
      return;
    }
    // The shape stands first, then its pictures, each in an entry or bare.
    for (std::uint64_t at = header->begin; at < header->end;) {
      const LaidRecord laid(stream, at);
      if (!laid.known) return;
      if (laid.record.type == art::picture_entry) {
        const std::uint64_t name = byte_at(laid.record.data, 33);
        blip(stream, at + ArtRecord::head_size + 36 + name);
      } else {
        blip(stream, at);
      }
      at = laid.end();
    }
  }

  void pictures_of_drawings() {
    if (source_.fib().version != Version::word_97) return;
    const std::string content = source_.table(Table::drawings);
    ArtRecord group;
    if (!group.parse(content) || group.type != art::drawing_group) return;
    ArtRecords records(group.data);
    ArtRecord store;
    if (!records.find(art::picture_store, store)) return;
    ArtRecords entries(store.data);
    std::set<std::uint32_t> known;
    for (ArtRecord entry; entries.next(entry);) {
      if (entry.type != art::picture_entry) continue;
      const PictureEntry picture(entry);
      constexpr std::uint32_t nowhere = 0xFFFFFFFF;
      if (picture.size == 0 || picture.location == nowhere) continue;
      if (known.insert(picture.location).second) blip(source_.main(), picture.location);
    }
  }

  void blip(const Stream& stream, std::uint64_t at) {
    source_.limits().check_time();
    const LaidRecord laid(stream, at);
    if (!laid.known) return;
    const auto found = Blip::of(laid.record);
    if (!found) return;
    EmbeddedFiles::File member = next_picture(found->extension);
    member.size = found->size;
    const std::uint64_t size = laid.end() - at;
    Limits& limits = source_.limits();
    files_->add(std::move(member), [&stream, &limits, at, size](ByteOutput& output) {
      if (size > most_picture_bytes) throw EngineError(Code::corrupt, "a picture is too large");
      const std::string bytes = stream.read(at, size);
      ArtRecord record;
      if (!record.parse(bytes)) throw EngineError(Code::corrupt, "a picture is cut short");
      if (const auto blip = Blip::of(record)) write_blip(record, *blip, limits, output);
    });
  }

  EmbeddedFiles::File next_picture(std::string_view extension) {
    source_.limits().check_members(++pictures_);
    EmbeddedFiles::File member;
    member.name = "image" + std::to_string(pictures_) + std::string(extension);
    member.path = member.name;
    return member;
  }

  const CompoundFile* file_;
  Source& source_;
  std::unique_ptr<EmbeddedFiles> files_ = std::make_unique<EmbeddedFiles>();
  std::uint64_t pictures_ = 0;
};

}  // namespace

std::unique_ptr<EmbeddedFiles> find_members(const CompoundFile* file, Source& source) {
  return Members(file, source).find();
}

std::string picture_description(const Source& source, std::uint32_t location) {
  const Stream& stream = picture_stream(source);
  const auto header = read_header(stream, location);
  if (!header || header->mapping == windows_metafile) return {};
  const std::string bytes =
      stream.read(header->begin, std::min(header->end - header->begin, most_shape_bytes));
  ArtRecord shape;
  if (!shape.parse(bytes) || shape.type != art::shape) return {};
  ShapeProperties properties;
  ArtRecords records(shape.data);
  for (ArtRecord record; records.next(record);) properties.take(record);
  return properties.alternative_text;
}

}  // namespace trfilter::doc
