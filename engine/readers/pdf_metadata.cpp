#include "engine/readers/pdf_metadata.h"

#include <string>

#include "engine/readers/pdf_strings.h"
#include "engine/xml/xmp.h"

namespace trfilter::pdf {
namespace {

/// Some producers write the escaped bytes of a PDF text string where its characters belong.
std::string characters_of(std::string text) {
  if (!text.starts_with("\\376\\377")) return text;
  std::string bytes;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto digit = [&](std::size_t offset) {
      const char c = at + offset < text.size() ? text[at + offset] : 'x';
      return c >= '0' && c <= '7' ? c - '0' : -1;
    };
    if (text[at] == '\\' && digit(1) >= 0 && digit(2) >= 0 && digit(3) >= 0) {
      bytes.push_back(static_cast<char>(digit(1) * 64 + digit(2) * 8 + digit(3)));
      at += 3;
    } else {
      bytes.push_back(text[at]);
    }
  }
  return text_string(bytes);
}

}  // namespace

void add_xmp_properties(std::string_view packet, Limits& limits, Properties& properties) {
  trfilter::add_xmp_properties(packet, limits, properties, characters_of);
}

}  // namespace trfilter::pdf
