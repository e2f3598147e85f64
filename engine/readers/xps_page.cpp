#include "engine/readers/xps_page.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace trfilter::xps {
namespace {

// In units of a font's size.
constexpr double same_line = 0.3;
constexpr double blank_gap = 0.2;
constexpr double tab_gap = 2;
// Of a character whose advance is the font's own.
constexpr double usual_advance = 0.5;

// Canvases deeper than this keep the transformation of those around them.
constexpr std::size_t deepest = 256;

double number(std::string_view text, double otherwise) {
  double value = otherwise;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
  return read.ec == std::errc{} && std::isfinite(value) ? value : otherwise;
}

std::size_t count_characters(std::string_view utf8) {
  return static_cast<std::size_t>(std::ranges::count_if(
      utf8, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

/// The advance of a run in units of its font's size (clause 12.1.3): what its indices state, and a
/// guess for what they do not.
double advance(std::string_view indices, std::size_t characters) {
  constexpr double hundredths = 100;
  double width = 0;
  std::size_t glyphs = 0;
  while (!indices.empty() && glyphs < characters) {
    const std::size_t end = std::min(indices.find(';'), indices.size());
    const std::string_view glyph = indices.substr(0, end);
    const std::size_t comma = glyph.find(',');
    double stated = usual_advance * hundredths;
    if (comma != std::string_view::npos) stated = number(glyph.substr(comma + 1), stated);
    width += stated / hundredths;
    ++glyphs;
    indices.remove_prefix(std::min(end + 1, indices.size()));
  }
  return width + static_cast<double>(characters - glyphs) * usual_advance;
}

}  // namespace

bool PageHandler::read_matrix(std::string_view text, Matrix& matrix) {
  for (double& value : matrix) {
    const std::size_t begin = text.find_first_not_of(" ,\t\r\n");
    if (begin == std::string_view::npos) return false;
    text.remove_prefix(begin);
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    if (read.ec != std::errc{} || !std::isfinite(value)) return false;
    text.remove_prefix(static_cast<std::size_t>(read.ptr - text.data()));
  }
  return true;
}

PageHandler::Matrix PageHandler::product(const Matrix& a, const Matrix& b) {
  return {a[0] * b[0] + a[1] * b[2],        a[0] * b[1] + a[1] * b[3],
          a[2] * b[0] + a[3] * b[2],        a[2] * b[1] + a[3] * b[3],
          a[4] * b[0] + a[5] * b[2] + b[4], a[4] * b[1] + a[5] * b[3] + b[5]};
}

void PageHandler::start_element(const XmlElement& element) {
  const std::string_view name = element.name();
  Matrix matrix;
  if (name == "Canvas") {
    Matrix around = matrices_.back();
    if (matrices_.size() < deepest && read_matrix(element.attribute("RenderTransform"), matrix)) {
      around = product(matrix, around);
    }
    matrices_.push_back(around);
  } else if (name == "Canvas.RenderTransform") {
    in_canvas_transform_ = true;
  } else if (name == "MatrixTransform") {
    if (in_canvas_transform_ && matrices_.size() < deepest &&
        read_matrix(element.attribute("Matrix"), matrix)) {
      matrices_.back() = product(matrix, matrices_.back());
    }
  } else if (name == "Glyphs") {
    glyphs(element);
  }
}

void PageHandler::end_element(std::string_view name, std::string_view /*uri*/) {
  if (name == "Canvas" && matrices_.size() > 1) matrices_.pop_back();
  if (name == "Canvas.RenderTransform") in_canvas_transform_ = false;
}

void PageHandler::glyphs(const XmlElement& element) {
  std::string_view text = element.attribute("UnicodeString");
  // A string that begins with a brace has an empty pair of them before it (clause 12.1.4).
  if (text.starts_with("{}")) text.remove_prefix(2);
  if (text.empty()) return;
  Matrix matrix;
  const Matrix& canvas = matrices_.back();
  const Matrix place =
      read_matrix(element.attribute("RenderTransform"), matrix) ? product(matrix, canvas) : canvas;
  const double origin_x = number(element.attribute("OriginX"), 0);
  const double origin_y = number(element.attribute("OriginY"), 0);
  const double size = number(element.attribute("FontRenderingEmSize"), 0);
  const double width = advance(element.attribute("Indices"), count_characters(text)) * size;
  // The page is seen along the base line of the run.
  const double scale = std::hypot(place[0], place[1]);
  if (scale == 0) return;
  const double cosine = place[0] / scale;
  const double sine = place[1] / scale;
  const double page_x = origin_x * place[0] + origin_y * place[2] + place[4];
  const double page_y = origin_x * place[1] + origin_y * place[3] + place[5];
  const double x = page_x * cosine + page_y * sine;
  const double y = page_y * cosine - page_x * sine;
  const bool leftwards =
      (static_cast<int>(std::clamp(number(element.attribute("BidiLevel"), 0), 0.0, 61.0)) & 1) != 0;
  const double begin = leftwards ? x - width * scale : x;
  const double end = leftwards ? x : x + width * scale;
  const double unit = size * scale;

  if (has_line_ && std::abs(y - line_y_) > same_line * std::max(unit, size_)) finish();
  const std::size_t last = text.find_last_not_of(' ');
  const bool ends_with_blank = last + 1 != text.size();
  text = text.substr(0, last + 1);  // nothing is left of blanks alone
  if (!text.empty()) {
    const double gap = has_line_ ? std::max(begin - end_x_, begin_x_ - end) : 0;
    if (gap > tab_gap * unit) {
      sink_.text("\t");
    } else if ((blank_due_ || gap > blank_gap * unit) && !text.starts_with(' ')) {
      sink_.text(" ");
    }
    sink_.text(text);
    has_line_ = true;
    blank_due_ = false;
  }
  blank_due_ = has_line_ && (blank_due_ || ends_with_blank);
  line_y_ = y;
  begin_x_ = begin;
  end_x_ = end;
  size_ = unit;
}

void PageHandler::finish() {
  if (has_line_) sink_.paragraph();
  has_line_ = false;
  blank_due_ = false;
}

}  // namespace trfilter::xps
