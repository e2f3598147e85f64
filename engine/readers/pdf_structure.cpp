#include "engine/readers/pdf_structure.h"

#include <StructElement.h>
#include <StructTreeRoot.h>

namespace trfilter::pdf {

StructureTree::StructureTree(PDFDoc& document) {
  const StructTreeRoot* root = document.getStructTreeRoot();
  if (root == nullptr) return;
  // The library has already refused trees that contain themselves.
  std::vector<const StructElement*> waiting;
  for (unsigned i = root->getNumChildren(); i > 0; --i) {
    waiting.push_back(root->getChild(static_cast<int>(i - 1)));
  }
  while (!waiting.empty()) {
    const StructElement* element = waiting.back();
    waiting.pop_back();
    if (element == nullptr) continue;
    if (element->isContent()) {
      Ref page = Ref::INVALID();
      if (!element->isObjectRef() && element->getPageRef(page))
        pages_[page.num].push_back(element->getMCID());
      continue;
    }
    for (unsigned i = element->getNumChildren(); i > 0; --i) {
      waiting.push_back(element->getChild(static_cast<int>(i - 1)));
    }
  }
}

std::span<const std::int32_t> StructureTree::marked_content(int page) const {
  const auto found = pages_.find(page);
  if (found == pages_.end()) return {};
  return found->second;
}

}  // namespace trfilter::pdf
