#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "engine/core/kept_bytes.h"
#include "engine/core/limits.h"
#include "engine/core/subfiles.h"

namespace trfilter {

/// Bytes that are written once and given several times, as `KeptBytes`; what a document's data make
/// of it counts as unpacked bytes.
class SpooledBytes : public ByteOutput {
 public:
  /// @param limits     outlives the object; what the file takes is charged as unpacked bytes
  /// @param directory  of the temporary file; empty: the system's
  SpooledBytes(Limits& limits, std::string directory)
      : limits_(&limits), bytes_(std::move(directory)) {}

  /// @throws EngineError code 15 when there is no room for the file
  void write(std::string_view bytes) override;

  /// Bytes that have been written.
  std::uint64_t size() const { return bytes_.size(); }

  /// As `KeptBytes::read_at`.
  std::size_t read_at(std::uint64_t offset, std::span<char> out) const {
    return bytes_.read_at(offset, out);
  }

  /// Gives all bytes, those in memory and those in the file.
  void copy_to(ByteOutput& output) const;

 private:
  Limits* limits_;
  KeptBytes bytes_;
};

}  // namespace trfilter
