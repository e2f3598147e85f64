#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace trfilter {

/// Counts what all temporary files of the process take together, against a bound. Threads may share
/// it.
class TemporarySpace {
 public:
  static constexpr std::uint64_t default_bound = std::uint64_t{16} << 30;

  constexpr explicit TemporarySpace(std::uint64_t bound = default_bound) : bound_(bound) {}
  TemporarySpace(const TemporarySpace&) = delete;
  TemporarySpace& operator=(const TemporarySpace&) = delete;

  /// The count that this program or module adds its files to. Each has its own until `share`.
  static TemporarySpace& of_process();

  /// Makes `space` the one of this program or module. Files that are open stay with theirs.
  static void share(TemporarySpace& space);

  /// @throws EngineError code 15 beyond the bound; then nothing is added
  void take(std::uint64_t bytes);
  void give_back(std::uint64_t bytes) { used_ -= bytes; }

  std::uint64_t used() const { return used_; }
  void set_bound(std::uint64_t bytes) { bound_ = bytes; }

 private:
  std::atomic<std::uint64_t> used_ = 0;
  std::atomic<std::uint64_t> bound_;
};

/// A file without a name, for reading and writing, that goes with the object. All of a process
/// share one bound.
class TemporaryFile {
 public:
  /// @param directory  where it takes its space; empty: the system's directory for temporary files
  /// @throws EngineError code 15
  explicit TemporaryFile(const std::string& directory,
                         TemporarySpace& space = TemporarySpace::of_process());
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile();

  /// Bytes from the begin to the end of what has been written.
  std::uint64_t size() const { return size_; }

  /// Writes all of `bytes` at the end.
  /// @throws EngineError code 15 when there is no room; what had been written before stays
  void append(std::string_view bytes) { write_at(size_, bytes); }

  /// Writes all of `bytes` from `offset`, behind the end, too: between are zeros, and they count.
  /// @throws EngineError as `append`
  void write_at(std::uint64_t offset, std::string_view bytes);

  /// Copies bytes from `offset` into `out`.
  /// @return bytes copied; less than asked for only at the end
  /// @throws EngineError code 15 when the file cannot be read
  std::size_t read_at(std::uint64_t offset, std::span<char> out) const;

 private:
  friend class TemporaryMapping;

  TemporarySpace* space_;
  int descriptor_;
  std::uint64_t size_ = 0;
};

/// All bytes of a temporary file in memory, for reading. The file outlives it, and is not written
/// meanwhile.
class TemporaryMapping {
 public:
  /// @throws EngineError code 15
  explicit TemporaryMapping(const TemporaryFile& file);
  TemporaryMapping(const TemporaryMapping&) = delete;
  TemporaryMapping& operator=(const TemporaryMapping&) = delete;
  ~TemporaryMapping();

  std::string_view bytes() const { return {static_cast<const char*>(address_), size_}; }

 private:
  void* address_ = nullptr;
  std::size_t size_;
};

}  // namespace trfilter
