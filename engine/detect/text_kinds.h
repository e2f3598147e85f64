#pragma once

#include <string_view>

#include "engine/core/format.h"
#include "engine/detect/text_head.h"

/// Kinds of text that are told by more than how they begin.
namespace trfilter::detection {

/// An Internet message, a mailbox of them, a news article or a web archive by its header;
/// `Format::none` when the text has no such header.
Detection identify_message(const TextHead& text);

/// Whether the first lines are rows of fields with one separator.
bool is_delimited(const TextHead& text);

/// Whether a tag's name, in any case, is one of HTML's that a page may begin with.
bool is_html_tag(std::string_view name);

/// Whether text that does not begin with a tag is an HTML page all the same.
bool holds_html_page(const TextHead& text);

}  // namespace trfilter::detection
