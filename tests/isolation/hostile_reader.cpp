#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <new>
#include <sstream>
#include <string>
#include <thread>

#include "engine/core/reader.h"

// A reader that does what a document's author would want of a reader that he has taken over. It
// takes the place of the reader for plain text in an engine of the tests' own. A document says what
// to do, when, and with what: "hostile <when> <deed> [argument]". Where the deed leaves the process
// alive, the text is what came of it; any other document is given as it is.

namespace trfilter {
namespace {

constexpr int worker_socket = 3;

std::string outcome(bool done) {
  return done ? "done" : "denied: " + std::string(std::strerror(errno));
}

std::string write_file(const std::string& path) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (file < 0) return outcome(false);
  return outcome(::write(file, "x", 1) == 1);
}

[[noreturn]] void stall() {
  for (;;) asm volatile("");
}

std::string grow() {
  for (;;) {
    constexpr std::size_t step = std::size_t{16} << 20;
    char* block = new char[step];
    for (std::size_t at = 0; at < step; at += 4096) block[at] = 1;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    asm volatile("" : : "r"(block) : "memory");
  }
}

void run_out_of_memory() {
  throw std::bad_alloc();
}

std::string fork_process() {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  if (child > 0) ::waitpid(child, nullptr, 0);
  return outcome(child > 0);
}

std::string connect_tcp() {
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (socket < 0) return outcome(false);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(9);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  // Refused by the peer would be as bad as accepted: the network was reached.
  const bool reached =
      ::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 ||
      errno == ECONNREFUSED;
  return outcome(reached);
}

std::string connect_local(const std::string& path) {
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (socket < 0) return outcome(false);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return outcome(::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0);
}

std::string execute(const std::string& marker) {
  const std::string command = "touch " + marker;
  ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
  return outcome(false);
}

/// Writes until the system has had enough, or 64 MiB are there.
std::string fill(const std::string& directory) {
  const std::string block(std::size_t{1} << 20, 'x');
  for (int number = 0; number < 64; ++number) {
    const std::string path = directory + "/full-" + std::to_string(number);
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT, 0600);
    if (file < 0 || ::write(file, block.data(), block.size()) < 0) return outcome(false);
    ::close(file);
  }
  return "done";
}

std::string flood() {
  const std::string line(4096, 'l');
  for (int turn = 0; turn < 1000; ++turn) {
    for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
      [[maybe_unused]] const ssize_t ignored = ::write(descriptor, line.data(), line.size());
    }
  }
  return "done";
}

using Deed = std::function<std::string(const std::string& argument, const Options& options)>;

const std::map<std::string, Deed>& deeds() {
  using Argument = const std::string&;
  using Settings = const Options&;
  static const std::map<std::string, Deed> table = {
      {"stall", [](Argument, Settings) -> std::string { stall(); }},
      {"sleep",
       [](Argument, Settings) -> std::string {
         for (;;) ::usleep(100'000);
       }},
      {"segv",
       [](Argument, Settings) -> std::string {
         ::signal(SIGSEGV, SIG_DFL);
         ::raise(SIGSEGV);
         return "alive";
       }},
      {"abort", [](Argument, Settings) -> std::string { std::abort(); }},
      {"kill",
       [](Argument, Settings) -> std::string {
         ::kill(::getpid(), SIGKILL);
         return "alive";
       }},
      {"exit", [](Argument, Settings) -> std::string { ::_exit(7); }},
      {"leave", [](Argument, Settings) -> std::string { ::_exit(0); }},
      {"grow", [](Argument, Settings) { return grow(); }},
      {"terminate-for-memory",
       [](Argument, Settings) -> std::string {
         [&]() noexcept { run_out_of_memory(); }();
         return "alive";
       }},
      {"fork", [](Argument, Settings) { return fork_process(); }},
      {"exec", [](Argument path, Settings) { return execute(path); }},
      {"read",
       [](Argument path, Settings) { return outcome(::open(path.c_str(), O_RDONLY) >= 0); }},
      {"write", [](Argument path, Settings) { return write_file(path); }},
      {"remove", [](Argument path, Settings) { return outcome(::unlink(path.c_str()) == 0); }},
      {"write-temporary",
       [](Argument, Settings options) {
         return write_file(options.temporary_directory + "/mine");
       }},
      {"connect-tcp", [](Argument, Settings) { return connect_tcp(); }},
      {"connect-local", [](Argument path, Settings) { return connect_local(path); }},
      {"trace",
       [](Argument, Settings) {
         return outcome(::ptrace(PTRACE_ATTACH, ::getppid(), nullptr, nullptr) == 0);
       }},
      {"kill-host", [](Argument, Settings) { return outcome(::kill(::getppid(), SIGTERM) == 0); }},
      {"thread",
       [](Argument, Settings) {
         std::string text;
         std::thread([&] { text = "done"; }).join();
         return text;
       }},
      {"fill", [](Argument, Settings options) { return fill(options.temporary_directory); }},
      {"flood", [](Argument, Settings) { return flood(); }},
      {"close-socket",
       [](Argument, Settings) -> std::string {
         ::close(worker_socket);
         for (;;) ::usleep(100'000);
       }},
  };
  return table;
}

/// Three members: one that is well, one whose extraction does the deed, one that is long.
class HostileMembers : public Subfiles {
 public:
  explicit HostileMembers(std::function<std::string(const std::string&)> act)
      : act_(std::move(act)) {}

  std::size_t count() const override { return 3; }

  Subfile describe(std::size_t index) override {
    Subfile subfile;
    subfile.name = index == 0 ? "well" : index == 1 ? "deed" : "long";
    subfile.size = 4;
    const std::string lie = act_("describe");
    if (lie == "parent") subfile.parent = 99;
    if (lie == "children") subfile.children = {1, 2, 3};
    return subfile;
  }

  Extraction extract(std::size_t index, ByteOutput& output, bool) override {
    if (index == 0) output.write("well");
    if (index == 1) {
      output.write("before ");
      output.write(act_("extract"));
    }
    if (index == 2) {
      const std::string block(std::size_t{1} << 20, 'l');
      for (int turn = 0; turn < 64; ++turn) output.write(block);
    }
    return {};
  }

  void mail_fields(std::size_t, Properties& fields) override {
    fields.add("Subject", act_("mail"));
  }

 private:
  std::function<std::string(const std::string&)> act_;
};

class HostileReader : public Reader {
 public:
  explicit HostileReader(const ReaderContext& context)
      : document_(&context.document), options_(&context.options) {
    std::string head(context.document.head(4096));
    std::istringstream words(head.substr(0, head.find('\n')));
    std::string hostile;
    words >> hostile >> when_ >> deed_ >> argument_;
    if (hostile != "hostile") when_ = "never";
    act("open");
  }

  bool step(TextSink& sink) override {
    if (when_ == "never") return copy(sink);
    if (when_ == "later" && steps_ < 4) {
      sink.text(std::string(TextSink::chunk_size, static_cast<char>('a' + steps_++)));
      return true;
    }
    sink.text(act(when_ == "later" ? "later" : "text"));
    sink.paragraph();
    return false;
  }

  void properties(Properties& properties) override { properties.add("outcome", act("properties")); }

  std::unique_ptr<Subfiles> subfiles() override {
    act("members");
    return std::make_unique<HostileMembers>([this](const std::string& when) { return act(when); });
  }

 private:
  std::string act(const std::string& when) {
    if (when != when_) return "quiet";
    const auto deed = deeds().find(deed_);
    return deed == deeds().end() ? deed_ : deed->second(argument_, *options_);
  }

  bool copy(TextSink& sink) {
    std::array<char, 65536> block{};
    const std::size_t count = document_->read_at(offset_, block);
    sink.text({block.data(), count});
    offset_ += count;
    return count > 0;
  }

  Document* document_;
  const Options* options_;
  std::string when_;
  std::string deed_;
  std::string argument_;
  int steps_ = 0;
  std::uint64_t offset_ = 0;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(plain_text, trfilter::HostileReader)
