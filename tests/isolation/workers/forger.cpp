#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <thread>

#include "engine/worker/channel.h"

// A worker that has been taken over: it writes to the rings, the state and the socket what its
// host must not believe. A document says what, "forge <deed>"; any other document is given as it
// is.

namespace {

using namespace trfilter;

constexpr std::string_view not_utf8 = "valid, and \xFF\xFE not";

class Forger {
 public:
  Forger()
      : channel_(worker_socket),
        window_(static_cast<char*>(
            ::mmap(nullptr, window_size, PROT_READ, MAP_SHARED, worker_window, 0))),
        outlet_(static_cast<char*>(
            ::mmap(nullptr, outlet_size, PROT_READ | PROT_WRITE, MAP_SHARED, worker_outlet, 0))),
        state_(reinterpret_cast<SideState*>(outlet_)) {}

  int run() {
    Frame frame;
    if (channel_.receive_packet(frame, Deadline::max()) != Channel::Received::frame) return 0;
    channel_.attach(outlet_, window_);
    Greeting reply;
    reply.signature = Greeting::worker_signature;
    reply.version = Greeting::current_version;
    FrameHeader header;
    header.kind = FrameKind::hello;
    channel_.send_packet(header, payload_of(reply), Deadline::max());
    while (channel_.receive(frame) == Channel::Received::frame) {
      request_ = frame.header;
      if (request_.kind == FrameKind::open) open(value_of<OpenRequest>(frame.payload()));
      if (request_.kind == FrameKind::text) act("text");
      if (request_.kind == FrameKind::properties) act("properties");
    }
    return 0;
  }

 private:
  void open(const OpenRequest& request) {
    channel_.await_shown(request.place, request.size - 1);
    document_.assign(window_ + place_offset(request.place), static_cast<std::size_t>(request.size));
    std::istringstream words(document_.substr(0, document_.find('\n')));
    std::string forge;
    deed_.clear();
    words >> forge >> deed_;
    if (forge != "forge") deed_.clear();
    if (request.purpose == Purpose::properties) {
      done(OpenedReply{Format::text, 0, "", false, 0});
      return;
    }
    act("open");
  }

  void act(const std::string& when) {
    const auto deed = deeds().find(when + "-" + deed_);
    if (deed != deeds().end()) {
      deed->second(*this);
    } else if (when == "open") {
      done(OpenedReply{Format::text, 0, document_, true, 0});
    }
  }

  FrameHeader header(FrameKind kind) const {
    FrameHeader header;
    header.kind = kind;
    header.request = request_.request;
    header.document = request_.document;
    return header;
  }
  template <typename Value>
  void done(const Value& value) {
    channel_.send(header(FrameKind::done), payload_of(value));
  }
  void data(std::string_view text) { channel_.send(header(FrameKind::data), text); }
  void failed(std::int32_t code) {
    FieldWriter payload;
    payload.number(code);
    channel_.send(header(FrameKind::failed), payload.bytes());
  }
  void well() { done(OpenedReply{Format::text, 0, "well", true, 0}); }

  /// A frame of which the host is told as if it had `told` bytes in the ring.
  void raw(const FrameHeader& header, std::uint64_t told) {
    std::memcpy(outlet_ + state_size + channel_.sent() % ring_size, &header, sizeof header);
    std::atomic_ref(state_->sent).store(channel_.sent() + told);
    wake();
  }
  void wake() {
    for (int turn = 0; turn < 3; ++turn) {
      [[maybe_unused]] const ssize_t sent = ::write(worker_socket, "w", 1);
      ::usleep(1000);
    }
  }

  /// Sends text while a second thread writes `one` and `other` over it in turns.
  void change_while_read(std::size_t offset, std::string_view one, std::string_view other) {
    char* const place = outlet_ + state_size + channel_.sent() % ring_size + offset;
    std::atomic<bool> over{false};
    std::thread changing([&] {
      while (!over) {
        std::memcpy(place, one.data(), one.size());
        std::atomic_thread_fence(std::memory_order_seq_cst);
        std::memcpy(place, other.data(), other.size());
        std::atomic_thread_fence(std::memory_order_seq_cst);
      }
      std::memcpy(place, one.data(), one.size());
    });
    data(std::string(largest_text_piece, 'x'));
    ::usleep(300);
    over = true;
    changing.join();
    done(OpenedReply{Format::text, 0, "", true, 0});
  }

  using Deed = std::function<void(Forger&)>;

  static const std::map<std::string, Deed>& deeds() {
    static const std::map<std::string, Deed> table = {
        {"open-length",
         [](Forger& f) {
           FrameHeader header = f.header(FrameKind::done);
           header.length = 1U << 30;
           f.raw(header, 64);
         }},
        {"open-length-of-all-ones",
         [](Forger& f) {
           FrameHeader header = f.header(FrameKind::done);
           header.length = 0xFFFFFFFF;
           f.raw(header, 64);
         }},
        {"open-length-beyond-what-was-sent",
         [](Forger& f) {
           FrameHeader header = f.header(FrameKind::data);
           header.length = 4096;
           f.raw(header, 64);
         }},
        {"open-half-a-header", [](Forger& f) { f.raw(f.header(FrameKind::done), 8); }},
        {"open-ring-too-long", [](Forger& f) { f.raw(f.header(FrameKind::data), ring_size + 64); }},
        {"open-ring-backwards",
         [](Forger& f) { f.raw(f.header(FrameKind::data), std::uint64_t{0} - 64); }},
        {"open-nothing-behind-the-end", [](Forger& f) { f.raw(FrameHeader{}, 64); }},
        {"open-end-twice",
         [](Forger& f) {
           std::memset(f.outlet_ + state_size, 0, ring_size);
           f.raw(FrameHeader{}, ring_size);
         }},
        {"open-kind",
         [](Forger& f) { f.channel_.send(f.header(static_cast<FrameKind>(4711)), ""); }},
        {"open-request",
         [](Forger& f) {
           ++f.request_.request;
           f.well();
         }},
        {"open-another-document",
         [](Forger& f) {
           ++f.request_.document;
           f.well();
         }},
        {"open-code-of-none", [](Forger& f) { f.failed(0); }},
        {"open-code-too-large", [](Forger& f) { f.failed(48); }},
        {"open-need",
         [](Forger& f) {
           f.channel_.send(f.header(FrameKind::need), payload_of(BlockRequest{~0ULL, ~0U}));
         }},
        {"open-needs-without-end",
         [](Forger& f) {
           const std::string payload = payload_of(BlockRequest{0, 1 << 20});
           Frame ignored;
           for (;;) {
             if (f.channel_.send(f.header(FrameKind::need), payload) != Channel::Received::frame) {
               return;
             }
             f.channel_.receive(ignored, Deadline());
           }
         }},
        {"open-wakes-without-end",
         [](Forger&) {
           while (::write(worker_socket, "w", 1) > 0) {
           }
         }},
        {"open-text-that-is-no-utf-8", [](Forger& f) { f.data(not_utf8); }},
        {"open-short-text-that-is-no-utf-8",
         [](Forger& f) {
           f.done(OpenedReply{Format::text, 0, std::string(not_utf8), true, 0});
         }},
        {"open-empty-text", [](Forger& f) { f.data(""); }},
        {"open-text-without-end",
         [](Forger& f) {
           const std::string text(largest_text_piece, 'x');
           while (f.channel_.send(f.header(FrameKind::data), text) == Channel::Received::frame) {
           }
         }},
        {"open-text-count-overflows",
         [](Forger& f) {
           FieldWriter payload;
           payload.number(std::uint32_t{2});
           payload.number(std::uint64_t{0});
           payload.number(~std::uint64_t{0} - 7);
           f.channel_.send(f.header(FrameKind::done), payload.bytes());
         }},
        {"open-members-overflow",
         [](Forger& f) {
           f.done(OpenedReply{Format::text, ~0ULL, "well", true, 0});
         }},
        {"open-format",
         [](Forger& f) {
           FieldWriter payload;
           payload.number(std::uint32_t{4711});
           f.channel_.send(f.header(FrameKind::done), payload.bytes());
         }},
        {"open-error-that-ends-nothing",
         [](Forger& f) {
           f.done(OpenedReply{Format::text, 0, "well", false, 4});
         }},
        {"open-changing-text",
         [](Forger& f) { f.change_while_read(1024, "xxxx", "\xFF\xFF\xFF\xFF"); }},
        {"open-changing-length",
         [](Forger& f) {
           f.change_while_read(16, std::string_view("\0\x80\0\0", 4), "\xFF\xFF\xFF\x7F");
         }},
        {"open-more-after-the-end",
         [](Forger& f) {
           f.well();
           f.data("more");
           ++f.request_.request;
           f.data("more");
         }},
        {"open-answers-twice",
         [](Forger& f) {
           f.well();
           f.well();
         }},
        {"open-taken-what-was-never-sent",
         [](Forger& f) {
           std::atomic_ref(f.state_->taken).store(~std::uint64_t{0});
           f.well();
         }},
        {"open-text-after-the-end",
         [](Forger& f) {
           f.done(OpenedReply{Format::text, 0, "", false, 0});
         }},
        {"text-text-after-the-end",
         [](Forger& f) {
           f.data("well");
           f.done(TextEnd{true});
           f.data("more");
           f.done(TextEnd{false});
         }},
        {"open-text-for-an-answer-of-another",
         [](Forger& f) {
           f.done(OpenedReply{Format::text, 0, "", false, 0});
         }},
        {"text-text-for-an-answer-of-another", [](Forger& f) { f.done(Detection{}); }},
        {"properties-count-overflows",
         [](Forger& f) {
           FieldWriter payload;
           payload.number(std::uint64_t{1} << 63);
           f.channel_.send(f.header(FrameKind::done), payload.bytes());
         }},
        {"properties-without-end",
         [](Forger& f) {
           const std::string part(largest_payload, 'x');
           while (f.channel_.send(f.header(FrameKind::data), part) == Channel::Received::frame) {
           }
         }},
    };
    return table;
  }

  Channel channel_;
  char* window_;
  char* outlet_;
  SideState* state_;
  FrameHeader request_;
  std::string document_;
  std::string deed_;
};

}  // namespace

int main() {
  ::signal(SIGPIPE, SIG_IGN);
  return Forger().run();
}
