// endurance kills COUNT [FOLDER]       filters the documents of FOLDER (default: the ones from the
//     wild beside the checkout, or samples/) in one session, again and again, while a second
//     process kills the session's worker at random moments, COUNT times. A document that was hit is
//     filtered again. Each text has to be the one that reading in process gave before.
// endurance documents COUNT            filters COUNT small documents in one session, and compares
//     the memory of both processes at the end with that after the first 1,000.
//
// Prints what it counted; the exit status tells whether anything was lost, doubled or left.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "api/tarnis.h"
#include "api/tarnis_internal.h"

namespace {

namespace fs = std::filesystem;
using namespace tarnis::v1;

/// The codes of a worker that was killed: at work, or while it started.
bool is_hit(int code) {
  return code == 28 || code == 17;
}

struct Document {
  std::string name;
  std::vector<unsigned char> bytes;
  std::size_t text_hash = 0;
  int code = 0;
};

struct Text {
  std::size_t hash = 0;
  int code = 0;
};

Text filter(const Session& session, const std::vector<unsigned char>& bytes) {
  io::InMemoryFile input(bytes);
  io::InMemoryFile output;
  Text text;
  try {
    internal::filter(session.implementation(), generic_io::Input(input),
                     generic_io::Output(output));
  } catch (const password_protected_error&) {
    text.code = 8;
  } catch (const format_not_supported_error&) {
    text.code = 7;
  } catch (const tarnis_error& error) {
    text.code = error.code();
  }
  const auto& data = output.data();
  text.hash = std::hash<std::string>()(std::string(data.begin(), data.end()));
  return text;
}

std::vector<pid_t> children_of(pid_t process) {
  std::vector<pid_t> found;
  std::error_code ended;
  for (const auto& thread :
       fs::directory_iterator("/proc/" + std::to_string(process) + "/task", ended)) {
    std::ifstream file(thread.path() / "children");
    for (pid_t child = 0; file >> child;) found.push_back(child);
  }
  return found;
}

std::size_t open_descriptors() {
  const fs::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

std::size_t entries(const fs::path& folder) {
  const fs::directory_iterator all(folder);
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

/// KiB of memory that a process shares with no other.
long private_memory(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/smaps_rollup");
  long sum = 0;
  for (std::string name; file >> name;) {
    long value = 0;
    if ((name == "Private_Clean:" || name == "Private_Dirty:") && file >> value) sum += value;
  }
  return sum;
}

/// The second process: kills the host's other child, `count` times, and ends.
[[noreturn]] void kill_workers(pid_t host, long count) {
  std::mt19937 random(20260101);
  for (long killed = 0; killed < count;) {
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 20'000));
    if (::getppid() != host) break;
    for (const pid_t child : children_of(host)) {
      if (child != ::getpid() && ::kill(child, SIGKILL) == 0) ++killed;
    }
  }
  ::_exit(0);
}

struct Folder {
  Folder() {
    std::string name = (fs::temp_directory_path() / "endurance-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) std::exit(1);
    path = name;
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { fs::remove_all(path); }
  fs::path path;
};

Session start(const Folder& temporary, bool in_process = false) {
  return {TARNIS_ENGINE_DIRECTORY, in_process,
          Configuration().timeout(60).temporary_directory(temporary.path.string())};
}

std::vector<Document> documents_of(const fs::path& folder, const Folder& temporary) {
  const Session session = start(temporary, true);
  std::vector<Document> documents;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    Document document{entry.path().filename().string(),
                      {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()}};
    const Text text = filter(session, document.bytes);
    document.text_hash = text.hash;
    document.code = text.code;
    documents.push_back(std::move(document));
  }
  return documents;
}

int endure_kills(long count, const fs::path& folder) {
  const Folder temporary;
  const auto documents = documents_of(folder, temporary);
  const pid_t host = ::getpid();
  const std::size_t descriptors = open_descriptors();
  const pid_t killer = ::fork();
  if (killer == 0) kill_workers(host, count);
  long filtered = 0;
  long hit = 0;
  long wrong = 0;
  long memory_after_first_round = 0;
  {
    const Session session = start(temporary);
    for (bool killing = true; killing;) {
      for (const Document& document : documents) {
        Text text = filter(session, document.bytes);
        while (is_hit(text.code) && !is_hit(document.code)) {
          ++hit;
          text = filter(session, document.bytes);
        }
        ++filtered;
        if (text.hash != document.text_hash || text.code != document.code) {
          ++wrong;
          std::fprintf(stderr, "%s: code %d for %d\n", document.name.c_str(), text.code,
                       document.code);
        }
      }
      if (memory_after_first_round == 0) memory_after_first_round = private_memory(host);
      killing = ::waitpid(killer, nullptr, WNOHANG) == 0;
    }
    std::printf("memory of the host: %ld KiB after the first round, %ld at the end\n",
                memory_after_first_round, private_memory(host));
  }
  const std::size_t left_descriptors = open_descriptors() - descriptors;
  const std::size_t left_files = entries(temporary.path);
  const std::size_t left_processes = children_of(host).size();
  std::printf("%ld documents filtered, %ld hit and filtered again, %ld wrong\n", filtered, hit,
              wrong);
  std::printf("left: %zu descriptors, %zu files, %zu processes\n", left_descriptors, left_files,
              left_processes);
  return wrong + static_cast<long>(left_descriptors + left_files + left_processes) == 0 ? 0 : 1;
}

int endure_documents(long count) {
  constexpr long first = 1000;
  constexpr long limit = 1024;
  const Folder temporary;
  const auto documents = documents_of(fs::path(TARNIS_SOURCE_DIRECTORY) / "samples", temporary);
  const Session session = start(temporary);
  long host = 0;
  long worker = 0;
  for (long number = 0; number < count; ++number) {
    filter(session, documents[static_cast<std::size_t>(number) % documents.size()].bytes);
    if (number + 1 == first) {
      host = private_memory(::getpid());
      worker = private_memory(children_of(::getpid()).at(0));
    }
  }
  const long host_growth = private_memory(::getpid()) - host;
  const long worker_growth = private_memory(children_of(::getpid()).at(0)) - worker;
  std::printf("after %ld documents: host %+ld KiB, worker %+ld KiB beyond %ld and %ld\n", count,
              host_growth, worker_growth, host, worker);
  return host_growth <= limit && worker_growth <= limit ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  std::cout.setstate(std::ios::failbit);  // the library's own lines
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (arguments.size() >= 2 && arguments[0] == "kills") {
    fs::path folder = fs::path(TARNIS_SOURCE_DIRECTORY) / "../shared/corpus/files";
    if (!fs::exists(folder)) folder = fs::path(TARNIS_SOURCE_DIRECTORY) / "samples";
    if (arguments.size() > 2) folder = arguments[2];
    return endure_kills(std::atol(arguments[1].c_str()), folder);
  }
  if (arguments.size() == 2 && arguments[0] == "documents") {
    return endure_documents(std::atol(arguments[1].c_str()));
  }
  std::fputs("usage: endurance kills COUNT [FOLDER] | endurance documents COUNT\n", stderr);
  return 2;
}
