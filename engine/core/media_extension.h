#pragma once

#include <cstddef>
#include <string_view>

namespace trfilter {

/// Bytes that `media_extension` looks at.
inline constexpr std::size_t media_head = 64;

/// What a file of these first bytes is usually called by, with its dot, for members without a name
/// of their own: pictures, and what else documents hold.
/// @return empty for what is not known
std::string_view media_extension(std::string_view head);

}  // namespace trfilter
