// What reading out of process costs, beside reading the same document in process, in one run: the
// ratio of throughputs for documents of 1 KB to 20 MB, the time that a tiny document takes more,
// and the time that the first document after a worker's death takes. In and out of process take
// turns, so that a busy machine is as busy for both.

#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "api/tarnis.h"
#include "api/tarnis_internal.h"

namespace {

namespace fs = std::filesystem;
using namespace tarnis::v1;
using Clock = std::chrono::steady_clock;
using Bytes = std::vector<unsigned char>;

double microseconds_since(Clock::time_point begin) {
  return std::chrono::duration<double, std::micro>(Clock::now() - begin).count();
}

struct Counting {
  long bytes = 0;
  long write(const char*, long count) {
    bytes += count;
    return count;
  }
};

double time_of(const Session& session, const Bytes& document) {
  io::InMemoryFile input(document);
  Counting output;
  const Clock::time_point begin = Clock::now();
  internal::filter(session.implementation(), generic_io::Input(input), generic_io::Output(output));
  return microseconds_since(begin);
}

double median(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

struct Medians {
  double inside;
  double outside;
};

Medians compare(const Session& inside, const Session& outside, const Bytes& document, int rounds) {
  std::vector<double> in;
  std::vector<double> out;
  for (int warm = 0; warm < 3; ++warm) {
    time_of(inside, document);
    time_of(outside, document);
  }
  for (int round = 0; round < rounds; ++round) {
    in.push_back(time_of(inside, document));
    out.push_back(time_of(outside, document));
  }
  return {*std::min_element(in.begin(), in.end()), *std::min_element(out.begin(), out.end())};
}

std::string words(std::size_t size) {
  static const char* const list[] = {"garden", "ledger", "window", "river",  "market",
                                     "engine", "letter", "season", "number", "paper"};
  std::mt19937 random(20260101);
  std::string text;
  while (text.size() < size) {
    text += list[random() % std::size(list)];
    text += random() % 12 == 0 ? ".\n" : " ";
  }
  text.resize(size);
  return text;
}

/// A web page of about `size` bytes: paragraphs, emphasis, a table now and then.
std::string page(std::size_t size) {
  std::string html = "<!DOCTYPE html><html><head><title>Page</title></head><body>\n";
  const std::string source = words(std::size_t{64} << 10);
  for (std::size_t row = 0; html.size() + 20 < size; ++row) {
    const std::size_t at = row * 160 % (source.size() - 160);
    html += "<p>" + source.substr(at, 120) + "<b>" + source.substr(at + 120, 40) + "</b></p>\n";
    if (row % 10 == 0) html += "<table><tr><td>a</td><td>b</td></tr></table>\n";
  }
  return html + "</body></html>\n";
}

Bytes bytes_of(const std::string& text) {
  return {text.begin(), text.end()};
}

Bytes sample(const char* name) {
  std::ifstream file(fs::path(TARNIS_SOURCE_DIRECTORY) / "samples" / name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

pid_t worker() {
  for (const auto& thread : fs::directory_iterator("/proc/self/task")) {
    std::ifstream file(thread.path() / "children");
    pid_t child = 0;
    if (file >> child) return child;
  }
  return 0;
}

}  // namespace

int main() {
  std::cout.setstate(std::ios::failbit);  // the library's own lines
  const Session inside(TARNIS_ENGINE_DIRECTORY, true, Configuration());
  const Session outside(TARNIS_ENGINE_DIRECTORY, false, Configuration());

  struct Size {
    const char* name;
    std::size_t bytes;
    int rounds;
  };
  constexpr Size sizes[] = {{"1 KB", 1 << 10, 401},
                            {"50 KB", 50 << 10, 201},
                            {"1 MB", 1 << 20, 51},
                            {"20 MB", 20 << 20, 9}};
  std::printf("%-24s %12s %12s %8s\n", "document", "inside, us", "outside, us", "ratio");
  const auto line = [](const std::string& name, const Medians& medians) {
    std::printf("%-24s %12.0f %12.0f %8.2f\n", name.c_str(), medians.inside, medians.outside,
                medians.inside / medians.outside);
  };
  for (const Size& size : sizes) {
    line(std::string("HTML, ") + size.name,
         compare(inside, outside, bytes_of(page(size.bytes)), size.rounds));
  }
  for (const Size& size : sizes) {
    line(std::string("plain text, ") + size.name,
         compare(inside, outside, bytes_of(words(size.bytes)), size.rounds));
  }
  for (const char* name : {"letter.docx", "sheet.xlsx", "columns.pdf"}) {
    line(name, compare(inside, outside, sample(name), 201));
  }

  const Medians tiny = compare(inside, outside, bytes_of("Tiny.\n"), 1001);
  std::printf("a tiny document takes %.0f us more (limit 200)\n", tiny.outside - tiny.inside);

  std::vector<double> replacements;
  for (int round = 0; round < 51; ++round) {
    const pid_t killed = worker();
    ::kill(killed, SIGKILL);
    siginfo_t end{};
    ::waitid(P_PID, static_cast<id_t>(killed), &end, WEXITED | WNOWAIT);
    replacements.push_back(time_of(outside, bytes_of("Tiny.\n")) / 1000);
  }
  std::printf("the first document after a worker's death takes %.1f ms (limit 10)\n",
              median(replacements));
  return 0;
}
