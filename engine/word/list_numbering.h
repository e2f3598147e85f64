#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "engine/core/list_number.h"

namespace trfilter::word {

constexpr int level_count = 9;

/// One level of a list.
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

/// The levels that lists share, and how far each has been counted.
struct ListDefinition {
  Levels levels;
  std::string style_link;  ///< a numbering style that has the levels instead
  std::array<std::optional<std::int64_t>, level_count> counts;
};

/// A list: a definition with what is its own.
struct ListInstance {
  int definition = 0;
  std::array<std::optional<int>, level_count> start;
  std::array<bool, level_count> started{};
  std::unique_ptr<Levels> levels;  ///< overrides of whole levels
};

/// The lists of a word processing document, counted as its paragraphs come.
class ListNumbering {
 public:
  static constexpr std::size_t most_lists = std::size_t{1} << 15;
  /// Labels are short; a definition's text is the document's to choose.
  static constexpr std::size_t most_label_bytes = 1024;

  /// The definition or list of this number, made where it is missing; null beyond `most_lists`.
  ListDefinition* add_definition(int id) { return added(definitions_, id); }
  ListInstance* add_instance(int id) { return added(instances_, id); }

  /// @return null when there is none
  const ListDefinition* definition(int id) const;
  const ListInstance* instance(int id) const;

  /// Makes every list count by the definition that `resolve` names for its own one.
  template <typename Resolve>
  void resolve_definitions(Resolve resolve) {
    for (auto& [id, instance] : instances_) instance.definition = resolve(instance.definition);
  }

  /// The level that is tied to a paragraph style; none when there is no such level.
  std::optional<int> level_of_style(int id, std::string_view style) const;

  /// Counts a paragraph.
  /// @param id  the list's number
  /// @return its label as it is displayed, with a blank behind where there is a gap; valid until
  ///         the next call. Empty for no label.
  std::string_view next_label(int id, int level);

 private:
  template <typename Value>
  static Value* added(std::unordered_map<int, Value>& into, int id) {
    if (into.size() == most_lists && !into.contains(id)) return nullptr;
    return &into[id];
  }

  static const Level* level_of(const ListDefinition& definition, const ListInstance& instance,
                               int level);
  static void count(ListDefinition& definition, ListInstance& instance, int level);
  void write_label(const ListDefinition& definition, const ListInstance& instance, int level);

  std::unordered_map<int, ListDefinition> definitions_;
  std::unordered_map<int, ListInstance> instances_;
  std::string label_;
};

}  // namespace trfilter::word
