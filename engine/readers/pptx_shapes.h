#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/list_number.h"
#include "engine/core/string_map.h"
#include "engine/core/text_sink.h"
#include "engine/drawing/math_structure.h"
#include "engine/opc/opc_package.h"

namespace trfilter::pptx {

/// What a part with a tree of shapes is to the reader.
enum class ShapePart : std::uint8_t {
  slide,         ///< its footer, date and number placeholders are footers
  notes,         ///< the same, without the picture and the number of its slide
  background,    ///< of a layout or a master: what stands on its slides, and no placeholder
  print_master,  ///< of notes or handouts: the same with headers, footers and dates
};

enum class ShapeToken : std::uint8_t;

/// Turns the shapes of a part of PresentationML (ECMA-376 part 1, 19.3) into text, in the tree's
/// order. Holds the sink for as long as it is used.
class ShapesHandler final : public XmlHandler {
 public:
  /// @param name  the part's name, for its relationships
  ShapesHandler(OpcPackage& package, TextSink& sink, std::string name, ShapePart part);

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;
  void characters(std::string_view text) override;

  /// Whether the part is a slide that is not shown.
  bool hidden_part() const { return hidden_part_; }

  /// Closes what the part left open; behind the last element.
  void finish();

 private:
  struct Shape {
    bool hidden = false;
    bool left_out = false;
    std::optional<Region> region;
    std::string alternative_text;
  };

  /// Numbers of the paragraphs of a text body, by level.
  struct Counter {
    std::string style;
    int number = 0;
  };
  static constexpr std::size_t level_count = 9;

  void start_part(const XmlElement& element);
  void start_properties(const XmlElement& element);
  void start_placeholder(std::string_view type);
  void end_shape();
  void start_paragraph();
  void start_paragraph_properties(const XmlElement& element);
  void start_numbering(const XmlElement& element);
  void start_run();
  void start_field(const XmlElement& element);
  void start_object(ShapeToken token, const XmlElement& element);
  const OpcRelationship* relationship(std::string_view id);

  OpcPackage& package_;
  TextSink& sink_;
  std::string name_;
  ShapePart part_;
  std::optional<OpcRelationships> relationships_;
  MathStructure math_;

  std::vector<Shape> shapes_;
  std::vector<bool> choice_taken_;  ///< of each mc:AlternateContent around
  std::array<Counter, level_count> counters_;
  std::size_t level_ = 0;
  std::string label_;     ///< of the paragraph that begins
  unsigned skipped_ = 0;  ///< depth within an element that is left out
  unsigned shapes_left_out_ = 0;
  bool hidden_part_ = false;
  bool in_text_ = false;
  bool in_date_ = false;
  bool numbered_ = false;  ///< the paragraph
  bool label_due_ = false;
};

/// Turns the comments on a slide into text: those of ECMA-376 and those with replies of later
/// versions.
class CommentsHandler final : public XmlHandler {
 public:
  /// @param authors  by their identifiers
  CommentsHandler(TextSink& sink, const StringMap<std::string>& authors)
      : sink_(sink), authors_(authors) {}

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;
  void characters(std::string_view text) override;

 private:
  TextSink& sink_;
  const StringMap<std::string>& authors_;
  std::vector<std::string> labels_;  ///< of open comments and answers, as far as not shown
  bool in_text_ = false;
};

/// Authors of comments: those of ECMA-376 part 1, 19.4 and those of threads.
class AuthorsHandler final : public XmlHandler {
 public:
  void start_element(const XmlElement& element) override;
  void end_element(std::string_view, std::string_view) override {}
  void characters(std::string_view) override {}

  StringMap<std::string> names;  ///< by identifier
};

}  // namespace trfilter::pptx
