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

}  // namespace trfilter
