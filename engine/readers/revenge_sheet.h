#pragma once

#include <librevenge/librevenge.h>

#include <cstddef>
#include <string>
#include <unordered_map>

#include "engine/readers/revenge_story.h"
#include "engine/spreadsheet/cell_row.h"
#include "engine/spreadsheet/number_format.h"

namespace trfilter::revenge {

/// Lays out the sheets of a spreadsheet, one at a time.
class Sheet {
 public:
  static constexpr std::size_t most_formats = 65'536;

  explicit Sheet(Story& story) : story_(story) {}

  /// States a number format that cells name.
  void define_format(const librevenge::RVNGPropertyList& list);

  void open(const librevenge::RVNGPropertyList& list);
  void close();
  void open_row(const librevenge::RVNGPropertyList& list);
  void close_row();
  void open_cell(const librevenge::RVNGPropertyList& list);
  void close_cell();

 private:
  void hide_columns(const librevenge::RVNGPropertyListVector& columns);
  void show_value(const librevenge::RVNGPropertyList& list);

  Story& story_;
  std::unordered_map<std::string, NumberFormat> formats_;
  CellRow row_;
  bool in_sheet_ = false;
  bool in_row_ = false;
  bool in_cell_ = false;
  unsigned column_ = 0;
  std::string text_;
  librevenge::RVNGPropertyList cell_;
};

/// A spreadsheet's number format code for a number style of librevenge (they are OpenDocument's);
/// empty for one that cannot be told.
std::string number_format_code(const librevenge::RVNGPropertyList& style);

}  // namespace trfilter::revenge
