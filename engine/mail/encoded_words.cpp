#include "engine/mail/encoded_words.h"

#include <algorithm>
#include <array>
#include <optional>

#include "engine/charset/utf8_scan.h"
#include "engine/mail/mail_charset.h"
#include "engine/mail/transfer_encoding.h"

namespace trfilter {
namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::string_view hexadecimal = "0123456789ABCDEF";

// RFC 2047, 2: an encoded word has 75 characters at most, a line with one 76.
constexpr std::size_t longest_line = 76;
constexpr std::string_view word_begin = "=?utf-8?B?";
constexpr std::string_view word_end = "?=";
// Base64 of 45 bytes is 60 characters.
constexpr std::size_t word_bytes = 45;

constexpr std::size_t longest_charset = 64;
// Words are longer in practice than allowed, but not so long.
constexpr std::size_t longest_word = std::size_t{4} << 10;

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

/// RFC 2047, 4.2.
std::string decode_q(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '=' && append_marked_byte(text.substr(i), out)) {
      i += 2;
    } else {
      out.push_back(text[i] == '_' ? ' ' : text[i]);
    }
  }
  return out;
}

struct EncodedWord {
  std::string_view charset;
  std::string bytes;
  std::size_t length = 0;  ///< of the word in the field
};

/// The encoded word at the begin of `text`: "=?charset?encoding?text?=".
std::optional<EncodedWord> encoded_word(std::string_view text) {
  if (!text.starts_with("=?")) return {};
  text = text.substr(0, longest_word);
  const std::size_t charset_end = text.substr(0, longest_charset).find('?', 2);
  if (charset_end == npos || charset_end == 2 || charset_end + 2 >= text.size() ||
      text[charset_end + 2] != '?') {
    return {};
  }
  const std::string_view charset = text.substr(2, charset_end - 2);
  if (std::ranges::any_of(charset, is_blank)) return {};
  const char encoding = text[charset_end + 1];
  const bool base64 = encoding == 'B' || encoding == 'b';
  if (!base64 && encoding != 'Q' && encoding != 'q') return {};
  const std::size_t begin = charset_end + 3;
  const std::size_t end = text.find(word_end, begin);
  if (end == npos) return {};
  const std::string_view encoded = text.substr(begin, end - begin);
  // A word of base64 has no other word in it; that one was never closed.
  if (encoded.find("=?") != npos) return {};
  EncodedWord word;
  // RFC 2231, 5: a language may follow.
  word.charset = charset.substr(0, charset.find('*'));
  word.bytes = base64 ? decode_base64(encoded) : decode_q(encoded);
  word.length = end + word_end.size();
  return word;
}

/// White space and controls as blanks, folds joined.
std::string in_one_line(std::string_view text) {
  std::string line;
  line.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\r' || c == '\n') {
      const std::size_t next = text.find_first_not_of("\r\n", i);
      i = std::min(next, text.size()) - 1;
      // The white space that makes the fold stays, if there is some.
      if (next != npos && !is_blank(text[next])) line.push_back(' ');
    } else if (c == '\t' || c == '\0') {
      line.push_back(' ');
    } else {
      line.push_back(c);
    }
  }
  return line;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  return text;
}

bool is_printable_ascii(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c >= ' ' && c < '\x7F'; });
}

/// How many bytes of UTF-8 fit in `most` without a character cut in two.
std::size_t whole_characters(std::string_view utf8, std::size_t most) {
  if (utf8.size() <= most) return utf8.size();
  std::size_t end = most;
  while (end > 0 && (static_cast<unsigned char>(utf8[end]) & 0xC0) == 0x80) --end;
  return end == 0 ? most : end;
}

}  // namespace

std::string decode_encoded_words(std::string_view field, const Options& options) {
  std::string out;
  std::string charset;  // of the words in `bytes`
  std::string bytes;    // of words behind each other, between which a character may be cut in two
  bool pending = false;
  const auto flush = [&] {
    if (pending) out += in_one_line(decode_mail_text(bytes, charset, options));
    bytes.clear();
    pending = false;
  };
  std::size_t at = 0;
  while (at < field.size()) {
    const std::size_t begin = field.find("=?", at);
    const std::string_view between = field.substr(at, begin - at);
    const bool blank = std::ranges::all_of(between, is_blank);
    std::optional<EncodedWord> word;
    if (begin != npos) word = encoded_word(field.substr(begin));
    // RFC 2047, 6.2: white space between two words is not shown.
    const bool adjacent = pending && blank;
    if (!word) {
      flush();
      const std::size_t end = begin == npos ? field.size() : begin + 2;
      out += field.substr(at, end - at);
      at = end;
      continue;
    }
    if (!adjacent || charset != word->charset) {
      flush();
      if (!adjacent) out += between;
      charset = word->charset;
    }
    bytes += word->bytes;
    pending = true;
    at = begin + word->length;
  }
  flush();
  return out;
}

std::string decode_header_text(std::string_view field, const Options& options) {
  std::string text = in_one_line(trimmed(field));
  if (!is_ascii(text)) text = decode_mail_text(text, {}, options);
  if (text.find("=?") != npos) text = std::string(trimmed(decode_encoded_words(text, options)));
  return text;
}

std::string encode_header_text(std::string_view utf8, std::size_t column) {
  std::string clean(utf8);
  std::ranges::replace_if(
      clean, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }, ' ');
  std::string_view rest = clean;
  std::string out;
  if (is_printable_ascii(rest) && rest.find("=?") == npos) {
    // Folded where a blank is, if there is one.
    while (column + rest.size() > longest_line) {
      const std::size_t room = column < longest_line ? longest_line - column : 1;
      std::size_t fold = rest.rfind(' ', room);
      if (fold == npos || fold == 0) fold = rest.find(' ', std::max<std::size_t>(room, 1));
      if (fold == npos || rest.find_first_not_of(' ', fold) == npos) break;
      out += rest.substr(0, fold);
      out += "\r\n";
      rest.remove_prefix(fold);
      column = 0;
    }
    return out += rest;
  }
  bool first = true;
  while (!rest.empty()) {
    std::size_t room = word_bytes;
    if (first) {
      const std::size_t overhead = column + word_begin.size() + word_end.size();
      room = overhead + 8 < longest_line ? (longest_line - 1 - overhead) / 4 * 3 : 0;
      room = std::min(room, word_bytes);
    }
    if (room < 6) {
      out += "\r\n ";
      room = word_bytes;
    } else if (!first) {
      out += "\r\n ";
    }
    const std::size_t count = whole_characters(rest, room);
    out += word_begin;
    out += encode_base64(rest.substr(0, count));
    out += word_end;
    rest.remove_prefix(count);
    first = false;
  }
  return out;
}

std::string encode_parameter(std::string_view name, std::string_view utf8) {
  constexpr std::size_t longest_value = 60;
  std::string out;
  if (is_printable_ascii(utf8) && utf8.size() <= longest_value) {
    out += ";\r\n ";
    out += name;
    out += "=\"";
    for (const char c : utf8) {
      if (c == '"' || c == '\\') out.push_back('\\');
      out.push_back(c);
    }
    return out += '"';
  }
  // RFC 2231, 3 and 4: sections, each in a line, their bytes percent-encoded.
  std::string encoded;
  unsigned section = 0;
  const auto flush = [&] {
    out += ";\r\n ";
    out += name;
    out += '*' + std::to_string(section) + "*=";
    if (section == 0) out += "utf-8''";
    out += encoded;
    encoded.clear();
    ++section;
  };
  for (const char c : utf8) {
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7F') continue;
    const bool plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                       c == '.' || c == '-' || c == '_';
    if (plain) {
      encoded.push_back(c);
    } else {
      const auto byte = static_cast<unsigned char>(c);
      encoded.push_back('%');
      encoded.push_back(hexadecimal[byte >> 4]);
      encoded.push_back(hexadecimal[byte & 15]);
    }
    if (encoded.size() + 3 > longest_value) flush();
  }
  if (!encoded.empty() || section == 0) flush();
  return out;
}

}  // namespace trfilter
