#pragma once

#include <string_view>
#include <vector>

#include "engine/spreadsheet/number_format.h"

namespace trfilter {

/// Takes a format code apart at its semicolons and each section into tokens.
std::vector<FormatSection> parse_number_format(std::string_view code);

bool is_digit_placeholder(FormatToken::Kind kind);

/// Appends a serial day number by a section of kind date.
/// @param value  not negative, and of the calendar where the section shows one
void append_date(std::string& out, const FormatSection& section, double value, DateSystem dates);

/// Whether the calendar's years 1900 to 9999 have the day.
bool is_calendar_day(double value, DateSystem dates);

}  // namespace trfilter
