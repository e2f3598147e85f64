#pragma once

#include <optional>
#include <string_view>

#include "engine/core/properties.h"

namespace trfilter {

/// Reads a date, or a date and time, in the form of ISO 8601 that XML formats use: from "2024" to
/// "2024-05-06T07:08:09.5+02:00". Without a zone it is taken as UTC.
/// @return none when it is nothing of that form or no day of the calendar
std::optional<FileTime> parse_date_time(std::string_view text);

}  // namespace trfilter
