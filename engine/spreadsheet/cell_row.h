#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/core/text_sink.h"
#include "engine/spreadsheet/number_format.h"

namespace trfilter {

/// Writes the rows of a sheet: each cell's value as it is shown, a tab for each column. Hidden rows
/// and columns, and values that their number format hides, are hidden text.
class CellRow {
 public:
  /// Empty columns between two cells up to which each is a tab; a wider gap is one tab.
  static constexpr unsigned widest_gap = 64;
  static constexpr std::size_t most_hidden_column_ranges = 16'384;

  /// Where text goes; to be set before anything else.
  void set_sink(TextSink& sink) { sink_ = &sink; }

  /// @param last  included
  void hide_columns(unsigned first, unsigned last);

  /// Begins a row; ends the one before unless that has been done.
  void begin(bool hidden);
  void end();

  /// Whether the row is written at all.
  bool shown() const { return shown_; }

  /// Shows a value as it is. Columns ascend within a row. An empty text is no cell.
  void show(unsigned column, std::string_view text);
  /// Shows a text by its cell's format.
  void show_text(unsigned column, const NumberFormat& format, std::string_view text);
  /// Shows a number, or a day, by its cell's format.
  void show_number(unsigned column, const NumberFormat& format, double value, DateSystem dates);

 private:
  bool column_is_hidden(unsigned column) const;
  void begin_cell(unsigned column);
  void write(unsigned column, std::string_view text, bool hidden_by_format);

  TextSink* sink_ = nullptr;
  std::vector<std::pair<unsigned, unsigned>> hidden_columns_;  ///< first and last
  bool hidden_ = false;
  bool shown_ = true;
  unsigned ended_columns_ = 0;  ///< of the row, by a tab each
  std::string formatted_;
};

}  // namespace trfilter
