#include "engine/spreadsheet/number_format_code.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace trfilter {
namespace {

using Kind = FormatToken::Kind;

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool starts_with_ignoring_case(std::string_view text, std::string_view lower_case) {
  if (text.size() < lower_case.size()) return false;
  return std::equal(lower_case.begin(), lower_case.end(), text.begin(),
                    [](char expected, char actual) { return lower(actual) == expected; });
}

bool is_date_kind(Kind kind) {
  return kind >= Kind::year;
}

/// Bytes of the UTF-8 character at the begin of `text`.
std::size_t character_size(std::string_view text) {
  std::size_t size = 1;
  while (size < text.size() && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) ++size;
  return size;
}

class SectionParser {
 public:
  /// Parses up to a semicolon or the end. @return what stands behind
  std::string_view parse(std::string_view code) {
    rest_ = code;
    while (!rest_.empty() && rest_.front() != ';') next();
    classify();
    return rest_;
  }

  FormatSection take() { return std::move(section_); }

 private:
  void add(Kind kind, unsigned count = 1, std::string_view literal = {}) {
    section_.tokens.push_back({kind, count, std::string(literal)});
  }

  void literal(std::string_view text) {
    if (text.empty()) return;
    if (!section_.tokens.empty() && section_.tokens.back().kind == Kind::literal) {
      section_.tokens.back().literal += text;
    } else {
      add(Kind::literal, 1, text);
    }
  }

  std::string_view take_bytes(std::size_t count) {
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(taken.size());
    return taken;
  }

  /// Takes the run of one letter in either case. @return its length
  unsigned take_run(char lower_case) {
    unsigned count = 0;
    while (!rest_.empty() && lower(rest_.front()) == lower_case) {
      rest_.remove_prefix(1);
      ++count;
    }
    return count;
  }

  void next() {
    const char c = lower(rest_.front());
    switch (c) {
      case '"': {
        rest_.remove_prefix(1);
        const std::size_t end = std::min(rest_.find('"'), rest_.size());
        literal(take_bytes(end));
        take_bytes(1);
        return;
      }
      case '\\':
        rest_.remove_prefix(1);
        literal(take_bytes(character_size(rest_)));
        return;
      case '_':
        rest_.remove_prefix(1);
        take_bytes(character_size(rest_));
        literal(" ");
        return;
      case '*':
        rest_.remove_prefix(1);
        take_bytes(character_size(rest_));
        return;
      case '[':
        bracket();
        return;
      case '0':
      case '#':
      case '?':
        rest_.remove_prefix(1);
        add(c == '0' ? Kind::zero : c == '#' ? Kind::hash : Kind::blank);
        return;
      case '.':
        point();
        return;
      case ',':
        rest_.remove_prefix(1);
        add(Kind::comma);
        return;
      case '%':
        rest_.remove_prefix(1);
        add(Kind::percent);
        return;
      case '/':
        rest_.remove_prefix(1);
        add(Kind::slash);
        return;
      case '@':
        rest_.remove_prefix(1);
        add(Kind::text);
        return;
      default:
        break;
    }
    if (c >= '1' && c <= '9') {
      add(Kind::fixed_digit, 1, take_bytes(1));
    } else if (c >= 'a' && c <= 'z') {
      letter(c);
    } else {
      literal(take_bytes(character_size(rest_)));
    }
  }

  void letter(char c) {
    static constexpr std::string_view general = "general";
    static constexpr std::string_view am_pm = "am/pm";
    static constexpr std::string_view a_p = "a/p";
    if (starts_with_ignoring_case(rest_, general)) {
      take_bytes(general.size());
      add(Kind::general);
      return;
    }
    if (starts_with_ignoring_case(rest_, am_pm)) {
      take_bytes(am_pm.size());
      add(Kind::am_pm, 2);
      return;
    }
    if (starts_with_ignoring_case(rest_, a_p)) {
      take_bytes(a_p.size());
      add(Kind::am_pm, 1);
      return;
    }
    if (c == 'e' && rest_.size() > 1 && (rest_[1] == '+' || rest_[1] == '-')) {
      add(Kind::exponent, 1, take_bytes(2).substr(1));
      return;
    }
    const std::string_view before = rest_;
    const unsigned count = take_run(c);
    switch (c) {
      case 'y':
        add(Kind::year, count);
        return;
      case 'e':
        add(Kind::year, 4);
        return;
      case 'b':
        add(Kind::buddhist_year, count);
        return;
      case 'g':
        return;
      case 'm':
        add(Kind::month, count);
        return;
      case 'd':
        add(count > 2 ? Kind::weekday : Kind::day, count);
        return;
      case 'a':
        if (count > 2) {
          add(Kind::weekday, count);
        } else {
          literal(before.substr(0, count));
        }
        return;
      case 'h':
        add(Kind::hour, count);
        return;
      case 's':
        add(Kind::second, count);
        return;
      default:
        literal(before.substr(0, count));
        return;
    }
  }

  void point() {
    rest_.remove_prefix(1);
    const Kind last = last_part();
    if ((last == Kind::second || last == Kind::elapsed_seconds) && !rest_.empty() &&
        rest_.front() == '0') {
      add(Kind::second_fraction, take_run('0'));
    } else {
      add(Kind::point);
    }
  }

  /// The kind of the last token that is no literal.
  Kind last_part() const {
    for (auto token = section_.tokens.rbegin(); token != section_.tokens.rend(); ++token) {
      if (token->kind != Kind::literal) return token->kind;
    }
    return Kind::literal;
  }

  void bracket() {
    rest_.remove_prefix(1);
    const std::size_t end = std::min(rest_.find(']'), rest_.size());
    std::string_view inside = take_bytes(end);
    take_bytes(1);
    if (inside.empty()) return;
    const char c = lower(inside.front());
    if (c == '$') {
      // A currency symbol and a locale: [$EUR-407]
      inside.remove_prefix(1);
      literal(inside.substr(0, inside.rfind('-')));
    } else if (c == '<' || c == '>' || c == '=') {
      condition(inside);
    } else if ((c == 'h' || c == 'm' || c == 's') &&
               std::all_of(inside.begin(), inside.end(), [c](char x) { return lower(x) == c; })) {
      add(c == 'h'   ? Kind::elapsed_hours
          : c == 'm' ? Kind::elapsed_minutes
                     : Kind::elapsed_seconds,
          static_cast<unsigned>(inside.size()));
    }
    // What else stands in brackets are colours and digit shapes.
  }

  void condition(std::string_view inside) {
    using Operator = FormatSection::Operator;
    static constexpr std::pair<std::string_view, Operator> operators[] = {
        {"<=", Operator::less_equal}, {">=", Operator::greater_equal}, {"<>", Operator::not_equal},
        {"<", Operator::less},        {">", Operator::greater},        {"=", Operator::equal}};
    for (const auto& [sign, meaning] : operators) {
      if (!inside.starts_with(sign)) continue;
      inside.remove_prefix(sign.size());
      while (!inside.empty() && inside.front() == ' ') inside.remove_prefix(1);
      double bound = 0;
      const auto parsed = std::from_chars(inside.data(), inside.data() + inside.size(), bound);
      if (parsed.ec != std::errc()) return;
      section_.condition = meaning;
      section_.bound = bound;
      return;
    }
  }

  bool has(Kind kind) const {
    return std::any_of(section_.tokens.begin(), section_.tokens.end(),
                       [kind](const FormatToken& token) { return token.kind == kind; });
  }

  void classify() {
    auto& tokens = section_.tokens;
    const bool date = std::any_of(tokens.begin(), tokens.end(), [](const FormatToken& token) {
      return is_date_kind(token.kind);
    });
    const auto first_digit = std::find_if(tokens.begin(), tokens.end(), [](const FormatToken& t) {
      return is_digit_placeholder(t.kind);
    });
    if (date) {
      section_.kind = FormatSection::Kind::date;
      resolve_months();
      spell({Kind::zero, Kind::hash, Kind::blank, Kind::point, Kind::comma, Kind::percent,
             Kind::exponent, Kind::slash, Kind::text, Kind::general, Kind::fixed_digit});
    } else if (has(Kind::text)) {
      section_.kind = FormatSection::Kind::text;
      spell({Kind::zero, Kind::hash, Kind::blank, Kind::point, Kind::comma, Kind::percent,
             Kind::exponent, Kind::slash, Kind::general, Kind::fixed_digit});
    } else if (has(Kind::general)) {
      section_.kind = FormatSection::Kind::general;
      count_percents();
      spell({Kind::zero, Kind::hash, Kind::blank, Kind::point, Kind::comma, Kind::exponent,
             Kind::slash, Kind::fixed_digit});
    } else if (first_digit == tokens.end()) {
      section_.kind = FormatSection::Kind::literal;
      spell({Kind::point, Kind::comma, Kind::percent, Kind::exponent, Kind::slash,
             Kind::fixed_digit});
    } else if (is_fraction()) {
      section_.kind = FormatSection::Kind::fraction;
      spell({Kind::point, Kind::comma, Kind::percent, Kind::exponent});
    } else {
      section_.kind =
          has(Kind::exponent) ? FormatSection::Kind::scientific : FormatSection::Kind::number;
      count_percents();
      resolve_commas();
      spell({Kind::comma, Kind::slash, Kind::fixed_digit});
    }
  }

  /// An m beside hours or seconds means minutes.
  void resolve_months() {
    FormatToken* waiting = nullptr;
    Kind last = Kind::literal;
    for (FormatToken& token : section_.tokens) {
      if (!is_date_kind(token.kind)) continue;
      if (token.kind == Kind::month && token.count <= 2) {
        if (last == Kind::hour || last == Kind::elapsed_hours) {
          token.kind = Kind::minute;
          waiting = nullptr;
        } else {
          waiting = &token;
        }
      } else {
        const bool seconds = token.kind == Kind::second || token.kind == Kind::elapsed_seconds;
        if (seconds && waiting != nullptr) waiting->kind = Kind::minute;
        waiting = nullptr;
      }
      last = token.kind;
    }
  }

  void count_percents() {
    for (const FormatToken& token : section_.tokens) {
      if (token.kind == Kind::percent) section_.power += 2;
    }
    spell({Kind::percent});
  }

  /// A comma between digits groups thousands, one behind the last digit divides by a thousand.
  void resolve_commas() {
    auto& tokens = section_.tokens;
    std::size_t stop = 0;
    while (stop < tokens.size() && tokens[stop].kind != Kind::exponent) ++stop;
    std::size_t point = 0;
    while (point < stop && tokens[point].kind != Kind::point) ++point;
    std::optional<std::size_t> first;
    std::optional<std::size_t> last_integer;
    std::optional<std::size_t> last;
    for (std::size_t i = 0; i < stop; ++i) {
      if (!is_digit_placeholder(tokens[i].kind)) continue;
      if (!first) first = i;
      if (i < point) last_integer = i;
      last = i;
    }
    std::vector<FormatToken> kept;
    kept.reserve(tokens.size());
    for (std::size_t i = 0; i < tokens.size(); ++i) {
      if (tokens[i].kind != Kind::comma || i >= stop || i < *first) {
        kept.push_back(std::move(tokens[i]));
      } else if (last_integer && i < *last_integer) {
        section_.thousands = true;
      } else if (i < point || i > *last) {
        const Kind before = tokens[i - 1].kind;
        if (before == Kind::comma || is_digit_placeholder(before) || before == Kind::point) {
          section_.power -= 3;
        } else {
          kept.push_back(std::move(tokens[i]));
        }
      }
    }
    tokens = std::move(kept);
  }

  /// A slash right behind a placeholder and right before a placeholder or a number.
  bool is_fraction() const {
    const auto& tokens = section_.tokens;
    for (std::size_t i = 1; i + 1 < tokens.size(); ++i) {
      if (tokens[i].kind == Kind::slash) {
        return is_digit_placeholder(tokens[i - 1].kind) &&
               (is_digit_placeholder(tokens[i + 1].kind) ||
                tokens[i + 1].kind == Kind::fixed_digit);
      }
    }
    return false;
  }

  /// Turns tokens that mean nothing in this section into what they look like.
  void spell(std::initializer_list<Kind> kinds) {
    for (FormatToken& token : section_.tokens) {
      if (std::find(kinds.begin(), kinds.end(), token.kind) == kinds.end()) continue;
      switch (token.kind) {
        case Kind::zero:
          token.literal = "0";
          break;
        case Kind::hash:
          token.literal = "#";
          break;
        case Kind::blank:
          token.literal = "?";
          break;
        case Kind::point:
          token.literal = ".";
          break;
        case Kind::comma:
          token.literal = ",";
          break;
        case Kind::percent:
          token.literal = "%";
          break;
        case Kind::slash:
          token.literal = "/";
          break;
        case Kind::text:
          token.literal = "@";
          break;
        case Kind::exponent:
          token.literal.insert(0, 1, 'E');
          break;
        case Kind::general:
          token.literal = "General";
          break;
        default:
          break;
      }
      token.kind = Kind::literal;
    }
  }

  std::string_view rest_;
  FormatSection section_;
};

}  // namespace

bool is_digit_placeholder(FormatToken::Kind kind) {
  return kind == Kind::zero || kind == Kind::hash || kind == Kind::blank;
}

std::vector<FormatSection> parse_number_format(std::string_view code) {
  std::vector<FormatSection> sections;
  while (true) {
    SectionParser parser;
    code = parser.parse(code);
    sections.push_back(parser.take());
    if (code.empty()) return sections;
    code.remove_prefix(1);
  }
}

}  // namespace trfilter
