// HTML, with or without anything that says so.

#include <algorithm>
#include <array>

#include "engine/core/fields.h"
#include "engine/detect/text_kinds.h"

namespace trfilter::detection {
namespace {

// Sorted for the search.
constexpr std::array<std::string_view, 66> tags{
    "a",      "abbr",       "address",  "article", "aside",  "b",       "base",     "basefont",
    "big",    "blockquote", "body",     "br",      "button", "canvas",  "center",   "code",
    "dd",     "dir",        "div",      "dl",      "dt",     "em",      "fieldset", "font",
    "footer", "form",       "frameset", "h1",      "h2",     "h3",      "h4",       "h5",
    "h6",     "head",       "header",   "hr",      "html",   "i",       "iframe",   "img",
    "input",  "label",      "li",       "link",    "main",   "meta",    "nav",      "noscript",
    "object", "ol",         "p",        "pre",     "script", "section", "select",   "small",
    "span",   "strong",     "style",    "table",   "tbody",  "td",      "title",    "tr",
    "u",      "ul",
};
static_assert(std::is_sorted(tags.begin(), tags.end()));

bool same_name(std::string_view text, std::string_view lower) {
  if (text.size() < lower.size()) return false;
  for (std::size_t i = 0; i < lower.size(); ++i) {
    const char c = text[i];
    if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != lower[i]) return false;
  }
  return true;
}

}  // namespace

bool is_html_tag(std::string_view name) {
  if (name.empty() || name.size() > 10) return false;
  std::string lower(name);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return std::binary_search(tags.begin(), tags.end(), std::string_view(lower));
}

bool holds_html_page(const TextHead& text) {
  // A page that something stands before: the html element opens a line, and its head or body
  // follows.
  const std::string_view sample = text.text().substr(0, TextHead::sample_size);
  bool page = false;
  for (std::size_t at = sample.find('<'); at != npos; at = sample.find('<', at + 1)) {
    const std::string_view tag = sample.substr(at + 1, 16);
    const bool opens_line = at == 0 || sample[at - 1] == '\n' || sample[at - 1] == '\r';
    if (opens_line &&
        (same_name(tag, "!doctype html") || same_name(tag, "html>") || same_name(tag, "html "))) {
      page = true;
    } else if (page && (same_name(tag, "head>") || same_name(tag, "body>") ||
                        same_name(tag, "body ") || same_name(tag, "title>"))) {
      return !contains(sample.substr(0, at), "```");
    }
  }
  return false;
}

}  // namespace trfilter::detection
