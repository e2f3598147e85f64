// Presentations of the binary format of 1997 to 2003: [MS-PPT], with the drawings of [MS-ODRAW].
//
// Order of the text: the slides in the order of the presentation, a page each: the shapes in the
// order of their drawing, the slide's footers, the speaker's notes and the comments. What a master
// puts on its slides stands as a header on the first of them; headers and footers that all printed
// notes share stand behind the last slide.
//
// Not handled: bullets and automatic numbers (they come from masters as a rule), animations, what
// is drawn. Embedded objects and pictures are members. Of presentations of 1995 the text of slides
// and notes is read.
//
// Bounds: kept are the directory of objects, the texts in the list of slides, and one slide with
// its notes and masters, of at most 64 MiB each.

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "engine/compound/compound_file.h"
#include "engine/core/byte_cursor.h"
#include "engine/core/engine_error.h"
#include "engine/core/reader.h"
#include "engine/readers/ppt_1995.h"
#include "engine/readers/ppt_members.h"
#include "engine/readers/ppt_objects.h"
#include "engine/readers/ppt_shapes.h"
#include "engine/readers/ppt_text.h"

namespace trfilter {
namespace {

using ppt::DrawingPart;
using ppt::DrawingText;
using ppt::FieldValues;
using ppt::HeadersFooters;
using ppt::PersistObjects;
using ppt::TextBlock;
namespace record = ppt::record;

constexpr std::size_t most_slides = std::size_t{1} << 16;

/// A slide, a master or notes as the document lists them ([MS-PPT] 2.4.14.5).
struct ListedSlide {
  std::uint32_t object = 0;
  std::uint32_t identifier = 0;
  std::size_t texts_begin = 0;  ///< in the bytes of the document
  std::size_t texts_size = 0;
};

/// What a slide's container says besides its drawing ([MS-PPT] 2.5.1).
struct SlideFacts {
  std::uint32_t master = 0;
  std::uint32_t notes = 0;
  bool hidden = false;
  HeadersFooters headers_footers;
  std::vector<std::string_view> drawings;
  std::vector<std::string_view> tags;
};

SlideFacts facts_of(std::string_view container) {
  constexpr std::uint16_t hidden = 0x0004;
  constexpr unsigned of_the_slide = 0;
  SlideFacts facts;
  ArtRecords records(container);
  ArtRecord record;
  while (records.next(record)) {
    ByteCursor fields(record.data);
    switch (record.type) {
      case record::slide_atom:
        fields.skip(12);
        facts.master = fields.u32();
        facts.notes = fields.u32();
        break;
      case record::slide_show:
        fields.skip(10);
        facts.hidden = (fields.u16() & hidden) != 0;
        break;
      case record::headers_footers:
        if (record.instance == of_the_slide) facts.headers_footers.take(record);
        break;
      case record::drawing:
        facts.drawings.push_back(record.data);
        break;
      case record::tags:
        facts.tags.push_back(record.data);
        break;
      default:
        break;
    }
  }
  return facts;
}

void show_line(TextSink& sink, Region region, std::string_view text) {
  if (sink.begin(region)) sink.text(text);
  sink.end(region);
  sink.paragraph();
}

std::vector<TextBlock> texts_of(std::string_view records) {
  std::vector<TextBlock> texts;
  ArtRecords all(records);
  ArtRecord record;
  while (all.next(record)) {
    if (record.type == record::text_header) {
      texts.emplace_back();
    } else if (!texts.empty()) {
      texts.back().take(record);
    }
  }
  return texts;
}

class PptReader final : public Reader {
 public:
  explicit PptReader(const ReaderContext& context);

  bool step(TextSink& sink) override;
  void properties(Properties& properties) override {
    add_property_sets(file_, storage_, properties);
  }
  std::unique_ptr<Subfiles> subfiles() override {
    return ppt::find_members(file_, storage_, objects_, limits_);
  }

 private:
  enum class Stage : std::uint8_t { start, slides, slides_of_1995, loose_records };

  std::uint32_t find_storage() const;
  void read_document();
  void read_list(std::string_view list, std::vector<ListedSlide>& slides);
  void show_slide(TextSink& sink, std::size_t index);
  void show_slide_container(TextSink& sink, std::string_view container, std::string_view texts,
                            unsigned number);
  void show_background(TextSink& sink, std::uint32_t master);
  void show_footers(TextSink& sink, const HeadersFooters& stated, const DrawingText& drawing,
                    const FieldValues& values);
  void show_notes(TextSink& sink, std::uint32_t identifier, unsigned number);
  void show_comments(TextSink& sink, std::string_view tags);
  void show_comment(TextSink& sink, std::string_view comment);
  bool show_loose_record(TextSink& sink);
  void show_loose_text(TextSink& sink, std::string_view records, unsigned depth);

  const Options& options_;
  Limits& limits_;
  CompoundFile file_;
  std::uint32_t storage_;
  PersistObjects objects_;
  bool damaged_ = false;

  Stage stage_ = Stage::start;
  std::string document_;
  std::vector<ListedSlide> slides_;
  std::unordered_map<std::uint32_t, std::uint32_t> masters_;  ///< objects by identifier
  std::unordered_map<std::uint32_t, std::uint32_t> notes_;    ///< the same
  HeadersFooters of_slides_;
  HeadersFooters of_notes_;
  std::unordered_set<std::uint32_t> shown_masters_;
  std::size_t next_slide_ = 0;
  std::uint64_t next_record_ = 0;
  bool loose_text_ = false;
  std::unique_ptr<ppt::Slides1995> slides_of_1995_;
};

PptReader::PptReader(const ReaderContext& context)
    : options_(context.options),
      limits_(context.limits),
      file_(context.document, context.limits),
      storage_(find_storage()),
      objects_(file_, storage_, context.limits, context.options.password) {}

/// A presentation that versions of 1995 and of 1997 can open holds the later one in a storage.
std::uint32_t PptReader::find_storage() const {
  const auto dual = file_.child(CompoundEntry::root, "PP97_DUALSTORAGE");
  return dual && file_.child(*dual, "PowerPoint Document") ? *dual : CompoundEntry::root;
}

bool PptReader::step(TextSink& sink) {
  limits_.check_time();
  switch (stage_) {
    case Stage::start:
      read_document();
      return true;
    case Stage::slides:
      if (next_slide_ < slides_.size()) {
        show_slide(sink, next_slide_++);
        return true;
      }
      show_line(sink, Region::header, of_notes_.values.header);
      show_line(sink, Region::footer, of_notes_.values.footer);
      break;
    case Stage::slides_of_1995:
      if (next_slide_ < slides_of_1995_->count()) {
        slides_of_1995_->show(sink, next_slide_++);
        return true;
      }
      if (slides_of_1995_->damaged()) damaged_ = true;
      break;
    case Stage::loose_records:
      if (show_loose_record(sink)) return true;
      if (!loose_text_) {
        throw EngineError(Code::corrupt, "no slide of the presentation can be found");
      }
      break;
  }
  if (damaged_) {
    throw EngineError(Code::corrupt, "the presentation is damaged: its text may be incomplete");
  }
  return false;
}

/// DocumentContainer ([MS-PPT] 2.4.1).
void PptReader::read_document() {
  constexpr unsigned of_slides = 0;
  constexpr unsigned of_masters = 1;
  constexpr unsigned of_notes = 2;
  constexpr unsigned for_slides = 3;
  constexpr unsigned for_notes = 4;
  if (objects_.has_directory()) document_ = objects_.read(objects_.document());
  ArtRecord document;
  if (!document.parse(document_) || document.type != record::document) {
    slides_of_1995_ = ppt::Slides1995::find(file_, storage_, options_, limits_);
    damaged_ = slides_of_1995_ == nullptr;
    stage_ = damaged_ ? Stage::loose_records : Stage::slides_of_1995;
    return;
  }
  if (document.is_cut()) damaged_ = true;
  stage_ = Stage::slides;
  std::vector<ListedSlide> others;
  ArtRecords records(document.data);
  ArtRecord record;
  while (records.next(record)) {
    if (record.type == record::slide_list) {
      if (record.instance == of_slides) read_list(record.data, slides_);
      if (record.instance != of_masters && record.instance != of_notes) continue;
      others.clear();
      read_list(record.data, others);
      auto& objects = record.instance == of_masters ? masters_ : notes_;
      for (const ListedSlide& slide : others) objects.emplace(slide.identifier, slide.object);
    } else if (record.type == record::headers_footers) {
      if (record.instance == for_slides) of_slides_.take(record);
      if (record.instance == for_notes) of_notes_.take(record);
    }
  }
}

void PptReader::read_list(std::string_view list, std::vector<ListedSlide>& slides) {
  ArtRecords records(list);
  ArtRecord record;
  while (records.next(record)) {
    const auto begin = static_cast<std::size_t>(record.data.data() - document_.data());
    if (record.type == record::slide_persist) {
      if (slides.size() == most_slides) {
        damaged_ = true;
        return;
      }
      ByteCursor fields(record.data);
      ListedSlide slide;
      slide.object = fields.u32();
      fields.skip(8);
      slide.identifier = fields.u32();
      slide.texts_begin = begin + record.data.size();
      slides.push_back(slide);
    } else if (!slides.empty()) {
      ListedSlide& slide = slides.back();
      slide.texts_size = begin + record.data.size() - slide.texts_begin;
    }
  }
}

void PptReader::show_slide(TextSink& sink, std::size_t index) {
  const ListedSlide& slide = slides_[index];
  const std::string_view texts =
      std::string_view(document_).substr(slide.texts_begin, slide.texts_size);
  const std::string bytes = objects_.read(slide.object);
  ArtRecord container;
  if (!container.parse(bytes) || container.type != record::slide) {
    // Its outline is there all the same.
    damaged_ = true;
    container = {};
  }
  if (container.is_cut()) damaged_ = true;
  show_slide_container(sink, container.data, texts, static_cast<unsigned>(index + 1));
}

void PptReader::show_slide_container(TextSink& sink, std::string_view container,
                                     std::string_view texts, unsigned number) {
  const SlideFacts facts = facts_of(container);
  const std::vector<TextBlock> outline = texts_of(texts);
  const HeadersFooters& stated = facts.headers_footers.stated ? facts.headers_footers : of_slides_;
  FieldValues values = stated.values;
  values.slide_number = number;
  show_background(sink, facts.master);
  if (facts.hidden) sink.begin(Region::hidden);
  DrawingText drawing(sink, limits_, DrawingPart::slide, values, outline);
  for (const std::string_view records : facts.drawings) drawing.show(records);
  drawing.show_rest_of_outline();
  if (drawing.damaged()) damaged_ = true;
  show_footers(sink, stated, drawing, values);
  show_notes(sink, facts.notes, number);
  for (const std::string_view tags : facts.tags) show_comments(sink, tags);
  if (facts.hidden) sink.end(Region::hidden);
  sink.page();
}

/// What the slide's master, and the master of that, have beside their placeholders, once each.
void PptReader::show_background(TextSink& sink, std::uint32_t master) {
  constexpr int masters_above = 2;
  for (int i = 0; i < masters_above; ++i) {
    const auto found = masters_.find(master);
    if (found == masters_.end() || !shown_masters_.insert(master).second) return;
    if (sink.begin(Region::header)) {
      const std::string bytes = objects_.read(found->second);
      ArtRecord container;
      container.parse(bytes);
      const SlideFacts facts = facts_of(container.data);
      const FieldValues no_values;
      const std::vector<TextBlock> no_outline;
      DrawingText drawing(sink, limits_, DrawingPart::background, no_values, no_outline);
      for (const std::string_view records : facts.drawings) drawing.show(records);
      master = facts.master;
    } else {
      master = 0;
    }
    sink.end(Region::header);
  }
}

/// Footers that the master shows on the slide, as far as the slide has no shapes for them.
void PptReader::show_footers(TextSink& sink, const HeadersFooters& stated,
                             const DrawingText& drawing, const FieldValues& values) {
  if (sink.begin(Region::footer)) {
    if (!drawing.has_date()) sink.text(values.date);
    sink.paragraph();
    if (!drawing.has_footer()) sink.text(values.footer);
    sink.paragraph();
    if (!drawing.has_slide_number() && stated.slide_number) {
      sink.text(std::to_string(values.slide_number));
    }
  }
  sink.end(Region::footer);
  sink.paragraph();
}

/// @param number  of the slide
void PptReader::show_notes(TextSink& sink, std::uint32_t identifier, unsigned number) {
  const auto found = notes_.find(identifier);
  if (identifier == 0 || found == notes_.end()) return;
  if (sink.begin(Region::speaker_note)) {
    const std::string bytes = objects_.read(found->second);
    ArtRecord container;
    if (!container.parse(bytes) || container.is_cut()) damaged_ = true;
    const SlideFacts facts = facts_of(container.data);
    const HeadersFooters& own = facts.headers_footers;
    FieldValues values = own.stated ? own.values : of_notes_.values;
    values.slide_number = number;
    const std::vector<TextBlock> no_outline;
    DrawingText drawing(sink, limits_, DrawingPart::notes, values, no_outline);
    const bool own_header = own.stated && values.header != of_notes_.values.header;
    const bool own_footer = own.stated && values.footer != of_notes_.values.footer;
    if (own_header) show_line(sink, Region::header, values.header);
    for (const std::string_view records : facts.drawings) drawing.show(records);
    if (own_footer && !drawing.has_footer()) show_line(sink, Region::footer, values.footer);
    if (drawing.damaged()) damaged_ = true;
  }
  sink.end(Region::speaker_note);
}

/// SlideProgTagsContainer ([MS-PPT] 2.5.19): comments lie in the tag of version 10.
void PptReader::show_comments(TextSink& sink, std::string_view tags) {
  ArtRecords all(tags);
  ArtRecord tag;
  while (all.find(record::binary_tag, tag)) {
    ArtRecords parts(tag.data);
    ArtRecord data;
    if (!parts.find(record::binary_tag_data, data)) continue;
    ArtRecords comments(data.data);
    ArtRecord comment;
    while (comments.find(record::comment, comment)) show_comment(sink, comment.data);
  }
}

/// Comment10Container ([MS-PPT] 2.5.22).
void PptReader::show_comment(TextSink& sink, std::string_view comment) {
  constexpr unsigned of_the_author = 0;
  constexpr unsigned of_the_text = 1;
  ArtRecords parts(comment);
  ArtRecord text;
  std::string label;
  while (parts.find(record::string, text)) {
    if (text.instance == of_the_author) label = comment_label(ppt::text_of(text.data));
    if (text.instance != of_the_text) continue;
    TextBlock block;
    text.type = record::text_characters;
    block.take(text);
    sink.begin(Region::comment);
    sink.text(label);
    block.show(sink, {}, limits_);
    sink.paragraph();
    sink.end(Region::comment);
  }
}

/// Without a directory, slides stand in the order in which they were written.
bool PptReader::show_loose_record(TextSink& sink) {
  const std::string bytes = objects_.read_next(next_record_);
  ArtRecord record;
  if (!record.parse(bytes)) return false;
  if (record.type == record::slide) {
    show_slide_container(sink, record.data, {}, 0);
  } else if (record.type != record::main_master) {
    show_loose_text(sink, record.data, 0);
  }
  if (sink.has_text()) loose_text_ = true;
  return true;
}

void PptReader::show_loose_text(TextSink& sink, std::string_view records, unsigned depth) {
  limits_.check_depth(depth);
  ArtRecords all(records);
  ArtRecord record;
  while (all.next(record)) {
    TextBlock text;
    if (record.is_container()) {
      show_loose_text(sink, record.data, depth + 1);
    } else if (text.take(record)) {
      text.show(sink, {}, limits_);
      sink.paragraph();
    }
  }
}

}  // namespace
}  // namespace trfilter

TRFILTER_READER(ppt, trfilter::PptReader)
