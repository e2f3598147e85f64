#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "engine/core/string_map.h"
#include "engine/opc/opc_package.h"

namespace trfilter::docx {

/// The value of an on-off property (ECMA-376 part 1, 17.17.4): on unless it says otherwise.
bool is_on(const XmlElement& element);

/// A whole number in an attribute's value.
std::optional<int> whole_number(std::string_view text);

/// What a style contributes to the text, its ancestors included.
struct Style {
  bool vanish = false;
  int number_id = 0;  ///< 0: the style numbers nothing
  std::optional<int> number_level;
  std::string id;            ///< the style's own
  std::string numbering_id;  ///< of the style, itself or an ancestor, that states `number_id`
};

/// The style table of a document (17.7).
class Styles {
 public:
  /// Reads a styles part; an empty name reads nothing.
  void read(OpcPackage& package, std::string_view part);

  /// @return null when there is none of this identifier
  const Style* find(std::string_view id) const;

  /// The style of paragraphs that name none; null when the document states none.
  const Style* default_paragraph() const { return default_paragraph_; }

 private:
  StringMap<Style> styles_;
  const Style* default_paragraph_ = nullptr;
};

}  // namespace trfilter::docx
