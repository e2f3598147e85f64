#include "engine/readers/xlsx_binary_workbook.h"

#include <utility>

namespace trfilter {
namespace {

constexpr std::size_t most_authors = std::size_t{1} << 16;
constexpr std::size_t longest_author = 1024;

/// A sheet of the workbook, `reserved` bytes before the names: [MS-XLSB] 2.4.304 has 4, a draft of
/// the format had 8.
/// @return whether the record is such a one, to its last byte
bool read_sheet(std::string_view data, std::size_t reserved, XlsxWorkbook::Sheet& sheet) {
  ByteCursor fields(data);
  sheet.hidden = fields.u32() != 0;
  fields.skip(reserved);
  sheet.relationship = take_wide_string(fields);
  sheet.name = take_wide_string(fields);
  return !fields.failed() && fields.rest().empty();
}

}  // namespace

void BinaryWorkbookHandler::record(unsigned type, std::string_view data) {
  constexpr std::uint32_t from_1904 = 1;
  ByteCursor fields(data);
  if (type == brt::workbook_properties) {
    if ((fields.u32() & from_1904) != 0) workbook_.dates = DateSystem::from_1904;
  } else if (type == brt::sheet && workbook_.sheets.size() < XlsxWorkbook::most_sheets) {
    XlsxWorkbook::Sheet sheet;
    if (!read_sheet(data, 4, sheet) && !read_sheet(data, 8, sheet)) read_sheet(data, 4, sheet);
    workbook_.sheets.push_back(std::move(sheet));
  }
}

void BinaryStylesHandler::record(unsigned type, std::string_view data) {
  ByteCursor fields(data);
  switch (type) {
    case brt::format: {
      // Formats come before the styles that name them.
      const unsigned number = fields.u16();
      formats_.add_code(number, take_wide_string(fields));
      break;
    }
    case brt::begin_cell_formats:
      in_cell_formats_ = true;
      break;
    case brt::end_cell_formats:
      in_cell_formats_ = false;
      break;
    case brt::cell_format:
      if (!in_cell_formats_) break;
      fields.skip(2);
      formats_.add_style(fields.u16());
      break;
    default:
      break;
  }
}

void BinaryStringsHandler::record(unsigned type, std::string_view data) {
  if (type != brt::shared_string) return;
  ByteCursor fields(data);
  strings_.add(take_rich_string(fields));
}

void BinaryCommentsHandler::record(unsigned type, std::string_view data) {
  ByteCursor fields(data);
  switch (type) {
    case brt::comment_author: {
      std::string author = take_wide_string(fields);
      // A long name is none, and takes no memory.
      if (author.size() > longest_author) author.clear();
      if (authors_.size() < most_authors) authors_.push_back(std::move(author));
      break;
    }
    case brt::comment: {
      const std::uint32_t author = fields.u32();
      author_ = author < authors_.size() ? authors_[author] : std::string();
      break;
    }
    case brt::comment_text: {
      if (author_.starts_with("tc=")) break;
      const std::string text = take_rich_string(fields);
      sink_.begin(Region::comment);
      sink_.text(comment_label(author_, text));
      sink_.text(text);
      sink_.end(Region::comment);
      sink_.paragraph();
      break;
    }
    default:
      break;
  }
}

}  // namespace trfilter
