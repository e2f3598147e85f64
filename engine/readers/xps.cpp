// XML Paper Specification and OpenXPS documents (ECMA-388), format 371: pages that are laid out,
// as printing leaves them.
//
// The text is that of the pages' glyph runs, page by page; see xps_page.h for their order.
//
// Not handled: the structure that a document may state beside its pages, text that is only painted
// as shapes or pictures, glyphs without their characters.
//
// Bounds: pages are parsed as they are unpacked, in pieces of 64 KiB; kept is the list of pages.

#include <memory>
#include <string>
#include <vector>

#include "engine/core/reader.h"
#include "engine/opc/opc_package.h"
#include "engine/readers/xps_page.h"

namespace trfilter {
namespace {

constexpr std::size_t most_pages = std::size_t{1} << 20;

/// The parts that a sequence names: documents of a sequence of documents, pages of a document.
class SequenceHandler final : public XmlHandler {
 public:
  SequenceHandler(OpcPackage& package, std::string_view part, std::string_view element,
                  std::vector<std::string>& parts)
      : package_(package), part_(part), element_(element), parts_(parts) {}

  void start_element(const XmlElement& element) override {
    if (element.name() != element_) return;
    if (parts_.size() == most_pages) {
      package_.note_damage();
      return;
    }
    parts_.push_back(find_part_name(package_.zip(), part_, element.attribute("Source")));
  }

 private:
  OpcPackage& package_;
  std::string_view part_;
  std::string_view element_;
  std::vector<std::string>& parts_;
};

class XpsReader final : public Reader {
 public:
  explicit XpsReader(const ReaderContext& context)
      : context_(context), package_(context.document, context.limits) {
    find_pages();
    if (pages_.empty()) throw EngineError(Code::corrupt, "the document has no pages");
  }

  bool step(TextSink& sink) override {
    if (parser_) {
      if (parser_->step()) return true;
      page_->finish();
      parser_.reset();
      page_.reset();
      sink.page();
    }
    if (next_ < pages_.size()) {
      page_ = std::make_unique<xps::PageHandler>(sink);
      parser_ = std::make_unique<OpcPartParser>(package_, pages_[next_++], *page_);
      return true;
    }
    if (package_.damaged()) {
      throw EngineError(Code::corrupt, "the document is damaged: its text may be incomplete");
    }
    return false;
  }

  void properties(Properties& properties) override { package_.properties(properties); }
  std::unique_ptr<Subfiles> subfiles() override { return package_.files(context_); }

 private:
  void find_pages() {
    const OpcRelationships relationships = package_.relationships({});
    std::vector<std::string> documents;
    if (const OpcRelationship* sequence = relationships.of_kind("fixedrepresentation")) {
      SequenceHandler handler(package_, sequence->target, "DocumentReference", documents);
      if (!package_.parse(sequence->target, handler)) package_.note_damage();
    }
    for (const std::string& document : documents) {
      SequenceHandler handler(package_, document, "PageContent", pages_);
      if (!package_.parse(document, handler)) package_.note_damage();
    }
    if (!pages_.empty()) return;
    // The lists are lost: the pages are there all the same.
    package_.note_damage();
    for (const std::string& name : package_.zip().names()) {
      if (name.ends_with(".fpage") && pages_.size() < most_pages) pages_.push_back(name);
    }
  }

  const ReaderContext context_;
  OpcPackage package_;
  std::vector<std::string> pages_;
  std::size_t next_ = 0;
  std::unique_ptr<xps::PageHandler> page_;
  std::unique_ptr<OpcPartParser> parser_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(xps, trfilter::XpsReader)
