#include <algorithm>

#include "engine/core/engine_error.h"
#include "engine/core/symbol_font.h"
#include "engine/core/utf8.h"
#include "engine/readers/rtf_parser.h"

namespace trfilter::rtf {
namespace {

constexpr std::size_t longest_author = 1024;
constexpr std::size_t longest_shape_text = std::size_t{64} << 10;

/// Adds to `out` what fits into `most` bytes.
void append_bounded(std::string& out, std::string_view text, std::size_t most) {
  if (out.size() < most) out += text.substr(0, most - out.size());
}

/// A font's name as the font table has it, without the semicolon that ends it.
std::string_view trimmed_name(std::string_view name) {
  name = name.substr(0, name.find(';'));
  while (!name.empty() && name.front() == ' ') name.remove_prefix(1);
  while (!name.empty() && name.back() == ' ') name.remove_suffix(1);
  return name;
}

/// What the private characters of symbol fonts mean where the font is not known: list bullets.
char32_t bullet_of(char32_t character) {
  switch (character) {
    case 0xF0A7:
    case 0xF0D8:
    case 0xF0FC:
      return symbol_font_character("Wingdings", character);
    case 0xF0B7:
      return symbol_font_character("Symbol", character);
    default:
      return character;
  }
}

}  // namespace

bool Parser::take_skipped(std::string_view& run) {
  if (to_skip_ == 0) return !run.empty();
  const std::size_t count = std::min(run.size(), static_cast<std::size_t>(to_skip_));
  to_skip_ -= static_cast<std::int32_t>(count);
  run.remove_prefix(count);
  return !run.empty();
}

bool Parser::prepare_text() {
  const Group& group = top();
  if (group.destination == Destination::ignored || group.destination == Destination::information) {
    return false;
  }
  if (group.marks != text_marks_) {
    flush_text();
    text_marks_ = group.marks;
  }
  if (high_surrogate_ != 0) {
    high_surrogate_ = 0;
    append_utf8(text_, U'\uFFFD');
  }
  return true;
}

void Parser::put_text(std::string_view run) {
  if (!take_skipped(run) || !prepare_text()) return;
  const Font& font = encoding();
  if (font.symbols) {
    put_symbols(run);
  } else if (bytes_page_ == nullptr) {
    text_ += run;
  } else {
    // Its first byte may be the second half of a character.
    bytes_ += run;
    if (bytes_.size() > text_at_once) {
      bytes_page_->decode(bytes_, text_, false);
      bytes_.clear();
    }
  }
  if (text_.size() > text_at_once) hand_over_text();
}

void Parser::put_bytes(std::string_view run) {
  const std::string_view whole = run;
  if (!take_skipped(run) || !prepare_text()) return;
  const Font& font = encoding();
  if (font.symbols) {
    put_symbols(run);
    return;
  }
  if (font.page->multi_byte()) {
    if (bytes_page_ != font.page) flush_bytes();
    bytes_page_ = font.page;
    bytes_ += run;
    return;
  }
  // Only 7-bit characters may stand for themselves. A producer that breaks this rule and states no
  // code page may well write UTF-8.
  if (raw_may_be_utf8_ && font.page == pages_.find(1252)) {
    if (run.size() == whole.size() && is_valid_utf8(run)) {
      text_ += run;
      return;
    }
    raw_may_be_utf8_ = false;
  }
  font.page->decode(run, text_, true);
}

void Parser::put_byte(unsigned char byte) {
  const char character = static_cast<char>(byte);
  std::string_view run(&character, 1);
  if (byte >= 0x20 && byte < 0x7F) return put_text(run);
  if (!take_skipped(run) || !prepare_text()) return;
  if (byte < 0x20) {
    flush_bytes();
    if (byte == '\t' || byte == '\n') text_ += character;
    return;
  }
  const Font& font = encoding();
  if (font.symbols) {
    put_symbols(run);
  } else if (font.page->multi_byte()) {
    if (bytes_page_ != font.page) flush_bytes();
    bytes_page_ = font.page;
    bytes_ += character;
    if (bytes_.size() > text_at_once) {
      bytes_page_->decode(bytes_, text_, false);
      bytes_.clear();
    }
  } else {
    font.page->decode(run, text_, true);
  }
  if (text_.size() > text_at_once) hand_over_text();
}

void Parser::put_symbols(std::string_view run) {
  const Font& font = encoding();
  for (const char& byte : run) {
    const char32_t symbol =
        symbol_font_character(trimmed_name(font.name), static_cast<unsigned char>(byte));
    if (symbol != 0) {
      append_utf8(text_, symbol);
    } else {
      font.page->decode({&byte, 1}, text_, true);
    }
  }
}

void Parser::put_character(char32_t character) {
  if (!prepare_text()) return;
  flush_bytes();
  append_utf8(text_, character);
}

void Parser::put_unicode(std::int32_t parameter) {
  to_skip_ = top().characters_to_skip;
  auto character = static_cast<char32_t>(parameter);
  if (parameter < 0) character &= 0xFFFF;
  if (character >= 0xDC00 && character <= 0xDFFF && high_surrogate_ != 0) {
    character = 0x10000 + ((high_surrogate_ - 0xD800) << 10) + (character - 0xDC00);
    high_surrogate_ = 0;
  }
  if (!prepare_text()) return;
  flush_bytes();
  if (character >= 0xD800 && character <= 0xDBFF) {
    high_surrogate_ = character;
    return;
  }
  if (character < 0x20) {
    if (character == '\t' || character == '\n') text_ += static_cast<char>(character);
    return;
  }
  if (character >= 0xF020 && character <= 0xF0FF) {
    const char32_t symbol = symbol_font_character(trimmed_name(encoding().name), character);
    character = symbol != 0 ? symbol : bullet_of(character);
  }
  append_utf8(text_, character);
  if (text_.size() > text_at_once) hand_over_text();
}

void Parser::flush_bytes() {
  if (bytes_page_ == nullptr) return;
  bytes_page_->decode(bytes_, text_, true);
  bytes_.clear();
  bytes_page_ = nullptr;
}

void Parser::flush_text() {
  flush_bytes();
  if (high_surrogate_ != 0) {
    high_surrogate_ = 0;
    append_utf8(text_, U'\uFFFD');
  }
  hand_over_text();
}

void Parser::hand_over_text() {
  if (text_.empty()) return;
  const Group& group = top();
  switch (group.destination) {
    case Destination::body:
      flush_body();
      break;
    case Destination::font_table:
      if (table_font_ != nullptr) append_bounded(table_font_->name, text_, 64);
      break;
    case Destination::field_instruction:
      fields_[static_cast<std::size_t>(group.field)].add_instruction(text_);
      break;
    case Destination::form_item:
      append_bounded(fields_[static_cast<std::size_t>(group.field)].items.back(), text_,
                     Field::longest_instruction);
      break;
    case Destination::annotation_author:
      append_bounded(annotation_author_, text_, longest_author);
      break;
    case Destination::shape_property_name:
      append_bounded(shape_property_name_, text_, longest_shape_text);
      break;
    case Destination::shape_property_value:
      append_bounded(shape_property_value_, text_, longest_shape_text);
      break;
    case Destination::information_value:
      append_bounded(value_, text_, longest_value);
      break;
    case Destination::ignored:
    case Destination::information:
      break;
  }
  text_.clear();
}

void Parser::flush_body() {
  body_seen_ = true;
  text_shown_ += text_.size();
  settle_section();
  settle_page_region();
  const std::int32_t level = top().table_level;
  if (level >= 1 && !table_.in_row) {
    table_.in_row = true;
    flow_.begin_row();
  }
  if (level >= 2 && !table_.in_nested_row) {
    table_.in_nested_row = true;
    flow_.begin_row();
  }
  set_open_marks(text_marks_);
  flow_.text(text_);
}

void Parser::settle_section() {
  if (!section_due_ || flow_.in_note()) return;
  section_due_ = false;
  if (!section_continues_) flow_.page();
}

void Parser::settle_page_region() {
  if (!page_region_due_ || flow_.in_note()) return;
  flow_.begin(*page_region_due_);
  page_region_due_.reset();
}

void Parser::set_open_marks(std::uint8_t marks) {
  if (marks == open_marks_) return;
  if ((open_marks_ & inserted) != 0) flow_.end(Region::inserted);
  if ((open_marks_ & deleted) != 0) flow_.end(Region::deleted);
  if ((open_marks_ & hidden) != 0) flow_.end(Region::hidden);
  if ((marks & hidden) != 0) flow_.begin(Region::hidden);
  if ((marks & deleted) != 0) flow_.begin(Region::deleted);
  if ((marks & inserted) != 0) flow_.begin(Region::inserted);
  open_marks_ = marks;
}

Parser::Font* Parser::font_of(std::int32_t number) {
  const auto found = fonts_.find(number);
  return found == fonts_.end() ? &plain_font_ : &found->second;
}

const Parser::Font& Parser::encoding() {
  const Group& group = top();
  // Names and properties are written in the document's own code page.
  const bool own = group.destination == Destination::font_table ||
                   group.destination == Destination::information_value;
  Font* font = own ? &plain_font_ : group.font != nullptr ? group.font : font_of(default_font_);
  if (font->encoding_age != encoding_age_) find_encoding(*font);
  return *font;
}

void Parser::find_encoding(Font& font) {
  font.encoding_age = encoding_age_;
  font.symbols = false;
  std::int32_t number = font.code_page;
  switch (font.character_set) {
    case character_set_unknown:
    case 1:
    case character_set_symbol:
      font.symbols = symbol_font_character(trimmed_name(font.name), U'a') != 0;
      if (font.character_set == character_set_symbol && number == 0) number = 1252;
      break;
    case 0:
      // The Western set, but in documents of producers that know no other for the document's own.
      if (number == 0 && own_character_set_named_) number = 1252;
      break;
    default:
      if (number == 0) number = code_page_of_character_set(font.character_set);
      break;
  }
  font.page = number == 0 ? nullptr : pages_.find(number);
  if (font.page == nullptr) font.page = &document_code_page();
}

const CodePage& Parser::document_code_page() {
  if (told_page_ && !code_page_declared_) return *told_page_;
  const CodePage* page = pages_.find(code_page_);
  if (page == nullptr) page = pages_.find(1252);
  if (page == nullptr) throw EngineError(Code::general, "the character set library lacks Latin 1");
  return *page;
}

}  // namespace trfilter::rtf
