#include "engine/xml/xmp.h"

#include <algorithm>
#include <array>
#include <string>

#include "engine/core/property_names.h"
#include "engine/xml/date_time.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {
namespace {

constexpr std::string_view dublin_core = "http://purl.org/dc/elements/1.1/";
constexpr std::string_view basic = "http://ns.adobe.com/xap/1.0/";
constexpr std::string_view pdf_schema = "http://ns.adobe.com/pdf/1.3/";
constexpr std::size_t most_value_bytes = std::size_t{64} << 10;

struct Row {
  std::string_view uri;
  std::string_view name;
  std::string_view property;
  bool is_time = false;
};

constexpr auto rows = std::to_array<Row>({
    {dublin_core, "title", property::title},
    {dublin_core, "creator", property::author},
    {dublin_core, "description", property::comments},
    {dublin_core, "subject", property::keywords},
    {dublin_core, "language", property::language},
    {dublin_core, "publisher", property::publisher},
    {dublin_core, "contributor", property::contributor},
    {dublin_core, "rights", property::copyright},
    {dublin_core, "identifier", property::identifier},
    {dublin_core, "source", property::source},
    {dublin_core, "relation", property::relation},
    {dublin_core, "coverage", property::coverage},
    {dublin_core, "type", property::document_type},
    {basic, "CreatorTool", property::application},
    {basic, "CreateDate", property::created, true},
    {basic, "ModifyDate", property::last_saved, true},
    {pdf_schema, "Producer", property::producer},
    {pdf_schema, "Keywords", property::keywords},
});

const Row* row_of(std::string_view uri, std::string_view name) {
  const auto found = std::ranges::find_if(
      rows, [&](const Row& row) { return row.uri == uri && row.name == name; });
  return found == rows.end() ? nullptr : &*found;
}

std::string trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  return std::string(text.substr(begin, text.find_last_not_of(blanks) - begin + 1));
}

/// Properties are elements, their items below them, or attributes of rdf:Description. Of texts in
/// several languages the first counts.
class PacketHandler final : public XmlHandler {
 public:
  PacketHandler(Properties& properties, XmpRepair repair)
      : properties_(properties), repair_(repair) {}

  void start_element(const XmlElement& element) override {
    ++depth_;
    value_.clear();
    if (element.name() == "Description") {
      for (int i = 0; i < element.attribute_count(); ++i) {
        const XmlElement::Attribute attribute = element.attribute_at(i);
        if (const Row* row = row_of(attribute.uri, attribute.name)) add(*row, attribute.value);
      }
    }
    if (row_ != nullptr) {
      has_items_ = has_items_ || element.name() == "li";
      alternatives_ = alternatives_ || element.name() == "Alt";
      return;
    }
    row_ = row_of(element.uri(), element.name());
    row_depth_ = depth_;
    has_items_ = alternatives_ = added_ = false;
  }

  void characters(std::string_view text) override {
    if (row_ != nullptr && value_.size() < most_value_bytes) value_ += text;
  }

  void end_element(std::string_view name, std::string_view /*uri*/) override {
    if (row_ != nullptr) {
      const bool ends_property = depth_ == row_depth_;
      if (name == "li" ? !(alternatives_ && added_) : ends_property && !has_items_) {
        add(*row_, value_);
        added_ = true;
      }
      if (ends_property) row_ = nullptr;
    }
    value_.clear();
    --depth_;
  }

 private:
  void add(const Row& row, std::string_view value) {
    std::string text = trimmed(value);
    if (!row.is_time) {
      if (text != "x-default" && text != "x-unknown") {
        properties_.add(row.property,
                        repair_ != nullptr ? repair_(std::move(text)) : std::move(text));
      }
    } else if (const auto time = parse_date_time(text)) {
      properties_.add(row.property, *time);
    }
  }

  Properties& properties_;
  XmpRepair repair_;
  const Row* row_ = nullptr;
  std::size_t depth_ = 0;
  std::size_t row_depth_ = 0;
  bool has_items_ = false;
  bool alternatives_ = false;
  bool added_ = false;
  std::string value_;
};

}  // namespace

void add_xmp_properties(std::string_view packet, Limits& limits, Properties& properties,
                        XmpRepair repair) {
  PacketHandler handler(properties, repair);
  XmlParser parser(handler, limits);
  parser.feed(packet);
  parser.finish();
}

}  // namespace trfilter
