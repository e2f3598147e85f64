#include "engine/worker/worker_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <filesystem>
#include <system_error>

namespace trfilter {
namespace {

// A log ends here; what is more is not written.
constexpr off_t largest_log = off_t{64} << 20;

std::string now_in_utc() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  tm parts{};
  ::gmtime_r(&now.tv_sec, &parts);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  std::string milliseconds = std::to_string(1000 + now.tv_nsec / 1'000'000);
  milliseconds[0] = '.';
  return text.data() + milliseconds + "Z";
}

}  // namespace

WorkerLog::~WorkerLog() {
  close();
}

void WorkerLog::set(const Options& options) {
  memory_ = options.worker_memory_log;
  const bool wanted = options.worker_log || options.worker_memory_log;
  if (!wanted || options.temporary_directory != directory_) close();
  if (!wanted || file_ >= 0) return;
  directory_ = options.temporary_directory;
  std::error_code ignored;
  std::string name =
      (directory_.empty() ? std::filesystem::temp_directory_path(ignored).string() : directory_) +
      "/trfilter-" + std::to_string(::getpid()) + "-XXXXXX.log";
  file_ = ::mkostemps(name.data(), 4, O_CLOEXEC | O_APPEND);
}

void WorkerLog::worker_started(pid_t worker) {
  write("worker-start pid=" + std::to_string(worker));
}

void WorkerLog::worker_ready(pid_t worker, std::string_view lacks) {
  write("worker-ready pid=" + std::to_string(worker) +
        " lacks=" + std::string(lacks.empty() ? "none" : lacks));
}

void WorkerLog::document_ended(std::uint64_t number, std::string_view job, Format format, int code,
                               std::chrono::steady_clock::duration time,
                               std::uint32_t peak_memory) {
  using std::chrono::microseconds;
  std::string event = "document number=" + std::to_string(number) + " job=" + std::string(job) +
                      " format=" + std::to_string(static_cast<std::uint32_t>(format)) +
                      " outcome=" + std::to_string(code) + " microseconds=" +
                      std::to_string(std::chrono::duration_cast<microseconds>(time).count());
  if (memory_) event += " peak-kib=" + std::to_string(peak_memory);
  write(event);
}

void WorkerLog::write(const std::string& event) {
  if (file_ < 0 || ::lseek(file_, 0, SEEK_END) > largest_log) return;
  const std::string line = now_in_utc() + " " + event + "\n";
  // A log that cannot be written stays behind; the document goes on.
  [[maybe_unused]] const ssize_t written = ::write(file_, line.data(), line.size());
}

void WorkerLog::close() {
  if (file_ >= 0) ::close(file_);
  file_ = -1;
}

}  // namespace trfilter
