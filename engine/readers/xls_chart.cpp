#include "engine/readers/xls_chart.h"

#include <utility>

namespace trfilter::xls {

bool ChartText::take(TextSink& sink, std::uint16_t type, std::string_view data) {
  constexpr std::uint16_t category_labels = 2;
  ByteCursor fields(data);
  switch (type) {
    case record::series_text: {
      std::string text;
      fields.skip(2);
      workbook_.append_short_string(text, fields);
      sink.text(text);
      sink.paragraph();
      return true;
    }
    case record::series_index:
      in_categories_ = fields.u16() == category_labels;
      return true;
    case record::label:
    case record::number: {
      fields.skip(2);
      const std::uint16_t series = fields.u16();
      const std::uint16_t style = fields.u16();
      if (!is_category(series)) return true;
      if (type == record::label) {
        workbook_.append_string(row_, fields);
      } else {
        workbook_.formats().of_style(style).append(row_, fields.f64(), workbook_.dates());
      }
      row_ += '\t';
      return true;
    }
    default:
      return false;
  }
}

/// All series have the same categories as a rule: those of the first are shown.
bool ChartText::is_category(std::uint16_t series) {
  if (!in_categories_ || row_.size() >= most_row_bytes) return false;
  if (!series_) series_ = series;
  return *series_ == series;
}

void ChartText::finish(TextSink& sink) {
  if (!row_.empty()) {
    row_.pop_back();
    sink.text(row_);
    sink.paragraph();
  }
  row_.clear();
  series_.reset();
  in_categories_ = false;
}

}  // namespace trfilter::xls
