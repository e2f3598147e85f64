#include "engine/detect/mpeg_audio.h"

#include <array>

#include "engine/core/fields.h"

namespace trfilter::detection {
namespace {

constexpr std::size_t header_size = 8;

/// Bits of a header that all frames of a stream share: sync, version, layer, sampling rate.
constexpr std::uint32_t constant_bits = 0xFFFE0C00;

/// Kilobits a second: MPEG 1 layers 1 to 3, then MPEG 2 layer 1, then its layers 2 and 3.
constexpr std::array<std::array<std::uint16_t, 15>, 5> bit_rates{{
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
}};

/// The bytes of an ADTS frame; 0 when `header` begins none.
std::size_t adts_size(std::string_view header) {
  const std::uint32_t sampling = (byte_at(header, 2) >> 2) & 0xF;
  const std::uint32_t size =
      (byte_at(header, 3) & 3) << 11 | byte_at(header, 4) << 3 | byte_at(header, 5) >> 5;
  return sampling <= 12 && size > 7 ? size : 0;
}

/// The bytes of the frame that `header` begins; 0 when it begins none.
std::size_t frame_size(std::string_view header) {
  if (byte_at(header, 0) != 0xFF || (byte_at(header, 1) & 0xE0) != 0xE0) return 0;
  const std::uint32_t version = (byte_at(header, 1) >> 3) & 3;
  const std::uint32_t layer_code = (byte_at(header, 1) >> 1) & 3;
  if (layer_code == 0) return (byte_at(header, 1) & 0xF6) == 0xF0 ? adts_size(header) : 0;
  const std::uint32_t rate_code = byte_at(header, 2) >> 4;
  const std::uint32_t sampling_code = (byte_at(header, 2) >> 2) & 3;
  if (version == 1 || rate_code == 0 || rate_code == 15 || sampling_code == 3) return 0;
  const bool mpeg_1 = version == 3;
  const std::uint32_t layer = 4 - layer_code;
  const std::size_t row = mpeg_1 ? layer - 1 : (layer == 1 ? 3 : 4);
  constexpr std::array<std::uint32_t, 3> rates{44100, 48000, 32000};
  const std::uint32_t sampling = rates[sampling_code] >> (mpeg_1 ? 0 : version == 2 ? 1 : 2);
  const std::uint32_t bits = std::uint32_t{bit_rates[row][rate_code]} * 1000;
  const std::uint32_t padding = (byte_at(header, 2) >> 1) & 1;
  if (layer == 1) return (std::size_t{12} * bits / sampling + padding) * 4;
  const std::uint32_t samples = layer == 3 && !mpeg_1 ? 72 : 144;
  return std::size_t{samples} * bits / sampling + padding;
}

}  // namespace

bool has_mpeg_audio_frames(Content& content, std::uint64_t offset) {
  constexpr int frames_to_see = 3;
  const std::string first = content.read(offset, header_size);
  std::string header = first;
  for (int frame = 0; frame < frames_to_see; ++frame) {
    const std::size_t size = frame_size(header);
    if (size == 0 || ((be32(header, 0) ^ be32(first, 0)) & constant_bits) != 0) return false;
    offset += size;
    header = content.read(offset, header_size);
    // A short file may hold fewer frames, but two at least; a tag may follow.
    if (header.size() < header_size || matches(header, 0, "TAG")) return frame >= 1;
  }
  return true;
}

}  // namespace trfilter::detection
