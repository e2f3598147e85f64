#include "engine/readers/revenge_metadata.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "engine/core/property_names.h"
#include "engine/readers/revenge_story.h"
#include "engine/xml/date_time.h"

namespace trfilter::revenge {
namespace {

enum class Kind : std::uint8_t { text, time };

struct Row {
  std::string_view statement;
  std::string_view property;
  Kind kind = Kind::text;
};

// Of several rows for one property the first that is stated counts.
constexpr std::array rows = {
    Row{"dc:title", property::title},
    Row{"librevenge:descriptive-name", property::title},
    Row{"dc:subject", property::subject},
    Row{"meta:initial-creator", property::author},
    Row{"dc:creator", property::author},
    Row{"dc:creator", property::last_author},
    Row{"meta:keyword", property::keywords},
    Row{"dc:description", property::comments},
    Row{"librevenge:comments", property::comments},
    Row{"librevenge:abstract", property::comments},
    Row{"librevenge:category", property::category},
    Row{"librevenge:manager", property::manager},
    Row{"librevenge:company", property::company},
    Row{"dc:contributor", property::contributor},
    Row{"dc:publisher", property::publisher},
    Row{"dc:rights", property::copyright},
    Row{"dc:source", property::source},
    Row{"dc:relation", property::relation},
    Row{"dc:coverage", property::coverage},
    Row{"dc:type", property::document_type},
    Row{"librevenge:descriptive-type", property::document_type},
    Row{"dc:language", property::language},
    Row{"dc:identifier", property::identifier},
    Row{"librevenge:document-number", property::identifier},
    Row{"librevenge:version-number", property::version},
    Row{"librevenge:status", property::content_status},
    Row{"meta:creation-date", property::created, Kind::time},
    Row{"dc:date", property::last_saved, Kind::time},
    Row{"meta:print-date", property::last_printed, Kind::time},
    Row{"dcterms:issued", property::published, Kind::time},
    Row{"meta:generator", property::application},
    Row{"librevenge:template", property::document_template},
    Row{"meta:editing-cycles", property::revision},
    Row{"librevenge:revision-number", property::revision},
};

bool is_stated(const Properties& properties, std::string_view name) {
  const auto& items = properties.items();
  return std::any_of(items.begin(), items.end(),
                     [name](const Properties::Item& item) { return item.name == name; });
}

}  // namespace

void add_missing(Properties& properties, std::string_view name, PropertyValue value) {
  if (!is_stated(properties, name)) properties.add(name, std::move(value));
}

void Metadata::add(const librevenge::RVNGPropertyList& list) {
  for (const Row& row : rows) {
    const std::string name(row.statement);
    std::string value = property_text(list, name.c_str());
    if (value.empty()) continue;
    value.resize(std::min(value.size(), most_value_bytes));
    statements_.try_emplace(name, std::move(value));
  }
}

void Metadata::write(Properties& properties, bool subject_is_title) const {
  for (const Row& row : rows) {
    const auto found = statements_.find(std::string(row.statement));
    if (found == statements_.end()) continue;
    std::string_view name = row.property;
    // Who is named alone is the author.
    if (name == property::last_author && !statements_.contains("meta:initial-creator")) continue;
    if (subject_is_title && name == property::subject) name = property::title;
    if (row.kind == Kind::text) {
      add_missing(properties, name, found->second);
    } else if (const auto time = parse_date_time(found->second); time && time->ticks > 0) {
      add_missing(properties, name, *time);
    }
  }
  if (pages_ != 0) add_missing(properties, property::page_count, pages_);
  if (slides_ != 0) add_missing(properties, property::slide_count, slides_);
}

}  // namespace trfilter::revenge
