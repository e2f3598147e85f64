#pragma once

#include <cstdint>
#include <string_view>

#include "engine/readers/xlsx_binary.h"
#include "engine/readers/xlsx_worksheet.h"

namespace trfilter {

/// A worksheet in binary records ([MS-XLSB] 2.1.7.62).
class BinaryWorksheet final : public Worksheet, public BinaryHandler {
 public:
  using Worksheet::Worksheet;

  void record(unsigned type, std::string_view data) override;

 private:
  void begin_row(ByteCursor& fields);
  void show_cell(unsigned type, ByteCursor& fields);
  void show_number(double value);
  void show_text(std::string_view text);
  void take_page_texts(ByteCursor& fields);

  bool in_row_ = false;
  unsigned column_ = 0;
  unsigned style_ = 0;
};

}  // namespace trfilter
