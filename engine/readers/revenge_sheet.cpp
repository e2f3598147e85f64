#include "engine/readers/revenge_sheet.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <optional>
#include <string_view>

namespace trfilter::revenge {
namespace {

using List = librevenge::RVNGPropertyList;

constexpr unsigned columns_end = 65'536;
constexpr std::string_view iso_date = "yyyy-mm-dd";
constexpr std::string_view iso_time = "hh:mm:ss";
constexpr std::string_view iso_date_time = "yyyy-mm-dd hh:mm:ss";

bool is_hidden(const List& list) {
  const std::string visibility = property_text(list, "table:visibility");
  return visibility == "collapse" || visibility == "filter";
}

double time_of_day(const List& list) {
  constexpr double hours = 24;
  constexpr double minutes = hours * 60;
  constexpr double seconds = minutes * 60;
  return property_number(list, "librevenge:hours", 0) / hours +
         property_number(list, "librevenge:minutes", 0) / minutes +
         property_number(list, "librevenge:seconds", 0) / seconds;
}

/// The day number of a date that is stated by its parts; none for no day of the calendar.
std::optional<double> day_number(const List& list) {
  using namespace std::chrono;
  const auto date = year(property_number(list, "librevenge:year", 0)) /
                    month(static_cast<unsigned>(property_number(list, "librevenge:month", 0))) /
                    day(static_cast<unsigned>(property_number(list, "librevenge:day", 0)));
  if (!date.ok()) return std::nullopt;
  constexpr auto day_zero = sys_days(year(1899) / December / 30);
  // Before the leap day that 1900 did not have the count is one less.
  constexpr int day_after_gap = 61;
  const auto days = (sys_days(date) - day_zero).count();
  return static_cast<double>(days < day_after_gap ? days - 1 : days);
}

}  // namespace

void Sheet::define_format(const List& list) {
  if (formats_.size() == most_formats) return;
  const std::string code = number_format_code(list);
  if (!code.empty()) {
    formats_.insert_or_assign(property_text(list, "librevenge:name"), NumberFormat(code));
  }
}

void Sheet::hide_columns(const librevenge::RVNGPropertyListVector& columns) {
  unsigned first = 0;
  for (unsigned long i = 0; i < columns.count() && first < columns_end; ++i) {
    const List& column = columns[i];
    const int repeat = std::max(property_number(column, "table:number-columns-repeated", 1), 1);
    const unsigned last = std::min(first + static_cast<unsigned>(repeat), columns_end) - 1;
    if (is_hidden(column)) row_.hide_columns(first, last);
    first = last + 1;
  }
}

void Sheet::open(const List& list) {
  close();
  in_sheet_ = true;
  row_ = CellRow();
  row_.set_sink(story_.sink());
  if (const auto* columns = list.child("librevenge:columns")) hide_columns(*columns);
  story_.title(property_text(list, "librevenge:sheet-name"));
}

void Sheet::close() {
  close_row();
  if (!in_sheet_) return;
  in_sheet_ = false;
  story_.page();
}

void Sheet::open_row(const List& list) {
  close_row();
  if (!in_sheet_) return;
  in_row_ = true;
  column_ = 0;
  row_.begin(is_hidden(list));
}

void Sheet::close_row() {
  close_cell();
  if (!in_row_) return;
  in_row_ = false;
  row_.end();
  story_.write_anchored();
}

void Sheet::open_cell(const List& list) {
  close_cell();
  if (!in_row_) return;
  in_cell_ = true;
  const int column = property_number(list, "librevenge:column", static_cast<int>(column_));
  column_ = std::clamp(static_cast<unsigned>(std::max(column, 0)), column_, columns_end);
  cell_ = list;
  text_.clear();
  story_.capture(&text_);
}

void Sheet::close_cell() {
  if (!in_cell_) return;
  in_cell_ = false;
  story_.capture(nullptr);
  if (!text_.empty()) {
    row_.show(column_, text_);
  } else {
    show_value(cell_);
  }
  ++column_;
}

void Sheet::show_value(const List& list) {
  const std::string type = property_text(list, "librevenge:value-type");
  const librevenge::RVNGProperty* property = list["librevenge:value"];
  std::optional<double> value;
  if (property != nullptr && std::isfinite(property->getDouble())) value = property->getDouble();
  std::string_view usual;
  if (type == "date") {
    if (const auto day = day_number(list)) value = *day + time_of_day(list);
    usual = value && std::trunc(*value) != *value ? iso_date_time : iso_date;
  } else if (type == "time") {
    if (!value) value = time_of_day(list);
    usual = iso_time;
  } else if (type == "percentage") {
    usual = "General%";
  } else if (type == "bool" || type == "boolean") {
    if (value) row_.show(column_, *value != 0 ? "TRUE" : "FALSE");
    return;
  } else if (type == "string") {
    row_.show(column_, property_text(list, "librevenge:value"));
    return;
  }
  if (!value) return;
  const auto format = formats_.find(property_text(list, "librevenge:numbering-name"));
  if (format != formats_.end()) {
    row_.show_number(column_, format->second, *value, DateSystem::from_1900);
  } else {
    row_.show_number(column_, usual.empty() ? NumberFormat() : NumberFormat(usual), *value,
                     DateSystem::from_1900);
  }
}

}  // namespace trfilter::revenge
