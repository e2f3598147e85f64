// What the elements of a story stand for: paragraphs and their runs, characters, text boxes, fields
// and notes.

#include <charconv>
#include <utility>

#include "engine/core/symbol_font.h"
#include "engine/core/utf8.h"
#include "engine/readers/docx_story.h"
#include "engine/readers/docx_token.h"

namespace trfilter::docx {
namespace {

using Token = StoryToken;

bool is_wordprocessing(std::string_view uri) {
  return uri.find("wordprocessingml") != std::string_view::npos;
}

}  // namespace

// Paragraphs and runs.

void Story::start_paragraph() {
  paragraphs_.emplace_back().style = context_.styles.default_paragraph();
  output_.set_label({});
}

void Story::end_paragraph_properties() {
  if (paragraphs_.empty()) return;
  const Paragraph& paragraph = paragraphs_.back();
  const Style* style = paragraph.style;
  const int number_id = paragraph.number_id.value_or(style == nullptr ? 0 : style->number_id);
  if (number_id <= 0) return;
  // What is not there does not count.
  const Options& options = output_.options();
  if (paragraph.mark_deleted && !options.revision_marks) return;
  if (paragraph.mark_hidden && !options.hidden_text) return;

  std::optional<int> level = paragraph.number_level;
  if (!level && style != nullptr) {
    level = context_.numbering.level_of_style(number_id, style->id);
    if (!level) level = style->number_level;
    if (!level) level = context_.numbering.level_of_style(number_id, style->numbering_id);
  }
  output_.set_label(context_.numbering.next_label(number_id, level.value_or(0)));
}

void Story::end_paragraph() {
  if (paragraphs_.empty()) return;
  end_run();
  const Paragraph paragraph = paragraphs_.back();
  paragraphs_.pop_back();
  output_.set_label({});
  const Options& options = output_.options();
  const bool goes_on = (paragraph.mark_deleted && !options.revision_marks) ||
                       (paragraph.mark_hidden && !options.hidden_text) || paragraph.drop_cap;
  if (!goes_on) {
    output_.paragraph();
    output_.write_deferred();
    output_.paragraph();
  }
  if (paragraph.ends_section && listener_ != nullptr && boxes_.empty()) {
    output_.write_deferred();
    listener_->section_ended();
  }
}

bool Story::style_vanishes() const {
  const Style* style = paragraphs_.back().style;
  return style != nullptr && style->vanish;
}

void Story::start_run() {
  if (paragraphs_.empty()) return;
  Paragraph& run = paragraphs_.back();
  run.in_run = true;
  run.vanish.reset();
  run.style_vanish = false;
  if (style_vanishes()) set_run_hidden(true);
}

void Story::end_run() {
  if (paragraphs_.empty()) return;
  set_run_hidden(false);
  paragraphs_.back().in_run = false;
}

void Story::set_run_hidden(bool hidden) {
  Paragraph& run = paragraphs_.back();
  if (run.hidden == hidden) return;
  run.hidden = hidden;
  if (hidden) {
    output_.open(Region::hidden);
  } else {
    output_.close(Region::hidden);
  }
}

void Story::start_text(const XmlElement& element) {
  if (capture_ == Capture::phonetic) return;
  if (fields_.in_instruction()) return;
  if (element.attribute("space") == "preserve" || !is_wordprocessing(element.uri())) {
    capture_ = Capture::text;
  } else {
    capture_ = Capture::trimmed_text;
    captured_.clear();
  }
}

void Story::line_break(const XmlElement& element) {
  if (fields_.in_instruction()) return;
  if (element.attribute("type") != "page") {
    output_.line();
  } else if (tables_.size() == 0 && !note_region_ && listener_ != nullptr) {
    output_.page();
  } else {
    output_.paragraph();
  }
}

void Story::symbol(const XmlElement& element) {
  const std::string_view code = element.attribute("char");
  if (code.empty() || fields_.in_instruction()) return;
  std::uint32_t value = 0;
  if (std::from_chars(code.data(), code.data() + code.size(), value, 16).ec != std::errc{}) return;
  char32_t shown = symbol_font_character(element.attribute("font"), char32_t{value});
  if (shown == 0) shown = char32_t{value};
  std::string text;
  append_utf8(text, shown);
  output_.text(text);
}

void Story::revision(Token token, bool start) {
  const bool of_mark = in_run_properties_ != 0 || in_paragraph_properties_ != 0;
  const bool deleted = token == Token::deleted;
  if (in_row_properties_) {
    if (start) tables_.set_row_region(deleted ? Region::deleted : Region::inserted);
  } else if (of_mark) {
    if (start && deleted && in_paragraph_properties_ != 0 && !paragraphs_.empty()) {
      paragraphs_.back().mark_deleted = true;
    }
  } else if (start) {
    output_.open(deleted ? Region::deleted : Region::inserted);
  } else {
    output_.close(deleted ? Region::deleted : Region::inserted);
  }
}

// Text boxes.

void Story::start_box() {
  boxes_.push_back({paragraphs_.size(), tables_.size(), fields_.size()});
  output_.begin_deferred();
}

void Story::end_box() {
  if (boxes_.empty()) return;
  const Box box = boxes_.back();
  while (paragraphs_.size() > box.paragraphs) end_paragraph();
  tables_.close(box.tables);
  fields_.close(box.fields);
  boxes_.pop_back();
  output_.end_deferred();
}

// Fields.

void Story::field_character(const XmlElement& element) {
  const std::string_view type = element.attribute("fldCharType");
  const std::size_t outside = boxes_.empty() ? 0 : boxes_.back().fields;
  if (type == "begin") {
    fields_.begin();
  } else if (fields_.size() > outside) {
    if (type == "separate") {
      fields_.separate();
    } else {
      fields_.end();
    }
  }
}

// What stands in other parts or beside the text.

void Story::start_note(const XmlElement& element, Region region) {
  // Separators are lines between the text and its notes.
  const std::string_view type = element.attribute("type");
  if (!type.empty() && type != "normal") {
    skipped_ = 1;
    return;
  }
  output_.paragraph();
  output_.open(region);
  if (region == Region::comment) output_.text(comment_label(element.attribute("author")));
  note_region_ = region;
  // The note's own mark is followed by a blank.
  output_.drop_blanks();
}

}  // namespace trfilter::docx
