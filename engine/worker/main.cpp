#include <malloc.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <filesystem>
#include <new>
#include <string>
#include <string_view>

#include "engine/opening/local_opener.h"
#include "engine/worker/channel.h"
#include "engine/worker/lockdown.h"
#include "engine/worker/sandbox_test.h"
#include "engine/worker/service.h"

// The worker: a process that reads documents for a host that does not trust them. Locks itself down
// before anything of a document reaches it.

namespace {

using namespace trfilter;

/// Memory that one document has given back is the next one's: asking the system for it again, page
/// by page, would take longer than reading a document of a megabyte.
void keep_memory() {
  constexpr int kept = 32 << 20;
  ::mallopt(M_TRIM_THRESHOLD, kept);
  ::mallopt(M_MMAP_THRESHOLD, kept / 4);
}

/// For what ends the process from within a library: the host learns that memory was the reason.
[[noreturn]] void end_with_reason() {
  try {
    if (std::current_exception()) throw;
  } catch (const std::bad_alloc&) {
    ::_exit(static_cast<int>(WorkerExit::out_of_memory));
  } catch (...) {
  }
  std::abort();
}

std::string join(const std::vector<std::string>& names) {
  std::string all;
  for (const std::string& name : names) all += (all.empty() ? "" : ",") + name;
  return all;
}

int serve() {
  Channel channel(worker_socket);
  Frame frame;
  if (channel.receive_packet(frame, Deadline::max()) != Channel::Received::frame) return 0;
  const auto greeting = value_of<Greeting>(frame.payload());
  if (greeting.signature != Greeting::host_signature ||
      greeting.version != Greeting::current_version) {
    return static_cast<int>(WorkerExit::wrong_host);
  }
  void* window = ::mmap(nullptr, window_size, PROT_READ, MAP_SHARED, worker_window, 0);
  void* outlet = ::mmap(nullptr, outlet_size, PROT_READ | PROT_WRITE, MAP_SHARED, worker_outlet, 0);
  if (window == MAP_FAILED || outlet == MAP_FAILED) {
    return static_cast<int>(WorkerExit::out_of_memory);
  }
  ::close(worker_window);
  ::close(worker_outlet);

  Reach reach;
  reach.engine_directory = std::filesystem::canonical("/proc/self/exe").parent_path().string();
  reach.temporary_directory = greeting.text;
  reach.host = ::getppid();
  Greeting reply;
  reply.signature = Greeting::worker_signature;
  reply.version = Greeting::current_version;
  reply.text = join(lock_down(reach));
  FrameHeader header;
  header.kind = FrameKind::hello;
  channel.attach(static_cast<char*>(outlet), static_cast<const char*>(window));
  channel.send_packet(header, payload_of(reply), Deadline::max());

  LocalOpener opener(reach.engine_directory);
  Service(channel, static_cast<const char*>(window), opener, reach.temporary_directory).run();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::string_view(argv[1]) == "--sandbox-test") return sandbox_test();
  std::signal(SIGXFSZ, SIG_IGN);  // a file that is too large is an error of its write
  std::set_terminate(end_with_reason);
  keep_memory();
  int status = 0;
  try {
    status = serve();
  } catch (const EngineError&) {
    status = static_cast<int>(WorkerExit::wrong_host);  // the first frame is not one of ours
  }
  // Nothing to tidy up: the system takes all, and quicker.
  ::_exit(status);
}
