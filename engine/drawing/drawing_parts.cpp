#include "engine/drawing/drawing_parts.h"

namespace trfilter {

void show_chart_part(OpcPackage& package, std::string_view part, TextSink& sink,
                     ChartTextHandler::Values values) {
  ChartTextHandler chart(sink, values);
  package.parse(part, chart);
  if (chart.user_shapes().empty()) return;
  const OpcRelationships relationships = package.relationships(part);
  const OpcRelationship* shapes = relationships.by_id(chart.user_shapes());
  if (shapes == nullptr || shapes->external) return;
  DrawingTextHandler drawing(sink, package.limits());
  package.parse(shapes->target, drawing);
}

void show_diagram_part(OpcPackage& package, std::string_view part, TextSink& sink) {
  DrawingTextHandler drawing(sink, package.limits());
  package.parse(part, drawing);
}

}  // namespace trfilter
