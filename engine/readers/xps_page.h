#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/text_sink.h"
#include "engine/xml/xml_parser.h"

namespace trfilter::xps {

/// Writes the glyph runs of a fixed page (ECMA-388, clause 12) in the order of its markup, which is
/// the order of reading in what programs write. Runs on one base line are a line; what their places
/// leave between them is a blank, or a tab where it is wide.
class PageHandler final : public XmlHandler {
 public:
  explicit PageHandler(TextSink& sink) : sink_(sink) {}

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;

  /// Ends the last line.
  void finish();

 private:
  /// The six numbers of an affine transformation (clause 14.4.1), row by row.
  using Matrix = std::array<double, 6>;
  static constexpr Matrix identity{1, 0, 0, 1, 0, 0};

  static bool read_matrix(std::string_view text, Matrix& matrix);
  static Matrix product(const Matrix& inner, const Matrix& outer);
  void glyphs(const XmlElement& element);

  TextSink& sink_;
  std::vector<Matrix> matrices_{identity};  ///< of the open canvases
  bool in_canvas_transform_ = false;
  bool has_line_ = false;
  bool blank_due_ = false;  ///< the last run ended with one
  double line_y_ = 0;
  double begin_x_ = 0;  ///< of the last run, from left to right
  double end_x_ = 0;
  double size_ = 0;
};

}  // namespace trfilter::xps
