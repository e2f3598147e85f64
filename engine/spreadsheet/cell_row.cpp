#include "engine/spreadsheet/cell_row.h"

#include <algorithm>

namespace trfilter {
namespace {

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

}  // namespace

void CellRow::hide_columns(unsigned first, unsigned last) {
  if (hidden_columns_.size() < most_hidden_column_ranges) hidden_columns_.emplace_back(first, last);
}

void CellRow::begin(bool hidden) {
  if (hidden_) end();
  ended_columns_ = 0;
  hidden_ = hidden;
  if (hidden_) sink_->begin(Region::hidden);
  shown_ = sink_->shown();
  sink_->begin_row();
}

void CellRow::end() {
  sink_->row();
  if (hidden_) sink_->end(Region::hidden);
  hidden_ = false;
}

bool CellRow::column_is_hidden(unsigned column) const {
  return std::any_of(hidden_columns_.begin(), hidden_columns_.end(), [column](const auto& range) {
    return column >= range.first && column <= range.second;
  });
}

/// Ends the row's cells before this one.
void CellRow::begin_cell(unsigned column) {
  if (column > ended_columns_) {
    const unsigned gap = column - ended_columns_;
    sink_->cell(gap > widest_gap ? 1 : gap);
    ended_columns_ = column;
  } else if (ended_columns_ > 0) {
    sink_->cell();
  }
}

void CellRow::write(unsigned column, std::string_view text, bool hidden_by_format) {
  if (text.empty()) return;
  begin_cell(column);
  const bool hidden = hidden_by_format || column_is_hidden(column);
  if (hidden) sink_->begin(Region::hidden);
  // A row is one line: line breaks within a cell are blanks.
  for (std::size_t at = text.find('\n'); at != std::string_view::npos; at = text.find('\n')) {
    sink_->text(text.substr(0, at));
    sink_->text(" ");
    text.remove_prefix(at + 1);
  }
  sink_->text(text);
  if (hidden) sink_->end(Region::hidden);
}

void CellRow::show(unsigned column, std::string_view text) {
  write(column, text, false);
}

void CellRow::show_text(unsigned column, const NumberFormat& format, std::string_view text) {
  if (!format.changes_text()) {
    write(column, text, false);
    return;
  }
  formatted_.clear();
  format.append_text(formatted_, text);
  const std::string_view shown = trimmed(formatted_);
  write(column, shown.empty() ? text : shown, shown.empty());
}

void CellRow::show_number(unsigned column, const NumberFormat& format, double value,
                          DateSystem dates) {
  formatted_.clear();
  format.append(formatted_, value, dates);
  const std::string_view shown = trimmed(formatted_);
  if (!shown.empty()) {
    write(column, shown, false);
    return;
  }
  formatted_.clear();
  NumberFormat::append_general(formatted_, value);
  write(column, formatted_, true);
}

}  // namespace trfilter
