// Times listing a container and extracting its members in order, backwards and in a random order,
// in process and out of process. usage: members DOCUMENT [COUNT], COUNT: members to extract each
// time

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <random>
#include <string>
#include <vector>

#include "api/tarnis.h"
#include "api/tarnis_internal.h"

namespace {

namespace v1 = tarnis::v1;
using Clock = std::chrono::steady_clock;

struct CountingOutput {
  unsigned long long bytes = 0;
  long write(const char* /*data*/, long count) {
    bytes += static_cast<unsigned long long>(count);
    return count;
  }
};

double milliseconds(Clock::duration time) {
  return std::chrono::duration<double, std::milli>(time).count();
}

enum class Order { forward, backward, random };

void measure(const char* path, bool in_process, Order order, long most) {
  const v1::Session session(TARNIS_ENGINE_DIRECTORY, in_process, v1::Configuration());
  v1::io::InputFile file{std::string(path)};
  const Clock::time_point begin = Clock::now();
  const v1::Container container(v1::generic_io::Input(file), *session.implementation());
  std::vector<long> indexes(static_cast<std::size_t>(container.size()));
  const Clock::time_point listed = Clock::now();
  for (std::size_t i = 0; i < indexes.size(); ++i) indexes[i] = static_cast<long>(i);
  if (order == Order::backward) std::reverse(indexes.begin(), indexes.end());
  if (order == Order::random) std::shuffle(indexes.begin(), indexes.end(), std::mt19937(1));
  indexes.resize(std::min(indexes.size(), static_cast<std::size_t>(most)));
  CountingOutput output;
  const v1::generic_io::Output out(output);
  unsigned failed = 0;
  for (const long index : indexes) {
    try {
      container.implementation()->extract(index, out);
    } catch (const std::exception&) {
      ++failed;
    }
  }
  const Clock::time_point end = Clock::now();
  constexpr const char* names[] = {"in order", "backwards", "at random"};
  std::printf("%-14s %-9s  list %ld in %.0f ms, extract %zu, %llu bytes, %u failed, in %.1f ms\n",
              in_process ? "in process" : "out of process", names[static_cast<int>(order)],
              container.size(), milliseconds(listed - begin), indexes.size(), output.bytes, failed,
              milliseconds(end - listed));
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 2 || argc > 3) return 2;
  const long most = argc == 3 ? std::atol(argv[2]) : 1'000'000'000;
  for (const bool in_process : {true, false}) {
    for (const Order order : {Order::forward, Order::backward, Order::random}) {
      measure(argv[1], in_process, order, most);
    }
  }
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  std::printf("peak of this process: %ld MiB\n", usage.ru_maxrss / 1024);
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
