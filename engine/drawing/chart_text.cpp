#include <charconv>

#include "engine/core/engine_error.h"
#include "engine/drawing/drawing_text.h"
#include "engine/spreadsheet/number_format.h"

namespace trfilter {
namespace {

constexpr std::size_t most_value = std::size_t{1} << 20;

bool is_values(std::string_view name) {
  return name == "val" || name == "yVal" || name == "bubbleSize" || name == "numDim";
}

}  // namespace

bool ChartTextHandler::holds_row(std::string_view element) const {
  return element == "cat" || element == "strDim" ||
         (with_values_ && (is_values(element) || element == "xVal"));
}

void ChartTextHandler::start_element(const XmlElement& element) {
  const std::string_view name = element.name();
  if (skipped_depth_ > 0 || name == "Fallback" || name == "extLst") {
    ++skipped_depth_;
    return;
  }
  if (name == "t") {
    in_rich_text_ = true;
  } else if (name == "br") {
    sink_.line();
  } else if (holds_row(name)) {
    in_row_ = true;
    row_of_values_ = is_values(name);
    numbers_ = name == "numDim";
    format_code_.clear();
    row_.clear();
  } else if (name == "numCache" || name == "numLit") {
    numbers_ = true;
  } else if (name == "tx" || name == "trendline") {
    in_name_ = true;
  } else if (name == "userShapes") {
    user_shapes_ = element.attribute("id");
  } else if ((name == "v" && (in_row_ || in_name_)) || (name == "pt" && in_row_) ||
             (name == "name" && in_name_) || (name == "formatCode" && in_row_)) {
    capture_ = true;
    value_.clear();
  }
}

void ChartTextHandler::end_element(std::string_view name, std::string_view /*uri*/) {
  if (skipped_depth_ > 0) {
    --skipped_depth_;
    return;
  }
  if (name == "t") {
    in_rich_text_ = false;
  } else if (name == "p") {
    sink_.paragraph();
  } else if (holds_row(name)) {
    end_row();
  } else if (name == "tx" || name == "trendline") {
    in_name_ = false;
  } else if (name == "formatCode") {
    if (in_row_) format_code_ = value_;
    capture_ = false;
  } else if (name == "v" || name == "name" || name == "pt") {
    if (capture_) end_value();
    capture_ = false;
  }
}

void ChartTextHandler::characters(std::string_view text) {
  if (skipped_depth_ > 0) return;
  if (in_rich_text_) {
    sink_.text(text);
  } else if (capture_) {
    value_ += text;
    if (value_.size() > most_value)
      throw EngineError(Code::corrupt, "a chart's value exceeds 1 MiB");
  }
}

void ChartTextHandler::end_value() {
  if (!in_row_) {
    sink_.text(value_);
    sink_.paragraph();
    return;
  }
  if (row_.size() + value_.size() > most_row_bytes) return;
  double number = 0;
  const char* end = value_.data() + value_.size();
  const auto parsed = std::from_chars(value_.data(), end, number);
  if (numbers_ && parsed.ec == std::errc() && parsed.ptr == end) {
    NumberFormat(format_code_).append(row_, number);
  } else {
    row_ += value_;
  }
  row_ += '\t';
  value_.clear();
}

void ChartTextHandler::end_row() {
  in_row_ = false;
  if (row_.empty() || (!row_of_values_ && row_ == shown_categories_)) return;
  sink_.text(std::string_view(row_).substr(0, row_.size() - 1));
  sink_.paragraph();
  if (!row_of_values_) shown_categories_.swap(row_);
}

}  // namespace trfilter
