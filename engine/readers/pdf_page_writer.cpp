#include "engine/readers/pdf_page_writer.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

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

/// Writes segments one after the other as lines and blocks.
class Writer {
 public:
  Writer(const PageText& page, TextSink& sink) : page_(&page), sink_(&sink) {}

  void write(const Segment& segment) {
    if (segment.hidden && !sink_->begin(Region::hidden)) {
      sink_->end(Region::hidden);
      return;
    }
    text_.clear();
    if (before_ != nullptr) write_break(break_between(*before_, segment));
    page_->append_segment_text(segment, text_);
    hyphenated_ = text_.ends_with("\xC2\xAD");
    sink_->clean_text(text_);
    if (segment.hidden) sink_->end(Region::hidden);
    before_ = &segment;
  }

  /// What follows stands by itself.
  void end() {
    sink_->paragraph();
    before_ = nullptr;
  }

 private:
  void write_break(Break what) {
    switch (what) {
      case Break::none:
        break;
      case Break::space:
        text_.push_back(' ');
        break;
      case Break::line:
        // A word that is divided at a soft hyphen goes on without a line's end.
        if (!hyphenated_) sink_->line();
        break;
      case Break::block:
        sink_->line();
        sink_->line();
        break;
    }
  }

  const PageText* page_;
  TextSink* sink_;
  const Segment* before_ = nullptr;
  std::string text_;
  bool hyphenated_ = false;
};

}  // namespace

void write_page(const PageText& page, std::span<const std::uint32_t> order,
                std::optional<float> middle, TextSink& sink) {
  const std::span<const Segment> segments = page.segments();
  std::vector<std::uint32_t> header;
  std::vector<std::uint32_t> body;
  std::vector<std::uint32_t> footer;
  for (const std::uint32_t index : order) {
    const bool is_artifact = middle && segments[index].artifact;
    auto& part = !is_artifact ? body : segments[index].baseline < *middle ? header : footer;
    part.push_back(index);
  }
  Writer writer(page, sink);
  const auto write_part = [&](const std::vector<std::uint32_t>& part) {
    for (const std::uint32_t index : part) writer.write(segments[index]);
  };
  const auto write_region = [&](const std::vector<std::uint32_t>& part, Region region) {
    if (part.empty()) return;
    if (sink.begin(region)) write_part(part);
    sink.end(region);
    writer.end();
  };
  write_region(header, Region::header);
  write_part(body);
  writer.end();
  write_region(footer, Region::footer);
}

}  // namespace trfilter::pdf
