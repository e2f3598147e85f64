#include "engine/xml/base64.h"

namespace trfilter {
namespace {

int value_of(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

}  // namespace

void Base64Decoder::decode(std::string_view text, std::string& out) {
  for (const char c : text) {
    if (c == '=') ended_ = true;
    if (ended_) return;
    const int value = value_of(c);
    if (value < 0) continue;
    bits_ = bits_ << 6 | static_cast<std::uint32_t>(value);
    count_ += 6;
    if (count_ >= 8) {
      count_ -= 8;
      out.push_back(static_cast<char>(bits_ >> count_));
    }
  }
}

}  // namespace trfilter
