#pragma once

#include <optional>
#include <string_view>

#include "engine/core/properties.h"

namespace trfilter {

/// Reads a time by ISO 8601: a date, or date and time to minutes, seconds or fractions, with or
/// without a zone; without one it is taken for UTC.
/// @return nothing when it is no such time, or before 1601
std::optional<FileTime> parse_iso_time(std::string_view text);

}  // namespace trfilter
