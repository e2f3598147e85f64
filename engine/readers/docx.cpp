// Word processing documents of Office Open XML: ECMA-376 part 1 (WordprocessingML), in its
// transitional and its strict form (ISO/IEC 29500); documents, templates, with macros or without.
//
// Order of the text: the sections, each as its headers, body and footers; then footnotes, endnotes
// and comments in their order. A header that several sections share stands at the first. Text
// boxes, pictures' descriptions, charts and diagrams stand behind the paragraph that they are
// anchored in.
//
// Not handled: embedded objects and alternative chunks other than HTML and plain text (they are
// subfiles), building blocks, form fields' lists, the positions of frames and boxes on the page.
//
// Bounds: the parts stream in pieces of 64 KiB. Kept are the style and list tables (bounded in
// number), the text anchored in the paragraph being read, and one chart at a time.

#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "engine/core/reader.h"
#include "engine/opc/opc_package.h"
#include "engine/readers/docx_numbering.h"
#include "engine/readers/docx_story.h"
#include "engine/readers/docx_styles.h"

namespace trfilter {
namespace {

using docx::SectionListener;
using docx::Story;
using docx::StoryContext;
using docx::Styles;

constexpr std::size_t most_sections = std::size_t{1} << 16;

/// The headers and footers of one section, by relationship identifiers.
struct Section {
  std::vector<std::string> headers;
  std::vector<std::string> footers;
};

/// Finds the sections of a main part ahead of its text.
class SectionScan final : public XmlHandler {
 public:
  std::vector<Section> sections;

  void start_element(const XmlElement& element) override {
    const std::string_view name = element.name();
    if (changes_ != 0 || name == "sectPrChange") {
      ++changes_;
      return;
    }
    if (name == "sectPr") {
      in_section_ = sections.size() < most_sections;
      if (in_section_) sections.emplace_back();
    } else if (in_section_ && name == "headerReference") {
      sections.back().headers.emplace_back(element.attribute("id"));
    } else if (in_section_ && name == "footerReference") {
      sections.back().footers.emplace_back(element.attribute("id"));
    }
  }

  void end_element(std::string_view name, std::string_view) override {
    if (changes_ != 0) {
      --changes_;
    } else if (name == "sectPr") {
      in_section_ = false;
    }
  }

 private:
  bool in_section_ = false;
  unsigned changes_ = 0;
};

class DocxReader final : public Reader, private SectionListener {
 public:
  explicit DocxReader(const ReaderContext& context)
      : context_(context), package_(context.document, context.limits) {
    main_part_ = package_.main_part();
    if (main_part_.empty()) {
      throw EngineError(Code::corrupt, "the package has no main document part");
    }
  }

  bool step(TextSink& sink) override {
    if (!story_context_) start(sink);
    if (parser_ && parser_->step()) return true;
    end_part();
    if (next_part_ < parts_.size()) {
      begin_part(parts_[next_part_++]);
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
  void start(TextSink& sink) {
    relationships_ = package_.relationships(main_part_);
    styles_.read(package_, part_of_kind("styles"));
    docx::read_numbering(package_, part_of_kind("numbering"), styles_, numbering_);
    story_context_.emplace(StoryContext{package_, styles_, numbering_, sink});
    if (sink.options().header_and_footer || sink.options().header_and_footer_tags) {
      SectionScan scan;
      package_.parse(main_part_, scan);
      sections_ = std::move(scan.sections);
    }
    parts_ = {main_part_};
    for (const char* kind : {"footnotes", "endnotes", "comments"}) {
      if (std::string part = part_of_kind(kind); !part.empty()) parts_.push_back(std::move(part));
    }
    begin_section();
  }

  std::string part_of_kind(std::string_view kind) {
    const OpcRelationship* found = relationships_.of_kind(kind);
    return found == nullptr ? std::string{} : found->target;
  }

  void begin_part(const std::string& part) {
    SectionListener* listener = part == main_part_ ? this : nullptr;
    story_ = std::make_unique<Story>(*story_context_, part, listener);
    parser_ = std::make_unique<OpcPartParser>(package_, part, *story_);
  }

  void end_part() {
    if (!story_) return;
    story_->finish();
    const bool was_body = next_part_ == 1;
    parser_.reset();
    story_.reset();
    if (was_body) {
      while (section_ < sections_.size()) end_section();
    }
  }

  void section_ended() override {
    end_section();
    begin_section();
  }

  void begin_section() {
    if (section_ < sections_.size()) put_parts(sections_[section_].headers, Region::header);
  }

  void end_section() {
    if (section_ >= sections_.size()) return;
    put_parts(sections_[section_].footers, Region::footer);
    ++section_;
  }

  /// Headers and footers are small: each is read at once.
  void put_parts(const std::vector<std::string>& ids, Region region) {
    TextSink& sink = story_context_->sink;
    for (const std::string& id : ids) {
      const OpcRelationship* found = relationships_.by_id(id);
      if (found == nullptr || found->external || !put_.insert(found->target).second) continue;
      Story story(*story_context_, found->target);
      sink.paragraph();
      sink.begin(region);
      package_.parse(found->target, story);
      story.finish();
      sink.end(region);
      sink.paragraph();
    }
  }

  const ReaderContext context_;
  OpcPackage package_;
  std::string main_part_;
  OpcRelationships relationships_;
  Styles styles_;
  word::ListNumbering numbering_;
  std::optional<StoryContext> story_context_;

  std::vector<std::string> parts_;
  std::size_t next_part_ = 0;
  std::unique_ptr<Story> story_;
  std::unique_ptr<OpcPartParser> parser_;

  std::vector<Section> sections_;  ///< none when headers and footers are not shown
  std::size_t section_ = 0;
  std::unordered_set<std::string> put_;  ///< headers and footers that have been written
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(docx, trfilter::DocxReader)
