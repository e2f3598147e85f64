// Zip archives (APPNOTE.TXT of the zip format), by their central directory: a member is reached
// without its siblings. Stored and deflated members are read by engine/zip; encrypted ones and
// other compressions by libarchive, to which such a member is shown as an archive of its own.
// Without a directory the members that can be found by their local headers are listed.

#include <zlib.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/core/engine_error.h"
#include "engine/members/member_list.h"
#include "engine/readers/archive_library.h"
#include "engine/readers/archive_subfiles.h"
#include "engine/readers/archive_zip_directory.h"
#include "engine/zip/little_endian.h"
#include "engine/zip/zip_member.h"
#include "engine/zip/zip_recovery.h"

namespace trfilter {
namespace {

constexpr std::uint8_t mark_link = 1;
constexpr std::string_view local_header_signature = "PK\x03\x04";
constexpr std::size_t local_header_size = 30;
constexpr std::size_t longest_link = 4096;

void append_little_endian(std::string& out, std::uint64_t value, unsigned count) {
  for (unsigned i = 0; i < count; ++i) {
    out += static_cast<char>(value & 0xFF);
    value >>= 8;
  }
}

/// A header and the data that it is about, as if they were a document.
class MemberStream final : public ByteStream {
 public:
  MemberStream(Document& document, const Limits& limits, std::string header, std::uint64_t offset,
               std::uint64_t size)
      : header_(std::move(header)), data_(document, limits, offset), left_(size) {}

  std::size_t read(std::span<char> out) override {
    if (given_ < header_.size()) {
      const std::size_t count = header_.copy(out.data(), out.size(), given_);
      given_ += count;
      return count;
    }
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), left_));
    const std::size_t count = data_.read(out.first(wanted));
    left_ -= count;
    return count;
  }

 private:
  std::string header_;
  std::size_t given_ = 0;
  DocumentStream data_;
  std::uint64_t left_;
};

class ZipArchive final : public Subfiles {
 public:
  explicit ZipArchive(const ReaderContext& context)
      : context_(context), list_(context.options, context.limits) {
    const auto place = find_zip_directory(context.document);
    if (place) list_directory(*place);
    if (list_.size() == 0 && (!place || place->entries != 0)) list_local_headers();
    list_.finish();
  }

  std::size_t count() const override { return list_.size() + (end_.broken_off() ? 1 : 0); }

  Subfile describe(std::size_t index) override {
    if (index >= list_.size()) end_.rethrow();
    return list_.describe(index);
  }

  Extraction extract(std::size_t index, ByteOutput& output, bool /*formatted_mail*/) override {
    if (index >= list_.size()) end_.rethrow();
    if (list_.is_folder(index)) return {};
    if (!recovered_.empty()) {
      unpack(recovered_[static_cast<std::size_t>(list_.locator(index))], output);
      return {};
    }
    const auto entry = read_zip_entry(context_.document, list_.locator(index));
    if (!entry) throw EngineError(Code::archive_broken, "a zip archive's entry is damaged");
    if ((list_.marks(index) & mark_link) != 0) {
      return {.external = true, .location = link_target(*entry)};
    }
    extract_entry(*entry, output);
    return {};
  }

 private:
  void list_directory(const ZipDirectoryPlace& place) {
    prefix_ = place.prefix;
    try {
      std::uint64_t at = place.begin;
      while (const auto entry = read_zip_entry(context_.document, at)) {
        list_.add({.name = entry->name,
                   .name_is_utf8 = entry->name_is_utf8,
                   .folder = entry->folder,
                   .size = entry->folder || entry->link ? 0 : clamped(entry->size),
                   .time = entry->time,
                   .locator = at,
                   .marks = entry->link ? mark_link : std::uint8_t{0}});
        at = entry->next;
        context_.limits.check_time();
      }
      const std::uint64_t listed = place.entries_modulo_65536 ? list_.size() % 65536 : list_.size();
      if (listed != place.entries) {
        throw EngineError(Code::archive_broken, "the directory of a zip archive is damaged");
      }
    } catch (const EngineError& error) {
      if (error.code() != Code::archive_broken) throw;
      end_.break_off();
    }
  }

  void list_local_headers() {
    auto members = recover_zip_members(context_.document, context_.limits);
    if (members.empty()) throw EngineError(Code::archive_broken, "a zip archive without members");
    for (auto& member : members) {
      const bool stored = member.data.method == ZipMemberData::stored;
      MemberFacts facts;
      facts.name = member.name;
      facts.folder = member.name.ends_with('/');
      facts.size = stored ? clamped(member.data.size) : 0;
      facts.locator = recovered_.size();
      list_.add(facts);
      recovered_.push_back(member.data);
    }
    try {
      throw EngineError(Code::archive_broken, "the zip archive's directory is missing");
    } catch (const EngineError&) {
      end_.break_off();
    }
  }

  static std::int64_t clamped(std::uint64_t size) {
    return static_cast<std::int64_t>(std::min<std::uint64_t>(size, INT64_MAX));
  }

  /// Where the data of a member is: behind its local header, whose own lengths count.
  std::uint64_t data_offset(const ZipDirectoryEntry& entry) {
    std::array<char, local_header_size> header;
    const std::uint64_t offset = prefix_ + entry.header_offset;
    const std::size_t count = context_.document.read_at(offset, header);
    const std::string_view bytes(header.data(), count);
    if (count != header.size() || !bytes.starts_with(local_header_signature)) {
      throw EngineError(Code::archive_broken, "a zip archive's member is not where it should be");
    }
    return offset + local_header_size + *little_endian(bytes, 26, 2) + *little_endian(bytes, 28, 2);
  }

  void extract_entry(const ZipDirectoryEntry& entry, ByteOutput& output) {
    const std::uint64_t offset = data_offset(entry);
    const bool simple =
        entry.method == ZipMemberData::stored || entry.method == ZipMemberData::deflated;
    if (entry.encrypted() || !simple) {
      unpack_by_library(entry, offset, output);
    } else {
      unpack({.offset = offset,
              .size = entry.packed_size,
              .method = entry.method,
              .encrypted = false,
              .checksum = entry.checksum},
             output);
    }
  }

  void unpack(const ZipMemberData& data, ByteOutput& output) {
    const auto part = open_zip_member(context_.document, context_.limits, data);
    std::uint64_t unpacked = 0;
    while (const std::size_t count = part->read(block_)) {
      unpacked += count;
      context_.limits.check_expansion(unpacked, part->packed_bytes());
      output.write({block_.data(), count});
    }
  }

  /// Encrypted members, and those that are neither stored nor deflated.
  void unpack_by_library(const ZipDirectoryEntry& entry, std::uint64_t offset, ByteOutput& output) {
    const bool aes = entry.method == ZipDirectoryEntry::method_aes && !entry.aes_field.empty();
    if (entry.encrypted() && context_.options.password.empty()) {
      throw EngineError(Code::password_protected, "the member is encrypted");
    }
    try {
      ExpansionMeter meter(context_.limits);
      LibraryArchive archive(
          std::make_unique<MemberStream>(context_.document, context_.limits,
                                         header_for_library(entry), offset, entry.packed_size),
          &meter);
      archive.set_password(context_.options.password);
      archive.open(LibraryArchive::Kind::zip);
      if (!archive.next()) throw EngineError(Code::corrupt, "a zip archive's member is damaged");
      uLong checksum = 0;
      std::string_view block;
      std::uint64_t at = 0;
      while (archive.read_block(block, at)) {
        if (block.empty()) continue;  // zlib takes no bytes at no address for a new beginning
        meter.add_unpacked(block.size());
        checksum = crc32_z(checksum, reinterpret_cast<const Bytef*>(block.data()), block.size());
        output.write(block);
      }
      // The second version of the AES field has an authentication code in place of the checksum.
      const bool has_checksum = !aes || little_endian(entry.aes_field, 4, 2) == 1u;
      if (has_checksum && checksum != entry.checksum) {
        throw EngineError(Code::corrupt, "wrong checksum of a zip archive's member");
      }
    } catch (const EngineError& error) {
      // One wrong password of 256 passes the test of the traditional encryption.
      if (error.code() == Code::corrupt && entry.encrypted() && !aes) {
        throw EngineError(Code::password_protected, "the password is wrong, or the member damaged");
      }
      throw;
    }
  }

  /// A local header that states everything, for a member whose own one may leave it to the
  /// directory or to a descriptor behind the data.
  static std::string header_for_library(const ZipDirectoryEntry& entry) {
    constexpr std::uint64_t in_zip64_field = 0xFFFFFFFF;
    constexpr unsigned version = 63;
    // With a descriptor, the byte that a password is tested against is of the time, not of the
    // checksum: it is put where it is looked for.
    const bool by_time = (entry.flags & ZipDirectoryEntry::flag_descriptor) != 0;
    const std::uint32_t checksum = by_time ? (entry.dos_time & 0xFF00) << 16 : entry.checksum;
    const bool large = entry.packed_size >= in_zip64_field || entry.size >= in_zip64_field;
    std::string extra = entry.aes_field;
    if (large) {
      append_little_endian(extra, 0x0001, 2);
      append_little_endian(extra, 16, 2);
      append_little_endian(extra, entry.size, 8);
      append_little_endian(extra, entry.packed_size, 8);
    }
    constexpr std::string_view name = "member";
    std::string header(local_header_signature);
    append_little_endian(header, version, 2);
    append_little_endian(header, entry.flags & ~ZipDirectoryEntry::flag_descriptor, 2);
    append_little_endian(header, entry.method, 2);
    append_little_endian(header, entry.dos_time, 4);
    append_little_endian(header, checksum, 4);
    append_little_endian(header, large ? in_zip64_field : entry.packed_size, 4);
    append_little_endian(header, large ? in_zip64_field : entry.size, 4);
    append_little_endian(header, name.size(), 2);
    append_little_endian(header, extra.size(), 2);
    return header.append(name).append(extra);
  }

  /// The target of a symbolic link is the member's content.
  std::string link_target(const ZipDirectoryEntry& entry) {
    class Target final : public ByteOutput {
     public:
      void write(std::string_view bytes) override {
        text.append(bytes.substr(0, longest_link - std::min(longest_link, text.size())));
      }
      std::string text;
    } target;
    extract_entry(entry, target);
    return list_.decoded(target.text);
  }

  ReaderContext context_;
  MemberList list_;
  ListEnd end_;
  std::uint64_t prefix_ = 0;
  std::vector<ZipMemberData> recovered_;  ///< when there is no directory
  std::array<char, std::size_t{64} << 10> block_;
};

}  // namespace

std::unique_ptr<Subfiles> open_zip_archive(const ReaderContext& context) {
  return std::make_unique<ZipArchive>(context);
}

}  // namespace trfilter
