#include "engine/office_art/blip.h"

#include <zlib.h>

#include <algorithm>
#include <array>

#include "engine/core/engine_error.h"
#include "engine/core/fields.h"

namespace trfilter {
namespace {

constexpr std::size_t identifier_size = 16;
constexpr std::size_t metafile_head = 34;
constexpr std::size_t bitmap_tag = 1;
constexpr std::uint8_t not_compressed = 0xFE;

constexpr std::uint16_t pict_record = 0xF01C;
constexpr std::uint16_t bitmap_record = 0xF01F;
constexpr std::size_t pict_file_head = 512;
constexpr std::uint32_t bitmap_file_head = 14;

struct Kind {
  std::uint16_t type;
  std::string_view extension;
  bool metafile;
  std::array<unsigned, 2> two_identifiers;  ///< instances of records with a second one
};

constexpr auto kinds = std::to_array<Kind>({
    {0xF01A, ".emf", true, {0x3D5, 0x3D5}},
    {0xF01B, ".wmf", true, {0x217, 0x217}},
    {pict_record, ".pict", true, {0x543, 0x543}},
    {0xF01D, ".jpg", false, {0x46B, 0x6E3}},
    {0xF01E, ".png", false, {0x6E1, 0x6E1}},
    {bitmap_record, ".bmp", false, {0x7A9, 0x7A9}},
    {0xF029, ".tif", false, {0x6E5, 0x6E5}},
    {0xF02A, ".jpg", false, {0x46B, 0x6E3}},
});

/// The head of a bitmap's file, which the record leaves out.
std::string bitmap_head(std::string_view bitmap) {
  constexpr std::uint32_t old_header = 12;
  constexpr std::uint32_t bit_fields = 3;
  const std::uint32_t header = le32(bitmap, 0);
  const std::uint32_t depth = header == old_header ? le16(bitmap, 10) : le16(bitmap, 14);
  std::uint64_t colors = header == old_header ? 0 : le32(bitmap, 32);
  if (colors == 0 && depth <= 8) colors = std::uint64_t{1} << depth;
  const std::uint64_t color_size = header == old_header ? 3 : 4;
  const std::uint64_t masks = header == 40 && le32(bitmap, 16) == bit_fields ? 12 : 0;
  const auto pixels =
      static_cast<std::uint32_t>(bitmap_file_head + header + masks + colors * color_size);
  const auto size = static_cast<std::uint32_t>(bitmap_file_head + bitmap.size());
  std::string head = "BM";
  for (const std::uint32_t value : {size, 0u, pixels}) {
    for (unsigned shift = 0; shift < 32; shift += 8) {
      head += static_cast<char>(value >> shift & 0xFF);
    }
  }
  return head;
}

void inflate_to(std::string_view packed, Limits& limits, ByteOutput& output) {
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) throw std::bad_alloc();
  struct End {
    z_stream& stream;
    ~End() { inflateEnd(&stream); }
  } end{stream};
  std::string input(packed);
  stream.next_in = reinterpret_cast<Bytef*>(input.data());
  stream.avail_in = static_cast<uInt>(input.size());
  std::string block(std::size_t{64} << 10, '\0');
  int status = Z_OK;
  while (status == Z_OK) {
    stream.next_out = reinterpret_cast<Bytef*>(block.data());
    stream.avail_out = static_cast<uInt>(block.size());
    status = inflate(&stream, Z_NO_FLUSH);
    const std::size_t got = block.size() - stream.avail_out;
    limits.charge_unpacked(got);
    if (got != 0) output.write(std::string_view(block).substr(0, got));
    if (got == 0 && status == Z_OK) break;
  }
  if (status != Z_STREAM_END) throw EngineError(Code::corrupt, "a picture's data are damaged");
}

}  // namespace

std::optional<Blip> Blip::of(const ArtRecord& record) {
  for (const Kind& kind : kinds) {
    if (kind.type != record.type) continue;
    const bool two =
        record.instance == kind.two_identifiers[0] || record.instance == kind.two_identifiers[1];
    const std::size_t fields = (two ? 2 : 1) * identifier_size;
    Blip blip;
    blip.extension = kind.extension;
    blip.data_at = fields + (kind.metafile ? metafile_head : bitmap_tag);
    if (record.size < blip.data_at) return std::nullopt;
    blip.size = record.size - static_cast<std::uint32_t>(blip.data_at);
    if (kind.metafile) {
      blip.compressed = byte_at(record.data, fields + 32) != not_compressed;
      if (blip.compressed) blip.size = le32(record.data, fields);
    }
    if (kind.type == pict_record) blip.size += pict_file_head;
    if (kind.type == bitmap_record) blip.size += bitmap_file_head;
    return blip;
  }
  return std::nullopt;
}

void write_blip(const ArtRecord& record, const Blip& blip, Limits& limits, ByteOutput& output) {
  const std::string_view data = record.data.substr(std::min(blip.data_at, record.data.size()));
  if (record.type == pict_record) output.write(std::string(pict_file_head, '\0'));
  if (record.type == bitmap_record) output.write(bitmap_head(data));
  if (blip.compressed) {
    inflate_to(data, limits, output);
  } else {
    output.write(data);
  }
  if (record.is_cut()) throw EngineError(Code::corrupt, "a picture is cut short");
}

PictureEntry::PictureEntry(const ArtRecord& entry) {
  constexpr std::size_t fixed_size = 36;
  size = le32(entry.data, 20);
  location = le32(entry.data, 28);
  const std::size_t name = byte_at(entry.data, 33);
  if (has(entry.data, fixed_size + name, ArtRecord::head_size)) {
    record = entry.data.substr(fixed_size + name);
  }
}

}  // namespace trfilter
