#include "engine/html/html_properties.h"

#include <algorithm>
#include <array>

#include "engine/html/iso_time.h"

namespace trfilter {
namespace {

constexpr std::size_t longest_title = std::size_t{64} << 10;

struct MetaName {
  std::string_view meta;
  std::string_view property;
  bool is_time;
};

constexpr std::array meta_names = std::to_array<MetaName>({
    {"application-name", "Application", false},
    {"article:modified_time", "LastSaved", true},
    {"article:published_time", "Created", true},
    {"author", "Author", false},
    {"created", "Created", true},
    {"date", "Created", true},
    {"dc.creator", "Author", false},
    {"dc.date.created", "Created", true},
    {"dc.description", "Subject", false},
    {"dc.language", "Language", false},
    {"dc.subject", "Keywords", false},
    {"dc.title", "Title", false},
    {"dcterms.created", "Created", true},
    {"dcterms.modified", "LastSaved", true},
    {"description", "Subject", false},
    {"generator", "Application", false},
    {"keywords", "Keywords", false},
    {"language", "Language", false},
    {"last-modified", "LastSaved", true},
    {"progid", "Application", false},
});

bool is_blank(char c) {
  return c == ' ' || c == '\n' || c == '\t' || c == '\f' || c == '\r';
}

std::string collapsed(std::string_view text) {
  std::string out;
  bool blank_due = false;
  for (const char c : text) {
    if (is_blank(c)) {
      blank_due = !out.empty();
      continue;
    }
    if (blank_due) out.push_back(' ');
    blank_due = false;
    out.push_back(c);
  }
  return out;
}

std::string lower_case(std::string_view text) {
  std::string out(text.substr(0, 64));
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return out;
}

}  // namespace

void HtmlProperties::start_tag(const HtmlTag& tag) {
  const std::string_view name = tag.name();
  if (name == "html") {
    std::string_view language = tag.attribute("lang");
    if (language.empty()) language = tag.attribute("xml:lang");
    add_once("Language", language);
  } else if (name == "title") {
    in_title_ = !has_title_ && !tag.self_closing();
  } else if (name == "meta") {
    meta(tag);
  } else if (name == "body" || name == "svg") {
    complete_ = true;
  }
}

void HtmlProperties::end_tag(std::string_view name) {
  if (name == "title" && in_title_) {
    in_title_ = false;
    has_title_ = true;
    add_once("Title", title_);
  }
  if (name == "head") complete_ = true;
}

void HtmlProperties::text(std::string_view utf8) {
  if (in_title_ && title_.size() < longest_title) title_.append(utf8);
}

void HtmlProperties::finish() {
  if (in_title_) end_tag("title");
}

void HtmlProperties::meta(const HtmlTag& tag) {
  if (complete_) return;
  std::string_view key = tag.attribute("name");
  if (key.empty()) key = tag.attribute("property");
  if (key.empty()) key = tag.attribute("http-equiv");
  if (key.empty()) return;
  const std::string name = lower_case(key);
  const std::string_view content = tag.attribute("content");
  if (name == "content-language") add_once("Language", content);
  const auto found =
      std::ranges::lower_bound(meta_names, std::string_view(name), {}, &MetaName::meta);
  if (found == meta_names.end() || found->meta != name) return;
  if (found->is_time) {
    add_time(found->property, content);
  } else if (found->property == "Author" || found->property == "Keywords") {
    properties_->add(std::string(found->property), collapsed(content));
  } else {
    add_once(found->property, content);
  }
}

void HtmlProperties::add_once(std::string_view name, std::string_view text) {
  const bool there = std::ranges::any_of(
      properties_->items(), [&](const Properties::Item& item) { return item.name == name; });
  if (!there) properties_->add(std::string(name), collapsed(text));
}

void HtmlProperties::add_time(std::string_view name, std::string_view text) {
  if (const auto time = parse_iso_time(text)) properties_->add(std::string(name), *time);
}

}  // namespace trfilter
