#include "engine/readers/xml_properties.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "engine/core/property_names.h"
#include "engine/html/iso_time.h"
#include "engine/readers/xml_names.h"

namespace trfilter {
namespace {

constexpr std::size_t longest_value = std::size_t{64} << 10;

struct Row {
  std::string_view name;
  std::string_view property;
};

constexpr std::array dublin_core = std::to_array<Row>({
    {"contributor", property::contributor},
    {"coverage", property::coverage},
    {"creator", property::author},
    {"date", property::created},
    {"description", property::comments},
    {"identifier", property::identifier},
    {"language", property::language},
    {"publisher", property::publisher},
    {"relation", property::relation},
    {"rights", property::copyright},
    {"source", property::source},
    {"subject", property::keywords},
    {"title", property::title},
    {"type", property::document_type},
});

constexpr std::array channel = std::to_array<Row>({
    {"description", property::comments},
    {"generator", property::application},
    {"language", property::language},
    {"managingEditor", property::author},
    {"subtitle", property::comments},
    {"title", property::title},
    {"updated", property::last_saved},
});

constexpr std::array outline_head = std::to_array<Row>({
    {"ownerName", property::author},
    {"title", property::title},
});

// Of a FictionBook: below description/title-info and description/publish-info.
constexpr std::array book_title = std::to_array<Row>({
    {"author", property::author},
    {"book-title", property::title},
    {"genre", property::genre},
    {"keywords", property::keywords},
    {"lang", property::language},
    {"translator", property::contributor},
});

constexpr std::array book_publication = std::to_array<Row>({
    {"isbn", property::identifier},
    {"publisher", property::publisher},
    {"year", property::published},
});

// Of Office 2003 XML: below DocumentProperties.
constexpr std::array office_properties = std::to_array<Row>({
    {"Author", property::author},
    {"Bytes", property::byte_count},
    {"Category", property::category},
    {"Characters", property::character_count},
    {"CharactersWithSpaces", property::character_count_with_spaces},
    {"Company", property::company},
    {"Created", property::created},
    {"Description", property::comments},
    {"HyperlinkBase", property::hyperlink_base},
    {"Keywords", property::keywords},
    {"LastAuthor", property::last_author},
    {"LastPrinted", property::last_printed},
    {"LastSaved", property::last_saved},
    {"Lines", property::line_count},
    {"Manager", property::manager},
    {"Pages", property::page_count},
    {"Paragraphs", property::paragraph_count},
    {"PresentationFormat", property::presentation_format},
    {"Revision", property::revision},
    {"Subject", property::subject},
    {"Template", property::document_template},
    {"Title", property::title},
    {"TotalTime", property::edit_time},
    {"Version", property::application_version},
    {"Words", property::word_count},
});

constexpr std::array times = std::to_array<std::string_view>(
    {property::created, property::last_saved, property::last_printed, property::published});

bool is_number(std::string_view name) {
  return name.find("Count") != std::string_view::npos || name == property::edit_time;
}

template <typename Rows>
std::string_view find_property(const Rows& rows, std::string_view name) {
  const auto found = std::ranges::find(rows, name, &Row::name);
  return found == rows.end() ? std::string_view{} : found->property;
}

std::string collapsed(std::string_view text) {
  std::string out;
  bool blank_due = false;
  for (const char c : text) {
    if (c == ' ' || c == '\n' || c == '\t' || c == '\r') {
      blank_due = !out.empty();
      continue;
    }
    if (blank_due) out.push_back(' ');
    blank_due = false;
    out.push_back(c);
  }
  return out;
}

}  // namespace

std::string_view XmlProperties::property_of(const XmlElement& element) const {
  const std::string_view name = element.name();
  if (item_depth_ != 0) return {};
  if (element.uri() == xml_namespace::dublin_core) return find_property(dublin_core, name);
  if (depth_ == 2 && element.uri() == xml_namespace::svg && name == "title") return property::title;
  if (depth_ == 2 && element.uri() == xml_namespace::atom) return find_property(channel, name);
  if (depth_ == 3 && (root_ == "rss" || root_ == "RDF") && parent_ == "channel") {
    return find_property(channel, name);
  }
  if (depth_ == 3 && parent_ == "DocumentProperties" &&
      element.uri() == xml_namespace::office_2003) {
    return find_property(office_properties, name);
  }
  if (depth_ == 4 && root_ == "FictionBook" && parent_ == "description") {
    if (grandparent_ == "title-info") return find_property(book_title, name);
    if (grandparent_ == "publish-info") return find_property(book_publication, name);
  }
  if (depth_ == 3 && root_ == "opml" && parent_ == "head") return find_property(outline_head, name);
  return {};
}

void XmlProperties::start_element(const XmlElement& element) {
  ++depth_;
  if (depth_ == 1) root_ = element.name();
  if (depth_ == 2) parent_ = element.name();
  if (depth_ == 3) grandparent_ = element.name();
  const bool item = element.name() == "item" || element.name() == "entry";
  if (item && item_depth_ == 0 && depth_ > 1) item_depth_ = depth_;
  if (property_depth_ != 0) return;
  property_ = property_of(element);
  if (property_.empty()) return;
  property_depth_ = depth_;
  value_.clear();
}

void XmlProperties::characters(std::string_view text) {
  if (property_depth_ != 0 && value_.size() < longest_value) value_.append(text);
}

void XmlProperties::end_element(std::string_view, std::string_view) {
  if (depth_ == property_depth_) {
    property_depth_ = 0;
    add();
  } else if (property_depth_ != 0) {
    value_ += ' ';  // the parts of a name stand apart
  }
  if (depth_ == item_depth_) item_depth_ = 0;
  --depth_;
}

void XmlProperties::add() {
  const std::string value = collapsed(value_);
  if (std::ranges::find(times, property_) != times.end()) {
    if (const auto time = parse_iso_time(value)) properties_->add(property_, *time);
  } else if (is_number(property_)) {
    std::int32_t number = 0;
    const char* end = value.data() + value.size();
    const auto read = std::from_chars(value.data(), end, number);
    if (read.ec == std::errc{} && read.ptr == end) properties_->add(property_, number);
  } else {
    properties_->add(property_, value);
  }
}

}  // namespace trfilter
