#include "engine/readers/archive_gzip.h"

#include <isa-l/igzip_lib.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

constexpr std::size_t input_buffer = std::size_t{64} << 10;
/// More than the bytes that the library's bit buffer holds.
constexpr std::size_t given_back = 16;

class GzipStream final : public ByteStream {
 public:
  GzipStream(std::unique_ptr<ByteStream> packed, ExpansionMeter& meter)
      : packed_(std::move(packed)), meter_(&meter) {
    isal_inflate_init(&state_);
    state_.crc_flag = ISAL_GZIP;
    state_.next_in = input_.data() + given_back;
    state_.avail_in = 0;
  }

  std::size_t read(std::span<char> out) override {
    state_.next_out = reinterpret_cast<std::uint8_t*>(out.data());
    state_.avail_out = static_cast<std::uint32_t>(out.size());
    while (state_.avail_out != 0 && !ended_ && error_ == nullptr) unpack();
    const std::size_t count = out.size() - state_.avail_out;
    meter_->add_unpacked(count);
    if (count == 0 && error_ != nullptr) throw EngineError(Code::corrupt, error_);
    return count;
  }

 private:
  void unpack() {
    if (state_.avail_in == 0) fill();
    const bool no_input = state_.avail_in == 0;
    const std::uint32_t room = state_.avail_out;
    const int status = isal_inflate(&state_);
    if (status < ISAL_DECOMP_OK || status == ISAL_NEED_DICT) {
      error_ = "damaged data in a gzip file";
    } else if (state_.block_state == ISAL_BLOCK_FINISH) {
      begin_next_member();
    } else if (no_input && state_.avail_out == room) {
      error_ = "a gzip file is cut short";
    }
  }

  /// Goes on with the member that follows, if one does: padding and other data may, too.
  void begin_next_member() {
    if (state_.avail_in < 2) fill();
    const bool another =
        state_.avail_in >= 2 && state_.next_in[0] == 0x1F && state_.next_in[1] == 0x8B;
    ended_ = !another;
    if (another) isal_inflate_reset(&state_);
  }

  /// Reads on behind what is left of the input. What stood before that stays there: at a member's
  /// end the library gives back whole bytes of the bits that it has taken, those of an earlier
  /// block among them.
  void fill() {
    const std::size_t kept = given_back + state_.avail_in;
    std::memmove(input_.data(), state_.next_in - given_back, kept);
    const std::size_t count = packed_->read(
        std::span(reinterpret_cast<char*>(input_.data()), input_.size()).subspan(kept));
    meter_->add_packed(count);
    state_.next_in = input_.data() + given_back;
    state_.avail_in += static_cast<std::uint32_t>(count);
  }

  std::unique_ptr<ByteStream> packed_;
  ExpansionMeter* meter_;
  inflate_state state_;
  std::array<std::uint8_t, input_buffer> input_{};
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
