#pragma once

#include <PDFDoc.h>

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

namespace trfilter::pdf {

/// The order of the marked content of each page in the document's structure tree.
class StructureTree {
 public:
  /// Walks the tree; a document without one has an empty one.
  explicit StructureTree(PDFDoc& document);

  /// The identifiers of a page's marked content in the tree's order; empty when it names none.
  /// @param page  the page's object number
  std::span<const std::int32_t> marked_content(int page) const;

 private:
  std::unordered_map<int, std::vector<std::int32_t>> pages_;
};

}  // namespace trfilter::pdf
