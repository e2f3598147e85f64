// Film in containers that sound does not share: Matroska and WebM (RFC 9559), AVI (RIFF).
//
// There is no text. Properties are those of the headers and tags, wherever they are in the file;
// the streams themselves are never read.

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "engine/core/property_names.h"
#include "engine/core/reader.h"
#include "engine/core/utf8.h"
#include "engine/readers/video_facts.h"

namespace trfilter {
namespace video {

std::string text_of(std::string_view bytes) {
  constexpr std::string_view blanks = " \t\r\n";
  bytes = bytes.substr(0, bytes.find('\0'));
  const std::size_t begin = bytes.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  bytes = bytes.substr(begin, bytes.find_last_not_of(blanks) - begin + 1);
  if (is_valid_utf8(bytes)) return std::string(bytes);
  std::string text;
  for (const char c : bytes) append_utf8(text, static_cast<unsigned char>(c));
  return text;
}

std::string read_bytes(Document& document, std::uint64_t offset, std::uint64_t count) {
  if (offset >= document.size()) return {};
  std::string bytes(static_cast<std::size_t>(std::min(count, document.size() - offset)), '\0');
  bytes.resize(document.read_at(offset, bytes));
  return bytes;
}

void StreamFacts::add_picture(std::uint64_t width, std::uint64_t height, double frames_a_second,
                              std::string codec) {
  if (picture_.known) return;
  picture_ = {true, width, height, frames_a_second, std::move(codec)};
}

void StreamFacts::add_sound(double sample_rate, std::uint64_t channels, std::uint64_t bits,
                            std::string codec) {
  if (sound_.known) return;
  sound_ = {true, sample_rate, channels, bits, std::move(codec)};
}

void StreamFacts::write(double seconds, Properties& properties) const {
  constexpr double most = std::numeric_limits<std::int32_t>::max();
  const auto add_number = [&](std::string_view name, double value) {
    if (value >= 1 && value <= most) properties.add(name, static_cast<std::int32_t>(value));
  };
  const auto add_real = [&](std::string_view name, double value) {
    if (std::isfinite(value) && value > 0) properties.add(name, value);
  };
  add_real(property::duration, seconds);
  add_number(property::width, static_cast<double>(picture_.width));
  add_number(property::height, static_cast<double>(picture_.height));
  add_real(property::frame_rate, picture_.rate);
  properties.add(property::video_codec, picture_.codec);
  add_number(property::sample_rate, sound_.rate);
  add_number(property::channel_count, static_cast<double>(sound_.channels));
  add_number(property::bit_depth, static_cast<double>(sound_.bits));
  properties.add(property::audio_codec, sound_.codec);
}

}  // namespace video

namespace {

class VideoReader final : public Reader {
 public:
  explicit VideoReader(const ReaderContext& context) : context_(context) {}

  bool step(TextSink& /*sink*/) override {
    throw EngineError(Code::unsupported_format, "film has no text");
  }

  void properties(Properties& properties) override {
    const bool is_avi = context_.detection.format == Format::avi;
    const auto add = is_avi ? video::add_avi_facts : video::add_matroska_facts;
    if (!add(context_.document, context_.limits, properties)) {
      throw EngineError(Code::corrupt, "the film cannot be read");
    }
  }

 private:
  const ReaderContext context_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(video, trfilter::VideoReader)
