#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace trfilter {

/// A number that is not negative, as attributes have it. @return nothing when it is none
std::optional<unsigned> odf_unsigned(std::string_view text);

/// Seconds of a duration such as "PT1H30M5.5S" or "P2DT3H"; a month and a year have no length in
/// seconds and are nothing. @return nothing when it is none
std::optional<double> odf_duration(std::string_view text);

}  // namespace trfilter
