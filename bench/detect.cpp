// How long detection takes through the library, from bytes that are in memory already. Each
// document is detected several times and its quickest run counts; of all documents the median and
// the 90th percentile are printed, and the exit status tells whether the median keeps its limit.
//
// detect [folder...]   default: samples/, and the documents from the wild beside the checkout

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "api/tarnis.h"
#include "api/tarnis_internal.h"

namespace {

namespace files = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr double limit_microseconds = 50;
constexpr int runs = 5;

struct Timing {
  double microseconds;
  std::string name;
};

std::vector<unsigned char> bytes_of(const files::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

double quickest(const tarnis::v1::Session& session, const files::path& path) {
  tarnis::v1::io::InMemoryFile file(bytes_of(path));
  const tarnis::v1::generic_io::Input input(file);
  double best = 1e9;
  for (int run = 0; run < runs; ++run) {
    const Clock::time_point begin = Clock::now();
    try {
      tarnis::v1::internal::detect(session.implementation(), input);
    } catch (const tarnis::v1::tarnis_error&) {
      // A document that is of no known format takes its time too.
    }
    const std::chrono::duration<double, std::micro> time = Clock::now() - begin;
    best = std::min(best, time.count());
  }
  return best;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> folders(argv + 1, argv + argc);
  if (folders.empty()) {
    folders = {TARNIS_SOURCE_DIRECTORY "/samples",
               TARNIS_SOURCE_DIRECTORY "/../shared/corpus/files"};
  }
  tarnis::v1::Configuration configuration;
  const tarnis::v1::Session session(TARNIS_ENGINE_DIRECTORY, true, configuration);
  std::vector<Timing> timings;
  for (const std::string& folder : folders) {
    if (!files::is_directory(folder)) continue;
    for (const auto& entry : files::directory_iterator(folder)) {
      if (!entry.is_regular_file()) continue;
      timings.push_back({quickest(session, entry.path()), entry.path().filename().string()});
    }
  }
  if (timings.empty()) {
    std::fprintf(stderr, "no documents\n");
    return 2;
  }
  std::sort(timings.begin(), timings.end(),
            [](const Timing& a, const Timing& b) { return a.microseconds < b.microseconds; });
  const double median = timings[timings.size() / 2].microseconds;
  std::printf(
      "%zu documents: median %.1f us (limit %.0f us), 90th percentile %.1f us, longest %.1f us "
      "(%s)\n",
      timings.size(), median, limit_microseconds, timings[timings.size() * 9 / 10].microseconds,
      timings.back().microseconds, timings.back().name.c_str());
  return median <= limit_microseconds ? 0 : 1;
}
