#include "engine/readers/xlsx_styles.h"

#include "engine/readers/xlsx_values.h"

namespace trfilter {

void StylesHandler::start_element(const XmlElement& element) {
  const std::string_view name = element.name();
  if (name == "numFmts") {
    in_codes_ = true;
  } else if (name == "numFmt" && in_codes_) {
    // Formats come before the styles that name them.
    const auto number = xlsx_unsigned(element.attribute("numFmtId"));
    if (number) formats_.add_code(*number, element.attribute("formatCode"));
  } else if (name == "cellXfs") {
    in_cell_formats_ = true;
  } else if (name == "xf" && in_cell_formats_) {
    formats_.add_style(xlsx_unsigned(element.attribute("numFmtId")).value_or(0));
  }
}

void StylesHandler::end_element(std::string_view name, std::string_view /*uri*/) {
  if (name == "numFmts") in_codes_ = false;
  if (name == "cellXfs") in_cell_formats_ = false;
}

}  // namespace trfilter
