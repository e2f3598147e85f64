#include "engine/readers/xml_properties.h"

#include <algorithm>
#include <array>

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
  if (depth_ == 3 && root_ == "opml" && parent_ == "head") return find_property(outline_head, name);
  return {};
}

void XmlProperties::start_element(const XmlElement& element) {
  ++depth_;
  if (depth_ == 1) root_ = element.name();
  if (depth_ == 2) parent_ = element.name();
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
    if (property_ == property::created || property_ == property::last_saved) {
      if (const auto time = parse_iso_time(collapsed(value_))) properties_->add(property_, *time);
    } else {
      properties_->add(property_, collapsed(value_));
    }
  }
  if (depth_ == item_depth_) item_depth_ = 0;
  --depth_;
}

}  // namespace trfilter
