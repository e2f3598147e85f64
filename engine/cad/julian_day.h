#pragma once

#include <cstdint>

#include "engine/core/properties.h"

namespace trfilter::cad {

inline constexpr std::uint32_t milliseconds_of_day = 86'400'000;

/// The point in time of a Julian day, which drawings begin at midnight, and the milliseconds since
/// then; no time for what is outside of the years that occur.
FileTime time_of_julian_day(std::uint32_t day, std::uint32_t milliseconds);

}  // namespace trfilter::cad
