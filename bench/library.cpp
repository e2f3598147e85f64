// The library's own cost between a host and an engine, over one that answers at once: each job
// through the library, and the same calls made straight on the engine's tables with records and
// copies of the host's own. After the measurements each ratio is printed with the limit it must
// keep, and the exit status tells whether all do.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "api/tarnis.h"
#include "api/tarnis_internal.h"

namespace {

namespace v1 = tarnis::v1;
using v1::internal::SessionImplementation;

constexpr std::size_t text_bytes = std::size_t{1} << 20;
constexpr long listed = 100'000;
constexpr long extracted = 10'000;
constexpr int repetitions = 5;
constexpr double most_listed_bytes = 64 << 20;

const v1::Session& session() {
  static const v1::Session instance(TARNIS_INSTANT_ENGINE_DIRECTORY, true, v1::Configuration());
  return instance;
}

/// A document of 8 KiB, through the operations of a host's own stream.
class HostInput {
 public:
  long read(char* buffer, long count) {
    const long got = std::min(count, static_cast<long>(bytes_.size()) - position_);
    std::memcpy(buffer, bytes_.data() + position_, static_cast<std::size_t>(got));
    position_ += got;
    return got;
  }
  int seek(long offset, int) {
    position_ = offset;
    return 0;
  }
  long tell() const { return position_; }

 private:
  std::array<char, 8192> bytes_{};
  long position_ = 0;
};

/// Takes bytes into one block that it overwrites.
class HostOutput {
 public:
  long write(const char* data, long count) {
    if (filled_ + static_cast<std::size_t>(count) > block_.size()) filled_ = 0;
    std::memcpy(block_.data() + filled_, data, static_cast<std::size_t>(count));
    filled_ += static_cast<std::size_t>(count);
    return count;
  }

 private:
  std::vector<char> block_ = std::vector<char>(text_bytes);
  std::size_t filled_ = 0;
};

// What a host writes that speaks to the tables itself.

tag_InputStream input_record(HostInput& input) {
  tag_InputStream record{};
  record.user_data = &input;
  record.first = [](tag_InputStream* self) {
    static_cast<HostInput*>(self->user_data)->seek(0, SEEK_SET);
    return 1;
  };
  record.read = [](tag_InputStream* self, unsigned char* buffer, std::uint32_t count) {
    auto* host = static_cast<HostInput*>(self->user_data);
    return static_cast<std::uint32_t>(host->read(reinterpret_cast<char*>(buffer), count));
  };
  record.seek = [](tag_InputStream* self, std::int64_t offset, int whence) {
    return static_cast<HostInput*>(self->user_data)->seek(offset, whence) == 0 ? 1 : 0;
  };
  record.tell = [](tag_InputStream* self) -> std::int64_t {
    return static_cast<HostInput*>(self->user_data)->tell();
  };
  record.last = record.first;
  return record;
}

tag_OutputStream output_record(HostOutput& output) {
  tag_OutputStream record{};
  record.user_data = &output;
  record.create = [](tag_OutputStream*, const char*) { return 1; };
  record.write = [](tag_OutputStream* self, const unsigned char* bytes, std::uint32_t count) {
    auto* host = static_cast<HostOutput*>(self->user_data);
    return static_cast<std::uint32_t>(host->write(reinterpret_cast<const char*>(bytes), count));
  };
  record.seek = [](tag_OutputStream*, std::int64_t, int) { return 1; };
  record.tell = [](tag_OutputStream*) -> std::int64_t { return 0; };
  record.close = [](tag_OutputStream*) { return 1; };
  return record;
}

template <typename Function>
Function slot(int number) {
  const auto* table = session().implementation()->filter_interface();
  return reinterpret_cast<Function>(table->slots[number]);
}

void* context() {
  return session().implementation()->pFilter();
}

void require(bool holds) {
  if (!holds) std::abort();
}

/// A container opened straight on the tables.
class StraightContainer {
 public:
  StraightContainer() {
    tag_TROpenRequest request{};
    request.header = TR_HEADER_WORD(sizeof request);
    request.stream = &record_;
    require(table_.open_file(context(), &request, &handle_) == 0);
    tag_TRMainInfo* info = nullptr;
    require(table_.get_main_file_info(handle_, &info) == 0);
    count = info->subfile_count;
    table_.free_info(handle_, info);
  }
  StraightContainer(const StraightContainer&) = delete;
  StraightContainer& operator=(const StraightContainer&) = delete;
  ~StraightContainer() { table_.close_file(handle_); }

  struct Member {
    std::string name;
    std::int64_t size;
    std::int64_t time;
    bool folder;
    long parent;
    std::vector<long> children;
  };

  Member member(std::uint32_t index) const {
    tag_TRSubfileInfo* info = nullptr;
    require(table_.query_subfile_info(handle_, index, &info) == 0);
    Member member{
        info->name,   info->size,
        info->time,   info->type == TR_SUBFILE_FOLDER,
        info->parent, std::vector<long>(info->children, info->children + info->child_count)};
    table_.free_info(handle_, info);
    return member;
  }

  void extract(std::uint32_t index, HostOutput& output) const {
    tag_OutputStream record = output_record(output);
    tag_TRExtractRequest request{};
    request.header = TR_HEADER_WORD(sizeof request);
    request.index = index;
    request.output = &record;
    tag_TRExtractResult* result = nullptr;
    require(table_.extract_subfile(handle_, &request, &result) == 0);
    table_.free_info(handle_, result);
  }

  std::int32_t count = 0;

 private:
  const tag_TRExtractInterface& table_ = *session().implementation()->extract_interface();
  HostInput input_;
  tag_InputStream record_ = input_record(input_);
  void* handle_ = nullptr;
};

// The jobs, each both ways.

void DetectLibrary(benchmark::State& state) {
  HostInput host;
  const v1::generic_io::Input input(host);
  for (auto _ : state) {
    benchmark::DoNotOptimize(v1::internal::detect(session().implementation(), input));
  }
}

void DetectStraight(benchmark::State& state) {
  HostInput host;
  for (auto _ : state) {
    tag_InputStream record = input_record(host);
    DetectionResultRecord result{};
    require(slot<tr_detect_format>(TR_SLOT_DETECT_FORMAT)(context(), &record, &result) != 0);
    benchmark::DoNotOptimize(result);
  }
}

void FilterLibrary(benchmark::State& state) {
  HostInput host;
  HostOutput sink;
  const v1::generic_io::Input input(host);
  const v1::generic_io::Output output(sink);
  for (auto _ : state) v1::internal::filter(session().implementation(), input, output);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text_bytes));
}

void FilterStraight(benchmark::State& state) {
  HostInput host;
  HostOutput sink;
  for (auto _ : state) {
    tag_InputStream record = input_record(host);
    void* stream = slot<tr_open_stream>(TR_SLOT_OPEN_STREAM)(context(), &record, 0);
    require(slot<tr_prepare>(TR_SLOT_PREPARE)(context(), stream) == 0);
    while (true) {
      tag_TRChunk chunk{};
      chunk.output = output_record(sink);
      require(slot<tr_next_chunk>(TR_SLOT_NEXT_CHUNK)(context(), stream, &chunk, 0) == 0);
      if (chunk.length == 0) break;
      sink.write(reinterpret_cast<const char*>(chunk.bytes), chunk.length);
      slot<tr_release_chunk>(TR_SLOT_RELEASE_CHUNK)(context(), &chunk);
    }
    slot<tr_close_stream>(TR_SLOT_CLOSE_STREAM)(context(), stream);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text_bytes));
}

void ListLibrary(benchmark::State& state) {
  HostInput host;
  const v1::generic_io::Input input(host);
  for (auto _ : state) {
    const v1::Container container(input, *session().implementation());
    long bytes = 0;
    for (const v1::Subfile& member : container) {
      bytes += member.size() + member.time() + member.parent() + (member.is_folder() ? 1 : 0) +
               static_cast<long>(member.rawname().size() + member.children().size());
    }
    require(container.size() == listed);
    benchmark::DoNotOptimize(bytes);
  }
}

void ListStraight(benchmark::State& state) {
  for (auto _ : state) {
    const StraightContainer container;
    long bytes = 0;
    for (std::int32_t i = 0; i < container.count; ++i) {
      const StraightContainer::Member member = container.member(static_cast<std::uint32_t>(i));
      bytes += member.size + member.time + member.parent + (member.folder ? 1 : 0) +
               static_cast<long>(member.name.size() + member.children.size());
    }
    require(container.count == listed);
    benchmark::DoNotOptimize(bytes);
  }
}

void ExtractLibrary(benchmark::State& state) {
  HostInput host;
  HostOutput sink;
  const v1::generic_io::Input input(host);
  const v1::generic_io::Output output(sink);
  for (auto _ : state) {
    const v1::Container container(input, *session().implementation());
    for (long i = 0; i < extracted; ++i) {
      const v1::Subfile member = container.at(i);
      require(!member.is_folder());
      v1::internal::extract(member.implementation(), output);
    }
  }
}

void ExtractStraight(benchmark::State& state) {
  HostOutput sink;
  for (auto _ : state) {
    const StraightContainer container;
    for (std::uint32_t i = 0; i < extracted; ++i) {
      require(!container.member(i).folder);
      container.extract(i, sink);
    }
  }
}

BENCHMARK(DetectLibrary)->Repetitions(repetitions);
BENCHMARK(DetectStraight)->Repetitions(repetitions);
BENCHMARK(FilterLibrary)->Repetitions(repetitions);
BENCHMARK(FilterStraight)->Repetitions(repetitions);
BENCHMARK(ListLibrary)->Repetitions(repetitions);
BENCHMARK(ListStraight)->Repetitions(repetitions);
BENCHMARK(ExtractLibrary)->Repetitions(repetitions);
BENCHMARK(ExtractStraight)->Repetitions(repetitions);

/// Keeps the quickest run of each job.
class Quickest : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      const double time = run.GetAdjustedCPUTime();
      const auto [place, added] = times_.emplace(run.run_name.function_name, time);
      if (!added) place->second = std::min(place->second, time);
    }
    ConsoleReporter::ReportRuns(runs);
  }

  bool print_ratio(const char* what, const std::string& job, double limit) const {
    const double ratio = times_.at(job + "Library") / times_.at(job + "Straight");
    std::printf("%-48s %6.3f (at most %.2f)%s\n", what, ratio, limit, ratio <= limit ? "" : "  !");
    return ratio <= limit;
  }

 private:
  std::map<std::string, double> times_;
};

/// What the heap holds more while all members are kept with their attributes.
double bytes_of_listing() {
  HostInput host;
  const v1::generic_io::Input input(host);
  const std::size_t before = ::mallinfo2().uordblks;
  const v1::Container container(input, *session().implementation());
  std::vector<v1::Subfile> members;
  for (const v1::Subfile& member : container) {
    member.rawname();
    members.push_back(member);
  }
  return static_cast<double>(::mallinfo2().uordblks - before);
}

}  // namespace

int main(int argc, char** argv) {
  const double bytes = bytes_of_listing();
  benchmark::Initialize(&argc, argv);
  Quickest reporter;
  if (benchmark::RunSpecifiedBenchmarks(&reporter) < 8) return 2;
  bool kept = reporter.print_ratio("detection", "Detect", 1.5);
  kept &= reporter.print_ratio("filtering 1 MiB in chunks of 64 KiB", "Filter", 1.05);
  kept &= reporter.print_ratio("listing 100,000 members with attributes", "List", 1.5);
  kept &= reporter.print_ratio("extracting 10,000 members", "Extract", 1.5);
  std::printf("%-48s %6.1f MiB (at most 64)\n", "100,000 members kept with attributes",
              bytes / (1 << 20));
  return kept && bytes <= most_listed_bytes ? 0 : 1;
}
