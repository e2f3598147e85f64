#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string_view>

#include "engine/worker/protocol.h"

namespace trfilter {

using Deadline = std::chrono::steady_clock::time_point;

/// One received frame. Its memory is used again and again.
class Frame {
 public:
  Frame() : payload_(std::make_unique_for_overwrite<char[]>(largest_payload)) {}

  FrameHeader header;
  std::string_view payload() const { return {payload_.get(), header.length}; }

 private:
  friend class Channel;
  std::unique_ptr<char[]> payload_;
};

/// One end of the socket pair.
class Channel {
 public:
  enum class Received { frame, nothing, closed };

  /// Takes the descriptor over.
  explicit Channel(int descriptor);
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;
  ~Channel();

  int descriptor() const { return descriptor_; }

  /// Sends one frame; waits while the other side does not read. The header's length is filled in.
  /// @param deadline  when waiting ends; the worker's own side waits for ever
  /// @return `frame`, `nothing` after the deadline, `closed` when the other side is gone
  Received send(FrameHeader header, std::string_view payload, Deadline deadline = Deadline::max());

  /// Receives one frame.
  /// @throws EngineError code 37 for a packet whose length is not what its header says
  Received receive(Frame& frame, Deadline deadline = Deadline::max());

 private:
  static constexpr auto longest_call = std::chrono::milliseconds(20);

  Received wait(short events, Deadline deadline) const;

  int descriptor_;
};

}  // namespace trfilter
