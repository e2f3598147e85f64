#pragma once

#include "api/export.h"

namespace tarnis::v1::internal {

/// Turns an engine status into an exception; 0 returns.
/// @throws format_not_supported_error for 7, password_protected_error for 8, tarnis_error with the
///         same code for every other status of 1 to 47, tarnis_error with code 6 for all others
TARNIS_EXPORT void throw_on_error(int status);

}  // namespace tarnis::v1::internal
