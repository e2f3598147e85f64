#include "engine/readers/revenge_story.h"

#include <algorithm>

#include "engine/core/utf8.h"

namespace trfilter::revenge {
namespace {

// Wider gaps between a row's cells are one.
constexpr unsigned widest_gap = 64;

constexpr std::size_t most_cell_bytes = std::size_t{16} << 20;

NumberStyle number_style(std::string_view format) {
  if (format == "1") return NumberStyle::decimal;
  if (format == "a") return NumberStyle::lower_letter;
  if (format == "A") return NumberStyle::upper_letter;
  if (format == "i") return NumberStyle::lower_roman;
  if (format == "I") return NumberStyle::upper_roman;
  return NumberStyle::none;
}

/// A bullet as it can be shown: those of symbol fonts lie in the private use area.
std::string bullet(std::string text) {
  constexpr std::string_view private_use_begin = "\xEF\x80\x80";  // U+F000
  constexpr std::string_view private_use_end = "\xEF\x84\x80";    // U+F100
  if (text >= private_use_begin && text < private_use_end) return "•";
  return text;
}

}  // namespace

std::string property_text(const librevenge::RVNGPropertyList& list, const char* name) {
  const librevenge::RVNGProperty* property = list[name];
  if (property == nullptr) return {};
  const librevenge::RVNGString text = property->getStr();
  return {text.cstr(), text.size()};
}

int property_number(const librevenge::RVNGPropertyList& list, const char* name, int otherwise) {
  const librevenge::RVNGProperty* property = list[name];
  return property == nullptr ? otherwise : property->getInt();
}

void Story::text(std::string_view utf8) {
  if (skips()) return;
  if (captured_ != nullptr) {
    *captured_ += utf8.substr(0, most_cell_bytes - std::min(most_cell_bytes, captured_->size()));
    return;
  }
  output_.text(utf8);
  recording_.drain();
}

void Story::line() {
  if (skips()) return;
  if (captured_ != nullptr) {
    text(" ");
    return;
  }
  output_.line();
}

void Story::field(const librevenge::RVNGPropertyList& list) {
  text(property_text(list, "librevenge:field-content"));
}

void Story::open_paragraph(const librevenge::RVNGPropertyList& list) {
  if (skips()) return;
  if (captured_ != nullptr) {
    if (!captured_->empty()) text(" ");
    return;
  }
  if (paragraphs_ == 0 && asides_.empty() && open_tables_.empty() &&
      property_text(list, "fo:break-before") == "page") {
    output_.page();
  }
  ++paragraphs_;
  output_.set_label({});
}

void Story::close_paragraph() {
  if (skips() || captured_ != nullptr) return;
  if (paragraphs_ != 0) --paragraphs_;
  output_.set_label({});
  output_.paragraph();
  if (paragraphs_ == 0) write_anchored();
  recording_.drain();
}

void Story::write_anchored() {
  if (output_.deferring()) return;
  output_.write_deferred();
  output_.paragraph();
}

void Story::open_list(const librevenge::RVNGPropertyList& list, bool ordered) {
  limits_.check_depth(static_cast<unsigned>(lists_.size()));
  List& opened = lists_.emplace_back();
  opened.ordered = ordered;
  opened.id = property_number(list, "librevenge:list-id", 0);
  opened.level = property_number(list, "librevenge:level", static_cast<int>(lists_.size()));
  if (!ordered) {
    opened.before = bullet(property_text(list, "text:bullet-char"));
    return;
  }
  opened.style = number_style(property_text(list, "style:num-format"));
  opened.before = property_text(list, "style:num-prefix");
  opened.after = property_text(list, "style:num-suffix");
  opened.shown_levels = property_number(list, "text:display-levels", 1);
  const auto last = counted_.find({opened.id, opened.level});
  const bool goes_on = opened.id != 0 && last != counted_.end();
  opened.next =
      property_number(list, "text:start-value", goes_on ? static_cast<int>(last->second + 1) : 1);
}

void Story::close_list() {
  const std::size_t outside = asides_.empty() ? 0 : asides_.back().lists;
  if (lists_.size() > outside) lists_.pop_back();
}

std::string Story::label() const {
  const List& list = lists_.back();
  std::string out = list.before;
  if (list.ordered) {
    if (list.style == NumberStyle::none) return {};
    const auto shown = static_cast<std::size_t>(std::max(list.shown_levels, 1));
    std::size_t first = lists_.size() - std::min(shown, lists_.size());
    for (; first + 1 < lists_.size(); ++first) {
      const List& outer = lists_[first];
      if (outer.style == NumberStyle::none) continue;
      append_number(out, outer.style, outer.next - 1);
      out += '.';
    }
    append_number(out, list.style, list.next);
    out += list.after;
  }
  if (!out.empty()) out += ' ';
  return out;
}

void Story::open_item(const librevenge::RVNGPropertyList& list) {
  open_paragraph(list);
  if (lists_.empty() || skips() || captured_ != nullptr) return;
  List& current = lists_.back();
  current.next = property_number(list, "text:start-value", static_cast<int>(current.next));
  output_.set_label(label());
  if (!current.ordered) return;
  if (counted_.size() < most_lists) counted_[{current.id, current.level}] = current.next;
  ++current.next;
}

void Story::open_aside(std::optional<Region> region) {
  if (skips()) {
    ++skipped_;
    return;
  }
  limits_.check_depth(static_cast<unsigned>(asides_.size()));
  Aside& aside = asides_.emplace_back();
  aside.region = region;
  aside.deferred = paragraphs_ != 0 || captured_ != nullptr || output_.deferring();
  aside.lists = lists_.size();
  aside.tables = open_tables_.size();
  aside.captured = std::exchange(captured_, nullptr);
  aside.paragraphs = std::exchange(paragraphs_, 0);
  if (aside.deferred) {
    output_.begin_deferred();
  } else {
    output_.paragraph();
  }
  if (region) output_.open(*region);
}

void Story::close_aside() {
  if (skips()) {
    --skipped_;
    return;
  }
  if (asides_.empty()) return;
  const Aside aside = asides_.back();
  close_tables(aside.tables);
  lists_.resize(std::min(lists_.size(), aside.lists));
  output_.paragraph();
  if (aside.region) output_.close(*aside.region);
  if (aside.deferred) output_.end_deferred();
  paragraphs_ = aside.paragraphs;
  captured_ = aside.captured;
  asides_.pop_back();
}

void Story::open_table() {
  if (skips()) return;
  limits_.check_depth(static_cast<unsigned>(open_tables_.size()));
  const bool nested = output_.deferring() || !open_tables_.empty();
  open_tables_.emplace_back();
  tables_.begin(nested);
}

void Story::close_tables(std::size_t size) {
  while (open_tables_.size() > size) {
    close_row();
    open_tables_.pop_back();
    tables_.end();
  }
}

void Story::close_table() {
  if (skips() || open_tables_.empty()) return;
  const std::size_t outside = asides_.empty() ? 0 : asides_.back().tables;
  if (open_tables_.size() > outside) close_tables(open_tables_.size() - 1);
  write_anchored();
}

void Story::open_row() {
  if (skips() || open_tables_.empty()) return;
  close_row();
  Table& table = open_tables_.back();
  table.in_row = true;
  table.column = 0;
  tables_.begin_row();
  tables_.end_row_properties();
}

void Story::close_row() {
  if (skips() || open_tables_.empty()) return;
  close_cell();
  if (!std::exchange(open_tables_.back().in_row, false)) return;
  tables_.end_row();
  if (open_tables_.size() == 1) write_anchored();
  recording_.drain();
}

void Story::put_cells(unsigned count) {
  tables_.begin_cell();
  tables_.set_cell_span(std::min(count, widest_gap));
  tables_.end_cell();
}

/// Ends the cells that the row lacks before the one of these properties.
void Story::move_to_column(Table& table, const librevenge::RVNGPropertyList& list) {
  const int column = property_number(list, "librevenge:column", -1);
  if (column < 0 || static_cast<unsigned>(column) <= table.column) return;
  put_cells(static_cast<unsigned>(column) - table.column);
  table.column = static_cast<unsigned>(column);
}

void Story::open_cell(const librevenge::RVNGPropertyList& list) {
  if (skips() || open_tables_.empty()) return;
  if (!open_tables_.back().in_row) open_row();
  close_cell();
  Table& table = open_tables_.back();
  move_to_column(table, list);
  table.in_cell = true;
}

void Story::close_cell() {
  if (skips() || open_tables_.empty()) return;
  Table& table = open_tables_.back();
  if (!std::exchange(table.in_cell, false)) return;
  put_cells(1);
  ++table.column;
}

void Story::covered_cell(const librevenge::RVNGPropertyList& list) {
  open_cell(list);
  close_cell();
}

void Story::title(std::string_view text) {
  if (skips()) return;
  output_.paragraph();
  output_.text(text);
  output_.paragraph();
}

void Story::page() {
  if (skips()) return;
  if (!asides_.empty()) {
    output_.paragraph();
    return;
  }
  write_anchored();
  output_.page();
  recording_.drain();
}

void Story::finish() {
  captured_ = nullptr;
  skipped_ = 0;
  while (!asides_.empty()) close_aside();
  close_tables(0);
  output_.set_label({});
  output_.paragraph();
  write_anchored();
  recording_.finish();
}

}  // namespace trfilter::revenge
