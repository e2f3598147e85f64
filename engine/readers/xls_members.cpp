#include "engine/readers/xls_members.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "engine/compound/embedded_objects.h"
#include "engine/core/engine_error.h"
#include "engine/office_art/blip.h"
#include "engine/office_art/shape_properties.h"

namespace trfilter::xls {
namespace {

constexpr std::uint64_t most_picture_bytes = std::uint64_t{256} << 20;
// Enough of a record to tell what picture it is, and how long its entry's name.
constexpr std::size_t record_begin_bytes = 128;
// Of 8 KiB each as a rule.
constexpr std::size_t most_pieces = std::size_t{1} << 20;

/// The data of a workbook's MsoDrawingGroup records ([MS-XLS] 2.4.171) and those that continue
/// them, as one run of bytes. Holds a few bytes for each record.
class DrawingGroup {
 public:
  DrawingGroup(RecordReader records, const Limits& limits) : records_(std::move(records)) {
    constexpr unsigned records_between_checks = 4096;
    bool inside = false;
    unsigned count = 0;
    records_.seek(0);
    while (records_.next() && records_.type() != record::end_of_file) {
      if (++count % records_between_checks == 0) limits.check_time();
      inside = records_.type() == record::drawing_group ||
               (inside && records_.type() == record::continuation);
      if (!inside || records_.data().empty() || pieces_.size() == most_pieces) continue;
      pieces_.push_back({size_, records_.offset()});
      size_ += records_.data().size();
    }
  }

  std::uint64_t size() const { return size_; }

  /// @return fewer bytes at the end
  std::string read(std::uint64_t offset, std::uint64_t count) {
    std::string bytes;
    if (offset >= size_) return bytes;
    auto piece = std::ranges::upper_bound(pieces_, offset, {}, &Piece::begin) - 1;
    for (; piece != pieces_.end() && bytes.size() < count; ++piece) {
      records_.seek(piece->record);
      if (!records_.next()) break;
      const std::uint64_t skipped = offset + bytes.size() - piece->begin;
      if (skipped > records_.data().size()) break;
      bytes += records_.data().substr(static_cast<std::size_t>(skipped),
                                      static_cast<std::size_t>(count - bytes.size()));
    }
    return bytes;
  }

 private:
  struct Piece {
    std::uint64_t begin;   ///< in the run of bytes
    std::uint64_t record;  ///< where it lies in the stream
  };

  RecordReader records_;
  std::vector<Piece> pieces_;
  std::uint64_t size_ = 0;
};

class Members {
 public:
  Members(const CompoundFile* file, RecordReader records, Limits& limits)
      : file_(file),
        limits_(limits),
        group_(std::make_shared<DrawingGroup>(std::move(records), limits)) {}

  std::unique_ptr<EmbeddedFiles> find() {
    add_objects();
    add_pictures(0, group_->size(), 0);
    if (files_->count() == 0) return nullptr;
    files_->settle_names(limits_);
    return std::move(files_);
  }

 private:
  /// Storages of embedded objects ([MS-XLS] 2.1.2) are called MBD and eight digits.
  void add_objects() {
    if (file_ == nullptr) return;
    for (const std::uint32_t child : file_->entries()[CompoundEntry::root].children) {
      limits_.check_time();
      const CompoundEntry& entry = file_->entries()[child];
      if (!entry.storage || !entry.name.starts_with("MBD")) continue;
      limits_.check_members(files_->count() + 1);
      add_embedded_object(*files_, *file_, child);
    }
  }

  /// Goes through the containers of the group down to the entries of its store of pictures.
  void add_pictures(std::uint64_t at, std::uint64_t end, unsigned depth) {
    constexpr unsigned deepest = 2;
    while (at < end) {
      limits_.check_time();
      const std::string begin = group_->read(at, record_begin_bytes);
      ArtRecord record;
      if (!record.parse(begin)) return;
      const std::uint64_t data = at + ArtRecord::head_size;
      const std::uint64_t next = data + record.size;
      if (record.is_container() && depth < deepest) {
        add_pictures(data, std::min(next, end), depth + 1);
      } else if (record.type == art::picture_entry) {
        add_picture(data, record);
      }
      at = next;
    }
  }

  void add_picture(std::uint64_t data, const ArtRecord& entry) {
    const PictureEntry picture(entry);
    if (picture.record.empty()) return;
    const std::uint64_t at =
        data + static_cast<std::uint64_t>(picture.record.data() - entry.data.data());
    const std::string begin = group_->read(at, record_begin_bytes);
    ArtRecord record;
    if (!record.parse(begin)) return;
    const auto blip = Blip::of(record);
    if (!blip) return;
    limits_.check_members(++picture_count_);
    EmbeddedFiles::File member;
    member.name = "image" + std::to_string(picture_count_) + std::string(blip->extension);
    member.path = member.name;
    member.size = blip->size;
    const std::uint64_t size = ArtRecord::head_size + std::uint64_t{record.size};
    files_->add(std::move(member), [group = group_, &limits = limits_, at, size](ByteOutput& out) {
      if (size > most_picture_bytes) throw EngineError(Code::corrupt, "a picture is too large");
      const std::string bytes = group->read(at, size);
      ArtRecord whole;
      if (!whole.parse(bytes)) throw EngineError(Code::corrupt, "a picture is cut short");
      if (const auto found = Blip::of(whole)) write_blip(whole, *found, limits, out);
    });
  }

  const CompoundFile* file_;
  Limits& limits_;
  std::shared_ptr<DrawingGroup> group_;
  std::unique_ptr<EmbeddedFiles> files_ = std::make_unique<EmbeddedFiles>();
  std::uint64_t picture_count_ = 0;
};

}  // namespace

std::unique_ptr<EmbeddedFiles> find_members(const CompoundFile* file, RecordReader records,
                                            Limits& limits) {
  return Members(file, std::move(records), limits).find();
}

}  // namespace trfilter::xls
