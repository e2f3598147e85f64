#pragma once

#include <string>
#include <string_view>

#include "engine/core/limits.h"
#include "engine/core/properties.h"

namespace trfilter {

/// What a format does to the texts that its producers write wrong.
using XmpRepair = std::string (*)(std::string text);

/// Adds what an XMP packet (ISO 16684-1) states about the document: Dublin Core, the basic and the
/// PDF schema. Damage ends the packet early.
void add_xmp_properties(std::string_view packet, Limits& limits, Properties& properties,
                        XmpRepair repair = nullptr);

}  // namespace trfilter
