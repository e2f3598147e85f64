#include "engine/readers/doc_story.h"

#include <algorithm>
#include <utility>

#include "engine/core/fields.h"
#include "engine/core/symbol_font.h"
#include "engine/core/utf8.h"
#include "engine/readers/doc_form_fields.h"
#include "engine/readers/doc_members.h"

namespace trfilter::doc {
namespace {

// [MS-DOC] 2.4.1 and 2.9: characters that stand for something else.
constexpr char32_t picture = 0x01;
constexpr char32_t cell_mark = 0x07;
constexpr char32_t drawn_object = 0x08;
constexpr char32_t tab = 0x09;
constexpr char32_t line_break = 0x0B;
constexpr char32_t page_break = 0x0C;
constexpr char32_t paragraph_mark = 0x0D;
constexpr char32_t column_break = 0x0E;
constexpr char32_t field_begin = 0x13;
constexpr char32_t field_separator = 0x14;
constexpr char32_t field_end = 0x15;
constexpr char32_t no_break_hyphen = 0x1E;
constexpr char32_t soft_hyphen = 0x1F;
constexpr char32_t first_plain = 0x20;
constexpr char32_t symbol_place = 0x28;

constexpr char32_t symbol_area_begin = 0xF020;
constexpr char32_t symbol_area_end = 0xF0FF;

constexpr std::uint32_t characters_of_step = 16 * 1024;

bool is_high_surrogate(char16_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}

}  // namespace

Story::Story(Source& source, word::StoryOutput& output, Span span, SectionListener* listener,
             const Anchors* anchors)
    : source_(source),
      output_(output),
      span_(span),
      listener_(listener),
      anchors_(anchors),
      at_(span.begin),
      tables_(output),
      fields_(output, source.limits()) {
  find_open_fields();
}

/// A field that never ends would hide all the text behind it: its begin means nothing.
void Story::find_open_fields() {
  std::vector<std::uint32_t> open;
  std::uint32_t at = span_.begin;
  while (const auto run = source_.run_at(at, span_.end)) {
    source_.limits().check_time();
    at = run->end;
    const std::size_t width = run->wide ? 2 : 1;
    for (std::uint32_t i = 0; i < run->end - run->begin; ++i) {
      const char32_t character = run->wide ? le16(run->bytes, i * width) : byte_at(run->bytes, i);
      if (character == field_begin) {
        open.push_back(run->begin + i);
      } else if (character == field_end && !open.empty()) {
        open.pop_back();
      }
    }
  }
  open_fields_.insert(open.begin(), open.end());
}

bool Story::step() {
  if (finished_) return false;
  source_.limits().check_time();
  const std::uint32_t end = at_ + std::min(characters_of_step, span_.end - at_);
  while (at_ < end) {
    if (!in_paragraph_) start_paragraph(at_);
    const auto run = source_.run_at(at_, span_.end);
    if (!run) {
      at_ = span_.end;
      break;
    }
    at_ = run->begin;
    put_run(*run);
  }
  if (at_ < span_.end) return true;
  finish();
  return false;
}

void Story::run() {
  while (step()) {
  }
}

void Story::drop_mark() {
  output_.drop_blanks();
}

void Story::finish() {
  finished_ = true;
  flush();
  close_regions();
  fields_.close(0);
  output_.set_label({});
  leave_tables(0);
  output_.paragraph();
  output_.write_deferred();
  output_.paragraph();
}

// Paragraphs.

void Story::start_paragraph(std::uint32_t position) {
  in_paragraph_ = true;
  paragraph_ = source_.paragraph_at(position);
  const bool row_end = paragraph_.row_end || paragraph_.inner_row_end;
  leave_tables(paragraph_.table_depth);
  if (row_end) return;
  enter_tables(paragraph_.table_depth);
  put_label(position);
}

void Story::put_label(std::uint32_t position) {
  const ParagraphProperties& paragraph = paragraph_;
  word::ListNumbering& numbering = source_.numbering();
  if (paragraph.list_id != 0) {
    output_.set_label(numbering.next_label(static_cast<int>(paragraph.list_id),
                                           static_cast<int>(paragraph.list_level.value_or(0))));
    return;
  }
  if (source_.fib().version != Version::word_6) return;
  const std::uint32_t kind = paragraph.old_number_kind.value_or(0);
  // A column of a table is numbered downwards: cells beside it are not in between.
  if (kind == 0 && paragraph.table_depth != 0) return;
  output_.set_label(
      source_.old_numbers().next_label(source_, position, kind, paragraph.old_number));
}

void Story::end_paragraph(const CharacterProperties& mark) {
  in_paragraph_ = false;
  output_.set_label({});
  if (fields_.in_instruction()) return;
  const Options& options = output_.options();
  const bool goes_on = (mark.deleted && !options.revision_marks) ||
                       (mark.hidden && !options.hidden_text) || paragraph_.drop_cap;
  if (goes_on) return;
  output_.paragraph();
  output_.write_deferred();
  output_.paragraph();
}

// Tables. A paragraph states how many tables it lies in; rows and cells end by marks.

void Story::enter_tables(unsigned depth) {
  begin_row();
  while (tables_.size() < depth) {
    tables_.begin(output_.deferring() || tables_.size() != 0);
    row_open_.push_back(false);
    begin_row();
  }
}

void Story::leave_tables(unsigned depth) {
  while (tables_.size() > depth) {
    if (row_open_.back()) tables_.end_row();
    tables_.end();
    row_open_.pop_back();
  }
}

void Story::begin_row() {
  if (row_open_.empty() || row_open_.back()) return;
  tables_.begin_row();
  tables_.end_row_properties();
  tables_.begin_cell();
  row_open_.back() = true;
}

void Story::end_cell() {
  if (row_open_.empty()) return;
  tables_.end_cell();
  tables_.begin_cell();
}

void Story::end_row() {
  if (row_open_.empty() || !row_open_.back()) return;
  tables_.end_row();
  row_open_.back() = false;
}

// Runs.

void Story::set_regions(const CharacterProperties& run) {
  std::optional<Region> revision;
  if (run.deleted) {
    revision = Region::deleted;
  } else if (run.inserted) {
    revision = Region::inserted;
  }
  if (revision == revision_ && run.hidden == hidden_) return;
  if (hidden_) output_.close(Region::hidden);
  if (revision != revision_) {
    if (revision_) output_.close(*revision_);
    if (revision) output_.open(*revision);
  }
  if (run.hidden) output_.open(Region::hidden);
  revision_ = revision;
  hidden_ = run.hidden;
}

void Story::close_regions() {
  set_regions({});
}

void Story::put_run(const TextRun& run) {
  set_regions(run.properties);
  if (run.wide) {
    put_wide(run);
  } else {
    put_narrow(run);
  }
  flush();
}

void Story::put_wide(const TextRun& run) {
  const Font* font = source_.font_of(run.properties);
  for (; at_ < run.end; ++at_) {
    const auto unit = static_cast<char16_t>(le16(run.bytes, std::size_t{at_ - run.begin} * 2));
    if (high_surrogate_ != 0) {
      const char16_t high = std::exchange(high_surrogate_, u'\0');
      if (unit >= 0xDC00 && unit < 0xE000) {
        append_utf8(text_, 0x10000 + ((char32_t{high} - 0xD800) << 10) + (char32_t{unit} - 0xDC00));
        continue;
      }
      append_utf8(text_, high);
    }
    if (unit < first_plain || (unit == symbol_place && run.properties.symbol)) {
      put_special(unit, at_, run.properties);
      // A paragraph's end: what follows has properties of its own.
      if (!in_paragraph_) {
        ++at_;
        return;
      }
    } else if (unit < 0x80) {
      text_ += static_cast<char>(unit);
    } else if (is_high_surrogate(unit)) {
      high_surrogate_ = unit;
    } else if (unit >= symbol_area_begin && unit <= symbol_area_end && font != nullptr) {
      const char32_t shown = symbol_font_character(font->name, unit);
      append_utf8(text_, shown != 0 ? shown : char32_t{unit});
    } else {
      append_utf8(text_, unit);
    }
  }
}

void Story::put_narrow(const TextRun& run) {
  while (at_ < run.end) {
    const std::string_view rest = run.bytes.substr(at_ - run.begin);
    std::size_t plain = 0;
    while (plain < rest.size() && byte_at(rest, plain) >= first_plain &&
           !(run.properties.symbol && byte_at(rest, plain) == symbol_place)) {
      ++plain;
    }
    source_.append_narrow(rest.substr(0, plain), run.properties, text_);
    at_ += static_cast<std::uint32_t>(plain);
    if (plain == rest.size()) return;
    put_special(byte_at(rest, plain), at_, run.properties);
    ++at_;
    if (!in_paragraph_) return;
  }
}

void Story::put_special(char32_t character, std::uint32_t position,
                        const CharacterProperties& run) {
  const bool shown = !fields_.in_instruction();
  switch (character) {
    case symbol_place:
      put_symbol(run);
      return;
    case tab:
      text_ += '\t';
      return;
    case no_break_hyphen:
      text_ += "\xE2\x80\x91";
      return;
    case soft_hyphen:
      text_ += "\xC2\xAD";
      return;
    default:
      break;
  }
  flush();
  switch (character) {
    case cell_mark:
      if (tables_.size() == 0 && !paragraph_.row_end) {
        // Without the properties of paragraphs two marks in a row are the row's end.
        if (source_.has_paragraphs()) {
          end_paragraph(run);
        } else if (std::exchange(after_cell_, true)) {
          output_.row();
        } else {
          output_.cell(1);
        }
        break;
      }
      close_regions();
      if (paragraph_.row_end) {
        in_paragraph_ = false;
        end_row();
      } else {
        end_paragraph({});
        end_cell();
      }
      break;
    case paragraph_mark:
      if (paragraph_.inner_row_end) {
        close_regions();
        in_paragraph_ = false;
        leave_tables(paragraph_.table_depth);
        end_row();
        break;
      }
      close_regions();
      end_paragraph(run);
      if (paragraph_.inner_cell_end) end_cell();
      break;
    case line_break:
    case column_break:
      if (shown) output_.line();
      break;
    case page_break:
      if (listener_ != nullptr && listener_->ends_section(position + 1)) {
        close_regions();
        end_paragraph({});
        leave_tables(0);
        output_.write_deferred();
        listener_->section_ended();
      } else if (!shown) {
        break;
      } else if (listener_ != nullptr && tables_.size() == 0) {
        output_.page();
      } else {
        output_.paragraph();
      }
      break;
    case field_begin:
      form_.reset();
      if (!open_fields_.contains(position)) fields_.begin();
      break;
    case field_separator:
      form_.reset();
      if (fields_.size() != 0) fields_.separate();
      break;
    case field_end:
      if (fields_.size() == 0) break;
      fields_.end();
      if (form_ && !fields_.in_instruction()) text_ += form_field_state(source_, *form_);
      form_.reset();
      break;
    case drawn_object:
      put_anchored(position);
      break;
    case picture:
      if (run.picture_location && run.binary_data) {
        if (!shown) form_ = run.picture_location;
      } else if (run.picture_location && !run.ole_object) {
        put_description(picture_description(source_, *run.picture_location));
      }
      break;
    default:
      break;
  }
}

void Story::put_symbol(const CharacterProperties& run) {
  const auto& fonts = source_.fonts();
  char32_t shown = 0;
  if (run.symbol_font < fonts.size()) {
    shown = symbol_font_character(fonts[run.symbol_font].name, run.symbol_character);
  }
  append_utf8(text_, shown != 0 ? shown : run.symbol_character);
}

void Story::put_anchored(std::uint32_t position) {
  if (anchors_ == nullptr) return;
  const auto found = anchors_->find(position);
  if (found == anchors_->end()) return;
  for (const std::string& description : found->second.descriptions) put_description(description);
  for (const std::string& words : found->second.words) {
    output_.begin_deferred();
    output_.text(words);
    output_.paragraph();
    output_.end_deferred();
  }
  for (const Span& box : found->second.boxes) {
    output_.begin_deferred();
    Story(source_, output_, box).run();
    output_.end_deferred();
  }
}

void Story::put_description(std::string_view description) {
  if (description.empty()) return;
  output_.begin_deferred();
  output_.open(Region::alternative_text);
  output_.text(description);
  output_.paragraph();
  output_.close(Region::alternative_text);
  output_.end_deferred();
}

void Story::flush() {
  if (text_.empty()) return;
  after_cell_ = false;
  if (fields_.in_instruction()) {
    fields_.append_instruction(text_);
  } else {
    output_.text(text_);
  }
  text_.clear();
}

}  // namespace trfilter::doc
