#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "engine/core/list_number.h"
#include "engine/readers/odf_names.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {

/// How a level of a list or of headings is labelled.
struct OdfListLevel {
  enum class Kind : std::uint8_t { none, bullet, number };
  Kind kind = Kind::none;
  NumberStyle style = NumberStyle::decimal;
  unsigned shown_levels = 1;
  std::int64_t start = 1;
  std::string prefix;
  std::string suffix;
  std::string bullet;
};

/// The levels of a list, from the outermost.
struct OdfListStyle {
  static constexpr std::size_t most_levels = 10;
  std::array<OdfListLevel, most_levels> levels;
};

/// What of a document's styles (OpenDocument 1.3 part 3, clause 16) bears on its text: which styles
/// hide what they are used for, and how lists are labelled.
class OdfStyles {
 public:
  static constexpr std::size_t most_list_styles = 4096;
  static constexpr std::size_t most_names = 65'536;
  static constexpr std::size_t most_label_part = 64;  ///< bytes of a prefix, suffix or bullet

  void start_element(OdfElement kind, const XmlElement& element);
  void end_element(OdfElement kind);

  /// @param family  "text", "paragraph", "table" or "drawing-page"
  bool hides(std::string_view family, std::string_view name) const;

  /// @return null when there is none of the name
  const OdfListStyle* list(std::string_view name) const;
  const OdfListStyle& outline() const { return outline_; }
  /// Whether headings of a paragraph style are in no list, the outline's included.
  bool is_unnumbered(std::string_view paragraph_style) const {
    return unnumbered_.contains(std::string(paragraph_style));
  }

 private:
  void start_style(const XmlElement& element);
  void start_level(OdfElement kind, const XmlElement& element);

  std::unordered_set<std::string> hiding_;  ///< family and name
  std::unordered_set<std::string> unnumbered_;
  std::unordered_map<std::string, OdfListStyle> lists_;
  OdfListStyle outline_;

  std::string style_key_;  ///< of the open style
  OdfListStyle* open_list_ = nullptr;
};

}  // namespace trfilter
