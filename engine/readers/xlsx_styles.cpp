#include "engine/readers/xlsx_styles.h"

#include "engine/readers/xlsx_values.h"

namespace trfilter {

void CellFormats::start_element(const XmlElement& element) {
  const std::string_view name = element.name();
  if (name == "numFmts") {
    in_codes_ = true;
  } else if (name == "numFmt" && in_codes_) {
    // Formats come before the styles that name them.
    const auto number = xlsx_unsigned(element.attribute("numFmtId"));
    if (!number || formats_.size() >= most_formats) return;
    const auto [place, is_new] =
        format_of_number_.emplace(*number, static_cast<std::uint32_t>(formats_.size()));
    if (is_new) formats_.emplace_back(element.attribute("formatCode"));
  } else if (name == "cellXfs") {
    in_cell_formats_ = true;
  } else if (name == "xf" && in_cell_formats_ && styles_.size() < most_formats) {
    styles_.push_back(format_of(xlsx_unsigned(element.attribute("numFmtId")).value_or(0)));
  }
}

void CellFormats::end_element(std::string_view name, std::string_view /*uri*/) {
  if (name == "numFmts") in_codes_ = false;
  if (name == "cellXfs") in_cell_formats_ = false;
}

std::uint32_t CellFormats::format_of(unsigned number) {
  const auto known = format_of_number_.find(number);
  if (known != format_of_number_.end()) return known->second;
  const std::string_view code = NumberFormat::built_in(number);
  const auto index = static_cast<std::uint32_t>(formats_.size());
  formats_.emplace_back(code);
  format_of_number_.emplace(number, index);
  return index;
}

}  // namespace trfilter
