// Number styles of librevenge: their properties are those of OpenDocument's number styles
// (OpenDocument 1.2 part 1, 16.27), their pieces a list of properties each.

#include <algorithm>
#include <array>
#include <string_view>

#include "engine/readers/revenge_sheet.h"

namespace trfilter::revenge {
namespace {

using List = librevenge::RVNGPropertyList;

constexpr int most_digits = 30;

struct Part {
  std::string_view type;
  std::string_view code;
  std::string_view long_code;
};

constexpr std::array parts = {
    Part{"year", "yy", "yyyy"},      Part{"day", "d", "dd"},     Part{"day-of-week", "ddd", "dddd"},
    Part{"hours", "h", "hh"},        Part{"minutes", "m", "mm"}, Part{"seconds", "s", "ss"},
    Part{"am-pm", "AM/PM", "AM/PM"},
};

void append_quoted(std::string& code, std::string_view text) {
  if (text.empty()) return;
  code += '"';
  for (const char c : text) {
    if (c != '"') code += c;
  }
  code += '"';
}

bool is_on(const List& list, const char* name) {
  const std::string value = property_text(list, name);
  return value == "true" || value == "1";
}

std::string digits(int count) {
  return std::string(static_cast<std::size_t>(std::clamp(count, 0, most_digits)), '0');
}

/// A plain number; General's code when nothing is said about it.
std::string number_code(const List& list) {
  const bool grouped = is_on(list, "number:grouping");
  if (list["number:decimal-places"] == nullptr && !grouped) return "General";
  std::string code = grouped ? "#,##" : "";
  code += digits(std::max(property_number(list, "number:min-integer-digits", 1), 1));
  const std::string decimals = digits(property_number(list, "number:decimal-places", 0));
  if (!decimals.empty()) code += '.' + decimals;
  return code;
}

std::string scientific_code(const List& list) {
  std::string code = "0";
  const std::string decimals = digits(property_number(list, "number:decimal-places", 2));
  if (!decimals.empty()) code += '.' + decimals;
  return code + "E+" + digits(std::max(property_number(list, "number:min-exponent-digits", 2), 1));
}

std::string fraction_code(const List& list) {
  const int count = std::clamp(property_number(list, "number:min-denominator-digits", 1), 1, 4);
  const std::string places(static_cast<std::size_t>(count), '?');
  return "# " + places + '/' + places;
}

void append_part(std::string& code, const List& list) {
  const std::string type = property_text(list, "librevenge:value-type");
  const bool long_form = property_text(list, "number:style") == "long";
  if (type == "text") {
    append_quoted(code, property_text(list, "librevenge:text"));
  } else if (type == "currency-symbol") {
    append_quoted(code, property_text(list, "librevenge:currency"));
  } else if (type == "number" || type == "float") {
    code += number_code(list);
  } else if (type == "scientific" || type == "scientific-number") {
    code += scientific_code(list);
  } else if (type == "fraction") {
    code += fraction_code(list);
  } else if (type == "text-content") {
    code += '@';
  } else if (type == "month") {
    code += is_on(list, "number:textual") ? (long_form ? "mmmm" : "mmm") : (long_form ? "mm" : "m");
  } else {
    for (const Part& part : parts) {
      if (part.type == type) code += long_form ? part.long_code : part.code;
    }
  }
}

}  // namespace

std::string number_format_code(const List& style) {
  std::string code;
  if (const auto* pieces = style.child("librevenge:format")) {
    for (unsigned long i = 0; i < pieces->count(); ++i) append_part(code, (*pieces)[i]);
  }
  if (!code.empty()) return code;
  const std::string type = property_text(style, "librevenge:value-type");
  if (type == "percentage" || type == "percent") return number_code(style) + '%';
  if (type == "number" || type == "float" || type == "currency") return number_code(style);
  if (type == "scientific") return scientific_code(style);
  if (type == "fraction") return fraction_code(style);
  return {};
}

}  // namespace trfilter::revenge
