#include "engine/readers/odf_tables.h"

#include <algorithm>
#include <charconv>

#include "engine/readers/odf_values.h"
#include "engine/spreadsheet/number_format.h"

namespace trfilter {
namespace {

constexpr unsigned columns_end = 16'384;
constexpr std::size_t most_hidden_ranges = 16'384;

unsigned repeat_of(const XmlElement& element, std::string_view attribute) {
  return std::max(odf_unsigned(element.attribute(attribute)).value_or(1), 1U);
}

/// What a cell shows that states its value but not the text it shows.
std::string value_of(const XmlElement& element) {
  for (const std::string_view attribute : {"string-value", "date-value", "time-value"}) {
    if (element.has_attribute(attribute)) return std::string(element.attribute(attribute));
  }
  if (element.has_attribute("boolean-value")) {
    return element.attribute("boolean-value") == "true" ? "TRUE" : "FALSE";
  }
  const std::string_view value = element.attribute("value");
  double number = 0;
  const auto parsed = std::from_chars(value.data(), value.data() + value.size(), number);
  if (parsed.ec != std::errc() || parsed.ptr != value.data() + value.size()) {
    return std::string(value);
  }
  std::string out;
  if (element.attribute("value-type") == "percentage") {
    NumberFormat("General%").append(out, number);
  } else {
    NumberFormat::append_general(out, number);
  }
  return out;
}

}  // namespace

void OdfTables::begin_table(const XmlElement& element) {
  Table table;
  table.is_sheet = spreadsheet_ && tables_.empty();
  if (table.is_sheet) {
    if (sheets_++ > 0) flow_.page();
    table.hidden = styles_.hides("table", element.attribute("style-name"));
    if (table.hidden) flow_.begin(Region::hidden);
    flow_.text(element.attribute("name"));
    flow_.paragraph();
  } else {
    if (!tables_.empty() && tables_.back().in_cell) close_gap(tables_.back());
    flow_.paragraph();
  }
  tables_.push_back(std::move(table));
}

void OdfTables::end_table() {
  if (tables_.empty()) return;
  if (tables_.back().hidden) flow_.end(Region::hidden);
  tables_.pop_back();
}

void OdfTables::column(const XmlElement& element) {
  if (tables_.empty()) return;
  Table& table = tables_.back();
  const unsigned first = table.column_definitions;
  const unsigned repeat = std::min(repeat_of(element, "number-columns-repeated"), columns_end);
  table.column_definitions = std::min(first + repeat, columns_end);
  const std::string_view visibility = element.attribute("visibility");
  if (visibility != "collapse" && visibility != "filter") return;
  auto& ranges = table.hidden_columns;
  if (!ranges.empty() && ranges.back().second + 1 == first) {
    ranges.back().second = table.column_definitions - 1;
  } else if (ranges.size() < most_hidden_ranges && first < columns_end) {
    ranges.emplace_back(first, table.column_definitions - 1);
  }
}

void OdfTables::begin_row(const XmlElement& element) {
  if (tables_.empty()) return;
  Table& table = tables_.back();
  table.in_row = true;
  table.column = 0;
  table.gap = 0;
  table.row_repeat = repeat_of(element, "number-rows-repeated");
  const std::string_view visibility = element.attribute("visibility");
  table.row_hidden = visibility == "collapse" || visibility == "filter";
  if (table.row_hidden) flow_.begin(Region::hidden);
  if (table.row_repeat > 1) flow_.begin_capture(TextFlow::Excess::shown);
  flow_.begin_row();
  flow_.begin_anchor();
}

void OdfTables::end_row() {
  if (tables_.empty() || !tables_.back().in_row) return;
  Table& table = tables_.back();
  table.in_row = false;
  flow_.row();
  flow_.end_anchor();
  if (table.row_repeat > 1) {
    replay(flow_.end_capture(), std::min(table.row_repeat, most_repeated_rows), false);
  }
  if (table.row_hidden) flow_.end(Region::hidden);
}

void OdfTables::close_gap(Table& table) {
  if (table.gap == 0) return;
  flow_.cell(table.gap > widest_gap ? 1 : table.gap);
  table.gap = 0;
}

void OdfTables::begin_cell(const XmlElement& element, bool covered) {
  if (tables_.empty() || !tables_.back().in_row) return;
  Table& table = tables_.back();
  table.in_cell = true;
  table.cell_repeat = repeat_of(element, "number-columns-repeated");
  table.cell_has_paragraph = false;
  table.value = table.is_sheet ? value_of(element) : std::string();
  const auto& ranges = table.hidden_columns;
  table.cell_hidden = covered || std::any_of(ranges.begin(), ranges.end(), [&](const auto& range) {
                        return table.column >= range.first && table.column <= range.second;
                      });
  table.cell_captured = table.cell_repeat > 1;
  // A repeated cell closes the gap when its text is known to be some.
  if (table.cell_captured) {
    flow_.begin_capture(TextFlow::Excess::shown);
  } else if (table.cell_hidden) {
    close_gap(table);
  }
  if (table.cell_hidden) flow_.begin(Region::hidden);
}

void OdfTables::begin_paragraph() {
  if (tables_.empty() || !tables_.back().in_cell) return;
  Table& table = tables_.back();
  if (!table.cell_captured) close_gap(table);
  if (table.is_sheet && table.cell_has_paragraph) flow_.text(" ");
  table.cell_has_paragraph = true;
}

void OdfTables::end_cell() {
  if (tables_.empty() || !tables_.back().in_cell) return;
  Table& table = tables_.back();
  if (!table.cell_has_paragraph && !table.value.empty()) {
    if (!table.cell_captured) close_gap(table);
    flow_.text(table.value);
  }
  table.in_cell = false;
  if (table.cell_hidden) flow_.end(Region::hidden);
  unsigned columns = table.cell_repeat;
  if (table.cell_captured) {
    const TextRecord record = flow_.end_capture();
    if (record.has_text()) {
      close_gap(table);
      const unsigned shown = std::min(table.cell_repeat, most_repeated_cells);
      replay(record, shown, true);
      columns = table.cell_repeat - shown + 1;
    }
  }
  table.column = std::min(table.column + table.cell_repeat, columns_end);
  table.gap = std::min(table.gap + columns, columns_end);
}

void OdfTables::enter_aside() {
  cells_around_.push_back(!tables_.empty() && tables_.back().in_cell);
  if (!tables_.empty()) tables_.back().in_cell = false;
}

void OdfTables::leave_aside() {
  if (!tables_.empty()) tables_.back().in_cell = cells_around_.back();
  cells_around_.pop_back();
}

void OdfTables::replay(const TextRecord& record, unsigned times, bool cells) {
  flow_.show(record);
  if (!record.has_text()) return;
  for (unsigned i = 1; i < times; ++i) {
    repeated_bytes_ += record.size();
    if (repeated_bytes_ > most_repeated_bytes) {
      if (cells) flow_.cell(std::min(times - i, widest_gap));
      return;
    }
    if (cells) flow_.cell(1);
    flow_.show(record);
  }
}

}  // namespace trfilter
