// Presentations of Office Open XML: ECMA-376 part 1 (PresentationML), in its transitional and its
// strict form (ISO/IEC 29500); presentations, shows and templates, with macros or without.
//
// Order of the text: the slides in the order of the presentation, a page each: the shapes in the
// order of their tree, then the speaker's notes and the comments. What a master or layout puts on
// its slides stands as a header on the first of them; headers and footers of printed notes and
// handouts stand behind the last slide.
//
// Not handled: bullets (they come from masters as a rule; numbers that a paragraph states are
// written), embedded objects (they are subfiles), animations, what is drawn.
//
// Bounds: the parts stream in pieces of 64 KiB; kept are the list of the slides (bounded in number)
// and the relationships of one slide.

#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "engine/core/reader.h"
#include "engine/opc/opc_package.h"
#include "engine/readers/pptx_shapes.h"

namespace trfilter {
namespace {

using pptx::CommentsHandler;
using pptx::ShapePart;
using pptx::ShapesHandler;

constexpr std::size_t most_slides = std::size_t{1} << 16;

/// The slides and print masters that a presentation part lists, by relationship identifiers.
class PresentationHandler final : public XmlHandler {
 public:
  explicit PresentationHandler(OpcPackage& package) : package_(package) {}

  std::vector<std::string> slides;
  std::vector<std::string> print_masters;

  void start_element(const XmlElement& element) override {
    const std::string_view name = element.name();
    if (name == "sldId") {
      if (slides.size() == most_slides) {
        package_.note_damage();
      } else {
        add(slides, element);
      }
    } else if ((name == "notesMasterId" || name == "handoutMasterId") &&
               print_masters.size() < most_slides) {
      add(print_masters, element);
    }
  }

 private:
  /// Of the two attributes called "id" the one in a namespace is the relationship's.
  static void add(std::vector<std::string>& to, const XmlElement& element) {
    for (int i = 0; i < element.attribute_count(); ++i) {
      const XmlElement::Attribute attribute = element.attribute_at(i);
      if (attribute.name == "id" && !attribute.uri.empty()) to.emplace_back(attribute.value);
    }
  }

  OpcPackage& package_;
};

class PptxReader final : public Reader {
 public:
  explicit PptxReader(const ReaderContext& context)
      : context_(context), package_(context.document, context.limits) {
    main_part_ = package_.main_part();
    if (main_part_.empty()) {
      throw EngineError(Code::corrupt, "the package has no presentation part");
    }
  }

  bool step(TextSink& sink) override {
    if (!started_) start();
    if (parser_) {
      if (!parser_->step()) end_slide(sink);
      return true;
    }
    if (next_slide_ < slides_.size()) {
      begin_slide(sink, slides_[next_slide_++]);
      return true;
    }
    show_print_masters(sink);
    if (package_.damaged()) {
      throw EngineError(Code::corrupt, "the presentation is damaged: its text may be incomplete");
    }
    return false;
  }

  void properties(Properties& properties) override { package_.properties(properties); }
  std::unique_ptr<Subfiles> subfiles() override { return package_.files(context_); }

 private:
  void start() {
    started_ = true;
    PresentationHandler presentation(package_);
    package_.parse(main_part_, presentation);
    const OpcRelationships relationships = package_.relationships(main_part_);
    const auto add_parts = [&](std::vector<std::string>& parts,
                               const std::vector<std::string>& ids) {
      for (const std::string& id : ids) {
        const OpcRelationship* found = relationships.by_id(id);
        if (found != nullptr && !found->external) {
          parts.push_back(found->target);
        } else {
          package_.note_damage();
        }
      }
    };
    add_parts(slides_, presentation.slides);
    add_parts(print_masters_, presentation.print_masters);
    if (!slides_.empty() || !package_.damaged()) return;
    // The list is lost: the slides are there all the same.
    for (const OpcRelationship& relationship : relationships.all()) {
      if (relationship.kind == "slide" && !relationship.external) {
        slides_.push_back(relationship.target);
      }
    }
  }

  void begin_slide(TextSink& sink, const std::string& part) {
    slide_relationships_ = package_.relationships(part);
    show_background(sink);
    shapes_ = std::make_unique<ShapesHandler>(package_, sink, part, ShapePart::slide);
    parser_ = std::make_unique<OpcPartParser>(package_, part, *shapes_);
  }

  void end_slide(TextSink& sink) {
    parser_.reset();
    const bool hidden = shapes_->hidden_part();
    shapes_->finish();
    shapes_.reset();
    if (hidden) sink.begin(Region::hidden);
    if (const OpcRelationship* notes = slide_relationships_.of_kind("notesSlide")) {
      show_shapes(sink, notes->target, ShapePart::notes, Region::speaker_note);
    }
    for (const OpcRelationship& relationship : slide_relationships_.all()) {
      if (relationship.kind != "comments" || relationship.external) continue;
      if (sink.begin(Region::comment)) {
        CommentsHandler comments(sink, authors());
        package_.parse(relationship.target, comments);
        sink.paragraph();
      }
      sink.end(Region::comment);
    }
    if (hidden) sink.end(Region::hidden);
    sink.page();
  }

  /// What the slide's layout and its master have beside their placeholders, once each.
  void show_background(TextSink& sink) {
    const OpcRelationship* layout = slide_relationships_.of_kind("slideLayout");
    if (layout == nullptr || !shown_backgrounds_.insert(layout->target).second) return;
    const OpcRelationships relationships = package_.relationships(layout->target);
    const OpcRelationship* master = relationships.of_kind("slideMaster");
    if (master != nullptr && shown_backgrounds_.insert(master->target).second) {
      show_shapes(sink, master->target, ShapePart::background, Region::header);
    }
    show_shapes(sink, layout->target, ShapePart::background, Region::header);
  }

  void show_print_masters(TextSink& sink) {
    for (const std::string& part : print_masters_) {
      show_shapes(sink, part, ShapePart::print_master, Region::header);
    }
    print_masters_.clear();
  }

  /// Who has written comments.
  const StringMap<std::string>& authors() {
    if (!authors_) {
      pptx::AuthorsHandler handler;
      const OpcRelationships relationships = package_.relationships(main_part_);
      for (const char* kind : {"commentAuthors", "authors"}) {
        const OpcRelationship* part = relationships.of_kind(kind);
        if (part != nullptr && !part->external) package_.parse(part->target, handler);
      }
      authors_ = std::move(handler.names);
    }
    return *authors_;
  }

  /// Notes and masters are small: each is read at once.
  void show_shapes(TextSink& sink, const std::string& part, ShapePart kind, Region region) {
    if (sink.begin(region)) {
      ShapesHandler shapes(package_, sink, part, kind);
      package_.parse(part, shapes);
      shapes.finish();
    }
    sink.end(region);
  }

  const ReaderContext context_;
  OpcPackage package_;
  std::string main_part_;
  bool started_ = false;
  std::vector<std::string> slides_;
  std::vector<std::string> print_masters_;

  std::size_t next_slide_ = 0;
  OpcRelationships slide_relationships_;
  std::unique_ptr<ShapesHandler> shapes_;
  std::unique_ptr<OpcPartParser> parser_;
  std::unordered_set<std::string> shown_backgrounds_;
  std::optional<StringMap<std::string>> authors_;  ///< once a comment has asked for them
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(pptx, trfilter::PptxReader)
