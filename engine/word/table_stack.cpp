#include "engine/word/table_stack.h"

#include <utility>

namespace trfilter::word {

void TableStack::begin(bool nested) {
  output_.paragraph();
  tables_.emplace_back().nested = nested;
  if (nested) output_.begin_nested_table();
}

void TableStack::end() {
  if (tables_.empty()) return;
  close(tables_.size() - 1);
  output_.paragraph();
}

void TableStack::close(std::size_t size) {
  while (tables_.size() > size) {
    const Table& table = tables_.back();
    if (table.row_region_open) output_.close(*table.row_region);
    if (table.nested) output_.end_nested_table();
    tables_.pop_back();
  }
}

void TableStack::begin_row() {
  if (tables_.empty()) return;
  Table& table = tables_.back();
  table.cells_before = 0;
  table.row_region.reset();
  if (!table.nested) output_.begin_row();
}

void TableStack::end_row_properties() {
  if (tables_.empty()) return;
  Table& table = tables_.back();
  if (table.row_region && !std::exchange(table.row_region_open, true)) {
    output_.open(*table.row_region);
  }
  if (table.cells_before != 0) put_cells(table, table.cells_before);
}

void TableStack::end_row() {
  if (tables_.empty()) return;
  Table& table = tables_.back();
  if (table.nested) {
    output_.nested_row();
  } else {
    output_.row();
  }
  if (std::exchange(table.row_region_open, false)) output_.close(*table.row_region);
}

void TableStack::begin_cell() {
  if (!tables_.empty()) tables_.back().cell_span = 1;
}

void TableStack::end_cell() {
  if (!tables_.empty()) put_cells(tables_.back(), tables_.back().cell_span);
}

void TableStack::set_cell_span(unsigned columns) {
  if (!tables_.empty()) tables_.back().cell_span = columns;
}

void TableStack::set_cells_before(unsigned columns) {
  if (!tables_.empty()) tables_.back().cells_before = columns;
}

void TableStack::set_row_region(Region region) {
  if (!tables_.empty() && !tables_.back().row_region_open) tables_.back().row_region = region;
}

void TableStack::put_cells(const Table& table, unsigned count) {
  if (table.nested) {
    output_.nested_cell(count);
  } else {
    output_.cell(count);
  }
}

}  // namespace trfilter::word
