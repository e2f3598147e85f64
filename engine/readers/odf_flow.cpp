#include "engine/readers/odf_flow.h"

#include <utility>

namespace trfilter {

void TextRecord::text(std::string_view utf8) {
  if (utf8.empty()) return;
  bytes_ += utf8;
  if (!steps_.empty() && steps_.back().kind == Kind::text) {
    steps_.back().value += static_cast<std::uint32_t>(utf8.size());
  } else {
    add(Kind::text, static_cast<std::uint32_t>(utf8.size()));
  }
}

void TextRecord::drop_last_paragraph() {
  if (!steps_.empty() && steps_.back().kind == Kind::paragraph) steps_.pop_back();
}

template <typename Function>
void TextFlow::tell(Function function) {
  if (target_ == nullptr) {
    function(*sink_);
    return;
  }
  function(*target_);
  if (target_->size() > most_held) check_held();
}

void TextFlow::text(std::string_view utf8) {
  told_ += utf8.size();
  tell([utf8](auto& target) { target.text(utf8); });
}
void TextFlow::line() {
  tell([](auto& target) { target.line(); });
}
void TextFlow::paragraph() {
  tell([](auto& target) { target.paragraph(); });
}
void TextFlow::begin_row() {
  tell([](auto& target) { target.begin_row(); });
}
void TextFlow::cell(unsigned count) {
  tell([count](auto& target) { target.cell(count); });
}
void TextFlow::row() {
  tell([](auto& target) { target.row(); });
}
void TextFlow::page() {
  tell([](auto& target) { target.page(); });
}
void TextFlow::begin(Region region) {
  tell([region](auto& target) { target.begin(region); });
}
void TextFlow::end(Region region) {
  tell([region](auto& target) { target.end(region); });
}

void TextFlow::show(const TextRecord& record) {
  told_ += record.bytes().size();
  tell([&record](auto& target) { record.replay(target); });
}

/// Gives up holding back the innermost record, which has become too large.
void TextFlow::check_held() {
  for (auto frame = frames_.rbegin(); frame != frames_.rend(); ++frame) {
    if (frame->record.get() != target_) continue;
    if (frame->kind == Kind::bounded_capture) {
      *target_ = TextRecord();
      return;
    }
    const std::unique_ptr<TextRecord> record = std::move(frame->record);
    frame->passes_through = true;
    target_ = frame->target_before;
    // Frames within told the same record.
    for (auto inner = frames_.begin() + (frames_.rend() - frame); inner != frames_.end(); ++inner) {
      if (inner->target_before == record.get()) inner->target_before = target_;
    }
    tell([&record](auto& target) { record->replay(target); });
    return;
  }
}

void TextFlow::push(Kind kind, bool takes_text) {
  if (frames_.size() >= most_frames) {
    ++frames_beyond_;
    return;
  }
  frames_.push_back({kind, !takes_text, target_, nullptr});
  if (takes_text) {
    frames_.back().record = std::make_unique<TextRecord>();
    target_ = frames_.back().record.get();
  }
}

TextFlow::Frame TextFlow::pop() {
  if (frames_beyond_ > 0) {
    --frames_beyond_;
    return {Kind::anchor, true, target_, nullptr};
  }
  Frame frame = std::move(frames_.back());
  frames_.pop_back();
  target_ = frame.target_before;
  return frame;
}

void TextFlow::begin_anchor() {
  push(Kind::anchor, false);
}

void TextFlow::end_anchor() {
  const Frame frame = pop();
  if (frame.record) tell([&frame](auto& target) { frame.record->replay(target); });
}

/// The outermost anchor that no detour or capture stands around; null when there is none.
TextFlow::Frame* TextFlow::anchor_of_detour() {
  Frame* anchor = nullptr;
  for (auto frame = frames_.rbegin(); frame != frames_.rend(); ++frame) {
    if (frame->kind == Kind::anchor) {
      anchor = &*frame;
    } else if (!frame->passes_through) {
      break;
    }
  }
  return anchor;
}

void TextFlow::begin_detour() {
  push(Kind::detour, anchor_of_detour() != nullptr);
}

void TextFlow::end_detour() {
  const Frame frame = pop();
  if (!frame.record) return;
  Frame* anchor = anchor_of_detour();
  if (anchor == nullptr) {
    tell([&frame](auto& target) { frame.record->replay(target); });
    return;
  }
  if (!anchor->record) anchor->record = std::make_unique<TextRecord>();
  frame.record->replay(*anchor->record);
  if (anchor->record->size() <= most_held) return;
  const std::unique_ptr<TextRecord> record = std::move(anchor->record);
  tell([&record](auto& target) { record->replay(target); });
}

void TextFlow::begin_capture(Excess excess) {
  push(excess == Excess::dropped ? Kind::bounded_capture : Kind::capture, true);
}

TextRecord TextFlow::end_capture() {
  Frame frame = pop();
  return frame.record ? std::move(*frame.record) : TextRecord();
}

}  // namespace trfilter
