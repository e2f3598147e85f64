#include "engine/readers/rtf_flow.h"

#include <algorithm>
#include <utility>

namespace trfilter::rtf {

void Flow::text(std::string_view utf8) {
  if (sink_ == nullptr || utf8.empty()) return;
  if (open_.empty() || in_place_) {
    sink_->clean_text(utf8);
    return;
  }
  Note& note = notes_[open_.back()];
  if (note.events.empty()) {
    // A note begins with the blank that follows its number, which is not shown.
    utf8.remove_prefix(std::min(utf8.find_first_not_of(" \t"), utf8.size()));
    if (utf8.empty()) return;
  }
  if (note.events.empty() || note.events.back().kind != Event::Kind::text) {
    note.events.push_back({Event::Kind::text, {}, 0});
    waiting_ += sizeof(Event);
  }
  note.events.back().length += utf8.size();
  note.text += utf8;
  waiting_ += utf8.size();
  if (waiting_ > most_waiting) show_in_place();
}

void Flow::add(Event::Kind kind, Region region) {
  if (sink_ == nullptr) return;
  if (open_.empty() || in_place_) {
    play({kind, region, 0}, {});
    return;
  }
  notes_[open_.back()].events.push_back({kind, region, 0});
  waiting_ += sizeof(Event);
  if (waiting_ > most_waiting) show_in_place();
}

void Flow::begin_note(std::vector<Region> around, std::optional<Region> region) {
  if (sink_ == nullptr) return;
  Note note;
  note.regions = std::move(around);
  if (region) note.regions.push_back(*region);
  open_.push_back(notes_.size());
  notes_.push_back(std::move(note));
  waiting_ += sizeof(Note);
  if (in_place_) {
    play_begin(notes_.back());
  } else if (waiting_ > most_waiting) {
    show_in_place();
  }
}

void Flow::set_note_region(Region region) {
  if (open_.empty()) return;
  Note& note = notes_[open_.back()];
  if (note.begun || note.regions.empty() || note.regions.back() != Region::footnote) return;
  note.regions.back() = region;
}

void Flow::end_note() {
  if (open_.empty()) return;
  if (in_place_) {
    play_end(notes_[open_.back()]);
    // What is in place leaves nothing to keep, and every note after this one has ended.
    notes_.resize(open_.back());
  }
  open_.pop_back();
  if (open_.empty()) {
    if (in_place_) waiting_ = 0;
    in_place_ = false;
  }
}

void Flow::show_notes() {
  if (!open_.empty() || notes_.empty()) return;
  for (Note& note : notes_) {
    play_begin(note);
    play_events(note);
    play_end(note);
  }
  notes_.clear();
  waiting_ = 0;
}

void Flow::finish() {
  while (!open_.empty()) end_note();
  show_notes();
}

void Flow::show_in_place() {
  // Notes that have ended are shown whole, those that are open as far as they go.
  std::vector<Note> still_open;
  std::size_t next_open = 0;
  for (std::size_t i = 0; i < notes_.size(); ++i) {
    Note& note = notes_[i];
    play_begin(note);
    play_events(note);
    if (next_open < open_.size() && open_[next_open] == i) {
      open_[next_open++] = still_open.size();
      still_open.push_back(std::move(note));
    } else {
      play_end(note);
    }
  }
  notes_ = std::move(still_open);
  waiting_ = 0;
  in_place_ = !open_.empty();
}

void Flow::play_begin(Note& note) {
  note.begun = true;
  sink_->paragraph();
  for (const Region region : note.regions) sink_->begin(region);
}

void Flow::play_end(const Note& note) {
  sink_->paragraph();
  for (auto region = note.regions.rbegin(); region != note.regions.rend(); ++region) {
    sink_->end(*region);
  }
  sink_->paragraph();
}

void Flow::play_events(Note& note) {
  std::string_view text = note.text;
  for (const Event& event : note.events) {
    play(event, text.substr(0, event.length));
    text.remove_prefix(event.length);
  }
  note.events.clear();
  note.text.clear();
}

void Flow::play(const Event& event, std::string_view text) {
  switch (event.kind) {
    case Event::Kind::text:
      sink_->clean_text(text);
      break;
    case Event::Kind::line:
      sink_->line();
      break;
    case Event::Kind::paragraph:
      sink_->paragraph();
      break;
    case Event::Kind::begin_row:
      sink_->begin_row();
      break;
    case Event::Kind::cell:
      sink_->cell();
      break;
    case Event::Kind::row:
      sink_->row();
      break;
    case Event::Kind::page:
      sink_->page();
      break;
    case Event::Kind::begin:
      sink_->begin(event.region);
      break;
    case Event::Kind::end:
      sink_->end(event.region);
      break;
  }
}

}  // namespace trfilter::rtf
