#include "engine/zip/zip_output.h"

#include <zlib.h>

#include <limits>
#include <utility>

#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

constexpr std::size_t piece = std::size_t{64} << 10;
constexpr std::uint16_t flag_descriptor = 1u << 3;
constexpr std::uint16_t flag_utf8 = 1u << 11;
constexpr std::uint16_t deflated = 8;
constexpr std::uint16_t version_needed = 20;
// 1980-01-01, which stands for no date.
constexpr std::uint16_t no_date = (1 << 5) | 1;

class Record {
 public:
  Record& signature(char third, char fourth) {
    bytes_ += {'P', 'K', third, fourth};
    return *this;
  }
  Record& put(std::uint64_t value, int size) {
    for (int i = 0; i < size; ++i) bytes_.push_back(static_cast<char>(value >> (8 * i)));
    return *this;
  }
  Record& text(std::string_view text) {
    bytes_ += text;
    return *this;
  }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

std::uint32_t checksum_of(std::uint32_t before, std::string_view bytes) {
  return static_cast<std::uint32_t>(
      crc32_z(before, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

class Deflater {
 public:
  Deflater() {
    if (deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, MAX_MEM_LEVEL,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
      throw EngineError(Code::out_of_memory, "no memory to pack a package's member");
    }
  }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;
  ~Deflater() { deflateEnd(&stream_); }

  template <typename Take>
  void feed(std::string_view bytes, bool last, Take take) {
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream_.avail_in = static_cast<uInt>(bytes.size());
    do {
      stream_.next_out = reinterpret_cast<Bytef*>(out_.data());
      stream_.avail_out = static_cast<uInt>(out_.size());
      deflate(&stream_, last ? Z_FINISH : Z_NO_FLUSH);
      take(std::string_view(out_).substr(0, out_.size() - stream_.avail_out));
    } while (stream_.avail_out == 0);
  }

 private:
  z_stream stream_{};
  std::string out_ = std::string(piece, '\0');
};

}  // namespace

void ZipOutput::put(std::string_view bytes) {
  output_.write(bytes);
  offset_ += bytes.size();
}

void ZipOutput::begin(const Member& member) {
  const bool sizes_follow = (member.flags & flag_descriptor) != 0;
  Record header;
  header.signature(3, 4).put(version_needed, 2).put(member.flags, 2).put(member.method, 2);
  header.put(0, 2).put(no_date, 2).put(sizes_follow ? 0 : member.checksum, 4);
  header.put(sizes_follow ? 0 : member.packed, 4).put(sizes_follow ? 0 : member.unpacked, 4);
  header.put(member.name.size(), 2).put(0, 2).text(member.name);
  put(header.bytes());
}

void ZipOutput::add_stored(std::string_view name, std::string_view bytes) {
  Member member{std::string(name),     offset_,      flag_utf8,   0,
                checksum_of(0, bytes), bytes.size(), bytes.size()};
  begin(member);
  put(bytes);
  members_.push_back(std::move(member));
}

void ZipOutput::add(std::string_view name, ZipPackage::Part& part) {
  Member member;
  member.name = name;
  member.offset = offset_;
  member.flags = flag_utf8 | flag_descriptor;
  member.method = deflated;
  begin(member);
  deflate_part(part, member);
  Record descriptor;
  descriptor.signature(7, 8).put(member.checksum, 4);
  descriptor.put(member.packed, 4).put(member.unpacked, 4);
  put(descriptor.bytes());
  members_.push_back(std::move(member));
}

void ZipOutput::deflate_part(ZipPackage::Part& part, Member& member) {
  Deflater deflater;
  std::vector<char> buffer(piece);
  while (true) {
    const std::size_t count = part.read(buffer);
    const std::string_view bytes(buffer.data(), count);
    member.checksum = checksum_of(member.checksum, bytes);
    member.unpacked += count;
    deflater.feed(bytes, count == 0, [&](std::string_view packed) {
      member.packed += packed.size();
      put(packed);
    });
    if (count == 0) return;
  }
}

void ZipOutput::finish() {
  const std::uint64_t directory = offset_;
  for (const Member& member : members_) {
    Record entry;
    entry.signature(1, 2).put(version_needed, 2).put(version_needed, 2).put(member.flags, 2);
    entry.put(member.method, 2).put(0, 2).put(no_date, 2).put(member.checksum, 4);
    entry.put(member.packed, 4).put(member.unpacked, 4).put(member.name.size(), 2);
    entry.put(0, 2).put(0, 2).put(0, 2).put(0, 2).put(0, 4).put(member.offset, 4);
    entry.text(member.name);
    put(entry.bytes());
  }
  if (offset_ > std::numeric_limits<std::uint32_t>::max() ||
      members_.size() > std::numeric_limits<std::uint16_t>::max()) {
    throw EngineError(Code::corrupt, "an embedded document is too large for a package");
  }
  Record end;
  end.signature(5, 6).put(0, 2).put(0, 2).put(members_.size(), 2).put(members_.size(), 2);
  end.put(offset_ - directory, 4).put(directory, 4).put(0, 2);
  put(end.bytes());
}

}  // namespace trfilter
