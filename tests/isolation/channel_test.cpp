#include "engine/worker/channel.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>

// Two ends of the exchange over memory of the test's own.

namespace trfilter {
namespace {

struct Side {
  alignas(64) char bytes[state_size + ring_size] = {};
  SideState& state() { return *reinterpret_cast<SideState*>(bytes); }
};

class ChannelTest : public testing::Test {
 protected:
  ChannelTest() {
    int sockets[2] = {-1, -1};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, sockets), 0);
    host_.emplace(sockets[0]);
    worker_.emplace(sockets[1]);
    host_->attach(window_->bytes, outlet_->bytes);
    worker_->attach(outlet_->bytes, window_->bytes);
  }

  static Deadline soon() {
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
  }

  std::unique_ptr<Side> window_ = std::make_unique<Side>();
  std::unique_ptr<Side> outlet_ = std::make_unique<Side>();
  std::optional<Channel> host_;
  std::optional<Channel> worker_;
};

TEST_F(ChannelTest, GivesEveryFrameInItsOrderAroundTheEndOfTheRing) {
  constexpr int frames = 3000;
  const auto payload_of_frame = [](std::mt19937& random) {
    const std::size_t length =
        random() % 8 == 0 ? random() % (largest_payload + 1) : random() % 300;
    return std::string(length, static_cast<char>(random()));
  };
  std::thread sending([&] {
    std::mt19937 random(20260101);
    for (int number = 0; number < frames; ++number) {
      FrameHeader header;
      header.kind = FrameKind::data;
      header.request = static_cast<std::uint64_t>(number);
      EXPECT_EQ(worker_->send(header, payload_of_frame(random)), Channel::Received::frame);
    }
  });
  std::mt19937 random(20260101);
  Frame frame;
  for (int number = 0; number < frames; ++number) {
    ASSERT_EQ(host_->receive(frame), Channel::Received::frame);
    EXPECT_EQ(frame.header.request, static_cast<std::uint64_t>(number));
    EXPECT_TRUE(frame.payload() == payload_of_frame(random)) << number;
  }
  sending.join();
}

TEST_F(ChannelTest, EndsWaitingAtTheDeadlineAndWhenTheOtherSideIsGone) {
  Frame frame;
  EXPECT_EQ(host_->receive(frame, soon()), Channel::Received::nothing);
  EXPECT_EQ(host_->receive(frame, Deadline()), Channel::Received::nothing);
  const FrameHeader header{FrameKind::data, 1, 1, 0, 0};
  EXPECT_EQ(worker_->send(header, "last"), Channel::Received::frame);
  worker_.reset();
  EXPECT_EQ(host_->receive(frame), Channel::Received::frame);
  EXPECT_EQ(frame.payload(), "last");
  EXPECT_EQ(host_->receive(frame), Channel::Received::closed);
}

TEST_F(ChannelTest, SendsNoMoreThanTheRingHolds) {
  const FrameHeader header{FrameKind::data, 1, 1, 0, 0};
  const std::string payload(largest_payload, 'x');
  int sent = 0;
  while (host_->send(header, payload, soon()) == Channel::Received::frame) ++sent;
  EXPECT_EQ(sent, 3);
  EXPECT_THROW(host_->send(header, payload + "x", soon()), EngineError);
}

TEST_F(ChannelTest, BelievesNoSideThatHasTakenWhatWasNeverSent) {
  const FrameHeader header{FrameKind::data, 1, 1, 0, 0};
  const std::string payload(largest_payload, 'x');
  while (host_->send(header, payload, soon()) == Channel::Received::frame) {
  }
  outlet_->state().taken = host_->sent() + 64;
  EXPECT_THROW(host_->send(header, payload, soon()), EngineError);
}

TEST_F(ChannelTest, ShowsADocumentInItsOwnPlaceAlone) {
  host_->show_nothing(Place::kept);
  host_->show(Place::kept, 100);
  host_->show_nothing(Place::copied);
  host_->show_failure(Place::copied, Code::open_stream_failed);
  EXPECT_EQ(worker_->await_shown(Place::kept, 99), 100U);
  try {
    worker_->await_shown(Place::copied, 0);
    ADD_FAILURE() << "there are no bytes";
  } catch (const EngineError& error) {
    EXPECT_EQ(error.code(), Code::open_stream_failed);
  }
}

/// Whatever the other side's memory holds, a frame lies within the ring, or is refused.
TEST_F(ChannelTest, TakesNoFrameFromOutsideOfTheRing) {
  std::mt19937 random(20260101);
  for (int round = 0; round < 20000; ++round) {
    Channel host(::dup(host_->descriptor()));
    host.attach(window_->bytes, outlet_->bytes);
    SideState& state = outlet_->state();
    state.sent = random() % 4 == 0 ? random() : random() % 64 * 64;
    for (int word = 0; word < 16; ++word) {
      const auto value = static_cast<std::uint32_t>(random() % 3 == 0 ? random() : random() % 200);
      const std::size_t at = state_size + random() % 64 * 64 + random() % 6 * 4;
      std::char_traits<char>::copy(outlet_->bytes + at, reinterpret_cast<const char*>(&value), 4);
    }
    Frame frame;
    try {
      while (host.receive(frame, Deadline()) == Channel::Received::frame) {
        const char* const begin = frame.shared().data();
        EXPECT_GE(begin, outlet_->bytes + state_size);
        EXPECT_LE(begin + frame.shared().size(), outlet_->bytes + sizeof outlet_->bytes);
        EXPECT_EQ(frame.payload().size(), frame.header.length);
      }
    } catch (const EngineError& error) {
      EXPECT_EQ(error.code(), Code::worker_pipe_broken);
    }
  }
}

}  // namespace
}  // namespace trfilter
