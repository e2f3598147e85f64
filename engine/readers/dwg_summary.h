#pragma once

#include <cstdint>
#include <string_view>

#include "engine/core/properties.h"
#include "engine/readers/dwg_strings.h"

namespace trfilter::dwg {

/// The point in time of a Julian day and the milliseconds since its begin; no time for what is
/// outside of the years that occur.
FileTime time_of_julian_day(std::uint32_t day, std::uint32_t milliseconds);

/// Adds what the section AcDb:SummaryInfo states ("Open Design Specification for .dwg files",
/// Data section AcDb:SummaryInfo Section).
/// @return whether it was there as a whole
bool add_summary(std::string_view section, Strings& strings, Properties& properties);

}  // namespace trfilter::dwg
