#include "engine/html/html_properties.h"

#include <algorithm>
#include <array>

#include "engine/core/property_names.h"
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
    {"application-name", property::application, false},
    {"article:modified_time", property::last_saved, true},
    {"article:published_time", property::published, true},
    {"author", property::author, false},
    {"copyright", property::copyright, false},
    {"created", property::created, true},
    {"date", property::created, true},
    {"dc.contributor", property::contributor, false},
    {"dc.coverage", property::coverage, false},
    {"dc.creator", property::author, false},
    {"dc.date", property::published, true},
    {"dc.date.created", property::created, true},
    {"dc.date.modified", property::last_saved, true},
    {"dc.description", property::comments, false},
    {"dc.identifier", property::identifier, false},
    {"dc.language", property::language, false},
    {"dc.publisher", property::publisher, false},
    {"dc.relation", property::relation, false},
    {"dc.rights", property::copyright, false},
    {"dc.source", property::source, false},
    {"dc.subject", property::keywords, false},
    {"dc.title", property::title, false},
    {"dc.type", property::document_type, false},
    {"dcterms.created", property::created, true},
    {"dcterms.issued", property::published, true},
    {"dcterms.modified", property::last_saved, true},
    {"description", property::comments, false},
    {"generator", property::application, false},
    {"keywords", property::keywords, false},
    {"language", property::language, false},
    {"last-modified", property::last_saved, true},
    {"progid", property::application, false},
    {"publisher", property::publisher, false},
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
    add_once(property::language, language);
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
    add_once(property::title, title_);
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
  if (name == "content-language") add_once(property::language, content);
  const auto found =
      std::ranges::lower_bound(meta_names, std::string_view(name), {}, &MetaName::meta);
  if (found == meta_names.end() || found->meta != name) return;
  if (found->is_time) {
    add_time(found->property, content);
  } else if (found->property == property::author || found->property == property::keywords) {
    properties_->add(found->property, collapsed(content));
  } else {
    add_once(found->property, content);
  }
}

void HtmlProperties::add_once(std::string_view name, std::string_view text) {
  const bool there = std::ranges::any_of(
      properties_->items(), [&](const Properties::Item& item) { return item.name == name; });
  if (!there) properties_->add(name, collapsed(text));
}

void HtmlProperties::add_time(std::string_view name, std::string_view text) {
  if (const auto time = parse_iso_time(text)) properties_->add(name, *time);
}

}  // namespace trfilter
