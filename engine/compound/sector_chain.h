#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace trfilter {

/// Numbers that stand for no sector ([MS-CFB] 2.1): all from here on.
inline constexpr std::uint32_t last_regular_sector = 0xFFFFFFFA;
inline constexpr std::uint32_t end_of_chain = 0xFFFFFFFE;

/// What chains of sectors run through: a compound file, or the stream that holds its small streams.
class SectorSpace {
 public:
  SectorSpace() = default;
  SectorSpace(const SectorSpace&) = delete;
  SectorSpace& operator=(const SectorSpace&) = delete;
  virtual ~SectorSpace() = default;

  /// The bytes of a sector as a power of two.
  unsigned sector_shift() const { return sector_shift_; }

  /// How many sectors there are, the last perhaps cut short. No chain is longer.
  std::uint64_t sectors() const { return sectors_; }

  /// The sector that follows in its chain; `end_of_chain` behind the last and where the table is
  /// damaged.
  virtual std::uint32_t next(std::uint32_t sector) = 0;

  /// Copies bytes that lie one behind the other, from a place that counts from the begin of sector
  /// 0.
  /// @return bytes copied; fewer than asked for at the end of the space
  virtual std::size_t read_at(std::uint64_t place, std::span<char> out) = 0;

 protected:
  unsigned sector_shift_ = 0;
  std::uint64_t sectors_ = 0;
};

/// The bytes of one chain. The chain is followed as far as it is read; one that goes round in a
/// circle ends after a few rounds.
class SectorChain {
 public:
  /// @param space  outlives the object
  /// @param size   bytes of the stream, where it ends before its last sector does
  SectorChain(SectorSpace& space, std::uint32_t start, std::uint64_t size = ~std::uint64_t{0});

  /// @return bytes copied; fewer than asked for at the end of the stream or of its chain
  std::size_t read_at(std::uint64_t offset, std::span<char> out);

  /// The bytes that are there: the stream's size, or less where the chain is too short for it.
  std::uint64_t stored_size();

 private:
  /// Sectors that follow each other in the chain and in the space.
  struct Run {
    std::uint64_t index;  ///< of the first within the chain
    std::uint32_t sector;
    std::uint32_t count;
  };

  void follow_to(std::uint64_t index);
  const Run* run_of(std::uint64_t index);

  SectorSpace* space_;
  std::uint64_t size_;
  std::vector<Run> runs_;
  std::uint32_t ahead_;       ///< the first sector that is in no run yet
  std::uint64_t length_ = 0;  ///< sectors in the runs
  std::size_t last_run_ = 0;  ///< that was read from
  std::uint32_t remembered_;  ///< a sector of the chain: one that comes up again is its loop
  std::uint64_t remember_at_ = 1;
};

}  // namespace trfilter
