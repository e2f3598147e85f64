#pragma once

#include <cstdint>
#include <string_view>

namespace trfilter {

/// A number in four bytes ([MS-XLS] 2.5.217, [MS-XLSB] 2.5.123).
double rk_number(std::uint32_t rk);

/// What a cell with an error shows ([MS-XLS] 2.5.10, [MS-XLSB] 2.5.97.2).
/// @return empty for a value that is no error
std::string_view error_name(std::uint8_t value);

}  // namespace trfilter
