#pragma once

#include <string>
#include <string_view>

#include "engine/spreadsheet/shared_strings.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {

/// Appends a string of SpreadsheetML (ST_Xstring): _xHHHH_ stands for a UTF-16 unit. Carriage
/// returns and NUL are left out.
void append_xstring(std::string& out, std::string_view text);

/// Reads xl/sharedStrings.xml into a table (ECMA-376 part 1, 18.4). Rich text loses its formatting,
/// phonetic runs are left out.
class SharedStringsHandler final : public XmlHandler {
 public:
  explicit SharedStringsHandler(SharedStrings& strings) : strings_(strings) {}

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;
  void characters(std::string_view text) override;

 private:
  SharedStrings& strings_;
  std::string raw_;   ///< of the current text run
  std::string text_;  ///< of the current item
  bool in_text_ = false;
  unsigned phonetic_ = 0;
};

}  // namespace trfilter
