#pragma once

#include <exception>
#include <utility>

#include "engine/core/engine_error.h"
#include "engine/core/limits.h"

namespace trfilter::revenge {

/// What the streams and the generators of one document share. The libraries read a document in one
/// go, and some of them catch whatever is thrown: so a failure is kept, and from then on the
/// streams are at their ends and events are dropped, until the library comes back.
class ParseState {
 public:
  explicit ParseState(Limits& limits) : limits_(&limits) {}
  ParseState(const ParseState&) = delete;
  ParseState& operator=(const ParseState&) = delete;

  Limits& limits() { return *limits_; }

  /// Whether reading is over.
  bool ended() const { return failure_ != nullptr; }

  /// Keeps the first failure.
  void fail(std::exception_ptr failure) {
    if (failure_ == nullptr) failure_ = std::move(failure);
  }
  void rethrow() const {
    if (failure_ != nullptr) std::rethrow_exception(failure_);
  }

  /// What lay in the document was not complete, or not what it should be.
  void note_damage() { damaged_ = true; }
  bool damaged() const { return damaged_; }

  /// Runs `function` unless reading is over; what it throws ends the reading.
  template <typename Function>
  void guard(Function&& function) noexcept {
    if (ended()) return;
    try {
      limits_->check_time();
      function();
    } catch (...) {
      fail(std::current_exception());
    }
  }

 private:
  Limits* limits_;
  std::exception_ptr failure_;
  bool damaged_ = false;
};

}  // namespace trfilter::revenge
