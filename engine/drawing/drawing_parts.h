#pragma once

#include <string_view>

#include "engine/core/text_sink.h"
#include "engine/drawing/drawing_text.h"
#include "engine/opc/opc_package.h"

namespace trfilter {

/// Shows a chart part and the shapes that lie over the chart; nothing when there is no such part.
void show_chart_part(OpcPackage& package, std::string_view part, TextSink& sink,
                     ChartTextHandler::Values values);

/// Shows the text of a diagram's data part (ECMA-376 part 1, clause 21.4); nothing when there is
/// none.
void show_diagram_part(OpcPackage& package, std::string_view part, TextSink& sink);

}  // namespace trfilter
