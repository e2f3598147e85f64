#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "api/engine_abi.h"
#include "engine/core/properties.h"

namespace trfilter {

/// A document's properties as the records of the binary interface. Texts are UTF-16, so that no
/// target encoding can lose a character.
class SummaryBlock {
 public:
  explicit SummaryBlock(const Properties& properties);
  SummaryBlock(const SummaryBlock&) = delete;
  SummaryBlock& operator=(const SummaryBlock&) = delete;

  /// The elements; they point into this block.
  std::vector<tag_TRSumInfoElemEx>& elements() { return elements_; }

 private:
  void add(const Properties::Item& item);

  std::vector<tag_TRSumInfoElemEx> elements_;
  // Deques keep their elements in place.
  std::deque<std::string> names_;
  std::deque<std::u16string> texts_;
  std::deque<std::int64_t> times_;
  std::deque<double> doubles_;
};

}  // namespace trfilter
