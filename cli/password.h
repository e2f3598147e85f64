#pragma once

#include <string>

namespace tarnis::cli {

/// Reads a password from an open file descriptor, up to its first line feed or its end.
/// @throws Failure with `ExitStatus::usage` when it cannot be read
std::string password_from_descriptor(int descriptor);

/// Asks for a password on the terminal, without showing it.
/// @throws Failure with `ExitStatus::usage` when there is no terminal
std::string password_from_terminal();

}  // namespace tarnis::cli
