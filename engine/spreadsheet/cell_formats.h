#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/spreadsheet/number_format.h"

namespace trfilter {

/// The number formats of a workbook's cells, by the index of a cell's style. A format that has been
/// asked for stays where it is.
class CellFormats {
 public:
  /// More styles or formats than the 65,490 that spreadsheet programs allow are General.
  static constexpr std::size_t most_formats = 65'536;

  /// States the code of a format number. Of several the first counts; what is stated behind a style
  /// that names the number comes too late.
  void add_code(unsigned number, std::string_view code);

  /// Adds the next style, by the number of its format: one that has been stated, or a built-in one.
  void add_style(unsigned number);

  /// The format of a style; General for an index that is not there.
  const NumberFormat& of_style(std::size_t index) const {
    return index < styles_.size() ? formats_[styles_[index]] : formats_[0];
  }

  /// The format of a number, for cells that name one themselves.
  const NumberFormat& of_number(unsigned number) { return formats_[format_of(number)]; }

 private:
  std::uint32_t format_of(unsigned number);

  std::deque<NumberFormat> formats_{NumberFormat()};
  std::unordered_map<unsigned, std::uint32_t> format_of_number_;  ///< index into formats_
  std::vector<std::uint32_t> styles_;                             ///< index into formats_
};

}  // namespace trfilter
