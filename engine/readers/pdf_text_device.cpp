#include "engine/readers/pdf_text_device.h"

#include <GfxFont.h>
#include <GfxState.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "engine/readers/pdf_characters.h"
#include "engine/readers/pdf_strings.h"

namespace trfilter::pdf {
namespace {

constexpr std::size_t max_marked_content_depth = 4096;

/// The height of a line of text, which a font's own coordinates may state in any unit.
double font_size(const GfxState& state) {
  const double size = state.getTransformedFontSize();
  const auto& font = state.getFont();
  if (font == nullptr || font->getType() != fontType3) return size;
  const double* box = font->getFontBBox();
  const double height = std::abs((box[3] - box[1]) * font->getFontMatrix()[3]);
  return height > 0.01 && height < 100 ? size * height : size;
}

}  // namespace

TextDevice::TextDevice(PageText& page, StreamSource& source, std::function<void()> on_full)
    : page_(&page), source_(&source), on_full_(std::move(on_full)) {}

template <typename Work>
void TextDevice::guarded(Work work) noexcept {
  if (source_->ended) return;
  try {
    work();
  } catch (...) {
    source_->fail(std::current_exception());
  }
}

bool TextDevice::useDrawForm() {
  guarded([&] { source_->limits.check_time(); });
  return source_->ended;
}

void TextDevice::saveState(GfxState* /*state*/) {
  if (++saved_states_ <= max_saved_states) return;
  cut_off_ = true;
  source_->ended = true;
}

void TextDevice::restoreState(GfxState* /*state*/) {
  if (saved_states_ != 0) --saved_states_;
}

void TextDevice::begin_annotation() {
  guarded([&] { page_->set_annotation(true); });
}

void TextDevice::startPage(int /*number*/, GfxState* state, XRef* /*references*/) {
  width_ = state != nullptr ? state->getPageWidth() : 0;
  height_ = state != nullptr ? state->getPageHeight() : 0;
  saved_states_ = 0;
  cut_off_ = false;
  replacement_depth_ = 0;
  marked_content_.clear();
  guarded([&] {
    page_->set_annotation(false);
    page_->set_marked_content(-1, false);
  });
}

void TextDevice::beginString(GfxState* state, const GooString* /*string*/) {
  double m11 = 0;
  double m12 = 0;
  double m21 = 0;
  double m22 = 0;
  state->getFontTransMat(&m11, &m12, &m21, &m22);
  const auto& font = state->getFont();
  Frame frame;
  if (font != nullptr && font->getWMode() != 0) {
    // Vertical writing: down the page, the next line to the left.
    const double length = std::hypot(m21, m22);
    if (length > 0) {
      frame.cosine = -m21 / length;
      frame.sine = -m22 / length;
    }
  } else {
    const double length = std::hypot(m11, m12);
    if (length > 0) {
      frame.cosine = m11 / length;
      frame.sine = m12 / length;
    }
    frame.mirrored = m22 * frame.cosine - m21 * frame.sine > 0;
  }
  guarded([&] { page_->set_frame(frame, font_size(*state)); });
}

void TextDevice::drawChar(GfxState* state, double x, double y, double dx, double dy,
                          double /*origin_x*/, double /*origin_y*/, CharCode code, int bytes,
                          const Unicode* characters, int count) {
  // The library's advance includes what is set between characters and words.
  const double spacing = state->getCharSpace();
  const double extra = spacing + (code == ' ' && bytes == 1 ? state->getWordSpace() : 0);
  double extra_x = 0;
  double extra_y = 0;
  if (extra != 0) {
    if (state->getFont() != nullptr && state->getFont()->getWMode() != 0) {
      state->textTransformDelta(0, extra, &extra_x, &extra_y);
    } else {
      state->textTransformDelta(extra * state->getHorizScaling(), 0, &extra_x, &extra_y);
    }
  }
  Drawn drawn;
  state->transform(x, y, &drawn.x, &drawn.y);
  state->transformDelta(dx - extra_x, dy - extra_y, &drawn.dx, &drawn.dy);
  if (spacing > 0) {
    const double scale =
        state->getFontSize() > 0 ? state->getTransformedFontSize() / state->getFontSize() : 1;
    drawn.character_spacing = spacing * scale;
  }
  constexpr double margin = 1;
  drawn.outside = drawn.x + drawn.dx < -margin || drawn.x > width_ + margin ||
                  drawn.y + drawn.dy < -margin || drawn.y > height_ + margin;
  const std::size_t meanings =
      count > 0 && characters != nullptr ? static_cast<std::size_t>(count) : 0;
  guarded([&] { draw(drawn, {characters, meanings}); });
}

void TextDevice::draw(const Drawn& drawn, std::span<const Unicode> characters) {
  if (replacement_depth_ != 0) {
    if (replacement_due_) {
      replacement_due_ = false;
      page_->add(drawn, replacement_);
    } else {
      page_->extend_last(drawn);
    }
    return;
  }
  text_.clear();
  for (const Unicode character : characters) append_plain(text_, character);
  page_->add(drawn, text_);
  if (page_->full()) on_full_();
}

void TextDevice::beginActualText(GfxState* /*state*/, const GooString* text) {
  if (replacement_depth_++ != 0 || text == nullptr) return;
  guarded([&] {
    replacement_ = plain_text_string(text->toStr());
    replacement_due_ = true;
  });
}

void TextDevice::endActualText(GfxState* /*state*/) {
  if (replacement_depth_ != 0) --replacement_depth_;
}

void TextDevice::beginMarkedContent(const char* name, Dict* properties) {
  if (!tagged_ || marked_content_.size() >= max_marked_content_depth) return;
  MarkedContent content = marked_content_.empty() ? MarkedContent{} : marked_content_.back();
  if (std::strcmp(name, "Artifact") == 0) content = {-1, true};
  if (properties != nullptr) {
    const Object identifier = properties->lookup("MCID");
    if (identifier.isInt()) content = {identifier.getInt(), false};
  }
  guarded([&] {
    marked_content_.push_back(content);
    page_->set_marked_content(content.identifier, content.artifact);
  });
}

void TextDevice::endMarkedContent(GfxState* /*state*/) {
  if (!tagged_ || marked_content_.empty()) return;
  marked_content_.pop_back();
  const MarkedContent content = marked_content_.empty() ? MarkedContent{} : marked_content_.back();
  guarded([&] { page_->set_marked_content(content.identifier, content.artifact); });
}

}  // namespace trfilter::pdf
