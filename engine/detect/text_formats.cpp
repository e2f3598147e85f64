// Text: first by how it begins (signatures.def), then by its structure, else plain.

#include <array>

#include "engine/core/fields.h"
#include "engine/detect/families.h"
#include "engine/detect/signatures.h"
#include "engine/detect/text_kinds.h"

namespace trfilter::detection {

Detection identify_text(const TextHead& text) {
  if (const Detection detection = identify_xml(text); detection.format != Format::none) {
    return detection;
  }
  if (const Detection detection = match_text_signatures(text); detection.format != Format::none) {
    return detection;
  }
  if (const Detection detection = identify_message(text); detection.format != Format::none) {
    return detection;
  }
  if (!text.is_text()) return {};
  if (holds_html_page(text)) return found(Format::html);
  if (is_delimited(text)) return found(Format::csv);
  if (text.encoding() == TextHead::Encoding::ebcdic) return found(Format::ebcdic_text);
  return found(Format::text);
}

}  // namespace trfilter::detection
