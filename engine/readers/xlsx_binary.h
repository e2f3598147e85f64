#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/byte_cursor.h"
#include "engine/opc/opc_package.h"

namespace trfilter {

/// Record numbers of binary parts ([MS-XLSB] 2.3.1).
namespace brt {
constexpr unsigned row = 0;
constexpr unsigned cell_rk = 2;
constexpr unsigned cell_error = 3;
constexpr unsigned cell_boolean = 4;
constexpr unsigned cell_real = 5;
constexpr unsigned cell_string = 6;
constexpr unsigned cell_shared_string = 7;
constexpr unsigned formula_string = 8;
constexpr unsigned formula_number = 9;
constexpr unsigned formula_boolean = 10;
constexpr unsigned formula_error = 11;
constexpr unsigned shared_string = 19;
constexpr unsigned format = 44;
constexpr unsigned cell_format = 47;
constexpr unsigned columns = 60;
constexpr unsigned cell_rich_string = 62;
constexpr unsigned begin_rows = 145;
constexpr unsigned end_rows = 146;
constexpr unsigned workbook_properties = 153;
constexpr unsigned sheet = 156;
constexpr unsigned header_footer = 479;
constexpr unsigned drawing = 550;
constexpr unsigned begin_cell_formats = 617;
constexpr unsigned end_cell_formats = 618;
constexpr unsigned comment_author = 632;
constexpr unsigned comment = 635;
constexpr unsigned end_comment = 636;
constexpr unsigned comment_text = 637;
}  // namespace brt

/// Takes the records of a binary part ([MS-XLSB] 2.1.4).
class BinaryHandler {
 public:
  virtual ~BinaryHandler() = default;
  /// @param data  valid during the call
  virtual void record(unsigned type, std::string_view data) = 0;
};

/// Goes through one binary part in pieces of 64 KiB, as `OpcPartParser` does through one in XML.
/// Keeps a piece and the record that goes on behind it, of `most_record` bytes at the most.
class BinaryPartParser {
 public:
  static constexpr std::size_t most_record = std::size_t{16} << 20;

  /// The arguments outlive the parser. A part that is not there is damage.
  BinaryPartParser(OpcPackage& package, std::string_view part, BinaryHandler& handler);

  /// @return false once the part is at its end
  /// @throws as `OpcPackage::parse`
  bool step();

 private:
  void take_records();

  OpcPackage& package_;
  BinaryHandler& handler_;
  std::unique_ptr<ZipPackage::Part> part_;
  std::string pending_;
};

/// Pushes a whole binary part through `handler`.
void parse_binary_part(OpcPackage& package, std::string_view part, BinaryHandler& handler);

/// XLWideString and XLNullableWideString ([MS-XLSB] 2.5.169, 2.5.167) as UTF-8.
std::string take_wide_string(ByteCursor& fields);

/// RichStr ([MS-XLSB] 2.5.122) without its formatting, as UTF-8.
std::string take_rich_string(ByteCursor& fields);

}  // namespace trfilter
