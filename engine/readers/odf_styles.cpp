#include "engine/readers/odf_styles.h"

#include "engine/core/symbol_font.h"
#include "engine/core/utf8.h"
#include "engine/readers/odf_values.h"

namespace trfilter {
namespace {

std::string key_of(std::string_view family, std::string_view name) {
  std::string key(family);
  key += '/';
  key += name;
  return key;
}

NumberStyle number_style(std::string_view format) {
  if (format == "1") return NumberStyle::decimal;
  if (format == "01") return NumberStyle::decimal_zero;
  if (format == "a") return NumberStyle::lower_letter;
  if (format == "A") return NumberStyle::upper_letter;
  if (format == "i") return NumberStyle::lower_roman;
  if (format == "I") return NumberStyle::upper_roman;
  return NumberStyle::decimal;
}

/// A bullet as a character that reads as one; those of symbol fonts are of the private use area.
std::string bullet_of(std::string_view text) {
  constexpr std::string_view bullet = "\xE2\x80\xA2";
  const std::u16string units = utf8_to_utf16(text);
  if (units.empty()) return std::string(bullet);
  const char16_t first = units.front();
  if (first >= 0xE000 && first < 0xF900) {
    const char32_t shown = symbol_font_character("Symbol", first);
    if (shown == 0) return std::string(bullet);
    std::string out;
    append_utf8(out, shown);
    return out;
  }
  return std::string(text);
}

}  // namespace

void OdfStyles::start_element(OdfElement kind, const XmlElement& element) {
  switch (kind) {
    case OdfElement::style:
      start_style(element);
      break;
    case OdfElement::style_properties: {
      if (style_key_.empty()) break;
      const std::string_view display = element.attribute("display");
      const bool hides =
          display == "none" || display == "false" || element.attribute("visibility") == "hidden";
      if (hides && hiding_.size() < most_names) {
        hiding_.insert(style_key_);
      } else if (!display.empty()) {
        hiding_.erase(style_key_);
      }
      break;
    }
    case OdfElement::list_style: {
      const std::string name(element.attribute("name"));
      if (lists_.size() < most_list_styles || lists_.contains(name)) open_list_ = &lists_[name];
      break;
    }
    case OdfElement::outline_style:
      open_list_ = &outline_;
      break;
    case OdfElement::list_level_number:
    case OdfElement::list_level_bullet:
      start_level(kind, element);
      break;
    default:
      break;
  }
}

void OdfStyles::end_element(OdfElement kind) {
  if (kind == OdfElement::style) style_key_.clear();
  if (kind == OdfElement::list_style || kind == OdfElement::outline_style) open_list_ = nullptr;
}

void OdfStyles::start_style(const XmlElement& element) {
  const std::string_view family = element.attribute("family");
  const std::string_view parent = element.attribute("parent-style-name");
  style_key_ = key_of(family, element.attribute("name"));
  if (!parent.empty() && hides(family, parent) && hiding_.size() < most_names) {
    hiding_.insert(style_key_);
  }
  if (family == "paragraph" && element.has_attribute("list-style-name") &&
      element.attribute("list-style-name").empty() && unnumbered_.size() < most_names) {
    unnumbered_.emplace(element.attribute("name"));
  }
}

void OdfStyles::start_level(OdfElement kind, const XmlElement& element) {
  const auto number = odf_unsigned(element.attribute("level"));
  if (open_list_ == nullptr || !number || *number < 1 || *number > OdfListStyle::most_levels)
    return;
  OdfListLevel& level = open_list_->levels[*number - 1];
  level = {};
  level.prefix = element.attribute("num-prefix").substr(0, most_label_part);
  level.suffix = element.attribute("num-suffix").substr(0, most_label_part);
  if (kind == OdfElement::list_level_bullet) {
    level.kind = OdfListLevel::Kind::bullet;
    level.bullet = bullet_of(element.attribute("bullet-char").substr(0, most_label_part));
    return;
  }
  const std::string_view format = element.attribute("num-format");
  if (format.empty()) return;
  level.kind = OdfListLevel::Kind::number;
  level.style = number_style(format);
  level.shown_levels = odf_unsigned(element.attribute("display-levels")).value_or(1);
  level.start = odf_unsigned(element.attribute("start-value")).value_or(1);
}

bool OdfStyles::hides(std::string_view family, std::string_view name) const {
  return !hiding_.empty() && !name.empty() && hiding_.contains(key_of(family, name));
}

const OdfListStyle* OdfStyles::list(std::string_view name) const {
  const auto found = lists_.find(std::string(name));
  return found == lists_.end() ? nullptr : &found->second;
}

}  // namespace trfilter
