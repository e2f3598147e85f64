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

constexpr Category unnumbered_categories[] = {
#define FORMAT(number, name, category) Category::category,
#include "engine/core/unnumbered_formats.def"
#undef FORMAT
};

// The rows are looked up by their position.
constexpr bool numbers_are_positions() {
  std::size_t unnumbered = first_unnumbered;
#define FORMAT(number, name, category) \
  if (unnumbered++ != (number)) return false;
#include "engine/core/unnumbered_formats.def"
#undef FORMAT
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
  const auto number = static_cast<std::size_t>(format);
  if (number >= first_unnumbered) {
    const std::size_t row = number - first_unnumbered;
    return row < std::size(unnumbered_categories) ? unnumbered_categories[row] : Category::none;
  }
  return number < std::size(categories) ? categories[number] : Category::none;
}

}  // namespace trfilter
