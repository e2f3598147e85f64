#include <charconv>

#include "engine/core/engine_error.h"
#include "engine/drawing/drawing_text.h"
#include "engine/spreadsheet/number_format.h"

namespace trfilter {
namespace {

constexpr std::size_t most_value = std::size_t{1} << 20;

}  // namespace

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
  } else if (name == "cat" || name == "strDim") {
    in_categories_ = true;
    numbers_ = false;
    format_code_.clear();
    categories_.clear();
  } else if (name == "numCache" || name == "numLit") {
    numbers_ = true;
  } else if (name == "tx" || name == "trendline") {
    in_name_ = true;
  } else if (name == "userShapes") {
    user_shapes_ = element.attribute("id");
  } else if ((name == "v" && (in_categories_ || in_name_)) || (name == "pt" && in_categories_) ||
             (name == "name" && in_name_) || (name == "formatCode" && in_categories_)) {
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
  } else if (name == "cat" || name == "strDim") {
    end_categories();
  } else if (name == "tx" || name == "trendline") {
    in_name_ = false;
  } else if (name == "formatCode") {
    if (in_categories_) format_code_ = value_;
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
  if (!in_categories_) {
    sink_.text(value_);
    sink_.paragraph();
    return;
  }
  if (categories_.size() + value_.size() > most_categories_bytes) return;
  double number = 0;
  const char* end = value_.data() + value_.size();
  const auto parsed = std::from_chars(value_.data(), end, number);
  if (numbers_ && parsed.ec == std::errc() && parsed.ptr == end) {
    NumberFormat(format_code_).append(categories_, number);
  } else {
    categories_ += value_;
  }
  categories_ += '\t';
  value_.clear();
}

void ChartTextHandler::end_categories() {
  in_categories_ = false;
  if (categories_.empty() || categories_ == shown_categories_) return;
  categories_.pop_back();
  sink_.text(categories_);
  sink_.paragraph();
  categories_ += '\t';
  shown_categories_.swap(categories_);
}

}  // namespace trfilter
