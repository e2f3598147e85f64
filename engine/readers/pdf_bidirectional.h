#pragma once

#include <span>
#include <string>
#include <string_view>

namespace trfilter::pdf {

/// Appends a line that holds right-to-left letters, given as it is seen from left to right, in the
/// order in which it is read. The line's own direction is that of most of its letters.
/// @param items  what is seen at one place each, in logical order within itself; none is empty
void append_logical_order(std::span<const std::string_view> items, std::string& out);

}  // namespace trfilter::pdf
