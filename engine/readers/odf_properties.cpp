#include "engine/readers/odf_properties.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

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
    Row{"title", "Title", Row::Kind::text},
    Row{"subject", "Subject", Row::Kind::text},
    Row{"description", "Comments", Row::Kind::text},
    Row{"initial-creator", "Author", Row::Kind::text},
    Row{"creator", "LastAuthor", Row::Kind::text},
    Row{"creation-date", "Created", Row::Kind::time},
    Row{"date", "LastSaved", Row::Kind::time},
    Row{"print-date", "LastPrinted", Row::Kind::time},
    Row{"printed-by", "LastPrintedBy", Row::Kind::text},
    Row{"language", "Language", Row::Kind::text},
    Row{"generator", "Application", Row::Kind::text},
    Row{"editing-cycles", "Revision", Row::Kind::text},
    Row{"publisher", "Publisher", Row::Kind::text},
    Row{"contributor", "Contributor", Row::Kind::text},
    Row{"rights", "Copyright", Row::Kind::text},
};

struct Statistic {
  std::string_view attribute;
  std::string_view property;
};

constexpr std::array statistics{
    Statistic{"page-count", "PageCount"},
    Statistic{"word-count", "WordCount"},
    Statistic{"character-count", "CharacterCount"},
    Statistic{"paragraph-count", "ParagraphCount"},
    Statistic{"row-count", "LineCount"},
    Statistic{"table-count", "TableCount"},
    Statistic{"image-count", "ImageCount"},
    Statistic{"object-count", "ObjectCount"},
    Statistic{"cell-count", "CellCount"},
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
    properties_.add("Template", std::string(element.attribute("title")));
  }
}

void OdfPropertiesHandler::add_statistics(const XmlElement& element) {
  for (const Statistic& statistic : statistics) {
    const auto count = odf_unsigned(element.attribute(statistic.attribute));
    if (count && *count <= static_cast<unsigned>(std::numeric_limits<std::int32_t>::max())) {
      properties_.add(std::string(statistic.property), static_cast<std::int32_t>(*count));
    }
  }
}

void OdfPropertiesHandler::characters(std::string_view text) {
  if (in_meta_ && value_.size() < most_value) value_ += text;
}

void OdfPropertiesHandler::end_element(std::string_view name, std::string_view /*uri*/) {
  if (!in_meta_) return;
  if (name == "meta") {
    in_meta_ = false;
    done_ = true;
    properties_.add("Keywords", keywords_);
    if (!author_stated_) properties_.add("Author", last_author_);
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
      properties_.add("EditTime", static_cast<std::int32_t>(*seconds / 60));
    }
  } else if (name == "user-defined") {
    end_user_property();
  } else {
    for (const Row& row : rows) {
      if (row.element != name) continue;
      if (row.property == "Author") author_stated_ = author_stated_ || !value_.empty();
      if (row.property == "LastAuthor") last_author_ = value_;
      if (row.kind == Row::Kind::text) {
        properties_.add(std::string(row.property), value_);
      } else if (const auto time = parse_date_time(value_)) {
        properties_.add(std::string(row.property), *time);
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
