#include "engine/spreadsheet/cell_values.h"

#include <algorithm>
#include <array>
#include <bit>

namespace trfilter {
namespace {

struct ErrorName {
  std::uint8_t value;
  std::string_view name;
};

constexpr std::array error_names{
    ErrorName{0x00, "#NULL!"}, ErrorName{0x07, "#DIV/0!"},       ErrorName{0x0F, "#VALUE!"},
    ErrorName{0x17, "#REF!"},  ErrorName{0x1D, "#NAME?"},        ErrorName{0x24, "#NUM!"},
    ErrorName{0x2A, "#N/A"},   ErrorName{0x2B, "#GETTING_DATA"},
};

}  // namespace

double rk_number(std::uint32_t rk) {
  constexpr std::uint32_t hundredth = 1;
  constexpr std::uint32_t integer = 2;
  double value = 0;
  if ((rk & integer) != 0) {
    value = static_cast<std::int32_t>(rk) >> 2;
  } else {
    value = std::bit_cast<double>(std::uint64_t{rk & ~3u} << 32);
  }
  return (rk & hundredth) != 0 ? value / 100 : value;
}

std::string_view error_name(std::uint8_t value) {
  const auto* found = std::ranges::find(error_names, value, &ErrorName::value);
  return found == error_names.end() ? std::string_view() : found->name;
}

}  // namespace trfilter
