#pragma once

#include <string>

#include "api/export.h"

/// Conversion of FILETIME counts: 100-nanosecond ticks since 1601-01-01 00:00:00 UTC, signed.
namespace tarnis::v1::internal::time {

/// Whole seconds since 1970-01-01 00:00:00 UTC; a fraction is cut towards 1970. Any count converts.
TARNIS_EXPORT long filetime_to_epoch_seconds(long filetime);

/// The time as YYYY-MM-DDTHH:MM:SSZ, UTC in the proleptic Gregorian calendar. A year outside of 0
/// to 9999 takes the width it needs.
TARNIS_EXPORT std::string printWindowsFileTime(long filetime);

}  // namespace tarnis::v1::internal::time
