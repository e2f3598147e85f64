#include "engine/detect/zip_directory.h"

#define ZLIB_CONST
#include <zlib.h>

#include <algorithm>

#include "engine/core/fields.h"

namespace trfilter::detection {
namespace {

constexpr std::string_view local_header = literal("PK\x03\x04");
constexpr std::string_view central_header = literal("PK\x01\x02");
constexpr std::string_view end_of_directory = literal("PK\x05\x06");
constexpr std::string_view end_of_directory_64 = literal("PK\x06\x06");
constexpr std::string_view end_locator_64 = literal("PK\x06\x07");
constexpr std::size_t local_header_size = 30;
constexpr std::size_t central_header_size = 46;
constexpr std::size_t end_size = 22;
constexpr std::size_t longest_comment = 0xFFFF;

/// The first bytes of a deflated member.
std::string inflate_begin(std::string_view packed, std::size_t count) {
  std::string unpacked(count, '\0');
  z_stream stream{};
  if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) return {};
  stream.next_in = reinterpret_cast<const Bytef*>(packed.data());
  stream.avail_in = static_cast<uInt>(packed.size());
  stream.next_out = reinterpret_cast<Bytef*>(unpacked.data());
  stream.avail_out = static_cast<uInt>(unpacked.size());
  // What came out before damage or before the end of what was read is as good as any.
  inflate(&stream, Z_SYNC_FLUSH);
  unpacked.resize(count - stream.avail_out);
  inflateEnd(&stream);
  return unpacked;
}

}  // namespace

ZipDirectory::ZipDirectory(Content& content) : content_(&content) {
  complete_ = read_central_directory();
  if (!complete_) read_local_headers();
}

bool ZipDirectory::read_central_directory() {
  // The end record is the last thing of the file but for its comment; nearly always there is none.
  std::string tail = content_->tail(end_size + 64);
  std::size_t end = tail.rfind(end_of_directory);
  if (end == std::string::npos) {
    tail = content_->tail(end_size + longest_comment);
    end = tail.rfind(end_of_directory);
    if (end == std::string::npos) return false;
  }
  if (!has(tail, end, end_size)) return false;
  const std::uint64_t end_offset = content_->size() - tail.size() + end;
  std::uint64_t size = le32(tail, end + 12);
  std::uint64_t offset = le32(tail, end + 16);
  std::uint64_t directory_end = end_offset;
  if (size == 0xFFFFFFFF || offset == 0xFFFFFFFF) {
    if (end_offset < 20) return false;
    const std::string locator = content_->read(end_offset - 20, 20);
    if (!matches(locator, 0, end_locator_64)) return false;
    const std::uint64_t record_offset = le64(locator, 8);
    const std::string record = content_->read(record_offset, 56);
    if (!matches(record, 0, end_of_directory_64)) return false;
    size = le64(record, 40);
    offset = le64(record, 48);
    directory_end = record_offset;
  }
  // Offsets count from where the archive begins, which what stands before it has moved.
  if (size <= directory_end && offset <= directory_end - size) {
    prefix_ = directory_end - size - offset;
  }
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size, directory_bytes));
  directory_ = content_->read(prefix_ + offset, wanted);
  if (!matches(directory_, 0, central_header) && prefix_ != 0) {
    prefix_ = 0;
    directory_ = content_->read(offset, wanted);
  }
  std::size_t at = 0;
  while (entries_.size() < most_entries && has(directory_, at, central_header_size) &&
         matches(directory_, at, central_header)) {
    const std::string_view bytes = directory_;
    const std::size_t name_size = le16(bytes, at + 28);
    if (!has(bytes, at + central_header_size, name_size)) break;
    entries_.push_back({.name = bytes.substr(at + central_header_size, name_size),
                        .flags = static_cast<std::uint16_t>(le16(bytes, at + 8)),
                        .method = static_cast<std::uint16_t>(le16(bytes, at + 10)),
                        .packed_size = le32(bytes, at + 20),
                        .size = le32(bytes, at + 24),
                        .header_offset = le32(bytes, at + 42)});
    at += central_header_size + name_size + le16(bytes, at + 30) + le16(bytes, at + 32);
  }
  return !entries_.empty() || size == 0;
}

void ZipDirectory::read_local_headers() {
  directory_ = content_->head();
  const std::string_view bytes = directory_;
  std::size_t at = 0;
  while (entries_.size() < most_entries && has(bytes, at, local_header_size) &&
         matches(bytes, at, local_header)) {
    const std::size_t name_size = le16(bytes, at + 26);
    if (!has(bytes, at + local_header_size, name_size)) break;
    ZipEntry entry{.name = bytes.substr(at + local_header_size, name_size),
                   .flags = static_cast<std::uint16_t>(le16(bytes, at + 6)),
                   .method = static_cast<std::uint16_t>(le16(bytes, at + 8)),
                   .packed_size = le32(bytes, at + 18),
                   .size = le32(bytes, at + 22),
                   .header_offset = static_cast<std::uint32_t>(at)};
    const std::size_t data = at + local_header_size + name_size + le16(bytes, at + 28);
    const bool sizes_follow = (entry.flags & 8) != 0 && entry.packed_size == 0;
    if (sizes_follow) {
      // The sizes stand behind the data: the next header is where its mark is next found.
      const std::size_t next = data < bytes.size() ? bytes.find(local_header, data) : npos;
      entry.packed_size = static_cast<std::uint32_t>((next == npos ? bytes.size() : next) -
                                                     std::min(data, bytes.size()));
      entries_.push_back(entry);
      if (next == npos) break;
      at = next;
    } else {
      entries_.push_back(entry);
      if (entry.packed_size > bytes.size() || data > bytes.size() - entry.packed_size) break;
      at = data + entry.packed_size;
    }
  }
}

const ZipEntry* ZipDirectory::find(std::string_view name) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const ZipEntry& entry) { return entry.name == name; });
  return found == entries_.end() ? nullptr : &*found;
}

std::string ZipDirectory::unpack(const ZipEntry& entry, std::size_t count) {
  if (entry.encrypted() || (entry.method != 0 && entry.method != 8)) return {};
  const std::uint64_t offset = prefix_ + entry.header_offset;
  const std::size_t guess = local_header_size + entry.name.size() + 64;
  const std::size_t packed_wanted = std::min<std::size_t>(entry.packed_size, count);
  std::string bytes = content_->read(offset, guess + packed_wanted);
  if (!matches(bytes, 0, local_header)) return {};
  const std::size_t data = local_header_size + le16(bytes, 26) + le16(bytes, 28);
  if (data > guess) {
    bytes = content_->read(offset + data, packed_wanted);
  } else {
    bytes.erase(0, data);
    bytes.resize(std::min(bytes.size(), packed_wanted));
  }
  if (entry.method == 8) return inflate_begin(bytes, count);
  return bytes;
}

}  // namespace trfilter::detection
