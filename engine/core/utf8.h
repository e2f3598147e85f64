#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace trfilter {

/// How many bytes from the begin of `text` are complete, valid UTF-8 (RFC 3629) without NUL and
/// carriage return.
std::size_t clean_utf8_prefix(std::string_view text);

/// Whether all of `text` is valid UTF-8 (RFC 3629).
bool is_valid_utf8(std::string_view text);

/// Writes a character as UTF-8; what is no Unicode scalar value is written as U+FFFD.
/// @return bytes written, 1 to 4
std::size_t encode_utf8(char32_t code_point, std::array<char, 4>& out);

/// Appends a character as UTF-8, by the rule of `encode_utf8`.
void append_utf8(std::string& out, char32_t code_point);

/// Converts UTF-16 units in the machine's order; an unpaired surrogate becomes U+FFFD.
std::string utf16_to_utf8(std::u16string_view units);

/// Converts valid or invalid UTF-8 to UTF-16; each bad byte becomes U+FFFD.
std::u16string utf8_to_utf16(std::string_view text);

}  // namespace trfilter
