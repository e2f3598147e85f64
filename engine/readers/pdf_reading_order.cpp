#include "engine/readers/pdf_reading_order.h"

#include <numeric>

namespace trfilter::pdf {

std::vector<std::uint32_t> reading_order(const PageText& page, PdfReading reading) {
  std::vector<std::uint32_t> order(page.segments().size());
  std::iota(order.begin(), order.end(), 0U);
  (void)reading;
  return order;
}

}  // namespace trfilter::pdf
