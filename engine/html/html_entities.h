#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace trfilter {

/// Where a character reference stands: without its semicolon, a name in an attribute's value must
/// not be followed by a letter, a digit or an equals sign.
enum class ReferencePlace : unsigned char { text, attribute };

/// The longest a reference can be, '&' and ';' included, leading zeros of a number aside.
constexpr std::size_t longest_reference = 34;

/// Resolves the character reference at the begin of `text` by the rules of the HTML standard.
/// @param text  begins with '&'; complete up to the first byte that is no letter, digit or '#', or
///              `longest_reference` bytes long
/// @param out   the character or characters are appended as UTF-8
/// @return bytes of `text` that the reference takes; 0 when there is none and '&' stands for itself
std::size_t resolve_reference(std::string_view text, ReferencePlace place, std::string& out);

/// The characters of a named reference, without '&' and ';'; empty for a name that is none.
std::string_view named_character(std::string_view name);

}  // namespace trfilter
