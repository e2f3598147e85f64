#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/temporary_file.h"

namespace trfilter {

/// A workbook's table of strings: one run of bytes, in memory up to `in_memory` and behind that in
/// an unlinked temporary file, and four bytes a string.
class SharedStrings {
 public:
  static constexpr std::size_t in_memory = std::size_t{16} << 20;
  static constexpr std::uint64_t most_bytes = 0xFFFFFFFF;

  /// @param temporary_directory  empty: the system's
  explicit SharedStrings(std::string temporary_directory);
  SharedStrings(const SharedStrings&) = delete;
  SharedStrings& operator=(const SharedStrings&) = delete;

  /// Adds the next string.
  /// @throws EngineError code 4 beyond `most_bytes`, code 15 when the file cannot be written
  void add(std::string_view text);

  /// To be called once, after the last `add` and before the first `at`.
  /// @throws EngineError code 15 when the file cannot be mapped
  void finish();

  std::size_t size() const { return ends_.size(); }

  /// @param index  below `size()`
  /// @return a view that is valid as long as the table
  std::string_view at(std::size_t index) const;

 private:
  void spill();

  std::string temporary_directory_;
  std::string bytes_;  ///< those not in the file
  std::vector<std::uint32_t> ends_;
  std::optional<TemporaryFile> file_;
  std::optional<TemporaryMapping> mapped_;
};

}  // namespace trfilter
