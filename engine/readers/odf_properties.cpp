#include "engine/readers/odf_properties.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "engine/core/property_names.h"
#include "engine/readers/odf_values.h"
#include "engine/xml/date_time.h"

namespace trfilter {
namespace {

struct Row {
  std::string_view element;
  std::string_view property;
  enum class Kind : std::uint8_t { text, time } kind;
};

constexpr std::array rows{
    Row{"title", property::title, Row::Kind::text},
    Row{"subject", property::subject, Row::Kind::text},
    Row{"description", property::comments, Row::Kind::text},
    Row{"initial-creator", property::author, Row::Kind::text},
    Row{"creator", property::last_author, Row::Kind::text},
    Row{"creation-date", property::created, Row::Kind::time},
    Row{"date", property::last_saved, Row::Kind::time},
    Row{"print-date", property::last_printed, Row::Kind::time},
    Row{"printed-by", property::last_printed_by, Row::Kind::text},
    Row{"language", property::language, Row::Kind::text},
    Row{"generator", property::application, Row::Kind::text},
    Row{"editing-cycles", property::revision, Row::Kind::text},
    Row{"publisher", property::publisher, Row::Kind::text},
    Row{"contributor", property::contributor, Row::Kind::text},
    Row{"rights", property::copyright, Row::Kind::text},
    Row{"identifier", property::identifier, Row::Kind::text},
    Row{"source", property::source, Row::Kind::text},
    Row{"relation", property::relation, Row::Kind::text},
    Row{"coverage", property::coverage, Row::Kind::text},
    Row{"type", property::document_type, Row::Kind::text},
};

struct Statistic {
  std::string_view attribute;
  std::string_view property;
};

constexpr std::array statistics{
    Statistic{"page-count", property::page_count},
    Statistic{"word-count", property::word_count},
    Statistic{"paragraph-count", property::paragraph_count},
    Statistic{"row-count", property::line_count},
    Statistic{"table-count", property::table_count},
    Statistic{"image-count", property::image_count},
    Statistic{"object-count", property::object_count},
    Statistic{"cell-count", property::cell_count},
};

constexpr std::size_t most_value = std::size_t{1} << 20;

}  // namespace

void OdfPropertiesHandler::start_element(const XmlElement& element) {
  const std::string_view name = element.name();
  if (!in_meta_) {
    in_meta_ = name == "meta" && !done_;
    return;
  }
  value_.clear();
  if (name == "document-statistic") {
    add_statistics(element);
  } else if (name == "user-defined") {
    user_name_ = element.attribute("name");
    user_type_ = element.attribute("value-type");
  } else if (name == "template") {
    properties_.add(property::document_template, std::string(element.attribute("title")));
  }
}

void OdfPropertiesHandler::add_statistics(const XmlElement& element) {
  const auto add = [&](std::string_view attribute, std::string_view name) {
    const auto count = odf_unsigned(element.attribute(attribute));
    if (!count || *count > static_cast<unsigned>(std::numeric_limits<std::int32_t>::max())) {
      return false;
    }
    properties_.add(name, static_cast<std::int32_t>(*count));
    return true;
  };
  for (const Statistic& statistic : statistics) add(statistic.attribute, statistic.property);
  // Blanks count in "character-count", but other formats have the count without them by that name.
  const bool both = add("non-whitespace-character-count", property::character_count);
  add("character-count", both ? property::character_count_with_spaces : property::character_count);
}

void OdfPropertiesHandler::characters(std::string_view text) {
  if (in_meta_ && value_.size() < most_value) value_ += text;
}

void OdfPropertiesHandler::end_element(std::string_view name, std::string_view /*uri*/) {
  if (!in_meta_) return;
  if (name == "meta") {
    in_meta_ = false;
    done_ = true;
    properties_.add(property::keywords, keywords_);
    if (!author_stated_) properties_.add(property::author, last_author_);
  } else {
    end_property(name);
  }
  value_.clear();
}

void OdfPropertiesHandler::end_property(std::string_view name) {
  if (name == "keyword") {
    if (keywords_.size() > most_value || value_.empty()) return;
    if (!keywords_.empty()) keywords_ += ", ";
    keywords_ += value_;
  } else if (name == "editing-duration") {
    const auto seconds = odf_duration(value_);
    constexpr double most_minutes = std::numeric_limits<std::int32_t>::max();
    if (seconds && *seconds >= 0 && *seconds / 60 < most_minutes) {
      properties_.add(property::edit_time, static_cast<std::int32_t>(*seconds / 60));
    }
  } else if (name == "user-defined") {
    end_user_property();
  } else {
    for (const Row& row : rows) {
      if (row.element != name) continue;
      if (row.property == property::author) author_stated_ = author_stated_ || !value_.empty();
      if (row.property == property::last_author) last_author_ = value_;
      if (row.kind == Row::Kind::text) {
        properties_.add(row.property, value_);
      } else if (const auto time = parse_date_time(value_)) {
        properties_.add(row.property, *time);
      }
    }
  }
}

void OdfPropertiesHandler::end_user_property() {
  if (user_name_.empty() || value_.empty()) return;
  double number = 0;
  const char* end = value_.data() + value_.size();
  const auto parsed = std::from_chars(value_.data(), end, number);
  if (user_type_ == "float" && parsed.ec == std::errc() && parsed.ptr == end) {
    properties_.add(user_name_, number);
  } else if (user_type_ == "boolean") {
    properties_.add(user_name_, value_ == "true");
  } else if (user_type_ == "date") {
    if (const auto time = parse_date_time(value_)) properties_.add(user_name_, *time);
  } else {
    properties_.add(user_name_, value_);
  }
}

}  // namespace trfilter
