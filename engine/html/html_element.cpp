#include "engine/html/html_element.h"

#include <algorithm>
#include <array>

namespace trfilter {
namespace {

using enum HtmlElement;
using Row = HtmlElementRow;

constexpr std::array rows = std::to_array<Row>({
    {"address", other, Row::block},
    {"area", area, Row::empty},
    {"article", other, Row::block},
    {"aside", other, Row::block},
    {"base", other, Row::empty},
    {"basefont", other, Row::empty},
    {"bgsound", other, Row::empty},
    {"blockquote", other, Row::block},
    {"body", body, Row::block},
    {"br", br, Row::empty},
    {"button", button, Row::box | Row::scope},
    {"caption", caption, Row::block | Row::scope},
    {"center", other, Row::block},
    {"col", other, Row::empty},
    {"datalist", other, Row::hidden},
    {"dd", definition, Row::block},
    {"details", other, Row::block},
    {"dialog", other, Row::block},
    {"dir", list, Row::block},
    {"div", other, Row::block},
    {"dl", list, Row::block},
    {"dt", definition, Row::block},
    {"embed", other, Row::empty},
    {"fieldset", other, Row::block},
    {"figcaption", other, Row::block},
    {"figure", other, Row::block},
    {"footer", other, Row::block},
    {"form", other, Row::block},
    {"frame", other, Row::empty},
    {"frameset", other, Row::block},
    {"h1", heading, Row::block},
    {"h2", heading, Row::block},
    {"h3", heading, Row::block},
    {"h4", heading, Row::block},
    {"h5", heading, Row::block},
    {"h6", heading, Row::block},
    {"head", other, Row::block},
    {"header", other, Row::block},
    {"hgroup", other, Row::block},
    {"hr", hr, Row::block | Row::empty},
    {"html", html, Row::block | Row::scope},
    {"iframe", other, Row::skipped},
    {"img", img, Row::empty},
    {"input", input, Row::empty},
    {"keygen", other, Row::empty},
    {"legend", other, Row::block},
    {"li", li, Row::block},
    {"link", other, Row::empty},
    {"listing", pre, Row::block | Row::preserves},
    {"main", other, Row::block},
    {"marquee", other, Row::block | Row::scope},
    {"menu", list, Row::block},
    {"meta", other, Row::empty},
    {"nav", other, Row::block},
    {"noembed", other, Row::skipped},
    {"noframes", other, Row::block},
    {"object", other, Row::scope},
    {"ol", list, Row::block},
    {"optgroup", optgroup, Row::block},
    {"option", option, Row::block},
    {"p", p, Row::block},
    {"param", other, Row::empty},
    {"plaintext", pre, Row::block | Row::preserves},
    {"pre", pre, Row::block | Row::preserves},
    {"q", q, 0},
    {"script", other, Row::skipped},
    {"search", other, Row::block},
    {"section", other, Row::block},
    {"select", select, Row::box},
    {"source", other, Row::empty},
    {"style", other, Row::skipped},
    {"summary", other, Row::block},
    {"table", table, Row::block | Row::scope},
    {"tbody", row_group, Row::block},
    {"td", cell, Row::scope},
    {"template", template_, Row::skipped | Row::scope},
    {"textarea", textarea, Row::box | Row::preserves},
    {"tfoot", row_group, Row::block},
    {"th", cell, Row::scope},
    {"thead", row_group, Row::block},
    {"title", title, Row::block},
    {"tr", row, 0},
    {"track", other, Row::empty},
    {"ul", list, Row::block},
    {"wbr", wbr, Row::empty},
    {"xmp", pre, Row::block | Row::preserves},
});

static_assert(std::ranges::is_sorted(rows, {}, &Row::name));

constexpr Row unknown{"", other, 0};

}  // namespace

const HtmlElementRow& html_element_of(std::string_view name) {
  const auto found = std::ranges::lower_bound(rows, name, {}, &Row::name);
  return found != rows.end() && found->name == name ? *found : unknown;
}

}  // namespace trfilter
