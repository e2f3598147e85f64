#pragma once

#include <optional>
#include <string_view>

namespace trfilter {

/// A number of SpreadsheetML (xsd:unsignedInt). @return nothing when it is none
std::optional<unsigned> xlsx_unsigned(std::string_view text);

/// A number of SpreadsheetML (xsd:double). @return nothing when it is none
std::optional<double> xlsx_double(std::string_view text);

/// A truth value (xsd:boolean); what is none is false.
bool xlsx_boolean(std::string_view text);

/// The column of a cell reference such as "BC12", from 0 for A.
/// @return nothing when it names none of the 16,384 columns
std::optional<unsigned> xlsx_column(std::string_view reference);

/// A date and time of ISO 8601, e.g. "2024-02-29T12:30:00", as a serial day number from 1900.
/// @return nothing when it is none
std::optional<double> xlsx_date(std::string_view text);

}  // namespace trfilter
