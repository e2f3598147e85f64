#include "engine/readers/docx_numbering.h"

#include <algorithm>

#include "engine/core/symbol_font.h"
#include "engine/core/utf8.h"
#include "engine/xml/name_table.h"

namespace trfilter::docx {
namespace {

constexpr std::size_t most_lists = std::size_t{1} << 15;
// Links from a list to a numbering style and on to a list; more is a circle.
constexpr unsigned most_links = 8;
// Labels are short; a definition's text is the document's to choose.
constexpr std::size_t most_label_bytes = 1024;

constexpr char32_t bullet = U'\u2022';
constexpr char32_t white_bullet = U'\u25E6';
constexpr char32_t private_use_begin = 0xE000;
constexpr char32_t private_use_end = 0xF900;

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

/// The one character of a text; none when there are more or less.
std::optional<char32_t> only_character(std::string_view text) {
  if (text.size() > 4) return std::nullopt;
  const std::u16string units = utf8_to_utf16(text);
  if (units.size() != 1) return std::nullopt;
  return units.front();
}

/// A bullet as plain text can show it.
void append_bullet(std::string& out, const Level& level) {
  const std::optional<char32_t> character = only_character(level.text);
  if (!character) {
    out += level.text;
    return;
  }
  char32_t shown = symbol_font_character(level.font, *character);
  if (shown == 0) {
    shown = *character;
    if (shown >= private_use_begin && shown < private_use_end) shown = bullet;
    if (shown == U'o') shown = white_bullet;
  }
  append_utf8(out, shown);
}

}  // namespace

class NumberingHandler final : public XmlHandler {
 public:
  NumberingHandler(Numbering& numbering, OpcPackage& package)
      : numbering_(numbering), package_(package) {}

  void start_element(const XmlElement& element) override {
    const Token token = element_names.find(element.name());
    if (token == Token::other) return;
    const std::string_view value = element.attribute("val");
    switch (token) {
      case Token::abstract_num:
        instance_ = nullptr;
        definition_ = added(numbering_.definitions_, element.attribute("abstractNumId"));
        break;
      case Token::num:
        definition_ = nullptr;
        instance_ = added(numbering_.instances_, element.attribute("numId"));
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
  Value* added(std::unordered_map<int, Value>& into, std::string_view id) {
    const std::optional<int> number = whole_number(id);
    if (!number) return nullptr;
    if (into.size() == most_lists) {
      package_.note_damage();
      return nullptr;
    }
    return &into[*number];
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
        level_->text = value.substr(0, most_label_bytes);
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

  Numbering& numbering_;
  OpcPackage& package_;
  Numbering::Definition* definition_ = nullptr;
  Numbering::Instance* instance_ = nullptr;
  Level* level_ = nullptr;
  int override_ = -1;
};

void Numbering::read(OpcPackage& package, std::string_view part, const Styles& styles) {
  styles_ = &styles;
  if (part.empty()) return;
  NumberingHandler handler(*this, package);
  package.parse(part, handler);
}

template <typename Definitions>
auto* Numbering::definition_of(Definitions& definitions, const Instance& instance) const {
  decltype(&definitions.begin()->second) result = nullptr;
  int id = instance.definition;
  for (unsigned i = 0; i < most_links; ++i) {
    const auto found = definitions.find(id);
    if (found == definitions.end()) break;
    result = &found->second;
    if (result->style_link.empty() || result->levels[0]) break;
    const Style* style = styles_->find(result->style_link);
    if (style == nullptr) break;
    const auto linked = instances_.find(style->number_id);
    if (linked == instances_.end()) break;
    id = linked->second.definition;
  }
  return result;
}

const Level* Numbering::level_of(const Definition& definition, const Instance& instance,
                                 int level) {
  const auto index = static_cast<std::size_t>(level);
  if (instance.levels && (*instance.levels)[index]) return &*(*instance.levels)[index];
  const std::optional<Level>& own = definition.levels[index];
  return own ? &*own : nullptr;
}

std::optional<int> Numbering::level_of_style(int number_id, std::string_view style_id) const {
  const auto found = instances_.find(number_id);
  if (found == instances_.end()) return std::nullopt;
  const Definition* definition = definition_of(definitions_, found->second);
  if (definition == nullptr) return std::nullopt;
  for (int i = 0; i < level_count; ++i) {
    const Level* level = level_of(*definition, found->second, i);
    if (level != nullptr && level->paragraph_style == style_id) return i;
  }
  return std::nullopt;
}

void Numbering::count(Definition& definition, Instance& instance, int level) {
  const auto index = static_cast<std::size_t>(level);
  const Level* own = level_of(definition, instance, level);
  std::optional<std::int64_t>& count = definition.counts[index];
  const int start = own == nullptr ? 1 : own->start;
  if (instance.start[index] && !instance.started[index]) {
    count = *instance.start[index];
  } else {
    count = count ? *count + 1 : start;
  }
  instance.started[index] = true;
  // Levels above that no paragraph has had stand at their start.
  for (int i = 0; i < level; ++i) {
    std::optional<std::int64_t>& above = definition.counts[static_cast<std::size_t>(i)];
    if (above) continue;
    const Level* level_above = level_of(definition, instance, i);
    above = instance.start[static_cast<std::size_t>(i)].value_or(
        level_above == nullptr ? 1 : level_above->start);
  }
  for (int i = level + 1; i < level_count; ++i) {
    const Level* below = level_of(definition, instance, i);
    if (below == nullptr || !below->restart || level < *below->restart) {
      definition.counts[static_cast<std::size_t>(i)].reset();
    }
  }
}

void Numbering::write_label(const Definition& definition, const Instance& instance, int level) {
  const Level* own = level_of(definition, instance, level);
  if (own == nullptr || own->text.empty()) return;
  if (own->bullet) {
    append_bullet(label_, *own);
  } else {
    for (std::size_t i = 0; i < own->text.size(); ++i) {
      const char c = own->text[i];
      const bool number = c == '%' && i + 1 < own->text.size() && own->text[i + 1] >= '1' &&
                          own->text[i + 1] <= '9';
      if (!number) {
        label_ += c;
        continue;
      }
      const int of = own->text[++i] - '1';
      const Level* other = level_of(definition, instance, of);
      if (of > level || other == nullptr) continue;
      const NumberStyle style =
          own->legal && other->style != NumberStyle::none ? NumberStyle::decimal : other->style;
      append_number(label_, style,
                    definition.counts[static_cast<std::size_t>(of)].value_or(other->start));
      if (label_.size() > most_label_bytes) break;
    }
  }
  if (own->suffix && !label_.empty()) label_ += ' ';
}

std::string_view Numbering::next_label(int number_id, int level) {
  label_.clear();
  const auto found = instances_.find(number_id);
  if (found == instances_.end() || !is_level(level)) return {};
  Definition* definition = definition_of(definitions_, found->second);
  if (definition == nullptr) return {};
  count(*definition, found->second, level);
  write_label(*definition, found->second, level);
  return label_;
}

}  // namespace trfilter::docx
