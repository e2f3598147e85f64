#include "engine/mapi/encapsulated_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "engine/charset/code_page.h"
#include "engine/core/utf8.h"

namespace trfilter::mapi {
namespace {

using Kind = EncapsulatedText::Kind;

/// A piece of RTF.
struct Token {
  enum class Type : std::uint8_t { end, open, close, word, symbol, byte, text };

  Type type = Type::end;
  std::string_view text;  ///< of a word its name, of text the bytes, of a symbol its character
  bool has_number = false;
  std::int32_t number = 0;  ///< of a word its parameter, of a byte its value
};

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

/// Cuts RTF into tokens; line ends are none.
class Tokens {
 public:
  explicit Tokens(std::string_view rtf) : rest_(rtf) {}

  Token next() {
    while (!rest_.empty() && (rest_[0] == '\r' || rest_[0] == '\n' || rest_[0] == '\0')) {
      rest_.remove_prefix(1);
    }
    if (rest_.empty()) return {};
    if (rest_[0] == '{') return take(Token::Type::open, 1);
    if (rest_[0] == '}') return take(Token::Type::close, 1);
    if (rest_[0] == '\\') return control();
    constexpr std::string_view ends("\\{}\r\n\0", 6);
    return take(Token::Type::text, std::min(rest_.find_first_of(ends), rest_.size()));
  }

 private:
  Token take(Token::Type type, std::size_t count) {
    const Token token{type, rest_.substr(0, count)};
    rest_.remove_prefix(count);
    return token;
  }

  Token control() {
    rest_.remove_prefix(1);
    if (rest_.empty()) return {};
    if (rest_[0] == '\'') return hexadecimal();
    if (!is_letter(rest_[0])) return take(Token::Type::symbol, 1);
    std::size_t end = 1;
    while (end < rest_.size() && is_letter(rest_[end])) ++end;
    Token token = take(Token::Type::word, end);
    end = !rest_.empty() && rest_[0] == '-' ? 1 : 0;
    if (end < rest_.size() && is_digit(rest_[end])) {
      while (end < rest_.size() && is_digit(rest_[end])) ++end;
      const auto result = std::from_chars(rest_.data(), rest_.data() + end, token.number);
      token.has_number = result.ec == std::errc();
      rest_.remove_prefix(end);
    }
    if (!rest_.empty() && rest_[0] == ' ') rest_.remove_prefix(1);
    if (token.text == "bin" && token.number > 0) {
      rest_.remove_prefix(
          std::min<std::size_t>(static_cast<std::size_t>(token.number), rest_.size()));
    }
    return token;
  }

  Token hexadecimal() {
    Token token{Token::Type::byte, {}};
    rest_.remove_prefix(1);
    const std::size_t count = std::min<std::size_t>(2, rest_.size());
    const auto result = std::from_chars(rest_.data(), rest_.data() + count, token.number, 16);
    rest_.remove_prefix(static_cast<std::size_t>(result.ptr - rest_.data()));
    return token;
  }

  std::string_view rest_;
};

struct Character {
  std::string_view word;
  std::string_view html;
  std::string_view plain;
};

// What control words stand for in the original, [MS-OXRTFEX] 2.1.3.2.
constexpr auto characters = std::to_array<Character>({
    {"par", "\r\n", "\n"},
    {"line", "\r\n", "\n"},
    {"tab", "\t", "\t"},
    {"lquote", "&lsquo;", "\u2018"},
    {"rquote", "&rsquo;", "\u2019"},
    {"ldblquote", "&ldquo;", "\u201C"},
    {"rdblquote", "&rdquo;", "\u201D"},
    {"bullet", "&bull;", "\u2022"},
    {"endash", "&ndash;", "\u2013"},
    {"emdash", "&mdash;", "\u2014"},
});

// Destinations without a star that hold no text.
constexpr auto without_text = std::to_array<std::string_view>(
    {"fonttbl", "colortbl", "stylesheet", "info", "pict", "object", "header", "footer"});

class Unwrapper {
 public:
  Unwrapper(std::string_view rtf, Kind kind, Limits& limits)
      : tokens_(rtf), kind_(kind), limits_(&limits) {}

  std::string run() {
    std::size_t count = 0;
    for (Token token = tokens_.next(); token.type != Token::Type::end; token = tokens_.next()) {
      if (++count % 4096 == 0) limits_->check_time();
      take(token);
    }
    flush();
    return std::move(out_);
  }

 private:
  /// What a group keeps to itself.
  struct State {
    bool skipped = false;    ///< a destination without text
    bool fonts = false;      ///< within the table of fonts
    bool html_tag = false;   ///< within what is HTML only
    bool rtf_only = false;   ///< after \htmlrtf
    std::int32_t font = -1;  ///< -1: none chosen
    std::int32_t unicode_skip = 1;
  };

  bool shown() const { return !state_.skipped && (state_.html_tag || !state_.rtf_only); }

  void take(const Token& token) {
    const bool group_begins = after_open_;
    const bool starred = after_star_;
    after_open_ = token.type == Token::Type::open;
    after_star_ = false;
    switch (token.type) {
      case Token::Type::open:
        unicode_skip_due_ = 0;
        groups_.push_back(state_);
        limits_->check_depth(static_cast<unsigned>(groups_.size()));
        break;
      case Token::Type::close:
        unicode_skip_due_ = 0;
        flush();
        if (!groups_.empty()) {
          state_ = groups_.back();
          groups_.pop_back();
        }
        break;
      case Token::Type::word:
        word(token, group_begins, starred);
        break;
      case Token::Type::symbol:
        if (group_begins && token.text == "*") {
          after_star_ = true;
        } else {
          symbol(token.text[0]);
        }
        break;
      case Token::Type::byte:
        bytes(std::string(1, static_cast<char>(token.number)));
        break;
      case Token::Type::text:
        bytes(token.text);
        break;
      case Token::Type::end:
        break;
    }
  }

  void word(const Token& token, bool group_begins, bool starred) {
    const std::string_view name = token.text;
    if (starred) {
      state_.html_tag = name == "htmltag";
      if (!state_.html_tag) state_.skipped = true;
      return;
    }
    if (name == "bin") return;
    if (group_begins && std::ranges::find(without_text, name) != without_text.end()) {
      state_.fonts = name == "fonttbl";
      state_.skipped = true;
      return;
    }
    if (name == "htmlrtf") {
      flush();
      state_.rtf_only = !token.has_number || token.number != 0;
    } else if (name == "f") {
      flush();
      state_.font = token.number;
    } else if (name == "fcharset") {
      if (state_.fonts && fonts_.size() < most_fonts) {
        fonts_[state_.font] = code_page_of_character_set(token.number);
      }
    } else if (name == "plain") {
      flush();
      state_.font = default_font_;
    } else if (name == "deff") {
      default_font_ = token.number;
    } else if (name == "ansicpg") {
      if (token.number > 0) default_page_ = token.number;
    } else if (name == "uc") {
      state_.unicode_skip = std::clamp(token.number, 0, 16);
    } else if (name == "u") {
      unicode(token.number);
    } else {
      const auto* const found = std::ranges::find(characters, name, &Character::word);
      if (found != characters.end()) put(kind_ == Kind::html ? found->html : found->plain);
    }
  }

  void symbol(char c) {
    if (c == '{' || c == '}' || c == '\\') {
      bytes(std::string_view(&c, 1));
    } else if (c == '~') {
      put(kind_ == Kind::html ? "&nbsp;" : "\u00A0");
    } else if (c == '_') {
      put(kind_ == Kind::html ? "&shy;" : "\u00AD");
    }
  }

  /// Characters beyond the code page come as UTF-16 units; what follows stands for them elsewhere.
  void unicode(std::int32_t unit) {
    flush();
    unicode_skip_due_ = state_.unicode_skip;
    if (!shown()) return;
    const auto value = static_cast<char32_t>(static_cast<std::uint16_t>(unit));
    if (value >= 0xD800 && value < 0xDC00) {
      lead_surrogate_ = value;
    } else if (value >= 0xDC00 && value < 0xE000 && lead_surrogate_ != 0) {
      append_utf8(out_, 0x10000 + ((lead_surrogate_ - 0xD800) << 10) + (value - 0xDC00));
      lead_surrogate_ = 0;
    } else {
      append_utf8(out_, value);
      lead_surrogate_ = 0;
    }
  }

  /// Adds bytes in a code page: they are decoded together, as characters may have several.
  void bytes(std::string_view bytes) {
    const auto skipped =
        std::min<std::size_t>(static_cast<std::size_t>(unicode_skip_due_), bytes.size());
    unicode_skip_due_ -= static_cast<std::int32_t>(skipped);
    if (shown()) run_ += bytes.substr(skipped);
  }

  void put(std::string_view utf8) {
    if (!shown()) return;
    flush();
    out_ += utf8;
  }

  void flush() {
    if (run_.empty()) return;
    std::int32_t number = 0;
    if (!state_.html_tag) {
      const auto found = fonts_.find(state_.font);
      if (found != fonts_.end()) number = found->second;
    }
    const CodePage* page = pages_.find(number != 0 ? number : default_page_);
    if (page == nullptr) page = pages_.find(western);
    if (page != nullptr) page->decode(run_, out_, true);
    run_.clear();
  }

  static constexpr std::int32_t western = 1252;
  static constexpr std::size_t most_fonts = 32768;

  Tokens tokens_;
  Kind kind_;
  Limits* limits_;
  std::string out_;
  std::string run_;  ///< bytes that wait to be decoded
  State state_;
  std::vector<State> groups_;
  bool after_open_ = false;
  bool after_star_ = false;
  std::int32_t unicode_skip_due_ = 0;
  char32_t lead_surrogate_ = 0;
  std::int32_t default_page_ = western;
  std::int32_t default_font_ = -1;
  std::unordered_map<std::int32_t, std::int32_t> fonts_;  ///< code pages of fonts
  CodePages pages_;
};

/// The mark has to be among the first tokens, before the table of fonts ([MS-OXRTFEX] 2.2.3.1).
Kind kind_of(std::string_view rtf) {
  constexpr int tokens_with_mark = 10;
  Tokens tokens(rtf);
  for (int i = 0; i < tokens_with_mark; ++i) {
    const Token token = tokens.next();
    if (token.type == Token::Type::end) break;
    if (token.type != Token::Type::word) continue;
    if (token.text == "fromhtml" && token.number == 1) return Kind::html;
    if (token.text == "fromtext") return Kind::plain;
  }
  return Kind::none;
}

}  // namespace

EncapsulatedText unwrap_rtf(std::string_view rtf, Limits& limits) {
  EncapsulatedText unwrapped;
  unwrapped.kind = kind_of(rtf);
  if (unwrapped.kind != Kind::none) unwrapped.text = Unwrapper(rtf, unwrapped.kind, limits).run();
  return unwrapped;
}

}  // namespace trfilter::mapi
