#include "engine/cad/drawing_text.h"

#include <algorithm>

#include "engine/core/fields.h"
#include "engine/core/utf8.h"

namespace trfilter::cad {
namespace {

constexpr char32_t no_break_space = 0xA0;

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

/// Appends what the code behind two percent signs stands for. @return its length; 0: it is none
std::size_t append_percent_code(std::string& out, std::string_view code) {
  if (code.empty()) return 0;
  switch (code.front()) {
    case 'c':
    case 'C':
      append_utf8(out, U'\u2300');
      return 1;
    case 'd':
    case 'D':
      append_utf8(out, U'\u00B0');
      return 1;
    case 'p':
    case 'P':
      append_utf8(out, U'\u00B1');
      return 1;
    case '%':
      out += '%';
      return 1;
    case 'k':
    case 'K':
    case 'o':
    case 'O':
    case 'u':
    case 'U':
      return 1;
    default:
      break;
  }
  constexpr std::size_t digits = 3;
  if (code.size() < digits || !std::all_of(code.begin(), code.begin() + digits, is_digit)) return 0;
  const unsigned number =
      static_cast<unsigned>((code[0] - '0') * 100 + (code[1] - '0') * 10 + (code[2] - '0'));
  if (number >= ' ') append_utf8(out, number);
  return digits;
}

/// A stacked fraction: what stands above, a sign, what stands below.
void append_stack(std::string& out, std::string_view stack) {
  bool divided = false;
  for (std::size_t at = 0; at < stack.size(); ++at) {
    const char c = stack[at];
    if (c == '\\' && at + 1 < stack.size()) {
      out += stack[++at];
    } else if (!divided && (c == '/' || c == '#' || c == '^')) {
      // Of tolerances, which are stacked without a line, one may be missing.
      const std::string_view below = stack.substr(at + 1);
      const bool both = at != 0 && below.find_first_not_of(' ') != npos;
      if (both) out += '/';
      divided = true;
      if (c == '^' && below.starts_with(' ')) ++at;
    } else {
      out += c;
    }
  }
}

/// The symbols of geometric tolerances, by the letters of their font from a on.
constexpr std::u16string_view tolerance_symbols =
    u"\u2220\u27C2\u23E5\u2313\u25CB\u2225\u232D\u2197\u232F\u2316\u2312\u24C1\u24C2\u2300"
    u"o\u24C5q\u25CE\u24C8\u2330\u23E4vwxyz";

/// Takes apart formatted text.
class Paragraphs {
 public:
  explicit Paragraphs(std::string_view text) : rest_(text) {}

  std::string run() {
    while (!rest_.empty()) {
      const std::size_t plain = rest_.find_first_of("\\{}%^");
      put(rest_.substr(0, plain));
      if (plain == npos) break;
      rest_.remove_prefix(plain);
      switch (rest_.front()) {
        case '\\':
          backslash();
          break;
        case '%':
          percent();
          break;
        case '^':
          caret();
          break;
        default:
          // A group's end brings the font before it back.
          if (rest_.front() == '}') symbols_ = false;
          rest_.remove_prefix(1);
      }
    }
    out_.erase(out_.find_last_not_of(' ') + 1);
    return std::move(out_);
  }

 private:
  void backslash() {
    if (rest_.size() < 2) {
      out_ += take(1);
      return;
    }
    const char code = rest_[1];
    switch (code) {
      case 'P':
      case 'N':
      case 'X':
        rest_.remove_prefix(2);
        out_ += '\n';
        return;
      case '~':
        rest_.remove_prefix(2);
        append_utf8(out_, no_break_space);
        return;
      case 'L':
      case 'l':
      case 'O':
      case 'o':
      case 'K':
      case 'k':
        rest_.remove_prefix(2);
        return;
      case 'S':
        append_stack(out_, argument());
        return;
      case 'F':
      case 'f':
        symbols_ = is_symbol_font(argument());
        return;
      case 'A':
      case 'C':
      case 'c':
      case 'H':
      case 'Q':
      case 'T':
      case 'W':
      case 'p':
        argument();
        return;
      default:
        // An escaped backslash or brace; any other code stays as it is.
        if (code == '\\' || code == '{' || code == '}') rest_.remove_prefix(1);
        out_ += take(code == '\\' || code == '{' || code == '}' ? 1 : 2);
    }
  }

  /// Takes a code with an argument, which ends with a semicolon; without one it is the letter
  /// alone.
  std::string_view argument() {
    rest_.remove_prefix(2);
    std::size_t end = 0;
    while (end < rest_.size() && rest_[end] != ';') end += rest_[end] == '\\' ? 2u : 1u;
    if (end >= rest_.size()) return {};
    const std::string_view argument = take(end);
    rest_.remove_prefix(1);
    return argument;
  }

  void put(std::string_view text) {
    for (const char c : text) {
      const auto letter = static_cast<std::size_t>(c - 'a');
      if (symbols_ && c >= 'a' && letter < tolerance_symbols.size()) {
        append_utf8(out_, tolerance_symbols[letter]);
      } else {
        out_ += c;
      }
    }
  }

  static bool is_symbol_font(std::string_view font) {
    font = font.substr(0, font.find_first_of("|."));
    return font == "gdt" || font == "GDT";
  }

  void percent() {
    const bool two = rest_.starts_with("%%");
    if (two && rest_.substr(2, 1) == "v") {
      // A line between the fields of a tolerance.
      if (!out_.empty() && out_.back() != ' ' && out_.back() != '\n') out_ += ' ';
      rest_.remove_prefix(3);
      return;
    }
    const std::size_t length = two ? append_percent_code(out_, rest_.substr(2)) : 0;
    if (length == 0) {
      out_ += take(1);
    } else {
      rest_.remove_prefix(2 + length);
    }
  }

  /// A control character: ^I is a tab, ^J ends a line, "^ " is the sign itself.
  void caret() {
    const char code = rest_.size() < 2 ? ' ' : rest_[1];
    if (code == 'I') {
      out_ += '\t';
    } else if (code == 'J') {
      out_ += '\n';
    } else if (code != 'M') {
      out_ += '^';
      rest_.remove_prefix(code == ' ' ? std::min<std::size_t>(2, rest_.size()) : 1);
      return;
    }
    rest_.remove_prefix(2);
  }

  std::string_view take(std::size_t count) {
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(taken.size());
    return taken;
  }

  std::string_view rest_;
  std::string out_;
  bool symbols_ = false;  ///< the font of geometric tolerances is in use
};

}  // namespace

std::string plain_line(std::string_view text) {
  std::string out;
  for (;;) {
    const std::size_t at = text.find("%%");
    out += text.substr(0, at);
    if (at == npos) return out;
    text.remove_prefix(at + 2);
    const std::size_t length = append_percent_code(out, text);
    if (length == 0) out += "%%";
    text.remove_prefix(length);
  }
}

std::string plain_paragraphs(std::string_view text) {
  return Paragraphs(text).run();
}

}  // namespace trfilter::cad
