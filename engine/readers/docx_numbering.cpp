#include "engine/readers/docx_numbering.h"

#include <algorithm>

#include "engine/xml/name_table.h"

namespace trfilter::docx {
namespace {

// Links from a list to a numbering style and on to a list; more is a circle.
constexpr unsigned most_links = 8;

using word::Level;
using word::level_count;
using word::Levels;
using word::ListDefinition;
using word::ListInstance;
using word::ListNumbering;

enum class Token : unsigned char {
  other,
  abstract_num,
  num,
  abstract_num_id,
  level_override,
  start_override,
  level,
  start,
  format,
  text,
  suffix,
  restart,
  legal,
  paragraph_style,
  fonts,
  num_style_link,
};

constexpr NameTable element_names{std::array{
    NamedToken<Token>{"abstractNum", Token::abstract_num},
    NamedToken<Token>{"num", Token::num},
    NamedToken<Token>{"abstractNumId", Token::abstract_num_id},
    NamedToken<Token>{"lvlOverride", Token::level_override},
    NamedToken<Token>{"startOverride", Token::start_override},
    NamedToken<Token>{"lvl", Token::level},
    NamedToken<Token>{"start", Token::start},
    NamedToken<Token>{"numFmt", Token::format},
    NamedToken<Token>{"lvlText", Token::text},
    NamedToken<Token>{"suff", Token::suffix},
    NamedToken<Token>{"lvlRestart", Token::restart},
    NamedToken<Token>{"isLgl", Token::legal},
    NamedToken<Token>{"pStyle", Token::paragraph_style},
    NamedToken<Token>{"rFonts", Token::fonts},
    NamedToken<Token>{"numStyleLink", Token::num_style_link},
}};

constexpr NameTable number_styles{std::array{
    NamedToken<NumberStyle>{"decimal", NumberStyle::decimal},
    NamedToken<NumberStyle>{"decimalZero", NumberStyle::decimal_zero},
    NamedToken<NumberStyle>{"upperRoman", NumberStyle::upper_roman},
    NamedToken<NumberStyle>{"lowerRoman", NumberStyle::lower_roman},
    NamedToken<NumberStyle>{"upperLetter", NumberStyle::upper_letter},
    NamedToken<NumberStyle>{"lowerLetter", NumberStyle::lower_letter},
    NamedToken<NumberStyle>{"ordinal", NumberStyle::ordinal},
    NamedToken<NumberStyle>{"cardinalText", NumberStyle::cardinal_text},
    NamedToken<NumberStyle>{"ordinalText", NumberStyle::ordinal_text},
    NamedToken<NumberStyle>{"hex", NumberStyle::hexadecimal},
    NamedToken<NumberStyle>{"chicago", NumberStyle::chicago},
    NamedToken<NumberStyle>{"decimalEnclosedCircle", NumberStyle::circled},
    NamedToken<NumberStyle>{"decimalEnclosedCircleChinese", NumberStyle::circled},
    NamedToken<NumberStyle>{"decimalEnclosedParen", NumberStyle::parenthesised},
    NamedToken<NumberStyle>{"decimalEnclosedFullstop", NumberStyle::full_stop},
    NamedToken<NumberStyle>{"decimalFullWidth", NumberStyle::full_width},
    NamedToken<NumberStyle>{"decimalFullWidth2", NumberStyle::full_width},
    NamedToken<NumberStyle>{"russianLower", NumberStyle::russian_lower},
    NamedToken<NumberStyle>{"russianUpper", NumberStyle::russian_upper},
    NamedToken<NumberStyle>{"aiueo", NumberStyle::aiueo},
    NamedToken<NumberStyle>{"aiueoFullWidth", NumberStyle::aiueo},
    NamedToken<NumberStyle>{"iroha", NumberStyle::iroha},
    NamedToken<NumberStyle>{"irohaFullWidth", NumberStyle::iroha},
    NamedToken<NumberStyle>{"ganada", NumberStyle::korean_ganada},
    NamedToken<NumberStyle>{"chosung", NumberStyle::korean_chosung},
    NamedToken<NumberStyle>{"ideographDigital", NumberStyle::cjk_digits},
    NamedToken<NumberStyle>{"japaneseDigitalTenThousand", NumberStyle::cjk_digits},
    NamedToken<NumberStyle>{"taiwaneseDigital", NumberStyle::cjk_digits},
    NamedToken<NumberStyle>{"japaneseCounting", NumberStyle::cjk_counting},
    NamedToken<NumberStyle>{"chineseCounting", NumberStyle::cjk_counting},
    NamedToken<NumberStyle>{"chineseCountingThousand", NumberStyle::cjk_counting},
    NamedToken<NumberStyle>{"taiwaneseCounting", NumberStyle::cjk_counting},
    NamedToken<NumberStyle>{"taiwaneseCountingThousand", NumberStyle::cjk_counting},
    NamedToken<NumberStyle>{"ideographTraditional", NumberStyle::heavenly_stems},
    NamedToken<NumberStyle>{"ideographZodiac", NumberStyle::earthly_branches},
}};

NumberStyle number_style(std::string_view name) {
  if (name == "none" || name == "bullet") return NumberStyle::none;
  const NumberStyle found = number_styles.find(name);
  return found == NumberStyle{} ? NumberStyle::decimal : found;
}

bool is_level(int level) {
  return level >= 0 && level < level_count;
}

class NumberingHandler final : public XmlHandler {
 public:
  NumberingHandler(ListNumbering& numbering, OpcPackage& package)
      : numbering_(numbering), package_(package) {}

  void start_element(const XmlElement& element) override {
    const Token token = element_names.find(element.name());
    if (token == Token::other) return;
    const std::string_view value = element.attribute("val");
    switch (token) {
      case Token::abstract_num:
        instance_ = nullptr;
        definition_ = added(&ListNumbering::add_definition, element.attribute("abstractNumId"));
        break;
      case Token::num:
        definition_ = nullptr;
        instance_ = added(&ListNumbering::add_instance, element.attribute("numId"));
        break;
      case Token::abstract_num_id:
        if (instance_ != nullptr) instance_->definition = whole_number(value).value_or(-1);
        break;
      case Token::num_style_link:
        if (definition_ != nullptr) definition_->style_link = value;
        break;
      case Token::level_override:
        override_ = whole_number(element.attribute("ilvl")).value_or(-1);
        break;
      case Token::start_override:
        if (instance_ != nullptr && is_level(override_)) {
          instance_->start[static_cast<std::size_t>(override_)] = whole_number(value);
        }
        break;
      case Token::level:
        begin_level(whole_number(element.attribute("ilvl")).value_or(-1));
        break;
      case Token::fonts:
        if (level_ != nullptr) level_->font = element.attribute("ascii");
        break;
      default:
        if (level_ != nullptr) level_property(token, element, value);
        break;
    }
  }

  void end_element(std::string_view name, std::string_view) override {
    switch (element_names.find(name)) {
      case Token::level:
        level_ = nullptr;
        break;
      case Token::abstract_num:
        definition_ = nullptr;
        break;
      case Token::num:
        instance_ = nullptr;
        break;
      default:
        break;
    }
  }

 private:
  template <typename Value>
  Value* added(Value* (ListNumbering::*add)(int), std::string_view id) {
    const std::optional<int> number = whole_number(id);
    if (!number) return nullptr;
    Value* const value = (numbering_.*add)(*number);
    if (value == nullptr) package_.note_damage();
    return value;
  }

  void begin_level(int number) {
    level_ = nullptr;
    if (!is_level(number)) return;
    Levels* levels = nullptr;
    if (definition_ != nullptr) levels = &definition_->levels;
    if (instance_ != nullptr) {
      if (!instance_->levels) instance_->levels = std::make_unique<Levels>();
      levels = instance_->levels.get();
    }
    if (levels != nullptr) level_ = &(*levels)[static_cast<std::size_t>(number)].emplace();
  }

  void level_property(Token token, const XmlElement& element, std::string_view value) {
    switch (token) {
      case Token::start:
        level_->start = whole_number(value).value_or(1);
        break;
      case Token::format:
        level_->bullet = value == "bullet";
        // A custom format is written by example: "001, 002, 003, ...".
        level_->style = value == "custom" && element.attribute("format").starts_with("0")
                            ? NumberStyle::decimal_zero
                            : number_style(value);
        break;
      case Token::text:
        level_->text = value.substr(0, ListNumbering::most_label_bytes);
        break;
      case Token::suffix:
        level_->suffix = value != "nothing";
        break;
      case Token::restart:
        level_->restart = whole_number(value);
        break;
      case Token::legal:
        level_->legal = is_on(element);
        break;
      case Token::paragraph_style:
        level_->paragraph_style = value;
        break;
      default:
        break;
    }
  }

  ListNumbering& numbering_;
  OpcPackage& package_;
  ListDefinition* definition_ = nullptr;
  ListInstance* instance_ = nullptr;
  Level* level_ = nullptr;
  int override_ = -1;
};

}  // namespace

void read_numbering(OpcPackage& package, std::string_view part, const Styles& styles,
                    ListNumbering& numbering) {
  if (part.empty()) return;
  NumberingHandler handler(numbering, package);
  package.parse(part, handler);
  numbering.resolve_definitions([&](int id) {
    int result = id;
    for (unsigned i = 0; i < most_links; ++i) {
      const ListDefinition* definition = numbering.definition(id);
      if (definition == nullptr) break;
      result = id;
      if (definition->style_link.empty() || definition->levels[0]) break;
      const Style* style = styles.find(definition->style_link);
      const ListInstance* linked =
          style == nullptr ? nullptr : numbering.instance(style->number_id);
      if (linked == nullptr) break;
      id = linked->definition;
    }
    return result;
  });
}

}  // namespace trfilter::docx
