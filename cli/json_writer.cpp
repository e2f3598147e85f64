#include "cli/json_writer.h"

#include <array>
#include <charconv>
#include <cmath>
#include <utility>

namespace tarnis::cli {
namespace {

/// The length of the valid UTF-8 sequence (RFC 3629) at the begin of `bytes`; 0 when there is none.
std::size_t sequence_length(std::string_view bytes) {
  const auto at = [&](std::size_t i) {
    return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0u;
  };
  const auto tail = [&](std::size_t i) { return (at(i) & 0xC0) == 0x80; };
  const unsigned lead = at(0);
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return tail(1) ? 2 : 0;
  if (lead >= 0xE0 && lead <= 0xEF) {
    const bool overlong = lead == 0xE0 && at(1) < 0xA0;
    const bool surrogate = lead == 0xED && at(1) > 0x9F;
    return tail(1) && tail(2) && !overlong && !surrogate ? 3 : 0;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    const bool overlong = lead == 0xF0 && at(1) < 0x90;
    const bool beyond = lead == 0xF4 && at(1) > 0x8F;
    return tail(1) && tail(2) && tail(3) && !overlong && !beyond ? 4 : 0;
  }
  return 0;
}

std::string escape(unsigned unit) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text = "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) text += digits[(unit >> shift) & 0xF];
  return text;
}

}  // namespace

void JsonWriter::key(std::string_view name) {
  separate();
  quote(name);
  out_ += ": ";
  after_key_ = true;
}

void JsonWriter::text(std::string_view bytes) {
  separate();
  quote(bytes);
}

void JsonWriter::number(std::int64_t value) {
  separate();
  out_ += std::to_string(value);
}

void JsonWriter::number(double value) {
  if (!std::isfinite(value)) {
    null();
    return;
  }
  separate();
  std::array<char, 32> digits{};
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  out_.append(digits.data(), end);
}

void JsonWriter::boolean(bool value) {
  separate();
  out_ += value ? "true" : "false";
}

void JsonWriter::null() {
  separate();
  out_ += "null";
}

std::string JsonWriter::finish() {
  out_ += '\n';
  return std::exchange(out_, {});
}

void JsonWriter::begin(char bracket) {
  separate();
  out_ += bracket;
  has_values_.push_back(false);
}

void JsonWriter::end(char bracket) {
  const bool had_values = has_values_.back();
  has_values_.pop_back();
  if (had_values) indent();
  out_ += bracket;
}

/// What stands between the text so far and the next value or key.
void JsonWriter::separate() {
  if (std::exchange(after_key_, false) || has_values_.empty()) return;
  if (has_values_.back()) out_ += ',';
  has_values_.back() = true;
  indent();
}

void JsonWriter::indent() {
  out_ += '\n';
  out_.append(has_values_.size() * 2, ' ');
}

void JsonWriter::quote(std::string_view bytes) {
  out_ += '"';
  while (!bytes.empty()) {
    const std::size_t length = sequence_length(bytes);
    const auto byte = static_cast<unsigned char>(bytes.front());
    if (length == 0) {
      out_ += escape(0xDC00u + byte);
    } else if (byte == '"' || byte == '\\') {
      out_ += '\\';
      out_ += bytes.front();
    } else if (byte == '\n') {
      out_ += "\\n";
    } else if (byte == '\t') {
      out_ += "\\t";
    } else if (byte < 0x20 || byte == 0x7F) {
      out_ += escape(byte);
    } else {
      out_ += bytes.substr(0, length);
    }
    bytes.remove_prefix(length == 0 ? 1 : length);
  }
  out_ += '"';
}

}  // namespace tarnis::cli
