#include "engine/readers/rtf_tokens.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace trfilter::rtf {
namespace {

enum Class : std::uint8_t { plain, high, special, ignored };

// What a byte is outside of control words. A tab stays in its run.
constexpr std::array<Class, 256> classes = [] {
  std::array<Class, 256> table{};
  for (unsigned i = 0; i < table.size(); ++i) {
    table[i] = i >= 0x80 ? high : i < 0x20 && i != '\t' ? ignored : plain;
  }
  table['{'] = table['}'] = table['\\'] = special;
  table[0x7F] = ignored;
  return table;
}();

Class class_of(char c) {
  return classes[static_cast<unsigned char>(c)];
}

bool is_letter(int c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool is_digit(int c) {
  return c >= '0' && c <= '9';
}

int hexadecimal_value(int c) {
  if (is_digit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// How many bytes at the end of `run` begin a UTF-8 sequence that is not complete, 0 to 3.
std::ptrdiff_t incomplete_tail(std::string_view run) {
  for (std::size_t back = 1; back <= 3 && back <= run.size(); ++back) {
    const auto byte = static_cast<unsigned char>(run[run.size() - back]);
    if (byte < 0xC0) continue;
    const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
    return length > back ? static_cast<std::ptrdiff_t>(back) : 0;
  }
  return 0;
}

}  // namespace

Tokeniser::Tokeniser(Document& document, std::uint64_t offset)
    : cursor_(document, offset), at_(buffer_.data() + kept), end_(at_) {}

bool Tokeniser::fill() {
  // All of the block before is taken; its last bytes move to where stepping back finds them.
  char* const begin = buffer_.data() + kept;
  if (end_ != begin) std::memmove(buffer_.data(), end_ - kept, kept);
  const std::size_t count = cursor_.read(std::span<char>(begin, block_size));
  at_ = begin;
  end_ = begin + count;
  return count != 0;
}

int Tokeniser::get() {
  if (at_ == end_ && !fill()) return -1;
  return static_cast<unsigned char>(*at_++);
}

int Tokeniser::peek() {
  if (at_ == end_ && !fill()) return -1;
  return static_cast<unsigned char>(*at_);
}

Token Tokeniser::next() {
  Token token;
  while (true) {
    if (at_ == end_ && !fill()) return token;
    switch (class_of(*at_)) {
      case ignored:
        ++at_;
        break;
      case special:
        switch (*at_++) {
          case '{':
            token.kind = Token::Kind::group_begin;
            return token;
          case '}':
            token.kind = Token::Kind::group_end;
            return token;
          default:
            token = control();
            // A word that was only `\bin` with its data leaves nothing to report.
            if (token.kind == Token::Kind::word && token.word.action == Action::binary) {
              skip_bytes(token.parameter);
            }
            return token;
        }
      case plain: {
        const char* const begin = at_;
        while (at_ != end_ && class_of(*at_) == plain) ++at_;
        token.kind = Token::Kind::text;
        token.run = {begin, static_cast<std::size_t>(at_ - begin)};
        return token;
      }
      case high:
        return run_of_bytes();
    }
  }
}

Token Tokeniser::run_of_bytes() {
  Token token;
  token.kind = Token::Kind::bytes;
  const char* begin = at_;
  for (bool more = true; more;) {
    while (at_ != end_ && class_of(*at_) == high) ++at_;
    if (at_ != end_ || cursor_.at_end()) break;
    // A character is not torn at the block's end: what is not whole waits for the next block.
    const std::ptrdiff_t tail = incomplete_tail({begin, static_cast<std::size_t>(at_ - begin)});
    if (tail < at_ - begin) {
      at_ -= tail;
      break;
    }
    more = fill();
    at_ -= tail;
    begin = at_;
  }
  token.run = {begin, static_cast<std::size_t>(at_ - begin)};
  return token;
}

Token Tokeniser::control() {
  const int first = get();
  if (is_letter(first)) return control_word(first);
  if (first == '\'') return hexadecimal();
  Token token;
  if (first < 0) return token;
  token.kind = Token::Kind::symbol;
  token.character = static_cast<unsigned char>(first);
  return token;
}

Token Tokeniser::control_word(int first) {
  Token token;
  token.kind = Token::Kind::word;
  std::array<char, longest_word> letters{};
  std::size_t length = 0;
  for (int c = first;; c = get()) {
    if (!is_letter(c)) {
      if (c >= 0) --at_;
      break;
    }
    if (length < letters.size()) letters[length] = static_cast<char>(c);
    ++length;
  }
  if (length <= letters.size()) token.word = word_of({letters.data(), length});

  bool negative = false;
  if (peek() == '-') {
    ++at_;
    negative = is_digit(peek());
    if (!negative) {
      --at_;
      return token;
    }
  }
  std::int64_t value = 0;
  while (is_digit(peek())) {
    token.has_parameter = true;
    value =
        std::min<std::int64_t>(value * 10 + (*at_ - '0'), std::numeric_limits<std::int32_t>::max());
    ++at_;
  }
  token.parameter = static_cast<std::int32_t>(negative ? -value : value);
  if (peek() == ' ') ++at_;
  return token;
}

Token Tokeniser::hexadecimal() {
  Token token;
  token.kind = Token::Kind::symbol;
  token.character = '\'';
  const int high_digit = hexadecimal_value(peek());
  if (high_digit < 0) return token;
  ++at_;
  const int low_digit = hexadecimal_value(peek());
  if (low_digit < 0) return token;
  ++at_;
  token.kind = Token::Kind::byte;
  token.character = static_cast<unsigned char>(high_digit * 16 + low_digit);
  return token;
}

void Tokeniser::skip_bytes(std::int32_t count) {
  if (count <= 0) return;
  if (count <= end_ - at_) {
    at_ += count;
    return;
  }
  cursor_.seek(offset() + static_cast<std::uint64_t>(count));
  at_ = end_;
}

Tokeniser::Skipped Tokeniser::skip_group(std::uint64_t& open, std::uint64_t bound) {
  while (true) {
    if (at_ == end_) {
      if (offset() >= bound) return Skipped::at_bound;
      if (!fill()) return Skipped::at_end_of_input;
    }
    while (at_ != end_ && class_of(*at_) != special) ++at_;
    if (at_ == end_) continue;
    switch (*at_++) {
      case '{':
        ++open;
        break;
      case '}':
        if (open == 0) {
          --at_;
          return Skipped::at_group_end;
        }
        --open;
        break;
      default: {
        const Token token = control();
        if (token.kind == Token::Kind::word && token.word.action == Action::binary) {
          skip_bytes(token.parameter);
        }
        break;
      }
    }
  }
}

}  // namespace trfilter::rtf
