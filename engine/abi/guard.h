#pragma once

#include "engine/core/engine_error.h"
#include "engine/opening/error_code.h"

namespace trfilter {

/// Runs one engine call; whatever it throws becomes the status.
template <typename Function>
int guarded(Function function) noexcept {
  try {
    function();
    return static_cast<int>(Code::success);
  } catch (...) {
    return static_cast<int>(code_of_current_exception());
  }
}

}  // namespace trfilter
