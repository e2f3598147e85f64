#include "engine/worker/channel.h"

#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>

namespace trfilter {
namespace {

using std::chrono::nanoseconds;
using std::chrono::steady_clock;

// What waits in a call itself takes one system call; it looks up after this.
constexpr auto longest_call = std::chrono::milliseconds(20);

// A side that usually waits for less than this looks for the other's word before it sleeps: to be
// woken takes from 5 to 30 microseconds, the most where the system runs on a virtual processor.
constexpr nanoseconds longest_look = std::chrono::microseconds(500);

// From here on whoever else wants the processor goes first.
constexpr nanoseconds undisturbed_look = std::chrono::microseconds(20);

// Frames begin at multiples of this, so that no header crosses the ring's end.
constexpr std::uint64_t alignment = 64;

// The rest of the ring up to its end, which no frame crosses.
constexpr auto no_frame = FrameKind{};

constexpr std::uint64_t padded(std::size_t length) {
  return (sizeof(FrameHeader) + length + alignment - 1) / alignment * alignment;
}

template <typename Number>
Number load(const Number& number) {
  return __atomic_load_n(&number, __ATOMIC_ACQUIRE);
}

template <typename Number>
void store(Number& number, Number value) {
  __atomic_store_n(&number, value, __ATOMIC_RELEASE);
}

/// A packet that wakes the other side.
struct OneByte {
  char byte = 0;
  iovec part{&byte, sizeof byte};
  msghdr message{nullptr, 0, &part, 1, nullptr, 0, 0};
  OneByte() = default;
  OneByte(const OneByte&) = delete;
  OneByte& operator=(const OneByte&) = delete;
};

void pause() {
#if defined(__x86_64__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield");
#endif
}

/// The processor that runs this side, from 1 on.
std::uint32_t processor() {
  return static_cast<std::uint32_t>(::sched_getcpu() + 1);
}

}  // namespace

Channel::Channel(int descriptor) : descriptor_(descriptor) {
  timeval time{};
  time.tv_usec = std::chrono::microseconds(longest_call).count();
  ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
}

Channel::~Channel() {
  ::close(descriptor_);
}

// ---- Packets ------------------------------------------------------------------------------------

Channel::Received Channel::send_packet(FrameHeader header, std::string_view payload,
                                       Deadline deadline) {
  header.length = static_cast<std::uint32_t>(payload.size());
  std::array<iovec, 2> parts{
      {{&header, sizeof header}, {const_cast<char*>(payload.data()), payload.size()}}};
  msghdr message{};
  message.msg_iov = parts.data();
  message.msg_iovlen = parts.size();
  while (::sendmsg(descriptor_, &message, MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
    if (errno == EINTR) continue;
    if (errno != EAGAIN) return Received::closed;
    const Received ready = poll(POLLOUT, deadline);
    if (ready != Received::frame) return ready;
  }
  return Received::frame;
}

Channel::Received Channel::receive_packet(Frame& frame, Deadline deadline) {
  constexpr std::size_t largest_greeting = std::size_t{64} << 10;
  frame.shared_ = {};
  frame.copy_.resize(largest_greeting);
  std::array<iovec, 2> parts{
      {{&frame.header, sizeof frame.header}, {frame.copy_.data(), frame.copy_.size()}}};
  msghdr message{};
  message.msg_iov = parts.data();
  message.msg_iovlen = parts.size();
  for (;;) {
    const ssize_t count = ::recvmsg(descriptor_, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (count == 0) return Received::closed;
    if (count > 0) {
      const auto length = static_cast<std::size_t>(count);
      // Descriptors have no place to go to: the kernel drops what no buffer takes.
      const bool whole = (message.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) == 0 &&
                         length >= sizeof frame.header &&
                         frame.header.length == length - sizeof frame.header;
      frame.copy_.resize(whole ? frame.header.length : 0);
      if (!whole) protocol_broken("a packet of a wrong length");
      return Received::frame;
    }
    // A peer that ended with packets unread resets the connection, once; what it sent comes after.
    if (errno == EINTR || errno == ECONNRESET) continue;
    if (errno != EAGAIN) return Received::closed;
    const Received ready = poll(POLLIN, deadline);
    if (ready != Received::frame) return ready;
  }
}

Channel::Received Channel::poll(short events, Deadline deadline) const {
  pollfd polled{descriptor_, events, 0};
  for (;;) {
    timespec rest{};
    if (deadline != Deadline::max()) {
      const auto left = deadline - steady_clock::now();
      if (left <= left.zero()) return Received::nothing;
      const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
      rest.tv_sec = static_cast<time_t>(seconds.count());
      rest.tv_nsec = static_cast<long>(nanoseconds(left - seconds).count());
    }
    const int ready = ::ppoll(&polled, 1, deadline == Deadline::max() ? nullptr : &rest, nullptr);
    if (ready > 0) return Received::frame;  // the call that waited tells a closed socket itself
    if (ready < 0 && errno != EINTR) return Received::closed;
  }
}

// ---- Waiting ------------------------------------------------------------------------------------

/// Waits until `ready`, or until the other side is gone and it is not.
template <typename Ready>
Channel::Received Channel::wait(For what, Patience& patience, Deadline deadline, Ready ready) {
  if (ready()) return Received::frame;
  if (deadline == Deadline()) return Received::nothing;
  const auto begin = steady_clock::now();
  const auto end = [&](Received how) {
    const nanoseconds took = steady_clock::now() - begin;
    patience.usual += (std::min(took, 8 * longest_look) - patience.usual) / 4;
    return how;
  };
  // On the processor of the other side looking would keep that one from its work.
  const std::uint32_t here = processor();
  store(own_->processor, here);
  if (patience.usual < longest_look && load(other_->processor) != here) {
    constexpr int looks_per_clock = 16;
    nanoseconds looked{0};
    do {
      for (int look = 0; look < looks_per_clock; ++look) {
        if (ready()) return end(Received::frame);
        pause();
      }
      looked = steady_clock::now() - begin;
      if (looked > undisturbed_look) ::sched_yield();
    } while (looked < longest_look);
  }
  for (bool in_call = true;;) {
    store(own_->sleeping, ++sleeps_ << 3 | static_cast<std::uint32_t>(what));
    // Either this side sees what the other has done, or the other that this one sleeps.
    std::atomic_thread_fence(std::memory_order_seq_cst);
    const Received woken = ready() ? Received::frame : sleep(in_call, deadline);
    store(own_->sleeping, std::uint32_t{0});
    store(own_->processor, processor());
    if (ready()) return end(Received::frame);
    if (woken != Received::frame) return end(woken);
    // It may wake this side as often as it likes.
    if (deadline != Deadline::max() && steady_clock::now() >= deadline) {
      return end(Received::nothing);
    }
  }
}

/// Sleeps until the other side wakes this one, or a while.
Channel::Received Channel::sleep(bool& in_call, Deadline deadline) {
  const bool is_far =
      deadline == Deadline::max() || deadline - steady_clock::now() > 2 * longest_call;
  for (;;) {
    OneByte packet;
    const bool waits = in_call && is_far;
    in_call = false;
    const ssize_t count = ::recvmsg(descriptor_, &packet.message, waits ? 0 : MSG_DONTWAIT);
    if (count == 0) return Received::closed;
    if (count > 0) {
      in_call = true;
      return Received::frame;
    }
    if (errno == EINTR || errno == ECONNRESET) continue;
    if (errno != EAGAIN) return Received::closed;
    const Received polled = poll(POLLIN, deadline);
    if (polled != Received::frame) return polled;
  }
}

/// Wakes the other side if it sleeps until what has just been done, once a sleep.
void Channel::wake_other(For what) {
  std::atomic_thread_fence(std::memory_order_seq_cst);
  const std::uint32_t sleeping = load(other_->sleeping);
  if ((sleeping & static_cast<std::uint32_t>(what)) == 0 || sleeping == woken_sleep_) return;
  woken_sleep_ = sleeping;
  const OneByte packet;
  // A socket that takes no more holds wake-ups enough; of one that is closed the next wait tells.
  while (::sendmsg(descriptor_, &packet.message, MSG_NOSIGNAL | MSG_DONTWAIT) < 0 &&
         errno == EINTR) {
  }
}

// ---- Frames -------------------------------------------------------------------------------------

void Channel::attach(char* own, const char* other) {
  own_ = reinterpret_cast<SideState*>(own);
  other_ = reinterpret_cast<const SideState*>(other);
  out_ = own + state_size;
  in_ = other + state_size;
}

std::uint64_t Channel::taken_by_other() const {
  return load(other_->taken);
}

Channel::Received Channel::send(FrameHeader header, std::string_view payload, Deadline deadline) {
  if (payload.size() > largest_payload) {
    throw EngineError(Code::invalid_argument, "more than one frame takes");
  }
  header.length = static_cast<std::uint32_t>(payload.size());
  const std::uint64_t size = padded(payload.size());
  const std::uint64_t rest = ring_size - sent_ % ring_size;
  const std::uint64_t skipped = size > rest ? rest : 0;
  const auto has_room = [&] {
    if (ring_size - (sent_ - other_taken_) >= skipped + size) return true;
    const std::uint64_t taken = load(other_->taken);
    if (sent_ - taken > ring_size) protocol_broken("more was taken than was sent");
    other_taken_ = taken;
    return ring_size - (sent_ - other_taken_) >= skipped + size;
  };
  const Received room = wait(For::room, for_room_, deadline, has_room);
  if (room != Received::frame) return room;
  if (skipped != 0) {
    constexpr FrameHeader skip{no_frame, 0, 0, 0, 0};
    std::memcpy(out_ + sent_ % ring_size, &skip, sizeof skip);
  }
  char* const begin = out_ + (sent_ + skipped) % ring_size;
  std::memcpy(begin, &header, sizeof header);
  payload.copy(begin + sizeof header, payload.size());
  sent_ += skipped + size;
  store(own_->sent, sent_);
  wake_other(For::frame);
  return Received::frame;
}

/// Bytes of frames that wait in the other side's ring.
std::uint64_t Channel::available() const {
  const std::uint64_t bytes = load(other_->sent) - taken_;
  if (bytes > ring_size || bytes % alignment != 0) protocol_broken("a ring of a wrong length");
  return bytes;
}

bool Channel::has_frame() {
  give_back();
  return available() != 0;
}

void Channel::give_back() {
  if (held_ == 0) return;
  taken_ += std::exchange(held_, 0);
  store(own_->taken, taken_);
  wake_other(For::room);
}

Channel::Received Channel::receive(Frame& frame, Deadline deadline) {
  give_back();
  frame.shared_ = {};
  frame.copy_.clear();
  frame.header.length = 0;
  std::uint64_t bytes = 0;
  const Received received =
      wait(For::frame, for_frames_, deadline, [&] { return (bytes = available()) != 0; });
  if (received != Received::frame) return received;
  std::uint64_t at = taken_ % ring_size;
  FrameHeader header;
  std::memcpy(&header, in_ + at, sizeof header);
  if (header.kind == no_frame) {
    const std::uint64_t skipped = ring_size - at;
    if (skipped >= bytes) protocol_broken("nothing behind the ring's end");
    taken_ += skipped;
    bytes -= skipped;
    at = 0;
    std::memcpy(&header, in_, sizeof header);
  }
  const std::uint64_t size = padded(header.length);
  const bool fits = header.kind != no_frame && header.length <= largest_payload && size <= bytes &&
                    size <= ring_size - at;
  if (!fits) protocol_broken("a frame of a wrong length");
  frame.header = header;
  frame.shared_ = {in_ + at + sizeof header, header.length};
  held_ = size;
  return Received::frame;
}

// ---- A document in the window -------------------------------------------------------------------

void Channel::show_nothing(Place place) {
  Shown& shown = own_->shown[static_cast<std::size_t>(place)];
  store(shown.failure, std::int32_t{0});
  store(shown.bytes, std::uint64_t{0});
}

void Channel::show(Place place, std::uint64_t bytes) {
  store(own_->shown[static_cast<std::size_t>(place)].bytes, bytes);
  wake_other(For::bytes);
}

void Channel::show_failure(Place place, Code code) {
  store(own_->shown[static_cast<std::size_t>(place)].failure, static_cast<std::int32_t>(code));
  wake_other(For::bytes);
}

std::uint64_t Channel::await_shown(Place place, std::uint64_t bytes) {
  const Shown& told = other_->shown[static_cast<std::size_t>(place)];
  std::uint64_t shown = 0;
  std::int32_t failure = 0;
  const Received received = wait(For::bytes, for_bytes_, Deadline::max(), [&] {
    failure = load(told.failure);
    shown = load(told.bytes);
    return failure != 0 || shown > bytes;
  });
  if (shown > bytes) return shown;
  if (received == Received::frame) throw EngineError(code_of_number(failure), "no more bytes");
  throw EngineError(Code::worker_pipe_broken, "the host is gone");
}

}  // namespace trfilter
