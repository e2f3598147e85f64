#include "engine/detect/categories.h"

#include <cstddef>
#include <iterator>

namespace trfilter {
namespace {

constexpr Category categories[] = {
    Category::none,
#define FORMAT(number, name, category) Category::category,
#include "engine/core/formats.def"
#undef FORMAT
};

// The rows are looked up by their position.
constexpr bool numbers_are_positions() {
  std::size_t position = 0;
#define FORMAT(number, name, category) \
  if (++position != (number)) return false;
#include "engine/core/formats.def"
#undef FORMAT
  return position + 1 == std::size(categories);
}
static_assert(numbers_are_positions());

}  // namespace

Category category_of(Format format) {
  if (host_number(format) == 0 && format != Format::none) return Category::encapsulation;
  const auto number = static_cast<std::size_t>(format);
  return number < std::size(categories) ? categories[number] : Category::none;
}

}  // namespace trfilter
