#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "engine/core/limits.h"
#include "engine/core/subfiles.h"

namespace trfilter {

/// Writes the body of an HTML text so that it can be shown beside other content: elements and
/// attributes that only lay out text, pictures that lie in the page itself. Scripts, style sheets,
/// forms, frames and everything that a viewer would load are left out; the target of a link becomes
/// its title.
/// @param utf8     valid UTF-8
/// @param picture  the data URL of the picture with a content id; empty: there is none
void write_sanitized_html(std::string_view utf8,
                          const std::function<std::string(std::string_view)>& picture,
                          const Limits& limits, ByteOutput& output);

/// Appends text with the characters that are markup replaced.
void append_escaped_html(std::string& out, std::string_view utf8);

}  // namespace trfilter
