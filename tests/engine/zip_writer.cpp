#include "tests/engine/zip_writer.h"

#include <zlib.h>

#include <stdexcept>

namespace trfilter::test {
namespace {

void put(std::string& out, std::uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>(value >> (8 * i)));
}

std::string deflate_raw(std::string_view content) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) !=
      Z_OK) {
    throw std::runtime_error("deflateInit2");
  }
  std::string input(content);
  std::string packed(deflateBound(&stream, static_cast<uLong>(input.size())), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(input.data());
  stream.avail_in = static_cast<uInt>(input.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, Z_FINISH);
  packed.resize(packed.size() - stream.avail_out);
  deflateEnd(&stream);
  return packed;
}

std::uint32_t checksum_of(std::string_view content) {
  return static_cast<std::uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(content.data()), static_cast<uInt>(content.size())));
}

}  // namespace

ZipWriter& ZipWriter::add(std::string_view name, std::string_view content) {
  return add(name, content, Member{});
}

ZipWriter& ZipWriter::add(std::string_view name, std::string_view content, const Member& member) {
  const std::string data =
      member.method == Method::deflated ? deflate_raw(content) : std::string(content);
  const std::uint32_t checksum = checksum_of(content) ^ member.checksum_error;
  const auto flags =
      static_cast<std::uint16_t>((member.encrypted ? 1 : 0) | (member.descriptor ? 1 << 3 : 0));
  const std::uint16_t method = member.stated_method != 0xFFFF
                                   ? member.stated_method
                                   : static_cast<std::uint16_t>(member.method);
  const std::size_t offset = members_.size();

  const auto put_sizes = [&](std::string& out, bool known) {
    put(out, known ? checksum : 0, 4);
    put(out, known ? data.size() : 0, 4);
    put(out, known ? content.size() : 0, 4);
  };
  constexpr std::uint16_t version_needed = 20;

  put(members_, 0x04034B50, 4);
  put(members_, version_needed, 2);
  put(members_, flags, 2);
  put(members_, method, 2);
  put(members_, 0, 4);
  put_sizes(members_, !member.descriptor);
  put(members_, name.size(), 2);
  put(members_, 0, 2);
  members_ += name;
  members_ += data;
  if (member.descriptor) {
    put(members_, 0x08074B50, 4);
    put_sizes(members_, true);
  }

  put(directory_, 0x02014B50, 4);
  put(directory_, version_needed, 2);
  put(directory_, version_needed, 2);
  put(directory_, flags, 2);
  put(directory_, method, 2);
  put(directory_, 0, 4);
  put_sizes(directory_, true);
  put(directory_, name.size(), 2);
  put(directory_, 0, 2);  // extra field
  put(directory_, 0, 2);  // comment
  put(directory_, 0, 2);  // disk
  put(directory_, 0, 2);  // internal attributes
  put(directory_, 0, 4);  // external attributes
  put(directory_, offset, 4);
  directory_ += name;
  ++count_;
  return *this;
}

std::string ZipWriter::bytes() const {
  std::string out = members_ + directory_;
  put(out, 0x06054B50, 4);
  put(out, 0, 4);
  put(out, count_, 2);
  put(out, count_, 2);
  put(out, directory_.size(), 4);
  put(out, members_.size(), 4);
  put(out, 0, 2);
  return out;
}

}  // namespace trfilter::test
