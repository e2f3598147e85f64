#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/core/list_number.h"
#include "engine/readers/docx_styles.h"

namespace trfilter::docx {

constexpr int level_count = 9;

/// One level of a list (ECMA-376 part 1, 17.9.6).
struct Level {
  int start = 0;
  NumberStyle style = NumberStyle::decimal;
  bool bullet = false;
  bool legal = false;          ///< all numbers in decimal digits
  std::optional<int> restart;  ///< 0: never; n: after a paragraph of the first n levels
  bool suffix = true;          ///< a tab or a blank stands behind the label
  std::string text;            ///< with %1 to %9 for numbers
  std::string font;
  std::string paragraph_style;
};

using Levels = std::array<std::optional<Level>, level_count>;

/// The lists of a document and how far each has been counted.
class Numbering {
 public:
  /// Reads a numbering part; an empty name reads nothing. `styles` outlives this.
  void read(OpcPackage& package, std::string_view part, const Styles& styles);

  /// The level that is tied to a paragraph style; none when there is no such level.
  std::optional<int> level_of_style(int number_id, std::string_view style_id) const;

  /// Counts a paragraph.
  /// @return its label as it is displayed, with a blank behind where there is a gap; valid until
  /// the
  ///         next call. Empty for no label.
  std::string_view next_label(int number_id, int level);

 private:
  friend class NumberingHandler;

  struct Definition {  ///< w:abstractNum
    Levels levels;
    std::string style_link;  ///< a numbering style that has the levels instead
    std::array<std::optional<std::int64_t>, level_count> counts;
  };
  struct Instance {  ///< w:num
    int definition = 0;
    std::array<std::optional<int>, level_count> start;
    std::array<bool, level_count> started{};
    std::unique_ptr<Levels> levels;  ///< overrides of whole levels
  };

  /// The definition that an instance counts by, links followed; null when there is none.
  template <typename Definitions>
  auto* definition_of(Definitions& definitions, const Instance& instance) const;
  static const Level* level_of(const Definition& definition, const Instance& instance, int level);
  void count(Definition& definition, Instance& instance, int level);
  void write_label(const Definition& definition, const Instance& instance, int level);

  const Styles* styles_ = nullptr;
  std::unordered_map<int, Definition> definitions_;
  std::unordered_map<int, Instance> instances_;
  std::string label_;
};

}  // namespace trfilter::docx
