#include "engine/cad/julian_day.h"

namespace trfilter::cad {

FileTime time_of_julian_day(std::uint32_t day, std::uint32_t milliseconds) {
  constexpr std::int64_t day_of_1601 = 2'305'814;
  constexpr std::int64_t day_of_3000 = 2'816'788;
  constexpr std::int64_t ticks_of_millisecond = 10'000;
  if (day < day_of_1601 || day > day_of_3000 || milliseconds >= milliseconds_of_day) return {};
  return {((day - day_of_1601) * milliseconds_of_day + milliseconds) * ticks_of_millisecond};
}

}  // namespace trfilter::cad
