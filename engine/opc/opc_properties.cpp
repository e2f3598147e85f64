// The three parts in which a package states facts about itself: core properties (ECMA-376 part 2,
// clause 11), extended and custom file properties (part 1, clauses 22.2 and 22.3).

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <utility>

#include "engine/core/property_names.h"
#include "engine/opc/opc_package.h"
#include "engine/xml/date_time.h"

namespace trfilter {
namespace {

// A longer value ends here.
constexpr std::size_t most_value_bytes = std::size_t{1} << 20;

enum class Kind { text, time, number };

struct Row {
  std::string_view element;
  std::string_view property;
  Kind kind;
};

constexpr std::array core_rows = {
    Row{"title", property::title, Kind::text},
    Row{"subject", property::subject, Kind::text},
    Row{"creator", property::author, Kind::text},
    Row{"keywords", property::keywords, Kind::text},
    Row{"description", property::comments, Kind::text},
    Row{"lastModifiedBy", property::last_author, Kind::text},
    Row{"revision", property::revision, Kind::text},
    Row{"created", property::created, Kind::time},
    Row{"modified", property::last_saved, Kind::time},
    Row{"lastPrinted", property::last_printed, Kind::time},
    Row{"category", property::category, Kind::text},
    Row{"language", property::language, Kind::text},
    Row{"contentStatus", property::content_status, Kind::text},
    Row{"identifier", property::identifier, Kind::text},
    Row{"version", property::version, Kind::text},
    Row{"publisher", property::publisher, Kind::text},
    Row{"contributor", property::contributor, Kind::text},
    Row{"rights", property::copyright, Kind::text},
    Row{"source", property::source, Kind::text},
    Row{"relation", property::relation, Kind::text},
    Row{"coverage", property::coverage, Kind::text},
    Row{"type", property::document_type, Kind::text},
};

constexpr std::array extended_rows = {
    Row{"Template", property::document_template, Kind::text},
    Row{"Manager", property::manager, Kind::text},
    Row{"Company", property::company, Kind::text},
    Row{"Application", property::application, Kind::text},
    Row{"TotalTime", property::edit_time, Kind::number},
    Row{"Pages", property::page_count, Kind::number},
    Row{"Words", property::word_count, Kind::number},
    Row{"Characters", property::character_count, Kind::number},
    Row{"Lines", property::line_count, Kind::number},
    Row{"Paragraphs", property::paragraph_count, Kind::number},
    Row{"Slides", property::slide_count, Kind::number},
    Row{"AppVersion", property::application_version, Kind::text},
    Row{"CharactersWithSpaces", property::character_count_with_spaces, Kind::number},
    Row{"DocSecurity", property::security, Kind::number},
    Row{"HiddenSlides", property::hidden_slide_count, Kind::number},
    Row{"Notes", property::note_count, Kind::number},
    Row{"MMClips", property::multimedia_clip_count, Kind::number},
    Row{"HyperlinkBase", property::hyperlink_base, Kind::text},
    Row{"PresentationFormat", property::presentation_format, Kind::text},
};

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && static_cast<unsigned char>(text.front()) <= ' ') text.remove_prefix(1);
  while (!text.empty() && static_cast<unsigned char>(text.back()) <= ' ') text.remove_suffix(1);
  return text;
}

void append_bounded(std::string& value, std::string_view text) {
  value += text.substr(0, most_value_bytes - std::min(most_value_bytes, value.size()));
}

template <typename Number>
std::optional<Number> number(std::string_view text) {
  text = trimmed(text);
  Number value{};
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc{} || result.ptr != text.data() + text.size()) return std::nullopt;
  return value;
}

/// Elements right below the root, by a table of their names.
class TableHandler final : public XmlHandler {
 public:
  TableHandler(std::span<const Row> rows, Properties& properties)
      : rows_(rows), properties_(properties) {}

  void start_element(const XmlElement& element) override {
    ++depth_;
    if (depth_ != 2) return;
    text_.clear();
    row_ = nullptr;
    for (const Row& row : rows_) {
      if (row.element == element.name()) row_ = &row;
    }
  }

  void characters(std::string_view text) override {
    if (depth_ == 2 && row_ != nullptr) append_bounded(text_, text);
  }

  void end_element(std::string_view, std::string_view) override {
    if (depth_-- != 2 || row_ == nullptr) return;
    const std::string_view name = row_->property;
    switch (row_->kind) {
      case Kind::text:
        properties_.add(name, std::string(trimmed(text_)));
        break;
      case Kind::time:
        if (const auto time = parse_date_time(text_)) properties_.add(name, *time);
        break;
      case Kind::number:
        if (const auto value = number<std::int32_t>(text_)) {
          properties_.add(name, *value);
        }
        break;
    }
    row_ = nullptr;
  }

 private:
  std::span<const Row> rows_;
  Properties& properties_;
  const Row* row_ = nullptr;
  std::string text_;
  unsigned depth_ = 0;
};

/// Custom properties: <property name="..."><vt:TYPE>value</vt:TYPE></property>.
class CustomHandler final : public XmlHandler {
 public:
  explicit CustomHandler(Properties& properties) : properties_(properties) {}

  void start_element(const XmlElement& element) override {
    ++depth_;
    if (depth_ == 2) name_ = element.attribute("name");
    if (depth_ == 3) {
      type_ = element.name();
      text_.clear();
    }
  }

  void characters(std::string_view text) override {
    if (depth_ == 3) append_bounded(text_, text);
  }

  void end_element(std::string_view, std::string_view) override {
    if (depth_-- != 3 || name_.empty()) return;
    if (auto value = converted()) properties_.add(name_, std::move(*value));
  }

 private:
  std::optional<PropertyValue> converted() const {
    if (type_ == "bool") {
      const std::string_view text = trimmed(text_);
      return text == "true" || text == "1";
    }
    if (type_ == "filetime" || type_ == "date") {
      const auto time = parse_date_time(text_);
      if (!time) return std::nullopt;
      return *time;
    }
    if (type_ == "r4" || type_ == "r8" || type_ == "decimal") {
      if (const auto value = number<double>(text_)) return *value;
    }
    if (type_ == "i1" || type_ == "i2" || type_ == "i4" || type_ == "int" || type_ == "ui1" ||
        type_ == "ui2" || type_ == "ui4" || type_ == "uint" || type_ == "i8" || type_ == "ui8") {
      if (const auto value = number<std::int32_t>(text_)) return *value;
    }
    // Vectors, blobs and the like have elements for values.
    if (trimmed(text_).empty()) return std::nullopt;
    return text_;
  }

  Properties& properties_;
  std::string name_;
  std::string type_;
  std::string text_;
  unsigned depth_ = 0;
};

}  // namespace

void OpcPackage::properties(Properties& properties) {
  // Damage of these parts is none of the document's text.
  const bool damaged_before = damaged_;
  const OpcRelationships package = relationships({});
  const auto part_of = [&](std::string_view kind, std::string_view usual) {
    const OpcRelationship* found = package.of_kind(kind);
    return found != nullptr && zip_.contains(found->target) ? found->target : std::string(usual);
  };
  TableHandler core(core_rows, properties);
  parse(part_of("core-properties", "docProps/core.xml"), core);
  TableHandler extended(extended_rows, properties);
  parse(part_of("extended-properties", "docProps/app.xml"), extended);
  CustomHandler custom(properties);
  parse(part_of("custom-properties", "docProps/custom.xml"), custom);
  damaged_ = damaged_before;
}

}  // namespace trfilter
