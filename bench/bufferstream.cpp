// The buffer stream against its peers: std::string and std::stringstream in memory, plain write and
// read in a file. After the measurements each ratio is printed with the limit it must keep, and the
// exit status tells whether all do.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "bufferstream/CBufferStream.h"

namespace {

using ostrel::CBufferStream;

constexpr size_t kKiB = 1024;
constexpr size_t kMiB = 1024 * kKiB;
constexpr size_t kInMemory = 4 * kMiB;  // below the default swap size
constexpr size_t kSpilled = 64 * kMiB;
constexpr size_t kPiece = 64 * kKiB;

const std::string& Bytes() {
  static const std::string bytes(16 * kMiB, 'x');
  return bytes;
}

void Count(benchmark::State& state, size_t bytes) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

size_t Size(const benchmark::State& state) {
  return static_cast<size_t>(state.range(0));
}

/// A file that is gone when it is closed, on the file system of the temporary files.
int ScratchFile() {
  char name[] = "/tmp/bench-XXXXXX";
  const int file = ::mkstemp(name);
  if (file < 0) std::abort();
  ::unlink(name);
  return file;
}

void WriteAll(int file, const char* data, size_t n) {
  while (n != 0) {
    const ssize_t written = ::write(file, data, n);
    if (written <= 0) std::abort();
    data += written;
    n -= static_cast<size_t>(written);
  }
}

void AppendStream(benchmark::State& state) {
  const size_t n = Size(state);
  for (auto _ : state) {
    CBufferStream stream(true);
    ostrel::IBufferStream* interface = &stream;
    benchmark::DoNotOptimize(interface);  // called as a host calls it, through its slots
    for (size_t done = 0; done < kInMemory; done += n) interface->IFPushBack(Bytes().data(), n);
    benchmark::DoNotOptimize(interface->IFConstPtr());
  }
  Count(state, kInMemory);
}

void AppendString(benchmark::State& state) {
  const size_t n = Size(state);
  for (auto _ : state) {
    std::string string;
    for (size_t done = 0; done < kInMemory; done += n) string.append(Bytes().data(), n);
    benchmark::DoNotOptimize(string.data());
  }
  Count(state, kInMemory);
}

void AppendStringStream(benchmark::State& state) {
  const size_t n = Size(state);
  for (auto _ : state) {
    std::stringstream stream;
    for (size_t done = 0; done < kInMemory; done += n) {
      stream.write(Bytes().data(), static_cast<std::streamsize>(n));
    }
    benchmark::DoNotOptimize(stream.good());
  }
  Count(state, kInMemory);
}

void ReadStream(benchmark::State& state) {
  CBufferStream stream(Bytes().data(), kInMemory, false);
  std::string piece(kPiece, '\0');
  for (auto _ : state) {
    stream.IFSeekg(0, 0);
    while (stream.IFRead(piece.data(), kPiece) != 0) benchmark::DoNotOptimize(piece.data());
  }
  Count(state, kInMemory);
}

void ReadMemcpy(benchmark::State& state) {
  const std::string source = Bytes().substr(0, kInMemory);
  std::string piece(kPiece, '\0');
  for (auto _ : state) {
    for (size_t at = 0; at < kInMemory; at += kPiece) {
      std::memcpy(piece.data(), source.data() + at, kPiece);
      benchmark::DoNotOptimize(piece.data());
    }
  }
  Count(state, kInMemory);
}

/// A queue that holds `range(0)` KiB: 4 KiB in behind, 4 KiB out in front.
void Queue(benchmark::State& state) {
  constexpr size_t n = 4 * kKiB;
  CBufferStream stream(true, 16 * kMiB);
  for (size_t held = 0; held < Size(state) * kKiB; held += n) stream.IFPushBack(Bytes().data(), n);
  for (auto _ : state) {
    stream.IFPushBack(Bytes().data(), n);
    stream.IFPopFront(n);
  }
  Count(state, n);
}

void AppendSpilled(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    auto stream = std::make_unique<CBufferStream>(false);
    state.ResumeTiming();
    for (size_t done = 0; done < kSpilled; done += kPiece) {
      stream->IFPushBack(Bytes().data(), kPiece);
    }
    state.PauseTiming();
    stream.reset();
    state.ResumeTiming();
  }
  Count(state, kSpilled);
}

void AppendFile(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    const int file = ScratchFile();
    state.ResumeTiming();
    for (size_t done = 0; done < kSpilled; done += kPiece) WriteAll(file, Bytes().data(), kPiece);
    state.PauseTiming();
    ::close(file);
    state.ResumeTiming();
  }
  Count(state, kSpilled);
}

void ReadSpilled(benchmark::State& state) {
  CBufferStream stream(false);
  for (size_t done = 0; done < kSpilled; done += kPiece) stream.IFPushBack(Bytes().data(), kPiece);
  std::string piece(kPiece, '\0');
  for (auto _ : state) {
    stream.IFSeekg(0, 0);
    while (stream.IFRead(piece.data(), kPiece) != 0) benchmark::DoNotOptimize(piece.data());
  }
  Count(state, kSpilled);
}

void ReadFile(benchmark::State& state) {
  const int file = ScratchFile();
  for (size_t done = 0; done < kSpilled; done += kPiece) WriteAll(file, Bytes().data(), kPiece);
  std::string piece(kPiece, '\0');
  for (auto _ : state) {
    ::lseek(file, 0, SEEK_SET);
    while (::read(file, piece.data(), kPiece) > 0) benchmark::DoNotOptimize(piece.data());
  }
  ::close(file);
  Count(state, kSpilled);
}

void Spill(benchmark::State& state) {
  const size_t n = 5 * kMiB;
  for (auto _ : state) {
    state.PauseTiming();
    auto stream = std::make_unique<CBufferStream>(Bytes().data(), n, false);
    state.ResumeTiming();
    if (!stream->IFSwapToFile()) std::abort();
    state.PauseTiming();
    stream.reset();
    state.ResumeTiming();
  }
  Count(state, n);
}

void SpillFile(benchmark::State& state) {
  const size_t n = 5 * kMiB;
  for (auto _ : state) {
    const int file = ScratchFile();
    WriteAll(file, Bytes().data(), n);
    state.PauseTiming();
    ::close(file);
    state.ResumeTiming();
  }
  Count(state, n);
}

BENCHMARK(AppendStream)->Arg(16)->Arg(256)->Arg(4096)->Arg(65536);
BENCHMARK(AppendString)->Arg(16)->Arg(256)->Arg(4096)->Arg(65536);
BENCHMARK(AppendStringStream)->Arg(16)->Arg(256)->Arg(4096)->Arg(65536);
BENCHMARK(ReadStream);
BENCHMARK(ReadMemcpy);
BENCHMARK(Queue)->Arg(64)->Arg(512)->Arg(4096)->Arg(65536);  // the last one lives in a file
BENCHMARK(AppendSpilled)->Unit(benchmark::kMillisecond);
BENCHMARK(AppendFile)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadSpilled)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadFile)->Unit(benchmark::kMillisecond);
BENCHMARK(Spill)->Unit(benchmark::kMillisecond)->Iterations(50);
BENCHMARK(SpillFile)->Unit(benchmark::kMillisecond)->Iterations(50);

/// Keeps the best time of every benchmark, in seconds of the processor an iteration: what others do
/// on the machine only ever makes one slower. Nothing here waits for anything but the processor.
class Times : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.iterations == 0) continue;
      std::string name = run.run_name.function_name;
      if (!run.run_name.args.empty()) name += "/" + run.run_name.args;
      const double time = run.cpu_accumulated_time / static_cast<double>(run.iterations);
      const auto [place, first] = times_.emplace(name, time);
      if (!first) place->second = std::min(place->second, time);
    }
  }
  /// @return 0 when it was not run
  double operator[](const std::string& name) const {
    const auto place = times_.find(name);
    return place == times_.end() ? 0 : place->second;
  }

 private:
  std::map<std::string, double> times_;
};

bool all_kept = true;

void Report(const std::string& what, double value, const char* unit, bool at_least, double limit) {
  const bool kept = at_least ? value >= limit : value <= limit;
  all_kept = all_kept && kept;
  std::printf("%-58s %8.2f %s (%s %.2f) %s\n", what.c_str(), value, unit,
              at_least ? "at least" : "at most", limit, kept ? "kept" : "MISSED");
}

/// Speed of ours in terms of theirs.
void ReportSpeed(const Times& times, const std::string& what, const std::string& ours,
                 const std::string& theirs, double limit) {
  if (times[ours] == 0 || times[theirs] == 0) return;
  Report(what, times[theirs] / times[ours], "x", true, limit);
}

/// Private memory of the process, in MiB.
double PrivateMemory() {
  std::ifstream status("/proc/self/smaps_rollup");
  std::string line;
  double kib = 0;
  while (std::getline(status, line)) {
    if (line.rfind("Private_", 0) == 0)
      kib += std::strtod(line.c_str() + line.find(':') + 1, nullptr);
  }
  return kib / 1024;
}

void ReportMemory() {
  ::malloc_trim(0);
  const double before = PrivateMemory();
  CBufferStream stream(true);
  for (size_t done = 0; done < 1024 * kMiB; done += 4 * kKiB) {
    stream.IFPushBack(Bytes().data(), 4 * kKiB);
  }
  if (stream.IFLength() != 1024 * kMiB) std::abort();
  Report("private memory of a stream grown to 1 GiB", PrivateMemory() - before, "MiB", false, 16);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  Bytes();
  Times times;
  const size_t run = benchmark::RunSpecifiedBenchmarks(&times);
  std::printf("\n");
  for (const std::string size : {"16", "256", "4096", "65536"}) {
    ReportSpeed(times, "append of " + size + " B, std::string::append", "AppendStream/" + size,
                "AppendString/" + size, 0.8);
    ReportSpeed(times, "append of " + size + " B, std::stringstream", "AppendStream/" + size,
                "AppendStringStream/" + size, 1.0);
  }
  ReportSpeed(times, "IFRead of 64 KiB, memcpy", "ReadStream", "ReadMemcpy", 0.9);
  ReportSpeed(times, "spilled append of 64 KiB, write", "AppendSpilled", "AppendFile", 0.8);
  ReportSpeed(times, "spilled read of 64 KiB, read", "ReadSpilled", "ReadFile", 0.8);
  double cheapest = 0;
  double dearest = 0;
  for (const std::string held : {"64", "512", "4096", "65536"}) {
    const double time = times["Queue/" + held];
    if (time == 0) continue;
    std::printf("queue of 4 KiB pieces that holds %5s KiB: %.3f ns a byte\n", held.c_str(),
                time * 1e9 / 4096);
    cheapest = cheapest == 0 ? time : std::min(cheapest, time);
    dearest = std::max(dearest, time);
  }
  if (dearest != 0) {
    // Caches alone make a queue of 4 MiB dearer than one of 64 KiB; a cost that grew with the
    // length would make it 64 times as dear, and one of 64 MiB 1024 times.
    Report("queue: the dearest length, the cheapest", dearest / cheapest, "x", false, 16);
  }
  if (times["Spill"] != 0) {
    Report("spill of 5 MiB, less the writing of 5 MiB", (times["Spill"] - times["SpillFile"]) * 1e3,
           "ms", false, 1);
  }
  if (run > 20) ReportMemory();
  return all_kept ? 0 : 1;
}
