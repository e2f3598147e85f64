#include "engine/office_art/inflate.h"

#include <zlib.h>

#include <new>
#include <string>

#include "engine/core/engine_error.h"

namespace trfilter {

void inflate_to(std::string_view packed, std::uint64_t size, Limits& limits, ByteOutput& output) {
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
  std::uint64_t done = 0;
  while (status == Z_OK) {
    stream.next_out = reinterpret_cast<Bytef*>(block.data());
    stream.avail_out = static_cast<uInt>(block.size());
    status = inflate(&stream, Z_NO_FLUSH);
    const std::size_t got = block.size() - stream.avail_out;
    limits.charge_unpacked(got);
    done += got;
    if (got != 0) output.write(std::string_view(block).substr(0, got));
    if (got == 0 && status == Z_OK) break;
  }
  if (status != Z_STREAM_END && (done != size || status == Z_DATA_ERROR))
    throw EngineError(Code::corrupt, "packed data are damaged");
}

}  // namespace trfilter
