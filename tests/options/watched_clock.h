#pragma once

#include <chrono>
#include <cstddef>

namespace tarnis::options {

/// The monotonic clock of this program, watched: how often the engine looks at it, and how long it
/// works without a look. Work is counted in time of the processor, which other programs do not
/// change.
class WatchedClock {
 public:
  /// Begins to watch the calling thread.
  /// @param jump_at_look  from this look on the clock shows a century more; 0: never
  explicit WatchedClock(std::size_t jump_at_look = 0);
  WatchedClock(const WatchedClock&) = delete;
  WatchedClock& operator=(const WatchedClock&) = delete;
  ~WatchedClock();

  struct Watched {
    std::size_t looks = 0;
    std::chrono::nanoseconds total{0};       ///< work so far
    std::chrono::nanoseconds longest{0};     ///< work between two looks
    std::chrono::nanoseconds since_jump{0};  ///< work since the clock jumped
  };
  Watched watched() const;
};

}  // namespace tarnis::options
