#include "engine/readers/xlsx_shared_strings.h"

#include <optional>

#include "engine/core/utf8.h"

namespace trfilter {
namespace {

constexpr std::size_t escape_size = 7;  // _xHHHH_

std::optional<char32_t> escaped_unit(std::string_view text) {
  if (text.size() < escape_size || text[0] != '_' || text[1] != 'x' || text[6] != '_') {
    return std::nullopt;
  }
  char32_t unit = 0;
  for (const char c : text.substr(2, 4)) {
    unit <<= 4;
    if (c >= '0' && c <= '9') {
      unit += static_cast<char32_t>(c - '0');
    } else if (c >= 'a' && c <= 'f') {
      unit += static_cast<char32_t>(c - 'a' + 10);
    } else if (c >= 'A' && c <= 'F') {
      unit += static_cast<char32_t>(c - 'A' + 10);
    } else {
      return std::nullopt;
    }
  }
  return unit;
}

void append_without_returns(std::string& out, std::string_view text) {
  for (std::size_t at = text.find('\r'); at != std::string_view::npos; at = text.find('\r')) {
    out += text.substr(0, at);
    text.remove_prefix(at + 1);
  }
  out += text;
}

bool is_lead_surrogate(char32_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
bool is_trail_surrogate(char32_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

}  // namespace

void append_xstring(std::string& out, std::string_view text) {
  for (std::size_t at = text.find("_x"); at != std::string_view::npos; at = text.find("_x")) {
    const auto unit = escaped_unit(text.substr(at));
    if (!unit) {
      append_without_returns(out, text.substr(0, at + 1));
      text.remove_prefix(at + 1);
      continue;
    }
    append_without_returns(out, text.substr(0, at));
    text.remove_prefix(at + escape_size);
    if (*unit == 0 || *unit == U'\r') continue;
    char32_t character = *unit;
    if (is_lead_surrogate(character)) {
      const auto trail = escaped_unit(text);
      if (trail && is_trail_surrogate(*trail)) {
        character = 0x10000 + ((character - 0xD800) << 10) + (*trail - 0xDC00);
        text.remove_prefix(escape_size);
      }
    }
    append_utf8(out, character);
  }
  append_without_returns(out, text);
}

namespace {

/// One string of the table; the drafts of the format called it by the longer name.
bool is_string_item(std::string_view name) {
  return name == "si" || name == "sstItem";
}

}  // namespace

void SharedStringsHandler::start_element(const XmlElement& element) {
  const std::string_view name = element.name();
  if (name == "t") {
    in_text_ = phonetic_ == 0;
  } else if (name == "rPh") {
    ++phonetic_;
  } else if (is_string_item(name)) {
    text_.clear();
  }
}

void SharedStringsHandler::end_element(std::string_view name, std::string_view /*uri*/) {
  if (name == "t") {
    if (in_text_) append_xstring(text_, raw_);
    raw_.clear();
    in_text_ = false;
  } else if (name == "rPh") {
    if (phonetic_ > 0) --phonetic_;
  } else if (is_string_item(name)) {
    strings_.add(text_);
    text_.clear();
  }
}

void SharedStringsHandler::characters(std::string_view text) {
  if (in_text_) raw_ += text;
}

}  // namespace trfilter
