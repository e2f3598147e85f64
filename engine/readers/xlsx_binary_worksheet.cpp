#include "engine/readers/xlsx_binary_worksheet.h"

#include <algorithm>
#include <string>
#include <utility>

#include "engine/spreadsheet/cell_values.h"

namespace trfilter {
namespace {

constexpr unsigned columns_end = 16'384;

}  // namespace

void BinaryWorksheet::record(unsigned type, std::string_view data) {
  ByteCursor fields(data);
  switch (type) {
    case brt::columns: {
      constexpr std::uint16_t hidden = 1;
      const std::uint32_t first = fields.u32();
      const std::uint32_t last = fields.u32();
      fields.skip(8);
      if ((fields.u16() & hidden) != 0 && first <= last) row_.hide_columns(first, last);
      break;
    }
    case brt::begin_rows:
      in_rows_ = true;
      break;
    case brt::end_rows:
      finish();
      break;
    case brt::row:
      begin_row(fields);
      break;
    case brt::drawing:
      if (drawings_.size() < most_drawings) drawings_.push_back(take_wide_string(fields));
      break;
    case brt::header_footer:
      take_page_texts(fields);
      break;
    default:
      if (in_rows_ && row_.shown()) show_cell(type, fields);
      break;
  }
}

/// BrtRowHdr ([MS-XLSB] 2.4.756).
void BinaryWorksheet::begin_row(ByteCursor& fields) {
  constexpr std::uint8_t height_is_zero = 0x10;
  if (!in_rows_) return;
  // Rows have no end of their own.
  if (std::exchange(in_row_, true)) row_.end();
  fields.skip(11);
  row_.begin((fields.u8() & height_is_zero) != 0);
}

/// The records of cells begin with a place and a style ([MS-XLSB] 2.5.9), those of formulas have
/// their result before the formula.
void BinaryWorksheet::show_cell(unsigned type, ByteCursor& fields) {
  constexpr std::uint32_t style_bits = 0xFFFFFF;
  if ((type < brt::cell_rk || type > brt::formula_error) && type != brt::cell_rich_string) return;
  column_ = fields.u32();
  style_ = fields.u32() & style_bits;
  if (fields.failed() || column_ >= columns_end) return;
  switch (type) {
    case brt::cell_rk:
      show_number(rk_number(fields.u32()));
      break;
    case brt::cell_real:
    case brt::formula_number:
      show_number(fields.f64());
      break;
    case brt::cell_error:
    case brt::formula_error:
      row_.show(column_, error_name(fields.u8()));
      break;
    case brt::cell_boolean:
    case brt::formula_boolean:
      row_.show(column_, fields.u8() != 0 ? "TRUE" : "FALSE");
      break;
    case brt::cell_string:
    case brt::formula_string:
      show_text(take_wide_string(fields));
      break;
    case brt::cell_rich_string:
      show_text(take_rich_string(fields));
      break;
    case brt::cell_shared_string: {
      const std::uint32_t index = fields.u32();
      if (index < tables_.strings.size()) {
        show_text(tables_.strings.at(index));
      } else {
        damaged_ = true;
      }
      break;
    }
    default:
      break;
  }
  if (fields.failed()) damaged_ = true;
}

void BinaryWorksheet::show_number(double value) {
  row_.show_number(column_, tables_.formats.of_style(style_), value, tables_.dates);
}

void BinaryWorksheet::show_text(std::string_view text) {
  row_.show_text(column_, tables_.formats.of_style(style_), text);
}

/// BrtBeginHeaderFooter ([MS-XLSB] 2.4.84): headers and footers of odd, even and first pages.
void BinaryWorksheet::take_page_texts(ByteCursor& fields) {
  constexpr std::uint16_t even_differs = 1;
  constexpr std::uint16_t first_differs = 2;
  const std::uint16_t flags = fields.u16();
  for (const bool applies : {true, (flags & even_differs) != 0, (flags & first_differs) != 0}) {
    for (const Region region : {Region::header, Region::footer}) {
      std::string code = take_wide_string(fields);
      if (!applies || code.empty() || page_texts_.size() >= most_page_texts) continue;
      code.resize(std::min(code.size(), most_page_text));
      page_texts_.push_back({region, std::move(code)});
    }
  }
}

}  // namespace trfilter
