#include "engine/readers/revenge_packed.h"

#include <libmwaw/libmwaw.hxx>
#include <libstaroffice/libstaroffice.hxx>

#include <string>

#include "engine/readers/revenge_generators.h"

namespace trfilter::revenge {

void LibraryObjects::unpack(const librevenge::RVNGPropertyList& object) {
  const std::string type = property_text(object, "librevenge:mime-type");
  const librevenge::RVNGProperty* packed = object["office:binary-data"];
  if (packed == nullptr || depth_ == deepest) return;
  const bool drawing = type == "image/mwaw-odg" || type == "image/stoff-odg";
  const bool sheet = type == "image/mwaw-ods" || type == "image/stoff-ods";
  if (!drawing && !sheet) return;
  // Pages of an object are no pages of the document.
  Metadata ignored;
  const Target target{state_, story_, ignored, *this};
  const librevenge::RVNGBinaryData data(packed->getStr());
  ++depth_;
  if (drawing) {
    DrawingGenerator generator(target);
    story_.open_aside(std::nullopt);
    if (type == "image/mwaw-odg") {
      MWAWDocument::decodeGraphic(data, &generator);
    } else {
      STOFFDocument::decodeGraphic(data, &generator);
    }
    story_.close_aside();
  } else {
    // Rows are written at once, and so they stand on lines of their own.
    SpreadsheetGenerator generator(target);
    story_.sink().paragraph();
    if (type == "image/mwaw-ods") {
      MWAWDocument::decodeSpreadsheet(data, &generator);
    } else {
      STOFFDocument::decodeSpreadsheet(data, &generator);
    }
    story_.sink().paragraph();
  }
  --depth_;
}

}  // namespace trfilter::revenge
