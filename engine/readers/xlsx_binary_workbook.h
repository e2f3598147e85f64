#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/core/text_sink.h"
#include "engine/readers/xlsx_binary.h"
#include "engine/readers/xlsx_workbook.h"
#include "engine/spreadsheet/cell_formats.h"
#include "engine/spreadsheet/shared_strings.h"

namespace trfilter {

/// Reads xl/workbook.bin ([MS-XLSB] 2.1.7.61).
class BinaryWorkbookHandler final : public BinaryHandler {
 public:
  explicit BinaryWorkbookHandler(XlsxWorkbook& workbook) : workbook_(workbook) {}
  void record(unsigned type, std::string_view data) override;

 private:
  XlsxWorkbook& workbook_;
};

/// Reads the number formats of xl/styles.bin ([MS-XLSB] 2.1.7.50).
class BinaryStylesHandler final : public BinaryHandler {
 public:
  explicit BinaryStylesHandler(CellFormats& formats) : formats_(formats) {}
  void record(unsigned type, std::string_view data) override;

 private:
  CellFormats& formats_;
  bool in_cell_formats_ = false;
};

/// Reads xl/sharedStrings.bin into a table ([MS-XLSB] 2.1.7.45).
class BinaryStringsHandler final : public BinaryHandler {
 public:
  explicit BinaryStringsHandler(SharedStrings& strings) : strings_(strings) {}
  void record(unsigned type, std::string_view data) override;

 private:
  SharedStrings& strings_;
};

/// Shows a sheet's comments ([MS-XLSB] 2.1.7.9) with their authors; those that stand for threads
/// are left out.
class BinaryCommentsHandler final : public BinaryHandler {
 public:
  explicit BinaryCommentsHandler(TextSink& sink) : sink_(sink) {}
  void record(unsigned type, std::string_view data) override;

 private:
  TextSink& sink_;
  std::vector<std::string> authors_;
  std::string author_;  ///< of the comment
};

}  // namespace trfilter
