// Drawings in the DWG format of release 13 and later, after the "Open Design Specification for .dwg
// files" of the Open Design Alliance.
//
// Text is that of the entities that show text: lines, paragraphs, attributes, tolerances,
// dimensions, leaders. Properties are those of the section AcDb:SummaryInfo, which release 2004
// brought.
//
// Not handled: releases before 13, and drawings under a password.

#include "engine/cad/drawing_strings.h"
#include "engine/core/reader.h"
#include "engine/readers/dwg_file.h"
#include "engine/readers/dwg_summary.h"
#include "engine/readers/dwg_texts.h"

namespace trfilter {
namespace {

class DwgReader final : public Reader {
 public:
  explicit DwgReader(const ReaderContext& context) : context_(context) {
    const auto header = dwg::read_header(context.document);
    if (!header) {
      throw EngineError(Code::unsupported_format, "a drawing of a release before 13");
    }
    header_ = *header;
    sections_ = dwg::open_sections(context_.document, context_.limits, header_);
  }

  bool step(TextSink& sink) override {
    if (!texts_) {
      if (header_.data_encrypted) {
        throw EngineError(Code::password_protected, "the drawing needs a password");
      }
      texts_.emplace(*sections_, header_, context_.limits);
    }
    return texts_->step(sink);
  }

  void properties(Properties& properties) override {
    if (header_.release < dwg::Release::r2004) return;
    if (header_.properties_encrypted) {
      throw EngineError(Code::password_protected, "the drawing's properties need a password");
    }
    constexpr std::size_t most_bytes = std::size_t{1} << 20;
    const auto section = sections_->open("SummaryInfo");
    if (!section) return;
    cad::Strings strings(header_.release >= dwg::Release::r2007,
                         cad::code_page_of(header_.code_page));
    dwg::add_summary(section->read(0, most_bytes), strings, properties);
  }

 private:
  const ReaderContext context_;
  dwg::Header header_;
  std::unique_ptr<dwg::Sections> sections_;
  std::optional<dwg::Texts> texts_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(dwg, trfilter::DwgReader)
