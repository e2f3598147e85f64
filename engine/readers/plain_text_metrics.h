#pragma once

#include <string_view>

#include "engine/core/properties.h"

namespace trfilter {

/// Adds what the header of font metrics says (Adobe Font Metrics File Format Specification, 4): the
/// font's name, its version, its notice, and when it was made.
/// @param text  the begin of the file, in UTF-8, its lines ended by line feeds
void add_font_metrics(std::string_view text, Properties& properties);

}  // namespace trfilter
