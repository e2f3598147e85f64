#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/spreadsheet/number_format.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {

/// The number formats of a workbook's cells, from xl/styles.xml (ECMA-376 part 1, 18.8).
class CellFormats final : public XmlHandler {
 public:
  /// More cell formats than the 65,490 that spreadsheet programs allow are General.
  static constexpr std::size_t most_formats = 65'536;

  /// The format of a cell's style index; General for an index that is not there.
  const NumberFormat& of_style(std::size_t index) const {
    return index < styles_.size() ? formats_[styles_[index]] : formats_[0];
  }

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;

 private:
  std::uint32_t format_of(unsigned number);

  std::vector<NumberFormat> formats_{NumberFormat()};
  std::unordered_map<unsigned, std::uint32_t> format_of_number_;  ///< index into formats_
  std::vector<std::uint32_t> styles_;                             ///< index into formats_
  bool in_cell_formats_ = false;
  bool in_codes_ = false;
};

}  // namespace trfilter
