#include "engine/compound/sector_chain.h"

#include <algorithm>

namespace trfilter {

SectorChain::SectorChain(SectorSpace& space, std::uint32_t start, std::uint64_t size)
    : space_(&space), size_(size), ahead_(start), remembered_(end_of_chain) {}

std::size_t SectorChain::read_at(std::uint64_t offset, std::span<char> out) {
  if (offset >= size_) return 0;
  out = out.first(static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), size_ - offset)));
  const unsigned shift = space_->sector_shift();
  const std::uint64_t mask = (std::uint64_t{1} << shift) - 1;
  std::size_t filled = 0;
  while (filled < out.size()) {
    const std::uint64_t at = offset + filled;
    follow_to((offset + out.size() - 1) >> shift);
    const Run* const run = run_of(at >> shift);
    if (run == nullptr) break;
    const std::uint64_t within = (((at >> shift) - run->index) << shift) + (at & mask);
    const std::uint64_t left = (std::uint64_t{run->count} << shift) - within;
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(out.size() - filled, left));
    const std::size_t got =
        space_->read_at((std::uint64_t{run->sector} << shift) + within, out.subspan(filled, count));
    filled += got;
    if (got < count) break;
  }
  return filled;
}

std::uint64_t SectorChain::stored_size() {
  const unsigned shift = space_->sector_shift();
  if (size_ == 0) return 0;
  follow_to((size_ - 1) >> shift);
  return std::min(size_, length_ << shift);
}

/// Takes sectors into the runs until the one of this index is there or the chain has ended. Loops
/// are found after Brent: every sector is compared to one that is remembered ever longer.
void SectorChain::follow_to(std::uint64_t index) {
  while (length_ <= index && ahead_ < space_->sectors() && length_ < space_->sectors()) {
    const std::uint32_t sector = ahead_;
    if (sector == remembered_) {
      ahead_ = end_of_chain;
      return;
    }
    if (!runs_.empty() && runs_.back().sector + runs_.back().count == sector) {
      ++runs_.back().count;
    } else {
      runs_.push_back({length_, sector, 1});
    }
    if (++length_ == remember_at_) {
      remembered_ = sector;
      remember_at_ *= 2;
    }
    ahead_ = space_->next(sector);
  }
}

const SectorChain::Run* SectorChain::run_of(std::uint64_t index) {
  if (index >= length_) return nullptr;
  // Streams are read from the begin to the end, mostly.
  for (std::size_t run = last_run_; run < std::min(last_run_ + 2, runs_.size()); ++run) {
    if (index - runs_[run].index < runs_[run].count) {
      last_run_ = run;
      return &runs_[run];
    }
  }
  const auto behind =
      std::upper_bound(runs_.begin(), runs_.end(), index,
                       [](std::uint64_t wanted, const Run& run) { return wanted < run.index; });
  last_run_ = static_cast<std::size_t>(behind - runs_.begin()) - 1;
  return &runs_[last_run_];
}

}  // namespace trfilter
