#pragma once

#include <string>
#include <string_view>

#include "engine/charset/encoding.h"
#include "engine/core/options.h"

namespace trfilter {

/// The encoding of text in a message. What is declared is believed unless the bytes contradict it:
/// text declared as UTF-8 that is none, as ASCII with other bytes, or in a set nobody knows is in
/// the set it looks like; text declared in a Western set that is UTF-8 beyond ASCII is UTF-8, as is
/// text declared in UTF-16 or UTF-32 that is UTF-8 without a NUL byte.
/// @param bytes     the text, or so much of it as is at hand
/// @param whole     whether `bytes` is all of it, and not cut off within a character
/// @param charset   as declared; empty: not
const Encoding& mail_encoding(std::string_view bytes, bool whole, std::string_view charset,
                              const Options& options);

/// Converts text of a message to valid UTF-8, its byte-order mark left out.
std::string decode_mail_text(std::string_view bytes, std::string_view charset,
                             const Options& options);

}  // namespace trfilter
