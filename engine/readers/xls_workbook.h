#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/charset/code_page.h"
#include "engine/core/byte_cursor.h"
#include "engine/readers/xls_records.h"
#include "engine/spreadsheet/cell_formats.h"
#include "engine/spreadsheet/shared_strings.h"

namespace trfilter::xls {

/// One sheet as the workbook lists it.
struct Sheet {
  std::string name;
  std::uint64_t offset = 0;  ///< of the record that begins it
  bool hidden = false;
};

/// What the records of a workbook's globals substream state ([MS-XLS] 2.1.7.20.3), as far as its
/// sheets need it. Before version 5 these records stand within the sheet.
class Workbook {
 public:
  static constexpr std::size_t most_sheets = 65'536;

  /// @param version              of the records: 2 to 5, or 8
  /// @param temporary_directory  empty: the system's
  Workbook(unsigned version, std::string temporary_directory);

  unsigned version() const { return version_; }
  DateSystem dates() const { return dates_; }
  const std::vector<Sheet>& sheets() const { return sheets_; }
  std::vector<Sheet>& sheets() { return sheets_; }
  const SharedStrings& strings() const { return strings_; }
  CellFormats& formats() { return formats_; }
  bool damaged() const { return damaged_; }

  /// Takes the current record. The table of strings is begun by it, and read by `read_strings`.
  /// @return whether the record was one of these
  bool take(RecordReader& records);

  /// Whether strings of the table are still to be read; no record is gone to meanwhile.
  bool in_strings() const { return strings_left_ > 0; }
  /// Reads some strings of the table.
  void read_strings();
  /// To be called behind the last of the globals.
  void finish() { strings_.finish(); }

  /// Takes a string with its count of characters, one byte or two, before it, and appends it as
  /// UTF-8 ([MS-XLS] 2.5.240, 2.5.294); before version 8 characters are bytes of a code page.
  void append_short_string(std::string& out, ByteCursor& fields);
  void append_string(std::string& out, ByteCursor& fields);
  /// The same with the count already taken.
  void append_string(std::string& out, ByteCursor& fields, std::size_t count);
  /// Bytes of the workbook's code page as UTF-8.
  void append_bytes(std::string& out, std::string_view bytes);

 private:
  void take_bound_sheet(std::string_view data);
  void take_sheet_header(RecordReader& records);
  void take_format(std::uint16_t type, std::string_view data);
  void take_cell_format(std::uint16_t type, std::string_view data);
  void take_code_page(std::string_view data);
  void begin_strings(RecordReader& records);

  unsigned version_;
  CodePages code_pages_;
  const CodePage* code_page_;  ///< of byte strings; null: they are ASCII
  DateSystem dates_ = DateSystem::from_1900;
  CellFormats formats_;
  unsigned next_format_ = 0;  ///< number of the next format, where they have none of their own
  SharedStrings strings_;
  std::uint32_t strings_left_ = 0;
  std::optional<ContinuedData> strings_data_;
  std::string text_;
  std::vector<Sheet> sheets_;
  bool damaged_ = false;
};

}  // namespace trfilter::xls
