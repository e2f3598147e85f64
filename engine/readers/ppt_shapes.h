#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/core/limits.h"
#include "engine/core/text_sink.h"
#include "engine/office_art/art_records.h"
#include "engine/office_art/shape_properties.h"
#include "engine/readers/ppt_text.h"

namespace trfilter::ppt {

/// What the object is whose drawing is shown.
enum class DrawingPart : std::uint8_t {
  slide,       ///< its footer, date and number are footers
  notes,       ///< the same, without the picture and the number of its slide
  background,  ///< of a master: what stands on its slides, and no placeholder
};

/// Shows the text of a drawing ([MS-PPT] 2.5.13): its shapes in their order, tables by rows.
class DrawingText {
 public:
  /// @param outline  the slide's texts in the list of slides, to which shapes refer; outlives the
  ///                 object
  DrawingText(TextSink& sink, const Limits& limits, DrawingPart part, const FieldValues& values,
              const std::vector<TextBlock>& outline)
      : sink_(sink),
        limits_(limits),
        part_(part),
        values_(values),
        outline_(outline),
        outline_shown_(outline.size()) {}

  /// Shows what lies in a drawing container.
  void show(std::string_view container);

  /// Shows the texts of the list of slides that no shape has referred to.
  void show_rest_of_outline();

  /// Whether a shape was the slide's own date, number or footer.
  bool has_date() const { return has_date_; }
  bool has_slide_number() const { return has_slide_number_; }
  bool has_footer() const { return has_footer_; }

  bool damaged() const { return damaged_; }

 private:
  struct Anchor {
    std::int32_t left = 0;
    std::int32_t top = 0;
  };

  struct Shape {
    ShapeProperties properties;
    TextBlock text;
    bool has_text = false;
    bool deleted = false;
    unsigned placeholder = 0;       ///< PlaceholderEnum
    unsigned page_placeholder = 0;  ///< the same, of a date, number, header or footer
    std::optional<std::size_t> outline;
    Anchor anchor;
  };

  void show_records(std::string_view records, unsigned depth);
  void show_group(std::string_view records, unsigned depth);
  void show_shape(const Shape& shape);
  void show_table(std::string_view records, unsigned depth);
  void collect_cells(std::string_view records, std::vector<Shape>& cells, unsigned depth);
  void show_text(const Shape& shape);
  void show_alternative_text(const ShapeProperties& properties);
  Shape parse_shape(std::string_view records);
  void parse_client_data(Shape& shape, std::string_view records);
  void parse_client_text(Shape& shape, std::string_view records);
  bool is_left_out(const Shape& shape) const;
  std::optional<Region> region_of(const Shape& shape);

  TextSink& sink_;
  const Limits& limits_;
  DrawingPart part_;
  const FieldValues& values_;
  const std::vector<TextBlock>& outline_;
  std::vector<bool> outline_shown_;
  bool has_date_ = false;
  bool has_slide_number_ = false;
  bool has_footer_ = false;
  bool damaged_ = false;
};

}  // namespace trfilter::ppt
