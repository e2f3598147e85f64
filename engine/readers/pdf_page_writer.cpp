#include "engine/readers/pdf_page_writer.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace trfilter::pdf {
namespace {

enum class Break : std::uint8_t { none, space, line, block };

/// What stands between two segments that are read one after the other.
Break break_between(const Segment& before, const Segment& after) {
  if (before.frame != after.frame) return Break::block;
  const float size = std::max(before.size, after.size);
  const float down = after.baseline - before.baseline;
  if (std::abs(down) < 0.5F * size) {
    const float forward = after.u0 - before.u1;
    const float backward = before.u0 - after.u1;
    const bool turned = before.right_to_left || after.right_to_left;
    const float gap = turned ? std::max(forward, backward) : forward;
    if (gap > -0.35F * size) {
      const bool adjoins = gap < 0.15F * size && before.annotation == after.annotation;
      return adjoins ? Break::none : Break::space;
    }
    return Break::line;
  }
  // Lines of a paragraph are rarely further apart than this.
  constexpr float paragraph_lines = 1.9F;
  return down > 0 && down < paragraph_lines * size ? Break::line : Break::block;
}

}  // namespace

void write_page(const PageText& page, std::span<const std::uint32_t> order, TextSink& sink) {
  constexpr std::string_view soft_hyphen = "\xC2\xAD";
  const Segment* before = nullptr;
  std::string text;
  bool hyphenated = false;
  for (const std::uint32_t index : order) {
    const Segment& segment = page.segments()[index];
    if (segment.hidden && !sink.begin(Region::hidden)) {
      sink.end(Region::hidden);
      continue;
    }
    text.clear();
    if (before != nullptr) {
      switch (break_between(*before, segment)) {
        case Break::none:
          break;
        case Break::space:
          text.push_back(' ');
          break;
        case Break::line:
          // A word that is divided at a soft hyphen goes on without a line's end.
          if (!hyphenated) sink.line();
          break;
        case Break::block:
          sink.line();
          sink.line();
          break;
      }
    }
    page.append_segment_text(segment, text);
    hyphenated = text.ends_with(soft_hyphen);
    sink.clean_text(text);
    if (segment.hidden) sink.end(Region::hidden);
    before = &segment;
  }
}

}  // namespace trfilter::pdf
