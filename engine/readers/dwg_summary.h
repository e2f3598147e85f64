#pragma once

#include <cstdint>
#include <string_view>

#include "engine/cad/drawing_strings.h"
#include "engine/core/properties.h"

namespace trfilter::dwg {

/// Adds what the section AcDb:SummaryInfo states ("Open Design Specification for .dwg files",
/// Data section AcDb:SummaryInfo Section).
/// @return whether it was there as a whole
bool add_summary(std::string_view section, cad::Strings& strings, Properties& properties);

}  // namespace trfilter::dwg
