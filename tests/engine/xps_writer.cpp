#include "tests/engine/xps_writer.h"

namespace trfilter::test {

ZipWriter xps_document(const std::vector<std::string>& pages) {
  ZipWriter writer;
  writer.add("_rels/.rels",
             "<Relationships><Relationship Id='r' "
             "Type='http://schemas.microsoft.com/xps/2005/06/fixedrepresentation' "
             "Target='/FixedDocumentSequence.fdseq'/></Relationships>");
  writer.add("FixedDocumentSequence.fdseq",
             "<FixedDocumentSequence><DocumentReference "
             "Source='Documents/1/doc.fdoc'/></FixedDocumentSequence>");
  std::string list = "<FixedDocument>";
  // Parts lie in the archive in the opposite order.
  for (std::size_t i = 0; i < pages.size(); ++i) {
    list += "<PageContent Source='Pages/" + std::to_string(i) + ".fpage'/>";
  }
  for (std::size_t i = pages.size(); i-- > 0;) {
    writer.add(
        "Documents/1/Pages/" + std::to_string(i) + ".fpage",
        "<FixedPage xmlns='http://schemas.microsoft.com/xps/2005/06'>" + pages[i] + "</FixedPage>");
  }
  writer.add("Documents/1/doc.fdoc", list + "</FixedDocument>");
  return writer;
}

}  // namespace trfilter::test
