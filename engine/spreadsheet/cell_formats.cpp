#include "engine/spreadsheet/cell_formats.h"

namespace trfilter {

void CellFormats::add_code(unsigned number, std::string_view code) {
  if (formats_.size() >= most_formats) return;
  const auto [place, is_new] =
      format_of_number_.emplace(number, static_cast<std::uint32_t>(formats_.size()));
  if (is_new) formats_.emplace_back(code);
}

void CellFormats::add_style(unsigned number) {
  if (styles_.size() < most_formats) styles_.push_back(format_of(number));
}

std::uint32_t CellFormats::format_of(unsigned number) {
  const auto known = format_of_number_.find(number);
  if (known != format_of_number_.end()) return known->second;
  if (formats_.size() >= most_formats) return 0;
  const auto index = static_cast<std::uint32_t>(formats_.size());
  formats_.emplace_back(NumberFormat::built_in(number));
  format_of_number_.emplace(number, index);
  return index;
}

}  // namespace trfilter
