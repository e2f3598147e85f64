#pragma once

#include <new>

#include "engine/core/engine_error.h"

namespace trfilter {

/// The engine code of the exception that is being handled. The one place where exceptions become
/// codes.
inline Code code_of_current_exception() noexcept {
  try {
    throw;
  } catch (const EngineError& error) {
    return error.code();
  } catch (const std::bad_alloc&) {
    return Code::out_of_memory;
  } catch (...) {
    return Code::general;  // a library's own exception, or one of the host's callbacks
  }
}

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
