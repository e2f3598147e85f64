#include "engine/readers/docx_story.h"

#include <algorithm>
#include <utility>

#include "engine/drawing/drawing_parts.h"
#include "engine/readers/docx_chunk.h"
#include "engine/readers/docx_token.h"

namespace trfilter::docx {
namespace {

using Token = StoryToken;

constexpr std::string_view no_break_hyphen = "\xE2\x80\x91";
constexpr std::string_view soft_hyphen = "\xC2\xAD";

// Text that is kept until its element ends.
constexpr std::size_t most_kept_bytes = std::size_t{64} << 10;

/// Columns that a cell spans or that stand before a row, 1 and more.
unsigned column_count(const XmlElement& element) {
  return static_cast<unsigned>(std::max(1, whole_number(element.attribute("val")).value_or(1)));
}

}  // namespace

Story::Story(const StoryContext& context, std::string part, SectionListener* listener)
    : context_(context),
      part_(std::move(part)),
      listener_(listener),
      output_(context.sink),
      tables_(output_),
      fields_(output_, context.package.limits()) {}

void Story::start_element(const XmlElement& element) {
  if (skipped_ != 0) {
    ++skipped_;
    return;
  }
  const Token token = token_of(element.name());
  if (token == Token::left_out) {
    skipped_ = 1;
  } else if (token >= Token::drawing_properties) {
    start_object(token, element);
  } else if (token >= Token::paragraph_properties) {
    start_property(token, element);
  } else if (token != Token::other) {
    start_content(token, element);
  }
  if (MathStructure::is_math(element.uri())) output_.text(math_.start(element));
}

void Story::start_content(Token token, const XmlElement& element) {
  switch (token) {
    case Token::paragraph:
      start_paragraph();
      break;
    case Token::run:
      start_run();
      break;
    case Token::text:
      start_text(element);
      break;
    case Token::instruction:
      capture_ = Capture::instruction;
      break;
    case Token::tab:
      if (!fields_.in_instruction()) output_.text("\t");
      break;
    case Token::line_break:
      line_break(element);
      break;
    case Token::carriage_return:
      if (!fields_.in_instruction()) output_.line();
      break;
    case Token::no_break_hyphen:
      if (!fields_.in_instruction()) output_.text(no_break_hyphen);
      break;
    case Token::soft_hyphen:
      if (!fields_.in_instruction()) output_.text(soft_hyphen);
      break;
    case Token::symbol:
      symbol(element);
      break;
    case Token::field_character:
      field_character(element);
      break;
    case Token::simple_field:
      fields_.begin();
      fields_.append_instruction(element.attribute("instr"));
      fields_.separate();
      break;
    case Token::inserted:
    case Token::deleted:
      revision(token, true);
      break;
    case Token::table:
      tables_.begin(output_.deferring() || tables_.size() != 0);
      break;
    case Token::row:
      tables_.begin_row();
      break;
    case Token::cell:
      tables_.begin_cell();
      break;
    case Token::ruby:
      phonetic_.clear();
      break;
    case Token::ruby_text:
      capture_ = Capture::phonetic;
      break;
    case Token::footnote:
      start_note(element, Region::footnote);
      break;
    case Token::endnote:
      start_note(element, Region::endnote);
      break;
    case Token::comment:
      start_note(element, Region::comment);
      break;
    case Token::text_box:
      start_box();
      break;
    case Token::alternate_content:
      choice_taken_.push_back(false);
      break;
    case Token::choice:
    case Token::fallback:
      if (!choice_taken_.empty()) {
        if (choice_taken_.back()) skipped_ = 1;
        choice_taken_.back() = true;
      }
      break;
    default:
      break;
  }
}

void Story::start_property(Token token, const XmlElement& element) {
  Paragraph* paragraph = paragraphs_.empty() ? nullptr : &paragraphs_.back();
  const bool of_paragraph = paragraph != nullptr && in_paragraph_properties_ != 0;
  const bool of_run = paragraph != nullptr && paragraph->in_run && in_run_properties_ != 0;
  switch (token) {
    case Token::paragraph_properties:
      ++in_paragraph_properties_;
      break;
    case Token::run_properties:
      ++in_run_properties_;
      break;
    case Token::row_properties:
      in_row_properties_ = true;
      break;
    case Token::paragraph_style:
      if (of_paragraph) paragraph->style = context_.styles.find(element.attribute("val"));
      break;
    case Token::run_style:
      if (of_run) {
        const Style* style = context_.styles.find(element.attribute("val"));
        paragraph->style_vanish = style != nullptr && style->vanish;
      }
      break;
    case Token::number_level:
      if (of_paragraph) paragraph->number_level = whole_number(element.attribute("val"));
      break;
    case Token::number_id:
      if (of_paragraph) paragraph->number_id = whole_number(element.attribute("val"));
      break;
    case Token::vanish:
      if (of_paragraph) {
        paragraph->mark_hidden = is_on(element);
      } else if (of_run) {
        paragraph->vanish = is_on(element);
      }
      break;
    case Token::frame:
      if (of_paragraph) {
        const std::string_view kind = element.attribute("dropCap");
        paragraph->drop_cap = kind == "drop" || kind == "margin";
      }
      break;
    case Token::section:
      if (of_paragraph) paragraph->ends_section = true;
      skipped_ = 1;
      break;
    case Token::grid_span:
      tables_.set_cell_span(column_count(element));
      break;
    case Token::grid_before:
      tables_.set_cells_before(column_count(element));
      break;
    case Token::hidden_row:
      if (in_row_properties_ && is_on(element)) tables_.set_row_region(Region::hidden);
      break;
    case Token::table_description:
      alternative_text(element.attribute("val"));
      break;
    default:
      break;
  }
}

void Story::start_object(Token token, const XmlElement& element) {
  switch (token) {
    case Token::drawing_properties: {
      // A picture and the drawing around it often say the same.
      if (element.name() == "docPr") last_alternative_text_.clear();
      const std::string_view description = element.attribute("descr");
      alternative_text(description.empty() ? element.attribute("title") : description);
      break;
    }
    case Token::vml_shape:
      last_alternative_text_.clear();
      alternative_text(element.attribute("alt"));
      break;
    case Token::vml_text_path:
      deferred_lines(element.attribute("string"));
      break;
    case Token::chart:
      if (const OpcRelationship* chart = relationship(element.attribute("id"))) {
        deferred_part([&](TextSink& sink) {
          show_chart_part(context_.package, chart->target, sink, ChartTextHandler::Values::shown);
        });
      }
      break;
    case Token::diagram:
      if (const OpcRelationship* data = relationship(element.attribute("dm"))) {
        deferred_part(
            [&](TextSink& sink) { show_diagram_part(context_.package, data->target, sink); });
      }
      break;
    case Token::chunk:
      if (const OpcRelationship* chunk = relationship(element.attribute("id"))) {
        deferred_part([&](TextSink& sink) { show_chunk(context_.package, chunk->target, sink); });
        output_.write_deferred();
        output_.paragraph();
      }
      break;
    default:
      break;
  }
}

void Story::end_element(std::string_view name, std::string_view uri) {
  if (skipped_ != 0) {
    --skipped_;
    return;
  }
  if (MathStructure::is_math(uri)) output_.text(math_.end(name));
  end_content(token_of(name));
}

void Story::end_content(Token token) {
  switch (token) {
    case Token::paragraph:
      end_paragraph();
      break;
    case Token::run:
      end_run();
      break;
    case Token::text:
      if (capture_ == Capture::trimmed_text) output_.text(word::trimmed(captured_));
      if (capture_ != Capture::phonetic) capture_ = Capture::none;
      break;
    case Token::instruction:
      capture_ = Capture::none;
      break;
    case Token::simple_field:
      if (fields_.size() != 0) fields_.end();
      break;
    case Token::inserted:
    case Token::deleted:
      revision(token, false);
      break;
    case Token::table:
      tables_.end();
      break;
    case Token::row:
      tables_.end_row();
      break;
    case Token::cell:
      tables_.end_cell();
      break;
    case Token::ruby:
      if (!phonetic_.empty()) output_.text(" (" + std::exchange(phonetic_, {}) + ")");
      break;
    case Token::ruby_text:
      capture_ = Capture::none;
      break;
    case Token::footnote:
    case Token::endnote:
    case Token::comment:
      fields_.close(0);
      output_.paragraph();
      if (note_region_) output_.close(*std::exchange(note_region_, std::nullopt));
      break;
    case Token::text_box:
      end_box();
      break;
    case Token::alternate_content:
      if (!choice_taken_.empty()) choice_taken_.pop_back();
      break;
    case Token::paragraph_properties:
      if (in_paragraph_properties_ != 0 && --in_paragraph_properties_ == 0) {
        end_paragraph_properties();
      }
      break;
    case Token::run_properties:
      if (in_run_properties_ != 0) --in_run_properties_;
      if (in_run_properties_ == 0 && in_paragraph_properties_ == 0 && !paragraphs_.empty() &&
          paragraphs_.back().in_run) {
        const Paragraph& run = paragraphs_.back();
        set_run_hidden(run.vanish.value_or(style_vanishes() != run.style_vanish));
      }
      break;
    case Token::row_properties:
      if (std::exchange(in_row_properties_, false)) tables_.end_row_properties();
      break;
    default:
      break;
  }
}

void Story::characters(std::string_view text) {
  switch (capture_) {
    case Capture::none:
      return;
    case Capture::instruction:
      fields_.append_instruction(text);
      return;
    case Capture::phonetic:
      if (phonetic_.size() < most_kept_bytes) phonetic_ += text;
      return;
    case Capture::trimmed_text:
      captured_ += text;
      if (captured_.size() > most_kept_bytes) {
        output_.text(word::trimmed(captured_));
        capture_ = Capture::text;
      }
      return;
    case Capture::text:
      break;
  }
  // A line's end in the markup is white space like any other.
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    output_.text(text.substr(0, end));
    if (end == text.size()) break;
    output_.text(" ");
    text.remove_prefix(end + 1);
  }
}

void Story::finish() {
  while (!boxes_.empty()) end_box();
  fields_.close(0);
  if (!paragraphs_.empty()) end_paragraph();
  paragraphs_.clear();
  tables_.close(0);
  output_.paragraph();
  output_.write_deferred();
  output_.paragraph();
  for (const Region region : {Region::inserted, Region::deleted, Region::hidden}) {
    while (output_.is_open(region)) output_.close(region);
  }
  if (note_region_) output_.close(*std::exchange(note_region_, std::nullopt));
}

const OpcRelationship* Story::relationship(std::string_view id) {
  if (id.empty()) return nullptr;
  if (!relationships_) relationships_ = context_.package.relationships(part_);
  const OpcRelationship* found = relationships_->by_id(id);
  return found == nullptr || found->external ? nullptr : found;
}

void Story::alternative_text(std::string_view text) {
  text = word::trimmed(text);
  if (text.empty() || text == last_alternative_text_) return;
  last_alternative_text_ = text;
  output_.begin_deferred();
  output_.open(Region::alternative_text);
  output_.text(text);
  output_.paragraph();
  output_.close(Region::alternative_text);
  output_.end_deferred();
}

void Story::deferred_lines(std::string_view lines) {
  if (lines.empty()) return;
  output_.begin_deferred();
  while (!lines.empty()) {
    const std::size_t end = std::min(lines.find('\n'), lines.size());
    output_.text(lines.substr(0, end));
    output_.paragraph();
    lines.remove_prefix(std::min(end + 1, lines.size()));
  }
  output_.end_deferred();
}

template <typename Show>
void Story::deferred_part(Show show) {
  // The part's text is laid out on its own first.
  Options options = output_.options();
  options.byte_order_mark = false;
  TextSink sink(options, context_.package.limits());
  show(sink);
  deferred_lines(sink.take_all());
}

}  // namespace trfilter::docx
