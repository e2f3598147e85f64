#include "engine/readers/archive_gzip.h"

#include <zlib.h>

#include <array>
#include <string_view>

#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

constexpr std::size_t input_buffer = std::size_t{32} << 10;
/// Asks zlib for the gzip format, header and trailer included.
constexpr int gzip_window = MAX_WBITS + 16;

class GzipStream final : public ByteStream {
 public:
  GzipStream(std::unique_ptr<ByteStream> packed, ExpansionMeter& meter)
      : packed_(std::move(packed)), meter_(&meter) {
    if (inflateInit2(&stream_, gzip_window) != Z_OK) {
      throw EngineError(Code::out_of_memory, "no memory to unpack a gzip file");
    }
  }
  GzipStream(const GzipStream&) = delete;
  GzipStream& operator=(const GzipStream&) = delete;
  ~GzipStream() override { inflateEnd(&stream_); }

  std::size_t read(std::span<char> out) override {
    stream_.next_out = reinterpret_cast<Bytef*>(out.data());
    stream_.avail_out = static_cast<uInt>(out.size());
    while (stream_.avail_out != 0 && !ended_ && error_ == nullptr) unpack();
    const std::size_t count = out.size() - stream_.avail_out;
    meter_->add_unpacked(count);
    if (count == 0 && error_ != nullptr) throw EngineError(Code::corrupt, error_);
    return count;
  }

 private:
  void unpack() {
    if (stream_.avail_in == 0) fill();
    const bool no_input = stream_.avail_in == 0;
    const int status = inflate(&stream_, Z_NO_FLUSH);
    if (status == Z_STREAM_END) {
      begin_next_member();
    } else if (status == Z_MEM_ERROR) {
      throw EngineError(Code::out_of_memory, "no memory to unpack a gzip file");
    } else if (status == Z_BUF_ERROR && no_input) {
      error_ = "a gzip file is cut short";
    } else if (status != Z_OK && status != Z_BUF_ERROR) {
      error_ = "damaged data in a gzip file";
    }
  }

  /// Goes on with the member that follows, if one does: padding and other data may, too.
  void begin_next_member() {
    if (stream_.avail_in < 2) fill();
    const bool another =
        stream_.avail_in >= 2 && stream_.next_in[0] == 0x1F && stream_.next_in[1] == 0x8B;
    ended_ = !another;
    if (another) inflateReset(&stream_);
  }

  /// Reads on behind what is left of the input.
  void fill() {
    std::size_t kept = stream_.avail_in;
    for (std::size_t i = 0; i < kept; ++i) input_[i] = static_cast<char>(stream_.next_in[i]);
    const std::size_t count = packed_->read(std::span(input_).subspan(kept));
    meter_->add_packed(count);
    stream_.next_in = reinterpret_cast<Bytef*>(input_.data());
    stream_.avail_in = static_cast<uInt>(kept + count);
  }

  std::unique_ptr<ByteStream> packed_;
  ExpansionMeter* meter_;
  z_stream stream_{};
  std::array<char, input_buffer> input_;
  bool ended_ = false;
  const char* error_ = nullptr;
};

}  // namespace

std::unique_ptr<ByteStream> open_gzip(std::unique_ptr<ByteStream> packed, ExpansionMeter& meter) {
  return std::make_unique<GzipStream>(std::move(packed), meter);
}

GzipHeader gzip_header_of(Document& document) {
  constexpr std::size_t fixed_size = 10;
  constexpr std::size_t longest = std::size_t{64} << 10;
  constexpr unsigned flag_extra = 1u << 2;
  constexpr unsigned flag_name = 1u << 3;
  GzipHeader header;
  const std::string_view head = document.head(longest);
  if (head.size() < fixed_size) return header;
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(head[at]); };
  const std::uint32_t time = byte(4) | static_cast<std::uint32_t>(byte(5)) << 8 |
                             static_cast<std::uint32_t>(byte(6)) << 16 |
                             static_cast<std::uint32_t>(byte(7)) << 24;
  if (time != 0) header.time = FileTime::from_unix_seconds(time);
  std::size_t at = fixed_size;
  if ((byte(3) & flag_extra) != 0) {
    if (head.size() < at + 2) return header;
    at += 2 + (byte(at) | static_cast<std::size_t>(byte(at + 1)) << 8);
  }
  if ((byte(3) & flag_name) == 0 || at >= head.size()) return header;
  const std::size_t end = head.find('\0', at);
  if (end != std::string_view::npos) header.name = head.substr(at, end - at);
  return header;
}

}  // namespace trfilter
