#include "engine/readers/epub_package.h"

#include <algorithm>
#include <array>
#include <utility>

#include "engine/core/property_names.h"
#include "engine/xml/date_time.h"

namespace trfilter::epub {
namespace {

constexpr std::size_t most_items = std::size_t{1} << 18;
constexpr std::size_t most_kept_bytes = std::size_t{32} << 20;
constexpr std::size_t most_value_bytes = std::size_t{1} << 20;

struct Row {
  std::string_view element;
  std::string_view property;
};

// Dublin Core elements.
constexpr std::array rows{
    Row{"title", property::title},
    Row{"creator", property::author},
    Row{"contributor", property::contributor},
    Row{"publisher", property::publisher},
    Row{"description", property::comments},
    Row{"language", property::language},
    Row{"subject", property::keywords},
    Row{"identifier", property::identifier},
    Row{"rights", property::copyright},
    Row{"source", property::source},
    Row{"relation", property::relation},
    Row{"coverage", property::coverage},
    Row{"type", property::document_type},
};

bool has_word(std::string_view list, std::string_view word) {
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(' '), list.size());
    if (list.substr(0, end) == word) return true;
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return false;
}

std::string trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  return std::string(text.substr(begin, text.find_last_not_of(blanks) - begin + 1));
}

}  // namespace

void ContainerHandler::start_element(const XmlElement& element) {
  if (element.name() != "rootfile" || !package_document.empty()) return;
  const std::string_view type = element.attribute("media-type");
  if (type.empty() || type == "application/oebps-package+xml") {
    package_document = element.attribute("full-path");
  }
}

void EncryptionHandler::start_element(const XmlElement& element) {
  if (element.name() != "EncryptionMethod") return;
  const std::string_view algorithm = element.attribute("Algorithm");
  encrypted |= algorithm != "http://www.idpf.org/2008/embedding" &&
               algorithm != "http://ns.adobe.com/pdf/enc#RC";
}

void PackageHandler::start_element(const XmlElement& element) {
  const std::string_view name = element.name();
  value_.clear();
  if (name == "metadata") {
    in_metadata_ = true;
  } else if (name == "item" && has_room(element)) {
    items.push_back({std::string(element.attribute("id")), std::string(element.attribute("href")),
                     std::string(element.attribute("media-type")),
                     has_word(element.attribute("properties"), "nav")});
  } else if (name == "itemref" && has_room(element)) {
    spine.emplace_back(element.attribute("idref"));
  } else if (name == "date") {
    event_ = element.attribute("event");
  } else if (name == "meta") {
    meta_property_ = element.attribute("property");
    if (in_metadata_ && properties_ != nullptr && element.attribute("name") == "generator") {
      properties_->add(property::application, std::string(element.attribute("content")));
    }
  }
}

/// What is beyond the bounds is left out.
bool PackageHandler::has_room(const XmlElement& element) {
  for (int i = 0; i < element.attribute_count(); ++i) {
    kept_bytes_ += element.attribute_at(i).value.size();
  }
  return items.size() + spine.size() < most_items && kept_bytes_ < most_kept_bytes;
}

void PackageHandler::characters(std::string_view text) {
  if (in_metadata_ && properties_ != nullptr && value_.size() < most_value_bytes) value_ += text;
}

void PackageHandler::end_element(std::string_view name, std::string_view /*uri*/) {
  if (name == "metadata") in_metadata_ = false;
  if (in_metadata_ && properties_ != nullptr) add_property(name);
  value_.clear();
}

void PackageHandler::add_property(std::string_view name) {
  if (name == "date") return add_date();
  if (name == "meta") {
    if (meta_property_ != "dcterms:modified") return;
    if (const auto time = parse_date_time(trimmed(value_))) {
      properties_->add(property::last_saved, *time);
    }
    return;
  }
  const auto row = std::ranges::find(rows, name, &Row::element);
  if (row != rows.end()) properties_->add(row->property, trimmed(value_));
}

void PackageHandler::add_date() {
  const auto time = parse_date_time(trimmed(value_));
  if (!time) return;
  std::string_view name = property::published;
  if (event_ == "creation") name = property::created;
  if (event_ == "modification") name = property::last_saved;
  properties_->add(name, *time);
}

}  // namespace trfilter::epub
