#include "cli/result_place.h"

#include <unistd.h>

#include <string>
#include <system_error>
#include <utility>

#include "cli/exit_status.h"

namespace tarnis::cli {
namespace {

namespace fs = std::filesystem;

/// Moves to a place that may be on another file system; `to` is complete from the moment it exists.
void move_whole(const fs::path& from, const fs::path& to) {
  std::error_code error;
  fs::rename(from, to, error);
  if (!error) return;
  if (error != std::errc::cross_device_link)
    throw fs::filesystem_error("cannot move", from, to, error);
  fs::path part = to;
  part += ".part-" + std::to_string(::getpid());
  try {
    fs::copy(from, part, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    fs::rename(part, to);
  } catch (...) {
    fs::remove_all(part, error);
    throw;
  }
  fs::remove_all(from);
}

}  // namespace

ResultPlace::ResultPlace(std::string directory) : directory_(std::move(directory)) {}

fs::path ResultPlace::keep(const fs::path& result, const std::string& document,
                           const std::string& suffix) {
  if (temporary()) return result;
  const std::string name =
      document == "-" ? "standard-input" : fs::path(document).filename().string();
  fs::path place = directory_ / (name + suffix);
  for (int number = 2; kept_.contains(place); ++number) {
    place =
        directory_ / std::string(name).append("-").append(std::to_string(number)).append(suffix);
  }
  try {
    fs::create_directories(directory_);
    if (fs::is_directory(place)) {
      throw Failure(ExitStatus::other, place.string() + " is there already");
    }
    move_whole(result, place);
  } catch (const fs::filesystem_error& error) {
    throw Failure(ExitStatus::other, error.what());
  }
  kept_.insert(place);
  return place;
}

}  // namespace tarnis::cli
