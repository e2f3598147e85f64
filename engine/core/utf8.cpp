#include "engine/core/utf8.h"

#include <cstdint>
#include <cstring>

namespace trfilter {
namespace {

constexpr char32_t replacement = 0xFFFD;

/// The length of the valid multi-byte sequence at the begin of `text`, 0 when there is none.
/// Table 3-7 of the Unicode standard: well-formed UTF-8 byte sequences.
std::size_t sequence_length(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const auto continues = [&](std::size_t i, unsigned low = 0x80, unsigned high = 0xBF) {
    return i < text.size() && byte(i) >= low && byte(i) <= high;
  };
  const unsigned lead = byte(0);
  if (lead >= 0xC2 && lead <= 0xDF) return continues(1) ? 2 : 0;
  if (lead >= 0xE0 && lead <= 0xEF) {
    const unsigned low = lead == 0xE0 ? 0xA0 : 0x80;
    const unsigned high = lead == 0xED ? 0x9F : 0xBF;
    return continues(1, low, high) && continues(2) ? 3 : 0;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    const unsigned low = lead == 0xF0 ? 0x90 : 0x80;
    const unsigned high = lead == 0xF4 ? 0x8F : 0xBF;
    return continues(1, low, high) && continues(2) && continues(3) ? 4 : 0;
  }
  return 0;
}

/// Whether eight bytes are all ASCII and none is `drop_1` or `drop_2` (bytes below 0x80).
bool plain_word(std::uint64_t word) {
  constexpr std::uint64_t ones = 0x0101010101010101u;
  constexpr std::uint64_t highs = 0x8080808080808080u;
  const std::uint64_t carriage_returns = word ^ (ones * '\r');
  const std::uint64_t zero_or_high = (word - ones) | word;
  const std::uint64_t is_carriage_return = carriage_returns - ones;
  return ((zero_or_high | is_carriage_return) & highs) == 0;
}

char32_t decode(std::string_view sequence) {
  const auto bits = [&](std::size_t i, unsigned mask) {
    return static_cast<char32_t>(static_cast<unsigned char>(sequence[i]) & mask);
  };
  switch (sequence.size()) {
    case 1:
      return bits(0, 0x7F);
    case 2:
      return bits(0, 0x1F) << 6 | bits(1, 0x3F);
    case 3:
      return bits(0, 0x0F) << 12 | bits(1, 0x3F) << 6 | bits(2, 0x3F);
    default:
      return bits(0, 0x07) << 18 | bits(1, 0x3F) << 12 | bits(2, 0x3F) << 6 | bits(3, 0x3F);
  }
}

}  // namespace

std::size_t clean_utf8_prefix(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    std::uint64_t word = 0;
    while (at + sizeof word <= text.size()) {
      std::memcpy(&word, text.data() + at, sizeof word);
      if (!plain_word(word)) break;
      at += sizeof word;
    }
    if (at == text.size()) break;
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x80) {
      if (byte == 0 || byte == '\r') return at;
      ++at;
      continue;
    }
    const std::size_t length = sequence_length(text.substr(at));
    if (length == 0) return at;
    at += length;
  }
  return at;
}

bool is_valid_utf8(std::string_view text) {
  while (true) {
    text.remove_prefix(clean_utf8_prefix(text));
    if (text.empty()) return true;
    if (text.front() != '\0' && text.front() != '\r') return false;
    text.remove_prefix(1);
  }
}

std::size_t encode_utf8(char32_t code_point, std::array<char, 4>& out) {
  if (code_point > 0x10FFFF || (code_point >= 0xD800 && code_point <= 0xDFFF)) {
    code_point = replacement;
  }
  const auto tail = [&](unsigned shift) {
    return static_cast<char>(0x80 | ((code_point >> shift) & 0x3F));
  };
  if (code_point < 0x80) {
    out[0] = static_cast<char>(code_point);
    return 1;
  }
  if (code_point < 0x800) {
    out[0] = static_cast<char>(0xC0 | (code_point >> 6));
    out[1] = tail(0);
    return 2;
  }
  if (code_point < 0x10000) {
    out[0] = static_cast<char>(0xE0 | (code_point >> 12));
    out[1] = tail(6);
    out[2] = tail(0);
    return 3;
  }
  out[0] = static_cast<char>(0xF0 | (code_point >> 18));
  out[1] = tail(12);
  out[2] = tail(6);
  out[3] = tail(0);
  return 4;
}

void append_utf8(std::string& out, char32_t code_point) {
  std::array<char, 4> bytes{};
  out.append(bytes.data(), encode_utf8(code_point, bytes));
}

std::string utf16_to_utf8(std::u16string_view units) {
  std::string out;
  out.reserve(units.size());
  for (std::size_t i = 0; i < units.size(); ++i) {
    const char32_t unit = units[i];
    const bool high = unit >= 0xD800 && unit <= 0xDBFF;
    if (high && i + 1 < units.size() && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF) {
      append_utf8(out, 0x10000 + ((unit - 0xD800) << 10) + (units[i + 1] - 0xDC00u));
      ++i;
    } else {
      append_utf8(out, unit);
    }
  }
  return out;
}

std::u16string utf8_to_utf16(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const bool ascii = static_cast<unsigned char>(text.front()) < 0x80;
    const std::size_t length = ascii ? 1 : sequence_length(text);
    const char32_t code_point = length == 0 ? replacement : decode(text.substr(0, length));
    if (code_point >= 0x10000) {
      out.push_back(static_cast<char16_t>(0xD7C0 + (code_point >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (code_point & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(code_point));
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return out;
}

}  // namespace trfilter
