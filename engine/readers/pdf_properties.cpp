#include "engine/readers/pdf_properties.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "engine/core/property_names.h"
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

}  // namespace

void add_properties(PDFDoc& document, bool custom, Properties& properties) {
  const Object information = document.getDocInfo();
  if (information.isDict()) {
    for (const Entry& entry : entries) {
      const Object value = information.dictLookup(entry.key);
      if (!value.isString()) continue;
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
    if (language.isString())
      properties.add(property::language, text_string(language.getString()->toStr()));
  }
  if (!custom || !information.isDict()) return;
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

}  // namespace trfilter::pdf
