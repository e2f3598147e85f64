#include "engine/readers/ppt_members.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "engine/compound/embedded_objects.h"
#include "engine/core/byte_cursor.h"
#include "engine/core/engine_error.h"
#include "engine/core/ole_members.h"
#include "engine/office_art/blip.h"
#include "engine/office_art/inflate.h"
#include "engine/readers/ppt_text.h"

namespace trfilter::ppt {
namespace {

constexpr std::uint64_t most_member_bytes = std::uint64_t{256} << 20;
// Enough of a picture's record to tell what it is.
constexpr std::size_t blip_head_bytes = 128;

std::string bytes_at(CompoundStream& stream, std::uint64_t offset, std::uint64_t count) {
  if (offset >= stream.size()) return {};
  std::string bytes(static_cast<std::size_t>(std::min(count, stream.size() - offset)), '\0');
  bytes.resize(stream.read_at(offset, bytes));
  return bytes;
}

/// Keeps what is written, up to a bound.
class BoundedMemory final : public ByteOutput {
 public:
  void write(std::string_view bytes) override {
    if (bytes.size() > most_ole_object_bytes - bytes_.size()) {
      throw EngineError(Code::corrupt, "an embedded object is too large to be looked into");
    }
    bytes_ += bytes;
  }
  std::string take() { return std::move(bytes_); }

 private:
  std::string bytes_;
};

/// ExOleObjStg ([MS-PPT] 2.10.34): a compound file, packed or not.
void write_object(PersistObjects& objects, std::uint32_t identifier, Limits& limits,
                  ByteOutput& output) {
  constexpr unsigned packed = 1;
  const std::string bytes = objects.read(identifier, most_member_bytes);
  ArtRecord record;
  if (!record.parse(bytes) || record.type != record::object_storage) {
    throw EngineError(Code::corrupt, "an embedded object is missing");
  }
  if (record.instance == packed) {
    ByteCursor fields(record.data);
    const std::uint32_t size = fields.u32();
    inflate_to(fields.rest(), size, limits, output);
  } else {
    output.write(record.data);
  }
  if (record.is_cut()) throw EngineError(Code::corrupt, "an embedded object is cut short");
}

class Members {
 public:
  Members(const CompoundFile& file, std::uint32_t storage, PersistObjects& objects, Limits& limits)
      : file_(file), storage_(storage), objects_(objects), limits_(limits) {}

  std::unique_ptr<EmbeddedFiles> find() {
    add_objects();
    if (!objects_.encrypted()) add_pictures();
    if (files_->count() == 0) return nullptr;
    files_->settle_names(limits_);
    return std::move(files_);
  }

 private:
  /// ExObjListContainer ([MS-PPT] 2.10.1).
  void add_objects() {
    if (!objects_.has_directory()) return;
    const std::string bytes = objects_.read(objects_.document());
    ArtRecord document;
    if (!document.parse(bytes)) return;
    ArtRecords records(document.data);
    ArtRecord list;
    while (records.find(record::object_list, list)) {
      ArtRecords entries(list.data);
      ArtRecord entry;
      while (entries.find(record::embedded_object, entry)) add_object(entry.data);
    }
  }

  void add_object(std::string_view records) {
    constexpr std::size_t before_reference = 16;
    limits_.check_time();
    ArtRecords parts(records);
    ArtRecord atom;
    if (!parts.find(record::object_atom, atom)) return;
    ByteCursor fields(atom.data);
    fields.skip(before_reference);
    const std::uint32_t identifier = fields.u32();
    if (fields.failed() || !objects_.offset(identifier)) return;
    limits_.check_members(++object_count_);
    EmbeddedFiles::File member;
    member.name = "object" + std::to_string(object_count_);
    member.path = member.name;
    PersistObjects& objects = objects_;
    Limits& limits = limits_;
    const auto bytes = [&objects, &limits, identifier] {
      BoundedMemory memory;
      write_object(objects, identifier, limits, memory);
      return memory.take();
    };
    add_embedded_object(*files_, std::move(member), limits_, bytes,
                        [&objects, &limits, identifier](ByteOutput& output) {
                          write_object(objects, identifier, limits, output);
                        });
  }

  /// The Pictures stream ([MS-PPT] 2.1.3): pictures one behind the other.
  void add_pictures() {
    const auto entry = file_.child(storage_, "Pictures");
    if (!entry || file_.entries()[*entry].storage) return;
    const std::shared_ptr<CompoundStream> stream = file_.open(*entry);
    for (std::uint64_t at = 0; at < stream->size();) {
      limits_.check_time();
      const std::string head = bytes_at(*stream, at, blip_head_bytes);
      ArtRecord record;
      if (!record.parse(head)) return;
      const std::uint64_t size = ArtRecord::head_size + std::uint64_t{record.size};
      if (const auto blip = Blip::of(record)) add_picture(stream, at, size, *blip);
      at += size;
    }
  }

  void add_picture(const std::shared_ptr<CompoundStream>& stream, std::uint64_t at,
                   std::uint64_t size, const Blip& blip) {
    limits_.check_members(++picture_count_);
    EmbeddedFiles::File member;
    member.name = "image" + std::to_string(picture_count_) + std::string(blip.extension);
    member.path = member.name;
    member.size = blip.size;
    files_->add(std::move(member), [stream, &limits = limits_, at, size](ByteOutput& output) {
      if (size > most_member_bytes) throw EngineError(Code::corrupt, "a picture is too large");
      const std::string bytes = bytes_at(*stream, at, size);
      ArtRecord record;
      if (!record.parse(bytes)) throw EngineError(Code::corrupt, "a picture is cut short");
      if (const auto found = Blip::of(record)) write_blip(record, *found, limits, output);
    });
  }

  const CompoundFile& file_;
  std::uint32_t storage_;
  PersistObjects& objects_;
  Limits& limits_;
  std::unique_ptr<EmbeddedFiles> files_ = std::make_unique<EmbeddedFiles>();
  std::uint64_t object_count_ = 0;
  std::uint64_t picture_count_ = 0;
};

}  // namespace

std::unique_ptr<EmbeddedFiles> find_members(const CompoundFile& file, std::uint32_t storage,
                                            PersistObjects& objects, Limits& limits) {
  return Members(file, storage, objects, limits).find();
}

}  // namespace trfilter::ppt
