#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "engine/readers/odf_flow.h"
#include "engine/readers/odf_styles.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {

/// Lays out tables and sheets: a line a row, a tab a column. A gap of more than `widest_gap` empty
/// columns is one tab. Rows and cells that repeat are shown as often as they repeat, up to a bound.
class OdfTables {
 public:
  static constexpr unsigned widest_gap = 64;
  static constexpr unsigned most_repeated_rows = 1024;
  static constexpr unsigned most_repeated_cells = 256;
  /// Bytes of a document's repeated text; when they are spent, repetition is shown once.
  static constexpr std::uint64_t most_repeated_bytes = std::uint64_t{16} << 20;

  OdfTables(TextFlow& flow, const OdfStyles& styles) : flow_(flow), styles_(styles) {}

  /// Tables are sheets from here on.
  void set_spreadsheet() { spreadsheet_ = true; }

  void begin_table(const XmlElement& element);
  void end_table();
  void column(const XmlElement& element);
  void begin_row(const XmlElement& element);
  void end_row();
  /// @param covered  whether another cell spans this one, which hides it
  void begin_cell(const XmlElement& element, bool covered);
  void end_cell();

  /// Leaves the cell around a text that stands aside, such as a comment, and returns to it.
  void enter_aside();
  void leave_aside();

  /// To be called before the text of a paragraph.
  void begin_paragraph();
  bool in_table() const { return !tables_.empty(); }
  /// Whether a sheet's cell is the innermost place: its paragraphs are one line.
  bool in_sheet_cell() const {
    return !tables_.empty() && tables_.back().is_sheet && tables_.back().in_cell;
  }

 private:
  struct Table {
    bool is_sheet = false;
    bool hidden = false;
    bool in_row = false;
    bool in_cell = false;
    unsigned column_definitions = 0;
    std::vector<std::pair<unsigned, unsigned>> hidden_columns;  ///< first and last
    // Of the current row.
    bool row_hidden = false;
    unsigned row_repeat = 1;
    unsigned column = 0;
    unsigned gap = 0;  ///< columns that have ended without a tab yet
    // Of the current cell.
    bool cell_hidden = false;
    unsigned cell_repeat = 1;
    bool cell_captured = false;
    bool cell_has_paragraph = false;
    std::string value;
  };

  void close_gap(Table& table);
  void replay(const TextRecord& record, unsigned times, bool cells);

  TextFlow& flow_;
  const OdfStyles& styles_;
  bool spreadsheet_ = false;
  unsigned sheets_ = 0;
  std::vector<Table> tables_;
  std::vector<bool> cells_around_;
  std::uint64_t repeated_bytes_ = 0;
};

}  // namespace trfilter
