#include "engine/detect/families.h"
#include "engine/detect/refinements.h"

namespace trfilter::detection {

Detection refine_zip(Content& content, Format) {
  return identify_zip(content);
}
Detection refine_compound(Content& content, Format) {
  return identify_compound(content);
}
Detection refine_pdf(Content& content, Format) {
  return identify_pdf(content, 0);
}

}  // namespace trfilter::detection
