#include "engine/readers/pdf_properties.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "engine/core/property_names.h"
#include "engine/readers/pdf_metadata.h"
#include "engine/readers/pdf_strings.h"

namespace trfilter::pdf {
namespace {

struct Entry {
  const char* key;
  std::string_view name;
  bool is_date;
};

constexpr std::array entries{
    Entry{"Title", property::title, false},         Entry{"Subject", property::subject, false},
    Entry{"Author", property::author, false},       Entry{"Keywords", property::keywords, false},
    Entry{"Creator", property::application, false}, Entry{"Producer", property::producer, false},
    Entry{"CreationDate", property::created, true}, Entry{"ModDate", property::last_saved, true},
};

std::string text_of(const Object& value) {
  if (value.isString()) return text_string(value.getString()->toStr());
  if (value.isName()) return value.getName();
  if (value.isInt()) return std::to_string(value.getInt());
  if (value.isBool()) return value.getBool() ? "true" : "false";
  return {};
}

/// The document's XMP packet (ISO 32000-1, clause 14.3.2); empty when there is none.
std::string packet_of(PDFDoc& document) {
  constexpr std::size_t most_bytes = std::size_t{4} << 20;
  std::string packet;
  const Object catalog = document.getXRef()->getCatalog();
  if (!catalog.isDict()) return packet;
  Object metadata = catalog.dictLookup("Metadata");
  if (!metadata.isStream()) return packet;
  metadata.streamReset();
  for (int c = metadata.streamGetChar(); c != EOF && packet.size() < most_bytes;
       c = metadata.streamGetChar()) {
    packet.push_back(static_cast<char>(c));
  }
  metadata.streamClose();
  return packet;
}

void add_custom(const Object& information, Properties& properties) {
  for (int i = 0; i < information.dictGetLength(); ++i) {
    const std::string_view key = information.dictGetKey(i);
    if (std::ranges::any_of(entries, [key](const Entry& entry) { return key == entry.key; }))
      continue;
    const Object value = information.dictGetVal(i);
    if (value.isString()) {
      // Producers put dates of their own in the same form.
      if (value.getString()->toStr().starts_with("D:")) {
        if (const auto time = date(value.getString()->toStr())) {
          properties.add(key, *time);
          continue;
        }
      }
    }
    properties.add(key, text_of(value));
  }
}

}  // namespace

void add_properties(PDFDoc& document, bool custom, Limits& limits, Properties& properties) {
  Properties packet;
  add_xmp_properties(packet_of(document), limits, packet);
  const auto stated = [](const Properties& of, std::string_view name) {
    return std::ranges::count(of.items(), name, &Properties::Item::name);
  };
  const Object information = document.getDocInfo();
  if (information.isDict()) {
    for (const Entry& entry : entries) {
      const Object value = information.dictLookup(entry.key);
      if (!value.isString()) continue;
      // The dictionary has room for one name only.
      if (entry.name == property::author && stated(packet, property::author) > 1) continue;
      if (!entry.is_date) {
        properties.add(entry.name, text_of(value));
      } else if (const auto time = date(value.getString()->toStr())) {
        properties.add(entry.name, *time);
      }
    }
  }
  properties.add(property::page_count, std::int32_t{document.getNumPages()});
  const Object catalog = document.getXRef()->getCatalog();
  if (catalog.isDict()) {
    const Object language = catalog.dictLookup("Lang");
    if (language.isString()) {
      properties.add(property::language, text_string(language.getString()->toStr()));
    }
  }
  const Properties before = properties;
  for (const Properties::Item& item : packet.items()) {
    if (stated(before, item.name) == 0) properties.add(item.name, item.value);
  }
  if (custom && information.isDict()) add_custom(information, properties);
}

}  // namespace trfilter::pdf
