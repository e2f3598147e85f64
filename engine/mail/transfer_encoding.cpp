#include "engine/mail/transfer_encoding.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace trfilter {
namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view hexadecimal = "0123456789ABCDEF";
constexpr std::string_view line_end = "\r\n";

// RFC 2045, 6.7, rule 5: 76 characters at most, the soft line break among them.
constexpr std::size_t quoted_line = 76;

constexpr std::uint8_t no_digit = 0xFF;

constexpr std::array<std::uint8_t, 256> make_digits() {
  std::array<std::uint8_t, 256> digits{};
  for (std::uint8_t& digit : digits) digit = no_digit;
  for (std::size_t i = 0; i < alphabet.size(); ++i) {
    digits[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
  }
  return digits;
}
constexpr std::array<std::uint8_t, 256> digits = make_digits();

void append_group(std::string_view bytes, std::string& out) {
  const auto byte = [&](std::size_t i) {
    return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0u;
  };
  const unsigned bits = byte(0) << 16 | byte(1) << 8 | byte(2);
  out.push_back(alphabet[bits >> 18]);
  out.push_back(alphabet[bits >> 12 & 63]);
  out.push_back(bytes.size() > 1 ? alphabet[bits >> 6 & 63] : '=');
  out.push_back(bytes.size() > 2 ? alphabet[bits & 63] : '=');
}

}  // namespace

std::string encode_base64(std::string_view bytes) {
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (; !bytes.empty(); bytes.remove_prefix(std::min<std::size_t>(3, bytes.size()))) {
    append_group(bytes.substr(0, 3), out);
  }
  return out;
}

std::string decode_base64(std::string_view text) {
  std::string out;
  Base64Decoder().decode(text, out);
  return out;
}

void Base64Decoder::decode(std::string_view text, std::string& out) {
  out.reserve(out.size() + text.size() / 4 * 3 + 3);
  for (const char c : text) {
    const std::uint8_t digit = digits[static_cast<unsigned char>(c)];
    if (digit == no_digit) {
      // Padding ends a run; another may follow where texts were put behind each other.
      if (c == '=') count_ = 0;
      continue;
    }
    bits_ = (bits_ << 6 | digit) & 0xFFFFFF;
    if (++count_ == 1) continue;
    out.push_back(static_cast<char>(bits_ >> (8 - 2 * count_) & 0xFF));
    if (count_ == 4) count_ = 0;
  }
}

int hexadecimal_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

bool append_marked_byte(std::string_view text, std::string& out) {
  if (text.size() < 3) return false;
  const int high = hexadecimal_digit(text[1]);
  const int low = hexadecimal_digit(text[2]);
  if (high < 0 || low < 0) return false;
  out.push_back(static_cast<char>(high << 4 | low));
  return true;
}

std::string decode_percent(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && append_marked_byte(text.substr(i), out)) {
      i += 2;
    } else {
      out.push_back(text[i]);
    }
  }
  return out;
}

void Base64Output::write(std::string_view bytes) {
  if (!rest_.empty()) {
    const std::size_t wanted = std::min(3 - rest_.size(), bytes.size());
    rest_ += bytes.substr(0, wanted);
    bytes.remove_prefix(wanted);
    if (rest_.size() < 3) return;
    put(rest_);
    rest_.clear();
  }
  // A piece at a time, so that what is written stays small.
  constexpr std::size_t piece = std::size_t{48} << 10;
  while (bytes.size() >= 3) {
    const std::size_t count = std::min(bytes.size() / 3 * 3, piece);
    put(bytes.substr(0, count));
    bytes.remove_prefix(count);
  }
  rest_ = bytes;
}

void Base64Output::finish() {
  if (!rest_.empty()) put(rest_);
  rest_.clear();
  if (line_length_ != 0 && column_ != 0) output_->write(line_end);
}

void Base64Output::put(std::string_view whole_triples) {
  const std::string encoded = encode_base64(whole_triples);
  if (line_length_ == 0) {
    output_->write(encoded);
    return;
  }
  std::string lines;
  std::string_view rest = encoded;
  while (!rest.empty()) {
    const std::size_t count = std::min(line_length_ - column_, rest.size());
    lines += rest.substr(0, count);
    rest.remove_prefix(count);
    column_ += count;
    if (column_ == line_length_) {
      lines += line_end;
      column_ = 0;
    }
  }
  output_->write(lines);
}

void write_quoted_printable(std::string_view text, ByteOutput& output) {
  constexpr std::size_t piece = std::size_t{64} << 10;
  std::string out;
  std::size_t column = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool pair = c == '\r' && text.substr(i + 1).starts_with('\n');
    if (c == '\n' || pair) {
      if (pair) ++i;
      out += line_end;
      column = 0;
    } else {
      const std::string_view after = text.substr(i + 1);
      const bool at_end = after.empty() || after.front() == '\n' || after.starts_with(line_end);
      const bool blank = c == ' ' || c == '\t';
      // A hyphen that begins a line could begin a boundary, a "From" the next message of a mailbox.
      const bool begins = column == 0 && (c == '-' || c == 'F' || c == '.');
      const bool stands = !begins && ((c > ' ' && c < '\x7F' && c != '=') || (blank && !at_end));
      const std::size_t width = stands ? 1 : 3;
      if (column + width > quoted_line - 1) {
        out += "=\r\n";
        column = 0;
      }
      if (stands) {
        out.push_back(c);
      } else {
        const auto byte = static_cast<unsigned char>(c);
        out.push_back('=');
        out.push_back(hexadecimal[byte >> 4]);
        out.push_back(hexadecimal[byte & 15]);
      }
      column += width;
    }
    if (out.size() >= piece) {
      output.write(out);
      out.clear();
    }
  }
  if (!out.empty()) output.write(out);
}

}  // namespace trfilter
