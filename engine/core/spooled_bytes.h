#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "engine/core/limits.h"
#include "engine/core/subfiles.h"

namespace trfilter {

/// Bytes that are written once and given several times: a few in memory, many in a temporary file.
class SpooledBytes : public ByteOutput {
 public:
  static constexpr std::size_t most_in_memory = std::size_t{1} << 20;

  /// @param limits     outlives the object; what the file takes is charged as unpacked bytes
  /// @param directory  of the temporary file; empty: the system's
  SpooledBytes(Limits& limits, std::string directory)
      : limits_(&limits), directory_(std::move(directory)) {}
  SpooledBytes(const SpooledBytes&) = delete;
  SpooledBytes& operator=(const SpooledBytes&) = delete;
  ~SpooledBytes() override;

  /// @throws EngineError code 15 when there is no room for the file
  void write(std::string_view bytes) override;

  /// Bytes that have been written.
  std::uint64_t size() const { return memory_.size() + file_size_; }

  /// Copies bytes from `offset` into `out`.
  /// @return bytes copied; 0 only at the end
  /// @throws EngineError code 15 when the file cannot be read
  std::size_t read_at(std::uint64_t offset, std::span<char> out) const;

  /// Gives all bytes, those in memory and those in the file.
  void copy_to(ByteOutput& output) const;

 private:
  void write_file(std::string_view bytes);

  Limits* limits_;
  std::string directory_;
  std::string memory_;  ///< what comes before the file's bytes
  int file_ = -1;
  std::uint64_t file_size_ = 0;
};

}  // namespace trfilter
