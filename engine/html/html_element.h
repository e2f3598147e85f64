#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace trfilter {

/// Elements whose text is read in a way of their own.
enum class HtmlElement : std::uint8_t {
  other,  ///< every name without one
  area,
  body,
  br,
  button,
  caption,
  cell,        ///< td and th
  definition,  ///< dt and dd
  heading,
  hr,
  html,
  img,
  input,
  li,
  list,  ///< ol, ul, menu, dir
  optgroup,
  option,
  p,
  pre,
  q,
  row,
  row_group,  ///< thead, tbody, tfoot
  select,
  table,
  template_,
  textarea,
  title,
  wbr,
  count,
};

constexpr std::size_t html_element_count = static_cast<std::size_t>(HtmlElement::count);

/// What is known of an element's name.
struct HtmlElementRow {
  enum Trait : unsigned {
    block = 1u << 0,      ///< begins and ends a paragraph
    empty = 1u << 1,      ///< has no content and no end tag
    skipped = 1u << 2,    ///< its content is not shown
    preserves = 1u << 3,  ///< white space is kept
    box = 1u << 4,        ///< stands apart from the text around it
    hidden = 1u << 5,     ///< hidden unless a page shows it by a script
    scope = 1u << 6,      ///< end tags inside close nothing outside of it
  };

  std::string_view name;
  HtmlElement element;
  unsigned traits;

  bool has(unsigned trait) const { return (traits & trait) != 0; }
};

/// The row of a lower-case name; a row for `HtmlElement::other` without traits when there is none.
const HtmlElementRow& html_element_of(std::string_view name);

}  // namespace trfilter
