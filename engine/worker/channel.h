#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "engine/worker/protocol.h"

namespace trfilter {

using Deadline = std::chrono::steady_clock::time_point;

/// One received frame. Its memory is used again and again.
class Frame {
 public:
  FrameHeader header;  ///< a copy, so that the sender cannot change it

  /// The payload where the sender has put it, who can change it at any time: to be copied once,
  /// before it is looked at. Until the next frame is received.
  std::string_view shared() const { return shared_; }

  /// The receiver's own copy of it.
  std::string_view payload() const {
    if (shared_.data() != nullptr) {
      copy_.assign(shared_);
      shared_ = {};
    }
    return copy_;
  }

 private:
  friend class Channel;
  mutable std::string_view shared_;  ///< null once it has been copied
  mutable std::string copy_;
};

/// One side's end of the exchange. Frames go through two rings in shared memory, one a direction;
/// each side writes to its own ring and reads the other's. A side that waits looks at the ring for
/// a moment and sleeps then, on a socket pair, from which the other side's next frame wakes it; the
/// end of the socket is the end of the other side. The greetings come first, as packets on the
/// socket.
///
/// Whatever the other side writes is taken as it may come from an attacker: each number is read
/// once, into memory of this side's own, and checked there.
class Channel {
 public:
  enum class Received { frame, nothing, closed };

  /// Takes the descriptor over.
  explicit Channel(int descriptor);
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;
  ~Channel();

  int descriptor() const { return descriptor_; }

  // The greetings; a header's length is filled in. As for frames below.
  Received send_packet(FrameHeader header, std::string_view payload, Deadline deadline);
  Received receive_packet(Frame& frame, Deadline deadline);

  /// Begins with the rings.
  /// @param own    memory that this side alone writes to: its state, and its ring behind it
  /// @param other  the other side's
  void attach(char* own, const char* other);

  /// Sends one frame; waits while the other side takes none. The header's length is filled in.
  /// @param deadline  when waiting ends; the worker's own side waits for ever; `Deadline()`: nobody
  ///                  waits
  /// @return `frame`, `nothing` after the deadline, `closed` when the other side is gone
  /// @throws EngineError code 37 when the other side has taken what was never sent
  Received send(FrameHeader header, std::string_view payload, Deadline deadline = Deadline::max());

  /// Receives one frame, and gives back the room of the one before.
  /// @throws EngineError code 37 for what is no frame
  Received receive(Frame& frame, Deadline deadline = Deadline::max());
  /// Whether a frame waits to be received.
  bool has_frame();
  /// Gives back the room of the last frame at once, when its payload has been copied.
  void give_back();

  /// How much has been sent so far, and how much of that the other side says to have taken.
  std::uint64_t sent() const { return sent_; }
  std::uint64_t taken_by_other() const;

  /// Tells the other side that so many bytes of a document lie in its place.
  void show(Place place, std::uint64_t bytes);
  /// Tells it that no more will come.
  void show_failure(Place place, Code code);
  /// Begins with the next document.
  void show_nothing(Place place);

  /// Waits until the host shows more than `bytes` of the document in a place.
  /// @return how much it shows
  /// @throws EngineError with the code that the host tells instead
  std::uint64_t await_shown(Place place, std::uint64_t bytes);

 private:
  enum class For : std::uint32_t { frame = 1, room = 2, bytes = 4 };

  /// How long waiting took of late, which tells whether to look or to sleep.
  struct Patience {
    std::chrono::nanoseconds usual{0};
  };

  template <typename Ready>
  Received wait(For what, Patience& patience, Deadline deadline, Ready ready);
  Received sleep(bool& in_call, Deadline deadline);
  void wake_other(For what);
  std::uint64_t available() const;
  Received poll(short events, Deadline deadline) const;

  int descriptor_;
  SideState* own_ = nullptr;
  const SideState* other_ = nullptr;
  char* out_ = nullptr;       ///< this side's ring
  const char* in_ = nullptr;  ///< the other's
  std::uint64_t sent_ = 0;
  std::uint64_t taken_ = 0;
  std::uint64_t held_ = 0;         ///< of the frame that was received last
  std::uint64_t other_taken_ = 0;  ///< as this side saw it last
  std::uint32_t sleeps_ = 0;       ///< of this side
  std::uint32_t woken_sleep_ = 0;  ///< of the other side, that a wake-up was sent for
  Patience for_frames_;
  Patience for_room_;
  Patience for_bytes_;
};

}  // namespace trfilter
