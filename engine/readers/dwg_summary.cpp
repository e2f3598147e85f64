#include "engine/readers/dwg_summary.h"

#include <array>
#include <limits>

#include "engine/cad/julian_day.h"
#include "engine/core/byte_cursor.h"
#include "engine/core/property_names.h"

namespace trfilter::dwg {
namespace {

constexpr auto names = std::to_array<std::string_view>(
    {property::title, property::subject, property::author, property::keywords, property::comments,
     property::last_author, property::revision, property::hyperlink_base});

std::string take_string(ByteCursor& cursor, cad::Strings& strings) {
  const std::size_t length = cursor.u16();
  return strings.utf8(cursor.bytes(strings.unicode() ? length * 2 : length));
}

void add_time(std::string_view name, std::uint32_t day, std::uint32_t milliseconds,
              Properties& properties) {
  const FileTime time = cad::time_of_julian_day(day, milliseconds);
  if (time.ticks != 0) properties.add(name, time);
}

}  // namespace

bool add_summary(std::string_view section, cad::Strings& strings, Properties& properties) {
  ByteCursor cursor(section);
  for (const std::string_view name : names) properties.add(name, take_string(cursor, strings));
  const std::uint32_t days = cursor.u32();
  const std::uint32_t rest = cursor.u32();
  constexpr std::uint32_t milliseconds_of_minute = 60'000;
  constexpr std::uint32_t minutes_of_day = 24 * 60;
  constexpr std::uint32_t most_days = std::numeric_limits<std::int32_t>::max() / minutes_of_day - 1;
  const std::uint32_t minutes = days < most_days && rest < cad::milliseconds_of_day
                                    ? days * minutes_of_day + rest / milliseconds_of_minute
                                    : 0;
  if (minutes != 0) properties.add(property::edit_time, static_cast<std::int32_t>(minutes));
  for (const std::string_view name : {property::created, property::last_saved}) {
    const std::uint32_t day = cursor.u32();
    add_time(name, day, cursor.u32(), properties);
  }
  for (unsigned count = cursor.u16(); count != 0 && !cursor.failed(); --count) {
    const std::string name = take_string(cursor, strings);
    std::string value = take_string(cursor, strings);
    if (!name.empty()) properties.add(name, std::move(value));
  }
  return !cursor.failed();
}

}  // namespace trfilter::dwg
