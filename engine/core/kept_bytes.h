#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "engine/core/temporary_file.h"

namespace trfilter {

/// Bytes that are written once, in order, and read anywhere and several times: a few in memory,
/// many in a temporary file.
class KeptBytes {
 public:
  static constexpr std::size_t most_in_memory = std::size_t{1} << 20;

  /// @param directory  of the temporary file; empty: the system's
  explicit KeptBytes(std::string directory) : directory_(std::move(directory)) {}

  std::uint64_t size() const { return size_; }

  /// Whether there is, or with `bytes` more will be, a file.
  bool needs_file(std::size_t bytes) const {
    return file_.has_value() || bytes > most_in_memory - memory_.size();
  }

  /// @throws EngineError code 15 when there is no room for the file; what was there stays
  void append(std::string_view bytes);

  /// Copies bytes from `offset` into `out`.
  /// @return bytes copied; less than asked for only at the end
  /// @throws EngineError code 15 when the file cannot be read
  std::size_t read_at(std::uint64_t offset, std::span<char> out) const;

 private:
  std::string directory_;
  std::string memory_;  ///< what comes before the file's bytes
  std::optional<TemporaryFile> file_;
  std::uint64_t size_ = 0;
};

}  // namespace trfilter
