#include "engine/word/story_output.h"

#include <algorithm>
#include <array>
#include <utility>

#include "engine/core/engine_error.h"

namespace trfilter::word {
namespace {

// XML 1.0 has no such character, so text has none.
constexpr char call_mark = '\x01';
constexpr std::size_t call_size = 3;
constexpr unsigned most_cells = 100;  // of one call; the argument is written as one byte
constexpr unsigned argument_base = 0x20;

constexpr std::size_t most_deferred_bytes = std::size_t{64} << 20;

}  // namespace

std::string_view StoryOutput::write_due(std::string_view utf8) {
  if (utf8.empty() || !shown()) return {};
  if (waiting_.drops_blanks) {
    utf8.remove_prefix(std::min(utf8.find_first_not_of(" \t"), utf8.size()));
    if (utf8.empty()) return {};
  }
  write_waiting();
  return utf8;
}

void StoryOutput::write_waiting() {
  due_ = false;
  write_newline();
  const Due due = std::exchange(waiting_, {});
  if (due.tabs != 0) text(std::string(due.tabs, '\t'));
  text(due.label);
}

void StoryOutput::drop_blanks() {
  waiting_.drops_blanks = true;
  due_ = true;
}

void StoryOutput::line() {
  if (due_ && shown()) write_waiting();
  if (!deferring()) {
    sink_.line();
  } else {
    record(Call::line);
  }
}

void StoryOutput::paragraph() {
  if (nested_tables_ == 0) {
    put_paragraph();
  } else if (waiting_.tabs == 0 && waiting_.newline == Newline::none) {
    waiting_.newline = Newline::paragraph;
    due_ = true;
  }
}

void StoryOutput::put_paragraph() {
  if (!deferring()) {
    sink_.paragraph();
  } else {
    record(Call::paragraph);
  }
}

void StoryOutput::write_newline() {
  if (std::exchange(waiting_.newline, Newline::none) != Newline::none) put_paragraph();
}

void StoryOutput::begin_row() {
  if (!deferring()) {
    sink_.begin_row();
  } else {
    record(Call::begin_row);
  }
}

void StoryOutput::cell(unsigned count) {
  count = std::clamp(count, 1u, most_cells);
  if (!deferring()) {
    sink_.cell(count);
  } else {
    record(Call::cell, count);
  }
}

void StoryOutput::row() {
  if (!deferring()) {
    sink_.row();
  } else {
    record(Call::row);
  }
}

void StoryOutput::page() {
  if (!deferring()) {
    sink_.page();
  } else {
    record(Call::paragraph);
  }
}

void StoryOutput::open(Region region) {
  open_.push_back(region);
  if (!deferring()) {
    sink_.begin(region);
  } else {
    record(Call::open, static_cast<unsigned>(region));
  }
}

void StoryOutput::close(Region region) {
  const auto found = std::find(open_.rbegin(), open_.rend(), region);
  if (found == open_.rend()) return;
  open_.erase(std::next(found).base());
  if (!deferring()) {
    sink_.end(region);
  } else {
    record(Call::close, static_cast<unsigned>(region));
  }
}

void StoryOutput::set_label(std::string_view label) {
  waiting_.label = label;
  due_ = waiting_.any();
}

void StoryOutput::nested_cell(unsigned count) {
  if (waiting_.newline == Newline::paragraph) waiting_.newline = Newline::none;
  waiting_.tabs += std::clamp(count, 1u, most_cells);
  due_ = true;
}

void StoryOutput::nested_row() {
  waiting_.tabs = 0;
  waiting_.newline = Newline::row;
  due_ = true;
}

void StoryOutput::end_nested_table() {
  if (nested_tables_ == 0) return;
  // To the cell around, the last row is a paragraph like any other.
  if (--nested_tables_ == 0) {
    write_newline();
  } else if (waiting_.newline == Newline::row) {
    waiting_.newline = Newline::paragraph;
  }
}

void StoryOutput::begin_deferred() {
  if (deferring()) put_paragraph();
  outside_.push_back(std::exchange(waiting_, {}));
  due_ = false;
  if (outside_.size() > 1) return;
  // The regions around the anchor hold for what is anchored there.
  for (const Region region : open_) record(Call::open, static_cast<unsigned>(region));
}

void StoryOutput::end_deferred() {
  put_paragraph();
  if (outside_.size() == 1) {
    std::for_each(open_.rbegin(), open_.rend(),
                  [&](Region region) { record(Call::close, static_cast<unsigned>(region)); });
  }
  waiting_ = std::move(outside_.back());
  outside_.pop_back();
  due_ = waiting_.any();
}

void StoryOutput::record_text(std::string_view utf8) {
  if (utf8.size() > most_deferred_bytes - std::min(most_deferred_bytes, deferred_.size())) {
    throw EngineError(Code::corrupt, "a paragraph's anchored text exceeds its bound");
  }
  const std::size_t before = deferred_.size();
  deferred_ += utf8;
  std::replace(deferred_.begin() + static_cast<std::ptrdiff_t>(before), deferred_.end(), call_mark,
               ' ');
}

void StoryOutput::record(Call call, unsigned argument) {
  const std::array<char, call_size> bytes = {call_mark, static_cast<char>(call),
                                             static_cast<char>(argument_base + argument)};
  deferred_.append(bytes.data(), bytes.size());
}

void StoryOutput::write_deferred() {
  if (deferred_.empty() || deferring()) return;
  write_newline();
  std::string_view rest = deferred_;
  while (!rest.empty()) {
    const std::size_t mark = std::min(rest.find(call_mark), rest.size());
    if (mark != 0) sink_.text(rest.substr(0, mark));
    rest.remove_prefix(mark);
    if (rest.size() < call_size) break;
    replay(static_cast<Call>(rest[1]), static_cast<unsigned char>(rest[2]) - argument_base);
    rest.remove_prefix(call_size);
  }
  deferred_.clear();
}

void StoryOutput::replay(Call call, unsigned argument) {
  switch (call) {
    case Call::line:
      sink_.line();
      break;
    case Call::paragraph:
      sink_.paragraph();
      break;
    case Call::begin_row:
      sink_.begin_row();
      break;
    case Call::cell:
      sink_.cell(argument);
      break;
    case Call::row:
      sink_.row();
      break;
    case Call::open:
      sink_.begin(static_cast<Region>(argument));
      break;
    case Call::close:
      sink_.end(static_cast<Region>(argument));
      break;
  }
}

}  // namespace trfilter::word
