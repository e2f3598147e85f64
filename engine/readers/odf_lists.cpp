#include "engine/readers/odf_lists.h"

#include <algorithm>
#include <utility>

#include "engine/readers/odf_values.h"

namespace trfilter {
namespace {

constexpr std::size_t most_depth = 1024;
constexpr std::size_t most_continued = 65'536;

}  // namespace

void OdfLists::begin_list(const XmlElement& element) {
  List list{};
  list.style_name = element.attribute("style-name");
  list.ordered = element.name() == "ordered-list";
  list.level = std::min(lists_.size(), OdfListStyle::most_levels - 1);
  if (!lists_.empty() && list.style_name.empty()) list.style_name = lists_.back().style_name;
  list.style = styles_.list(list.style_name);
  list.next = list.style == nullptr ? 1 : list.style->levels[list.level].start;
  const bool continues =
      element.attribute("continue-numbering") == "true" || element.has_attribute("continue-list");
  if (continues && list.level == 0) {
    const auto last = last_of_style_.find(list.style_name);
    if (last != last_of_style_.end()) list.next = last->second + 1;
  }
  // Depth is bounded by that of elements; a list so deep is only counted.
  if (lists_.size() < most_depth) lists_.push_back(std::move(list));
}

void OdfLists::end_list() {
  if (lists_.empty()) return;
  const List& list = lists_.back();
  if (list.level == 0 && last_of_style_.size() < most_continued) {
    last_of_style_[list.style_name] = list.next - 1;
  }
  lists_.pop_back();
}

void OdfLists::begin_item(const XmlElement& element, bool has_label) {
  if (lists_.empty()) return;
  List& list = lists_.back();
  list.label_due = has_label;
  if (const auto start = odf_unsigned(element.attribute("start-value"))) list.next = *start;
}

void OdfLists::end_item() {
  if (!lists_.empty()) lists_.back().label_due = false;
}

void OdfLists::leave_aside() {
  if (aside_.empty()) return;
  lists_ = std::move(aside_.back());
  aside_.pop_back();
}

std::string OdfLists::paragraph_label() {
  if (lists_.empty() || !lists_.back().label_due) return {};
  List& list = lists_.back();
  list.label_due = false;
  list.last = list.next++;
  if (list.style == nullptr) {
    return list.ordered ? std::to_string(list.last) + ". " : std::string();
  }
  Counters counters{};
  for (const List& outer : lists_) counters[outer.level] = outer.last;
  return label(*list.style, list.level, counters);
}

std::string OdfLists::heading_label(const XmlElement& element) {
  const auto number =
      odf_unsigned(element.has_attribute("outline-level") ? element.attribute("outline-level")
                                                          : element.attribute("level"));
  if (!number || *number < 1 || *number > OdfListStyle::most_levels) return {};
  if (element.attribute("is-list-header") == "true" ||
      styles_.is_unnumbered(element.attribute("style-name"))) {
    return {};
  }
  const OdfListStyle& outline = styles_.outline();
  const std::size_t level = *number - 1;
  const auto start = odf_unsigned(element.attribute("start-value"));
  if (start) {
    headings_[level] = *start;
  } else if (headings_[level] == 0) {
    headings_[level] = outline.levels[level].start;
  } else {
    ++headings_[level];
  }
  for (std::size_t below = level + 1; below < headings_.size(); ++below) headings_[below] = 0;
  return label(outline, level, headings_);
}

std::string OdfLists::label(const OdfListStyle& style, std::size_t level,
                            const Counters& counters) const {
  const OdfListLevel& own = style.levels[level];
  std::string out;
  switch (own.kind) {
    case OdfListLevel::Kind::none:
      return out;
    case OdfListLevel::Kind::bullet:
      out = own.bullet;
      break;
    case OdfListLevel::Kind::number: {
      out = own.prefix;
      const std::size_t shown = std::clamp<std::size_t>(own.shown_levels, 1, level + 1);
      bool first = true;
      for (std::size_t each = level + 1 - shown; each <= level; ++each) {
        if (style.levels[each].kind != OdfListLevel::Kind::number) continue;
        if (!std::exchange(first, false)) out += '.';
        append_number(out, style.levels[each].style, std::max<std::int64_t>(counters[each], 1));
      }
      out += own.suffix;
      break;
    }
  }
  out += ' ';
  return out;
}

}  // namespace trfilter
