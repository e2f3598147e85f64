#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/limits.h"
#include "engine/core/text_sink.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {

/// Shows the text of DrawingML shapes (ECMA-376 part 1, clauses 20 and 21): paragraphs of text
/// bodies, what stands for pictures, and which charts and diagrams a drawing holds. Reads a drawing
/// part of a spreadsheet or of a chart, and a diagram's data part. Alternatives that a newer reader
/// does not need are left out, and so is hidden shapes' text where hidden text is.
class DrawingTextHandler final : public XmlHandler {
 public:
  static constexpr std::size_t most_objects = 4096;

  /// A chart or diagram that a shape shows.
  struct Object {
    enum class Kind : std::uint8_t { chart, diagram };
    Kind kind;
    std::string relationship;  ///< of the drawing's part; for a diagram that of its data
  };

  /// Both arguments outlive the handler.
  DrawingTextHandler(TextSink& sink, Limits& limits) : sink_(sink), limits_(limits) {}

  /// In document order, at most `most_objects`.
  const std::vector<Object>& objects() const { return objects_; }

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;
  void characters(std::string_view text) override;

 private:
  void alternative_text(std::string_view text);

  TextSink& sink_;
  Limits& limits_;
  std::vector<Object> objects_;
  std::vector<bool> shapes_;  ///< open ones, whether a hidden region was opened for each
  unsigned depth_ = 0;
  unsigned skipped_depth_ = 0;
  bool in_text_ = false;
};

/// Shows a chart: its titles and labels as paragraphs, then the name of each series, and its
/// categories as a row where they differ from those of the series before (ECMA-376 part 1, 21.2,
/// and the chart parts of later versions, whose data come before their series). On request the
/// values that the chart keeps follow, a row a series: a spreadsheet has them in its cells, other
/// documents nowhere else.
class ChartTextHandler final : public XmlHandler {
 public:
  /// What a row has beyond is not shown.
  static constexpr std::size_t most_row_bytes = std::size_t{1} << 20;

  enum class Values : std::uint8_t { hidden, shown };

  explicit ChartTextHandler(TextSink& sink, Values values = Values::hidden)
      : sink_(sink), with_values_(values == Values::shown) {}

  /// Relationship of the drawing that lies over the chart; empty when there is none.
  const std::string& user_shapes() const { return user_shapes_; }

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;
  void characters(std::string_view text) override;

 private:
  bool holds_row(std::string_view element) const;
  void end_row();
  void end_value();

  TextSink& sink_;
  std::string user_shapes_;
  std::string value_;
  std::string format_code_;
  std::string row_;               ///< of categories or values, each ended by a tab
  std::string shown_categories_;  ///< of the last series that showed them
  unsigned skipped_depth_ = 0;
  bool in_rich_text_ = false;
  bool with_values_;
  bool in_row_ = false;
  bool row_of_values_ = false;
  bool in_name_ = false;
  bool numbers_ = false;  ///< the row's items are numbers
  bool capture_ = false;
};

}  // namespace trfilter
