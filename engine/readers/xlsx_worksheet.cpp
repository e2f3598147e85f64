#include "engine/readers/xlsx_worksheet.h"

#include "engine/core/engine_error.h"
#include "engine/readers/xlsx_shared_strings.h"
#include "engine/readers/xlsx_values.h"
#include "engine/spreadsheet/page_text.h"

namespace trfilter {
namespace {

/// Whether General shows a number exactly as it is written: short and without an exponent.
bool is_general_as_written(std::string_view text) {
  constexpr std::size_t widest = 11;
  constexpr std::size_t smallest_decimal = 4;
  const bool negative = !text.empty() && text.front() == '-';
  if (negative) text.remove_prefix(1);
  if (text.empty() || text.size() > widest) return false;
  std::size_t point = text.size();
  std::size_t first_digit = text.size();
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '.' && point == text.size()) {
      point = i;
    } else if (c < '0' || c > '9') {
      return false;
    } else if (c != '0' && first_digit == text.size()) {
      first_digit = i;
    }
  }
  if (point == 0 || (text.front() == '0' && point != 1)) return false;
  if (point == text.size()) return text != "0" || !negative;
  if (text.back() == '0' || text.back() == '.') return false;
  return first_digit < point || first_digit - point <= smallest_decimal;
}

constexpr std::size_t most_cell_text = std::size_t{16} << 20;

}  // namespace

void WorksheetHandler::start_element(const XmlElement& element) {
  if (skipped_depth_ > 0) {
    ++skipped_depth_;
    return;
  }
  const std::string_view name = element.name();
  if (in_rows_) {
    if (name.size() == 1) {
      // Nearly all elements are these.
      if (name[0] == 'c') {
        start_cell(element);
      } else if (name[0] == 'v' || name[0] == 't') {
        capture_ = in_cell_ && phonetic_ == 0;
        value_.clear();
      }
    } else if (name == "row") {
      start_row(element);
    } else if (name == "rPh") {
      ++phonetic_;
    } else if (name == "extLst") {
      skipped_depth_ = 1;
    }
    return;
  }
  if (name == "sheetData") {
    in_rows_ = true;
  } else if (name == "extLst") {
    skipped_depth_ = 1;
  } else if (name == "col") {
    const auto first = xlsx_unsigned(element.attribute("min"));
    const auto last = xlsx_unsigned(element.attribute("max"));
    if (xlsx_boolean(element.attribute("hidden")) && first && last && *first > 0) {
      row_.hide_columns(*first - 1, *last - 1);
    }
  } else if (name == "drawing") {
    if (drawings_.size() < most_drawings) drawings_.emplace_back(element.attribute("id"));
  } else if (name == "headerFooter") {
    different_first_ = xlsx_boolean(element.attribute("differentFirst"));
    different_even_ = xlsx_boolean(element.attribute("differentOddEven"));
  } else {
    start_header_or_footer(element);
  }
}

void WorksheetHandler::start_header_or_footer(const XmlElement& element) {
  const std::string_view name = element.name();
  const bool header = name.ends_with("Header");
  if (!header && !name.ends_with("Footer")) return;
  const bool applies = name.starts_with("odd") || (name.starts_with("even") && different_even_) ||
                       (name.starts_with("first") && different_first_);
  if (!applies || page_texts_.size() >= most_page_texts) return;
  in_page_text_ = capture_ = true;
  value_.clear();
  page_texts_.push_back({header ? Region::header : Region::footer, {}});
}

void WorksheetHandler::start_row(const XmlElement& element) {
  next_column_ = 0;
  row_.begin(xlsx_boolean(element.attribute("hidden")));
}

void WorksheetHandler::start_cell(const XmlElement& element) {
  in_cell_ = true;
  type_ = CellType::number;
  style_ = 0;
  column_ = next_column_;
  inline_text_.clear();
  value_.clear();
  for (int i = 0; i < element.attribute_count(); ++i) {
    const XmlElement::Attribute attribute = element.attribute_at(i);
    if (attribute.name.size() != 1) continue;
    const char letter = attribute.name[0];
    if (letter == 'r') {
      column_ = xlsx_column(attribute.value).value_or(column_);
    } else if (letter == 's') {
      style_ = xlsx_unsigned(attribute.value).value_or(0);
    } else if (letter == 't') {
      const std::string_view type = attribute.value;
      type_ = type == "s"           ? CellType::shared_string
              : type == "inlineStr" ? CellType::text
              : type == "str"       ? CellType::formula_string
              : type == "b"         ? CellType::boolean
              : type == "e"         ? CellType::error
              : type == "d"         ? CellType::date
                                    : CellType::number;
    }
  }
  next_column_ = column_ + 1;
}

void WorksheetHandler::characters(std::string_view text) {
  if (!capture_ || skipped_depth_ > 0) return;
  value_ += text;
  if (value_.size() > most_cell_text) {
    throw EngineError(Code::corrupt, "a cell holds more than 16 MiB");
  }
}

void WorksheetHandler::end_element(std::string_view name, std::string_view /*uri*/) {
  if (skipped_depth_ > 0) {
    --skipped_depth_;
    return;
  }
  if (!in_rows_) {
    if (in_page_text_) page_texts_.back().code = value_.substr(0, most_page_text);
    in_page_text_ = capture_ = false;
    return;
  }
  if (name.size() == 1) {
    if (name[0] == 'c') {
      if (in_cell_ && row_.shown()) end_cell();
      in_cell_ = false;
    } else if (name[0] == 't' && capture_) {
      append_xstring(inline_text_, value_);
      value_.clear();
    }
    capture_ = false;
  } else if (name == "row") {
    row_.end();
  } else if (name == "rPh") {
    if (phonetic_ > 0) --phonetic_;
  } else if (name == "sheetData") {
    in_rows_ = false;
  }
}

void Worksheet::finish() {
  if (in_rows_) row_.end();
  in_rows_ = false;
}

void WorksheetHandler::end_cell() {
  if (type_ == CellType::text || (type_ == CellType::number && !inline_text_.empty())) {
    if (!inline_text_.empty()) {
      show_text(inline_text_);
    } else if (!value_.empty()) {
      append_xstring(inline_text_, value_);
      show_text(inline_text_);
    }
    return;
  }
  if (value_.empty()) return;
  switch (type_) {
    case CellType::shared_string: {
      const auto index = xlsx_unsigned(value_);
      if (!index || *index >= tables_.strings.size()) {
        damaged_ = true;
        return;
      }
      show_text(tables_.strings.at(*index));
      return;
    }
    case CellType::formula_string:
      append_xstring(inline_text_, value_);
      show_text(inline_text_);
      return;
    case CellType::boolean:
      show(xlsx_boolean(value_) ? "TRUE" : "FALSE");
      return;
    case CellType::date: {
      const auto date = xlsx_date(value_);
      if (date && tables_.formats.of_style(style_).is_date()) {
        shown_.clear();
        tables_.formats.of_style(style_).append(shown_, *date);
        show(shown_);
      } else {
        show(value_);
      }
      return;
    }
    case CellType::error:
    case CellType::text:
      show(value_);
      return;
    case CellType::number: {
      if (tables_.formats.of_style(style_).is_general() && is_general_as_written(value_)) {
        show(value_);
        return;
      }
      const auto number = xlsx_double(value_);
      if (!number) {
        show(value_);
        return;
      }
      show_number(*number);
      return;
    }
  }
}

void WorksheetHandler::show(std::string_view text) {
  row_.show(column_, text);
}

void WorksheetHandler::show_text(std::string_view text) {
  row_.show_text(column_, tables_.formats.of_style(style_), text);
}

void WorksheetHandler::show_number(double value) {
  row_.show_number(column_, tables_.formats.of_style(style_), value, tables_.dates);
}

void Worksheet::show_headers_and_footers(TextSink& sink, std::string_view sheet_name) const {
  for (const PageText& page_text : page_texts_) {
    if (sink.begin(page_text.region)) show_page_text(sink, page_text.code, sheet_name);
    sink.end(page_text.region);
    sink.paragraph();
  }
}

}  // namespace trfilter
