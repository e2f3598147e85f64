#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/readers/odf_styles.h"

namespace trfilter {

/// Counts the items of lists and the headings, and writes their labels.
class OdfLists {
 public:
  explicit OdfLists(const OdfStyles& styles) : styles_(styles) {}

  void begin_list(const XmlElement& element);
  void end_list();
  /// @param has_label  false for a list's header
  void begin_item(const XmlElement& element, bool has_label);
  void end_item();

  /// The label of a paragraph, empty when it has none: an item's first has.
  std::string paragraph_label();
  /// The label of a heading that is in no list, empty when it has none.
  std::string heading_label(const XmlElement& element);

  /// Whether a paragraph here is an item's.
  bool in_item() const { return !lists_.empty(); }

  /// Leaves the lists around a text that stands aside, such as a note, and returns to them.
  void enter_aside() { aside_.push_back(std::exchange(lists_, {})); }
  void leave_aside();

 private:
  using Counters = std::array<std::int64_t, OdfListStyle::most_levels>;

  struct List {
    std::string style_name;
    const OdfListStyle* style;
    bool ordered;  ///< of the ancestors: numbers where the style is missing
    std::size_t level;
    std::int64_t next;
    std::int64_t last;
    bool label_due;
  };

  std::string label(const OdfListStyle& style, std::size_t level, const Counters& counters) const;

  const OdfStyles& styles_;
  std::vector<List> lists_;
  std::vector<std::vector<List>> aside_;
  std::unordered_map<std::string, std::int64_t> last_of_style_;
  Counters headings_{};
};

}  // namespace trfilter
