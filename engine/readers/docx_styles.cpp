#include "engine/readers/docx_styles.h"

#include <charconv>
#include <vector>

#include "engine/xml/name_table.h"

namespace trfilter::docx {
namespace {

constexpr std::size_t most_styles = std::size_t{1} << 16;
// Chains of ancestors are short; a longer one is a circle.
constexpr unsigned most_ancestors = 64;

struct Definition {
  std::string based_on;
  std::optional<bool> vanish;
  std::optional<int> number_id;
  std::optional<int> number_level;
};

enum class Token : unsigned char {
  other,
  style,
  based_on,
  vanish,
  number_id,
  number_level,
  table_style,
  change,
};

constexpr NameTable element_names{std::array{
    NamedToken<Token>{"style", Token::style},
    NamedToken<Token>{"basedOn", Token::based_on},
    NamedToken<Token>{"vanish", Token::vanish},
    NamedToken<Token>{"numId", Token::number_id},
    NamedToken<Token>{"ilvl", Token::number_level},
    NamedToken<Token>{"tblStylePr", Token::table_style},
    NamedToken<Token>{"rPrChange", Token::change},
    NamedToken<Token>{"pPrChange", Token::change},
}};

class StylesHandler final : public XmlHandler {
 public:
  explicit StylesHandler(OpcPackage& package) : package_(package) {}

  void start_element(const XmlElement& element) override {
    const Token token = element_names.find(element.name());
    if (token == Token::table_style || token == Token::change) ++skipped_;
    if (skipped_ != 0) return;
    switch (token) {
      case Token::style:
        begin_style(element);
        break;
      case Token::based_on:
        if (current_ != nullptr) current_->based_on = element.attribute("val");
        break;
      case Token::vanish:
        if (current_ != nullptr) current_->vanish = is_on(element);
        break;
      case Token::number_id:
        if (current_ != nullptr) current_->number_id = whole_number(element.attribute("val"));
        break;
      case Token::number_level:
        if (current_ != nullptr) current_->number_level = whole_number(element.attribute("val"));
        break;
      default:
        break;
    }
  }

  void end_element(std::string_view name, std::string_view) override {
    const Token token = element_names.find(name);
    if (token == Token::table_style || token == Token::change) --skipped_;
    if (token == Token::style) current_ = nullptr;
  }

  StringMap<Definition> definitions;
  std::string default_paragraph;

 private:
  void begin_style(const XmlElement& element) {
    if (definitions.size() == most_styles) {
      package_.note_damage();
      return;
    }
    const std::string_view id = element.attribute("styleId");
    current_ = &definitions[std::string(id)];
    if (element.attribute("type") == "paragraph") {
      const std::string_view is_default = element.attribute("default");
      if (is_default == "1" || is_default == "true" || is_default == "on") default_paragraph = id;
    }
  }

  OpcPackage& package_;
  Definition* current_ = nullptr;
  unsigned skipped_ = 0;
};

Style resolved(const StringMap<Definition>& definitions, const std::string& id) {
  Style style;
  style.id = id;
  std::optional<bool> vanish;
  std::optional<int> number_id;
  std::string_view at = id;
  for (unsigned i = 0; i < most_ancestors; ++i) {
    const auto found = definitions.find(at);
    if (found == definitions.end()) break;
    const Definition& definition = found->second;
    if (!vanish) vanish = definition.vanish;
    if (!style.number_level) style.number_level = definition.number_level;
    if (!number_id && definition.number_id) {
      number_id = definition.number_id;
      style.numbering_id = at;
    }
    if (definition.based_on.empty()) break;
    at = definition.based_on;
  }
  style.vanish = vanish.value_or(false);
  style.number_id = number_id.value_or(0);
  return style;
}

}  // namespace

bool is_on(const XmlElement& element) {
  const std::string_view value = element.attribute("val");
  return value != "0" && value != "false" && value != "off";
}

std::optional<int> whole_number(std::string_view text) {
  int value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc{}) return std::nullopt;
  return value;
}

void Styles::read(OpcPackage& package, std::string_view part) {
  if (part.empty()) return;
  StylesHandler handler(package);
  package.parse(part, handler);
  styles_.reserve(handler.definitions.size());
  for (const auto& [id, definition] : handler.definitions) {
    package.limits().check_time();
    styles_.emplace(id, resolved(handler.definitions, id));
  }
  default_paragraph_ = find(handler.default_paragraph);
}

const Style* Styles::find(std::string_view id) const {
  const auto found = styles_.find(id);
  return found == styles_.end() ? nullptr : &found->second;
}

}  // namespace trfilter::docx
