#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "engine/spreadsheet/number_format.h"

namespace trfilter {

/// What a workbook's main part states, in XML or in binary records.
struct XlsxWorkbook {
  static constexpr std::size_t most_sheets = 65'536;

  struct Sheet {
    std::string name;
    std::string relationship;
    bool hidden = false;
  };

  std::vector<Sheet> sheets;
  DateSystem dates = DateSystem::from_1900;
};

}  // namespace trfilter
