#pragma once

#include <bitset>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/text_sink.h"
#include "engine/readers/xls_chart.h"
#include "engine/readers/xls_records.h"
#include "engine/readers/xls_workbook.h"
#include "engine/spreadsheet/cell_row.h"

namespace trfilter::xls {

/// Shows a worksheet, a macro sheet or a chart sheet while its records are gone through ([MS-XLS]
/// 2.1.7.20): the rows, the text of shapes and charts, the comments, the page headers and footers.
/// Keeps one row, the comments up to `most_comment_bytes` and a bit for each hidden row.
class SheetText {
 public:
  static constexpr std::size_t most_comment_bytes = std::size_t{4} << 20;
  static constexpr std::size_t most_row_bytes = std::size_t{1} << 20;
  static constexpr unsigned columns_end = 16'384;

  /// @param workbook  outlives the object
  explicit SheetText(Workbook& workbook) : workbook_(workbook), chart_(workbook) {}

  /// Takes the current record, and those that continue it. Records of globals are left to the
  /// workbook.
  /// @return whether the sheet goes on behind it
  bool take(TextSink& sink, RecordReader& records);

  /// Shows what stands behind the rows; `&A` in headers and footers is `sheet_name`.
  void finish(TextSink& sink, std::string_view sheet_name);

  /// Whether a cell named a string that the workbook does not have.
  bool damaged() const { return damaged_; }

 private:
  struct Cell {
    enum class Kind : std::uint8_t { number, text, literal, shared };

    std::uint16_t column;
    Kind kind;
    const NumberFormat* format;
    double number = 0;
    std::uint32_t string = 0;  ///< index into the workbook's strings
    std::size_t begin = 0;     ///< of the text, in row_text_
    std::size_t size = 0;
  };

  struct PageText {
    Region region;
    std::string code;
  };

  void begin_substream(std::string_view data);
  bool take_cell(TextSink& sink, std::uint16_t type, std::string_view data);
  bool begin_cell(TextSink& sink, ByteCursor& fields, bool version_2);
  void add_number(double value);
  void add_text(std::string_view text, Cell::Kind kind);
  void add_boolean_or_error(std::uint8_t value, bool error);
  void take_formula(ByteCursor& fields);
  void take_result(RecordReader& records);
  void take_multiple_rk(TextSink& sink, ByteCursor& fields);
  void show_cells();
  void end_row();

  void take_drawing(TextSink& sink, std::string_view data);
  void take_object(std::string_view data);
  void take_old_object(TextSink& sink, std::string_view data);
  static void show_lines(TextSink& sink, std::string_view text);
  void take_text_object(TextSink& sink, RecordReader& records);
  void take_note(std::string_view data);
  void take_author(std::string_view data);
  void add_comment(TextSink& sink, std::string_view text);
  void show_comments(TextSink& sink);
  void take_page_text(Region region, std::string_view data);
  void take_more_page_texts(std::string_view data);

  Workbook& workbook_;
  unsigned depth_ = 0;  ///< substreams within each other
  bool in_chart_ = false;
  ChartText chart_;
  bool damaged_ = false;

  CellRow row_;
  bool in_row_ = false;
  std::uint16_t row_number_ = 0;
  std::uint16_t column_ = 0;              ///< of the cell that has been begun
  const NumberFormat* format_ = nullptr;  ///< the same
  bool string_due_ = false;               ///< the formula's text comes with a record of its own
  std::bitset<65'536> hidden_rows_;
  std::vector<Cell> cells_;
  std::string row_text_;
  std::string text_;

  /// A comment; from version 8 on its author stands in a record behind it.
  struct Comment {
    std::string text;
    std::string author;
    std::uint16_t object;  ///< its number
  };

  std::uint16_t object_kind_ = 0;  ///< of the last object
  std::uint16_t object_number_ = 0;
  std::vector<Comment> comments_;
  std::size_t next_author_ = 0;  ///< the comment that the next author is expected for
  std::size_t comment_bytes_ = 0;
  std::vector<PageText> page_texts_;
};

}  // namespace trfilter::xls
