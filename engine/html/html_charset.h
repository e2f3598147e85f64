#pragma once

#include <string>
#include <string_view>

#include "engine/charset/charset_detector.h"

namespace trfilter {

/// The encoding label that a page or XML text states at its begin: in an XML declaration or in a
/// meta element (HTML standard, "prescan a byte stream to determine its encoding"). Read from ASCII
/// bytes.
/// @return empty when there is none
std::string declared_encoding_label(std::string_view head);

/// The encoding of a page: the host's word, a byte-order mark, what the page says of itself, what
/// its bytes look like. A page that is valid UTF-8 beyond ASCII is UTF-8 whatever it says; one that
/// says UTF-8 but is not is believed to be what it looks like.
DetectedCharset detect_html_charset(Document& document, const Options& options, Limits& limits);

}  // namespace trfilter
