#pragma once

#include <cstddef>
#include <string_view>

namespace trfilter {

/// Whether all bytes are below 0x80.
bool is_ascii(std::string_view bytes);

/// How many bytes from the begin are complete, valid UTF-8 (RFC 3629), NUL and controls included.
std::size_t valid_utf8_prefix(std::string_view bytes);

/// The length of the well-formed sequence at the begin of `bytes`, 1 to 4; 0 when there is none.
std::size_t utf8_sequence_length(std::string_view bytes);

/// Whether `bytes`, one to three of them, could go on to a well-formed sequence.
bool is_truncated_utf8(std::string_view bytes);

}  // namespace trfilter
