#include "engine/worker/channel.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ctime>
#include <string>

namespace trfilter {

Channel::Channel(int descriptor) : descriptor_(descriptor) {
  timeval time{};
  time.tv_usec = std::chrono::microseconds(longest_call).count();
  ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
}

Channel::~Channel() {
  ::close(descriptor_);
}

Channel::Received Channel::send(FrameHeader header, std::string_view payload, Deadline deadline) {
  header.length = static_cast<std::uint32_t>(payload.size());
  std::array<iovec, 2> parts{
      {{&header, sizeof header}, {const_cast<char*>(payload.data()), payload.size()}}};
  msghdr message{};
  message.msg_iov = parts.data();
  message.msg_iovlen = parts.size();
  while (::sendmsg(descriptor_, &message, MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
    if (errno == EINTR) continue;
    if (errno != EAGAIN) return Received::closed;
    const Received ready = wait(POLLOUT, deadline);
    if (ready != Received::frame) return ready;
  }
  return Received::frame;
}

Channel::Received Channel::receive(Frame& frame, Deadline deadline) {
  std::array<iovec, 2> parts{
      {{&frame.header, sizeof frame.header}, {frame.payload_.get(), largest_payload}}};
  msghdr message{};
  message.msg_iov = parts.data();
  message.msg_iovlen = parts.size();
  // What waits in the call itself takes one system call; it looks up after `longest_call`.
  const bool is_far =
      deadline == Deadline::max() || deadline - std::chrono::steady_clock::now() > 2 * longest_call;
  int waiting = is_far ? 0 : MSG_DONTWAIT;
  for (;;) {
    const ssize_t count = ::recvmsg(descriptor_, &message, waiting | MSG_CMSG_CLOEXEC);
    if (count == 0) return Received::closed;
    if (count > 0) {
      const auto length = static_cast<std::size_t>(count);
      // Descriptors have no place to go to: the kernel drops what no buffer takes.
      const bool whole = (message.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) == 0 &&
                         length >= sizeof frame.header &&
                         frame.header.length == length - sizeof frame.header;
      if (!whole) {
        frame.header.length = 0;
        protocol_broken("a packet of a wrong length");
      }
      return Received::frame;
    }
    // A peer that ended with frames unread resets the connection, once; what it sent comes after.
    if (errno == EINTR || errno == ECONNRESET) continue;
    if (errno != EAGAIN) return Received::closed;
    waiting = MSG_DONTWAIT;
    const Received ready = wait(POLLIN, deadline);
    if (ready != Received::frame) return ready;
  }
}

Channel::Received Channel::wait(short events, Deadline deadline) const {
  pollfd polled{descriptor_, events, 0};
  for (;;) {
    timespec rest{};
    if (deadline != Deadline::max()) {
      const auto left = deadline - std::chrono::steady_clock::now();
      if (left <= left.zero()) return Received::nothing;
      const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
      rest.tv_sec = static_cast<time_t>(seconds.count());
      rest.tv_nsec = static_cast<long>(std::chrono::nanoseconds(left - seconds).count());
    }
    const int ready = ::ppoll(&polled, 1, deadline == Deadline::max() ? nullptr : &rest, nullptr);
    if (ready > 0) return Received::frame;  // the call that waited tells a closed socket itself
    if (ready < 0 && errno != EINTR) return Received::closed;
  }
}

}  // namespace trfilter
