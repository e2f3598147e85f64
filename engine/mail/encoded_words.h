#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "engine/core/options.h"

namespace trfilter {

/// The text of a header field: encoded words (RFC 2047) decoded, bytes beyond ASCII in the set that
/// they look like, folded lines joined. What only resembles an encoded word stays as it is.
/// @return valid UTF-8 in one line
std::string decode_header_text(std::string_view field, const Options& options);

/// Decodes the encoded words of text that is UTF-8 already, and nothing else.
std::string decode_encoded_words(std::string_view field, const Options& options);

/// Writes text for a header field: as it stands when it is printable ASCII, else as encoded words
/// in UTF-8 (RFC 2047), folded.
/// @param column  where in its line the text begins
std::string encode_header_text(std::string_view utf8, std::size_t column);

/// Writes a parameter of a header field with what goes before it: `; name="value"`, or in the form
/// of RFC 2231 when the value is not short ASCII text. Each in a line of its own.
std::string encode_parameter(std::string_view name, std::string_view utf8);

}  // namespace trfilter
