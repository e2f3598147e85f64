#include "engine/readers/xml_names.h"

#include <algorithm>
#include <array>

namespace trfilter {
namespace {

struct Row {
  std::string_view name;
  XmlRole role;
};

using enum XmlRole;

constexpr std::array rows = std::to_array<Row>({
    {"a", inline_},
    {"abbr", inline_},
    {"abbrev", inline_},
    {"abstract", block},
    {"acronym", inline_},
    {"anchor", inline_},
    {"article", block},
    {"b", inline_},
    {"bdo", inline_},
    {"big", inline_},
    {"blockquote", block},
    {"body", block},
    {"bold", inline_},
    {"bpt", inline_},
    {"br", line_end},
    {"break", line_end},
    {"bx", inline_},
    {"caption", block},
    {"chapter", block},
    {"cite", inline_},
    {"citetitle", inline_},
    {"codeblock", preserved},
    {"codeph", inline_},
    {"computeroutput", inline_},
    {"dd", block},
    {"del", inline_},
    {"div", block},
    {"dl", block},
    {"dt", block},
    {"em", inline_},
    {"emphasis", inline_},
    {"entry", cell},
    {"ept", inline_},
    {"ex", inline_},
    {"ext-link", inline_},
    {"figure", block},
    {"firstterm", inline_},
    {"font", inline_},
    {"g", inline_},
    {"h1", block},
    {"h2", block},
    {"h3", block},
    {"h4", block},
    {"h5", block},
    {"h6", block},
    {"head", block},
    {"heading", block},
    {"hi", inline_},
    {"highlight", inline_},
    {"i", inline_},
    {"inline-formula", inline_},
    {"inline-graphic", inline_},
    {"ins", inline_},
    {"italic", inline_},
    {"item", block},
    {"lb", line_end},
    {"li", block},
    {"linebreak", line_end},
    {"list", block},
    {"list-item", block},
    {"listitem", block},
    {"literal", inline_},
    {"literallayout", preserved},
    {"menucascade", inline_},
    {"mi", inline_},
    {"mixed-citation", block},
    {"mn", inline_},
    {"mo", inline_},
    {"monospace", inline_},
    {"mrk", inline_},
    {"named-content", inline_},
    {"note", block},
    {"ol", block},
    {"overline", inline_},
    {"p", block},
    {"para", block},
    {"pdat", inline_},
    {"ph", inline_},
    {"phrase", inline_},
    {"pre", preserved},
    {"preformat", preserved},
    {"programlisting", preserved},
    {"q", inline_},
    {"quote", inline_},
    {"replaceable", inline_},
    {"row", row},
    {"s", inline_},
    {"sc", inline_},
    {"screen", preserved},
    {"sec", block},
    {"section", block},
    {"seg", inline_},
    {"simpara", block},
    {"small", inline_},
    {"span", inline_},
    {"stentry", cell},
    {"sthead", row},
    {"strike", inline_},
    {"strong", inline_},
    {"strow", row},
    {"styled-content", inline_},
    {"sub", inline_},
    {"subscript", inline_},
    {"subtitle", block},
    {"sup", inline_},
    {"superscript", inline_},
    {"systemitem", inline_},
    {"table", block},
    {"td", cell},
    {"text", block},
    {"th", cell},
    {"title", block},
    {"tr", row},
    {"trademark", inline_},
    {"tspan", inline_},
    {"tt", inline_},
    {"u", inline_},
    {"uicontrol", inline_},
    {"ul", block},
    {"ulink", inline_},
    {"underline", inline_},
    {"userinput", inline_},
    {"varname", inline_},
    {"xref", inline_},
});

static_assert(std::ranges::is_sorted(rows, std::ranges::less{}, &Row::name));

constexpr std::size_t longest_name = 15;
static_assert(std::ranges::all_of(rows,
                                  [](const Row& row) { return row.name.size() <= longest_name; }));

constexpr std::array word_2003_rows = std::to_array<Row>({
    {"br", line_end},
    {"cr", line_end},
    {"fldSimple", inline_},
    {"hlink", inline_},
    {"p", block},
    {"r", inline_},
    {"t", inline_},
    {"tbl", block},
    {"tc", cell},
    {"tr", row},
});

// Formatting, field instructions, deleted text, encoded pictures and objects.
constexpr std::array<std::string_view, 13> word_2003_data = {
    "binData",   "delInstrText", "delText", "docOleData", "docPr",  "docSuppData", "fonts",
    "instrText", "lists",        "pPr",     "rPr",        "styles", "tblPr"};
constexpr std::array<std::string_view, 3> office_2003_data = {
    "CustomDocumentProperties", "DocumentProperties", "OfficeDocumentSettings"};

constexpr std::array<std::string_view, 7> readable_attributes = {
    "alt", "caption", "description", "label", "summary", "text", "title"};

}  // namespace

XmlRole xml_role_of(std::string_view local_name) {
  if (local_name.size() > longest_name) return unknown;
  std::array<char, longest_name> lower{};
  std::ranges::transform(local_name, lower.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  const std::string_view name(lower.data(), local_name.size());
  const auto found = std::ranges::lower_bound(rows, name, {}, &Row::name);
  return found != rows.end() && found->name == name ? found->role : unknown;
}

XmlRole word_2003_role_of(std::string_view local_name) {
  const auto found = std::ranges::find(word_2003_rows, local_name, &Row::name);
  return found != word_2003_rows.end() ? found->role : unknown;
}

bool is_office_2003_data(std::string_view local_name, std::string_view uri) {
  if (uri == xml_namespace::word_2003) {
    return std::ranges::find(word_2003_data, local_name) != word_2003_data.end();
  }
  return uri == xml_namespace::office_2003 &&
         std::ranges::find(office_2003_data, local_name) != office_2003_data.end();
}

bool is_readable_attribute(std::string_view name) {
  return std::ranges::find(readable_attributes, name) != readable_attributes.end();
}

}  // namespace trfilter
