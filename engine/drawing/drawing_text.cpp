#include "engine/drawing/drawing_text.h"

#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

bool is_true(std::string_view text) {
  return text == "1" || text == "true";
}

bool is_shape(std::string_view name) {
  return name == "sp" || name == "pic" || name == "graphicFrame" || name == "cxnSp" ||
         name == "grpSp";
}

bool is_skipped(std::string_view name) {
  return name == "Fallback" || name == "extLst";
}

}  // namespace

void DrawingTextHandler::start_element(const XmlElement& element) {
  limits_.check_depth(++depth_);
  const std::string_view name = element.name();
  if (skipped_depth_ > 0 || is_skipped(name)) {
    ++skipped_depth_;
    return;
  }
  if (name == "t") {
    in_text_ = true;
  } else if (name == "br") {
    sink_.line();
  } else if (is_shape(name)) {
    shapes_.push_back(false);
  } else if (name == "cNvPr") {
    if (is_true(element.attribute("hidden")) && !shapes_.empty() && !shapes_.back()) {
      shapes_.back() = true;
      sink_.begin(Region::hidden);
    }
    alternative_text(element.attribute("title"));
    alternative_text(element.attribute("descr"));
  } else if (objects_.size() < most_objects) {
    if (name == "chart" && element.has_attribute("id")) {
      objects_.push_back({Object::Kind::chart, std::string(element.attribute("id"))});
    } else if (name == "relIds") {
      objects_.push_back({Object::Kind::diagram, std::string(element.attribute("dm"))});
    }
  }
}

void DrawingTextHandler::alternative_text(std::string_view text) {
  if (text.empty()) return;
  sink_.begin(Region::alternative_text);
  sink_.text(text);
  sink_.end(Region::alternative_text);
  sink_.paragraph();
}

void DrawingTextHandler::end_element(std::string_view name, std::string_view /*uri*/) {
  --depth_;
  if (skipped_depth_ > 0) {
    --skipped_depth_;
    return;
  }
  if (name == "t") {
    in_text_ = false;
  } else if (name == "p") {
    sink_.paragraph();
  } else if (is_shape(name) && !shapes_.empty()) {
    if (shapes_.back()) sink_.end(Region::hidden);
    shapes_.pop_back();
  }
}

void DrawingTextHandler::characters(std::string_view text) {
  if (in_text_ && skipped_depth_ == 0) sink_.text(text);
}

}  // namespace trfilter
