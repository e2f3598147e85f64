#pragma once

#include <string_view>

#include "engine/spreadsheet/cell_formats.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {

/// Reads the number formats of xl/styles.xml (ECMA-376 part 1, 18.8).
class StylesHandler final : public XmlHandler {
 public:
  explicit StylesHandler(CellFormats& formats) : formats_(formats) {}

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;

 private:
  CellFormats& formats_;
  bool in_cell_formats_ = false;
  bool in_codes_ = false;
};

}  // namespace trfilter
