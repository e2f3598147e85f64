#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace trfilter::test {

/// Builds the records of a binary workbook ([MS-XLS] 2.1.4), one behind the other.
class RecordWriter {
 public:
  RecordWriter& add(std::uint16_t type, std::string_view data);
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

/// Numbers, least significant byte first.
std::string u8(unsigned value);
std::string u16(unsigned value);
std::string u32(std::uint32_t value);
std::string f64(double value);

/// XLUnicodeString of bytes below 0x80 and of UTF-16 units.
std::string narrow(std::string_view text);
std::string wide(std::u16string_view text);
/// UTF-16LE bytes.
std::string utf16(std::u16string_view text);

/// The place and the style of a cell.
std::string cell(unsigned row, unsigned column, unsigned style = 0);

/// A sheet: its name, the records between its BOF and EOF, what BOUNDSHEET says of it.
struct SheetRecords {
  std::string name;
  std::string records;
  unsigned state = 0;  ///< 1: hidden
  unsigned kind = 0x0010;
};

/// A workbook stream of version 8.
/// @param globals  records of the globals substream besides BOF, BOUNDSHEET and EOF
std::string workbook_stream(const std::string& globals, const std::vector<SheetRecords>& sheets);

/// The same of version 5: byte strings.
std::string workbook_stream_5(const std::string& globals, const std::vector<SheetRecords>& sheets);

/// A stream as the "Workbook" (or "Book") of a compound file.
std::string workbook_file(std::string_view stream, std::string_view name = "Workbook");

}  // namespace trfilter::test
