#pragma once

#include <string>

#include "bufferstream/export.h"

namespace ostrel {

/// A name below the system's temporary directory that no file had a moment ago. Nothing is created.
/// @return absolute path; empty when the system has no further name to give
/// Threads: not to be called from two threads at once.
OSTREL_EXPORT std::string temporary_name();

}  // namespace ostrel
