#pragma once

#include <optional>
#include <string>

#include "engine/core/text_sink.h"
#include "engine/readers/xls_workbook.h"

namespace trfilter::xls {

/// Shows the text of a chart ([MS-XLS] 2.1.7.20.1): titles and the names of axes and series, a
/// paragraph each, then the categories as one row. Values are a sheet's own.
class ChartText {
 public:
  static constexpr std::size_t most_row_bytes = std::size_t{64} << 10;

  explicit ChartText(Workbook& workbook) : workbook_(workbook) {}

  /// Takes a record of the chart. @return whether it was one of a chart's alone
  bool take(TextSink& sink, std::uint16_t type, std::string_view data);

  /// Ends the chart; another one may follow.
  void finish(TextSink& sink);

 private:
  bool is_category(std::uint16_t series);

  Workbook& workbook_;
  bool in_categories_ = false;
  std::optional<std::uint16_t> series_;  ///< whose categories are shown
  std::string row_;
};

}  // namespace trfilter::xls
