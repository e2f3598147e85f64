#include "tests/detect/made_documents.h"

#include <zlib.h>

#include <stdexcept>

#include "engine/detect/detect.h"

namespace trfilter::test {
namespace {

std::string deflate_raw(const std::string& bytes) {
  z_stream stream{};
  if (deflateInit2(&stream, 9, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::runtime_error("deflateInit2");
  }
  std::string packed(compressBound(static_cast<uLong>(bytes.size())) + 64, '\0');
  std::string copy = bytes;
  stream.next_in = reinterpret_cast<Bytef*>(copy.data());
  stream.avail_in = static_cast<uInt>(copy.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, Z_FINISH);
  packed.resize(packed.size() - stream.avail_out);
  deflateEnd(&stream);
  return packed;
}

constexpr std::uint32_t free_sector = 0xFFFFFFFF;
constexpr std::uint32_t end_of_chain = 0xFFFFFFFE;
constexpr std::uint32_t allocation_sector = 0xFFFFFFFD;
constexpr std::size_t sector_size = 512;

std::string directory_entry(const std::string& name, int type, std::uint32_t right,
                            std::uint32_t child, std::uint32_t start, std::uint32_t size,
                            std::string_view identifier) {
  std::string entry;
  for (const char c : name) entry += {c, '\0'};
  entry.resize(64);
  entry += le16(static_cast<std::uint32_t>(name.size() * 2 + 2));
  entry += {static_cast<char>(type), '\1'};
  entry += le32(free_sector) + le32(right) + le32(child);
  entry += padded(std::string(identifier), 16);
  entry.resize(116);
  return entry + le32(start) + le32(size) + le32(0);
}

}  // namespace

Detection detect_bytes(std::string bytes) {
  Document document = Document::from_memory(std::move(bytes));
  return detect(document, nullptr);
}

std::string le16(std::uint32_t value) {
  return {static_cast<char>(value), static_cast<char>(value >> 8)};
}
std::string le32(std::uint32_t value) {
  return le16(value & 0xFFFF) + le16(value >> 16);
}
std::string be16(std::uint32_t value) {
  return {static_cast<char>(value >> 8), static_cast<char>(value)};
}
std::string be32(std::uint32_t value) {
  return be16(value >> 16) + be16(value & 0xFFFF);
}

std::string padded(std::string bytes, std::size_t size) {
  if (bytes.size() < size) bytes.resize(size);
  return bytes;
}

std::string utf16(std::string_view ascii, bool big_endian) {
  std::string wide;
  for (const char c : ascii) wide += big_endian ? std::string{'\0', c} : std::string{c, '\0'};
  return wide;
}

std::string make_zip(const std::vector<ZipMember>& members) {
  std::string file;
  std::string directory;
  for (const ZipMember& member : members) {
    const std::string data = member.deflated ? deflate_raw(member.bytes) : member.bytes;
    const std::string shared = le16(20) + le16(member.flags) + le16(member.deflated ? 8 : 0) +
                               le32(0) + le32(0) + le32(static_cast<std::uint32_t>(data.size())) +
                               le32(static_cast<std::uint32_t>(member.bytes.size())) +
                               le16(static_cast<std::uint32_t>(member.name.size())) + le16(0);
    directory += "PK\1\2" + le16(20) + shared + le16(0) + le16(0) + le16(0) + le32(0) +
                 le32(static_cast<std::uint32_t>(file.size())) + member.name;
    file += "PK\3\4" + shared + member.name + data;
  }
  const auto count = static_cast<std::uint32_t>(members.size());
  return file + directory + "PK\5\6" + le32(0) + le16(count) + le16(count) +
         le32(static_cast<std::uint32_t>(directory.size())) +
         le32(static_cast<std::uint32_t>(file.size())) + le16(0);
}

std::string content_types(std::string_view type) {
  return R"(<?xml version="1.0"?><Types><Default Extension="xml" ContentType="application/xml"/>)"
         R"(<Override PartName="/main" ContentType=")" +
         std::string(type) + R"("/></Types>)";
}

std::string make_compound(const std::vector<CompoundStream>& streams,
                          std::string_view class_identifier) {
  // Sector 0 is the allocation table, 1 that of the small stream; then directory and data.
  std::vector<std::uint32_t> table{allocation_sector, end_of_chain};
  std::vector<std::uint32_t> small_table;
  std::string data;
  std::string small_data;
  const std::size_t directory_sectors = (streams.size() + 1 + 3) / 4;
  const auto append_chain = [&](std::size_t sectors) {
    const auto first = static_cast<std::uint32_t>(table.size());
    for (std::size_t i = 1; i < sectors; ++i) {
      table.push_back(first + static_cast<std::uint32_t>(i));
    }
    table.push_back(end_of_chain);
    return first;
  };
  const std::uint32_t directory_start = append_chain(directory_sectors);
  std::string entries;
  for (std::size_t i = 0; i < streams.size(); ++i) {
    const CompoundStream& stream = streams[i];
    const auto size = static_cast<std::uint32_t>(stream.bytes.size());
    std::uint32_t start = end_of_chain;
    if (size >= 4096) {
      start = append_chain((size + sector_size - 1) / sector_size);
      data += padded(stream.bytes, (size + sector_size - 1) / sector_size * sector_size);
    } else if (size > 0) {
      start = static_cast<std::uint32_t>(small_table.size());
      const std::uint32_t sectors = (size + 63) / 64;
      for (std::uint32_t n = 1; n < sectors; ++n) small_table.push_back(start + n);
      small_table.push_back(end_of_chain);
      small_data += padded(stream.bytes, std::size_t{sectors} * 64);
    }
    const std::uint32_t right =
        i + 1 < streams.size() ? static_cast<std::uint32_t>(i + 2) : free_sector;
    entries +=
        directory_entry(stream.name, stream.storage ? 1 : 2, right, free_sector, start, size, {});
  }
  std::uint32_t small_start = end_of_chain;
  if (!small_data.empty()) {
    const std::size_t sectors = (small_data.size() + sector_size - 1) / sector_size;
    small_start = append_chain(sectors);
    data += padded(small_data, sectors * sector_size);
  }
  const std::string root =
      directory_entry("Root Entry", 5, free_sector, streams.empty() ? free_sector : 1, small_start,
                      static_cast<std::uint32_t>(small_data.size()), class_identifier);
  std::string header = std::string("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8) + std::string(16, '\0') +
                       le16(0x3E) + le16(3) + le16(0xFFFE) + le16(9) + le16(6) +
                       std::string(10, '\0') + le32(1) + le32(directory_start) + le32(0) +
                       le32(4096) + le32(1) + le32(1) + le32(end_of_chain) + le32(0) + le32(0);
  while (header.size() < sector_size) header += le32(free_sector);
  std::string table_bytes;
  for (const std::uint32_t entry : table) table_bytes += le32(entry);
  while (table_bytes.size() < sector_size) table_bytes += le32(free_sector);
  if (table_bytes.size() > sector_size) throw std::runtime_error("too much for one sector");
  std::string small_bytes;
  for (const std::uint32_t entry : small_table) small_bytes += le32(entry);
  while (small_bytes.size() < sector_size) small_bytes += le32(free_sector);
  return header + table_bytes + small_bytes +
         padded(root + entries, directory_sectors * sector_size) + data;
}

}  // namespace trfilter::test
