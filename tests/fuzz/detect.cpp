#include <cstdint>
#include <cstdlib>
#include <string>

#include "engine/detect/categories.h"
#include "engine/detect/detect.h"

// Arbitrary bytes through detection, without the fallback.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace trfilter;
  Document document = Document::from_memory(std::string(reinterpret_cast<const char*>(data), size));
  const Detection detection = detect(document, nullptr);
  // Every answer has its category, nothing has none.
  if (detection.category != category_of(detection.format)) std::abort();
  if ((detection.format == Format::none) != (detection.category == Category::none)) std::abort();
  return 0;
}
