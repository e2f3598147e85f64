#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/core/text_sink.h"
#include "engine/spreadsheet/cell_formats.h"
#include "engine/spreadsheet/cell_row.h"
#include "engine/spreadsheet/shared_strings.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {

/// What all worksheets of a workbook share.
struct WorkbookTables {
  const SharedStrings& strings;
  const CellFormats& formats;
  DateSystem dates;
};

/// A worksheet whose rows are shown while its part is parsed, and which keeps what is shown behind
/// them.
class Worksheet {
 public:
  /// The tables outlive the object.
  explicit Worksheet(const WorkbookTables& tables) : tables_(tables) {}
  Worksheet(const Worksheet&) = delete;
  Worksheet& operator=(const Worksheet&) = delete;
  virtual ~Worksheet() = default;

  /// Where text goes; to be set before each piece that is parsed and before `finish`.
  void set_sink(TextSink& sink) { row_.set_sink(sink); }

  /// Ends what is still open when the part ends before its rows do.
  void finish();

  /// Whether a cell named a string that the workbook does not have.
  bool damaged() const { return damaged_; }

  /// Relationship ids of the sheet's drawings.
  const std::vector<std::string>& drawings() const { return drawings_; }

  /// Shows page headers and footers; `&A` is `sheet_name`.
  void show_headers_and_footers(TextSink& sink, std::string_view sheet_name) const;

 protected:
  static constexpr std::size_t most_drawings = 1024;
  static constexpr std::size_t most_page_texts = 16;
  static constexpr std::size_t most_page_text = std::size_t{64} << 10;

  struct PageText {
    Region region;
    std::string code;
  };

  WorkbookTables tables_;
  CellRow row_;
  bool in_rows_ = false;
  bool damaged_ = false;
  std::vector<std::string> drawings_;
  std::vector<PageText> page_texts_;
};

/// A worksheet in XML (ECMA-376 part 1, 18.3).
class WorksheetHandler final : public Worksheet, public XmlHandler {
 public:
  using Worksheet::Worksheet;

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;
  void characters(std::string_view text) override;

 private:
  enum class CellType : std::uint8_t {
    number,
    shared_string,
    text,
    formula_string,
    boolean,
    error,
    date
  };

  void start_row(const XmlElement& element);
  void start_cell(const XmlElement& element);
  void start_header_or_footer(const XmlElement& element);
  void end_cell();
  void show(std::string_view text);
  void show_text(std::string_view text);
  void show_number(double value);

  unsigned skipped_depth_ = 0;  ///< inside of extensions

  bool in_cell_ = false;
  CellType type_ = CellType::number;
  unsigned style_ = 0;
  unsigned column_ = 0;
  unsigned next_column_ = 0;
  unsigned phonetic_ = 0;
  bool capture_ = false;
  bool in_page_text_ = false;
  std::string value_;
  std::string inline_text_;
  std::string shown_;

  bool different_first_ = false;
  bool different_even_ = false;
};

}  // namespace trfilter
