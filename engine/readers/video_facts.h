#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "engine/core/document.h"
#include "engine/core/limits.h"
#include "engine/core/properties.h"

/// What containers of film state, each read by its own walk through the file.
namespace trfilter::video {

/// Adds what a Matroska or WebM file states. @return false when it is none
bool add_matroska_facts(Document& document, Limits& limits, Properties& properties);

/// Adds what an AVI file states. @return false when it is none
bool add_avi_facts(Document& document, Limits& limits, Properties& properties);

/// Text of a file that does not name its set: UTF-8, or else the Western one; up to the first NUL
/// character, without blanks around it.
std::string text_of(std::string_view bytes);

/// Texts of one film; what comes behind them is left out.
inline constexpr std::size_t most_texts = std::size_t{1} << 16;

/// Facts about streams of pictures and sound: the first of each counts.
class StreamFacts {
 public:
  void add_picture(std::uint64_t width, std::uint64_t height, double frames_a_second,
                   std::string codec);
  void add_sound(double sample_rate, std::uint64_t channels, std::uint64_t bits, std::string codec);
  void write(double seconds, Properties& properties) const;

 private:
  struct Picture {
    bool known = false;
    std::uint64_t width = 0;
    std::uint64_t height = 0;
    double rate = 0;
    std::string codec;
  };
  struct Sound {
    bool known = false;
    double rate = 0;
    std::uint64_t channels = 0;
    std::uint64_t bits = 0;
    std::string codec;
  };
  Picture picture_;
  Sound sound_;
};

/// `count` bytes of the document from `offset`, fewer at its end.
std::string read_bytes(Document& document, std::uint64_t offset, std::uint64_t count);

}  // namespace trfilter::video
