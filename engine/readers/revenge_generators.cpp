#include "engine/readers/revenge_generators.h"

namespace trfilter::revenge {

void DrawingGenerator::startPage(const List& list) {
  guard([&] {
    metadata().count_page();
    story().title(property_text(list, "draw:name"));
  });
}

void DrawingGenerator::endPage() {
  guard([&] { story().page(); });
}

void PresentationGenerator::startSlide(const List&) {
  guard([&] { metadata().count_slide(); });
}

void PresentationGenerator::endSlide() {
  guard([&] { story().page(); });
}

void SpreadsheetGenerator::openSheetCell(const List& list) {
  guard([&] { sheet_.open_cell(list); });
  state().rethrow();
}

}  // namespace trfilter::revenge
