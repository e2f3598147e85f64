#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "engine/core/limits.h"
#include "engine/core/subfiles.h"

namespace trfilter::mapi {

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

  /// Gives all bytes, those in memory and those in the file.
  void copy_to(ByteOutput& output) const;

 private:
  void write_file(std::string_view bytes);

  Limits* limits_;
  std::string directory_;
  std::string memory_;  ///< what comes before the file's bytes
  int file_ = -1;
};

}  // namespace trfilter::mapi
