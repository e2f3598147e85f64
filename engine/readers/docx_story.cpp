#include "engine/readers/docx_story.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "engine/core/symbol_font.h"
#include "engine/core/utf8.h"
#include "engine/drawing/drawing_parts.h"
#include "engine/readers/docx_chunk.h"
#include "engine/xml/name_table.h"

namespace trfilter::docx {

enum class StoryToken : unsigned char {
  other,
  // Content.
  paragraph,
  run,
  text,
  instruction,
  tab,
  line_break,
  carriage_return,
  no_break_hyphen,
  soft_hyphen,
  symbol,
  field_character,
  simple_field,
  inserted,
  deleted,
  table,
  row,
  cell,
  ruby,
  ruby_text,
  footnote,
  endnote,
  comment,
  text_box,
  alternate_content,
  choice,
  fallback,
  // Properties.
  paragraph_properties,
  run_properties,
  row_properties,
  paragraph_style,
  run_style,
  number_level,
  number_id,
  vanish,
  frame,
  section,
  grid_span,
  grid_before,
  hidden_row,
  table_description,
  // Objects.
  drawing_properties,
  vml_shape,
  vml_text_path,
  chart,
  diagram,
  chunk,
  // What says nothing or what has been.
  left_out,
};

namespace {

using Token = StoryToken;

constexpr NameTable element_names{std::array{
    NamedToken<Token>{"p", Token::paragraph},
    NamedToken<Token>{"r", Token::run},
    NamedToken<Token>{"t", Token::text},
    NamedToken<Token>{"delText", Token::text},
    NamedToken<Token>{"instrText", Token::instruction},
    NamedToken<Token>{"tab", Token::tab},
    NamedToken<Token>{"ptab", Token::tab},
    NamedToken<Token>{"br", Token::line_break},
    NamedToken<Token>{"cr", Token::carriage_return},
    NamedToken<Token>{"noBreakHyphen", Token::no_break_hyphen},
    NamedToken<Token>{"softHyphen", Token::soft_hyphen},
    NamedToken<Token>{"sym", Token::symbol},
    NamedToken<Token>{"fldChar", Token::field_character},
    NamedToken<Token>{"fldSimple", Token::simple_field},
    NamedToken<Token>{"ins", Token::inserted},
    NamedToken<Token>{"moveTo", Token::inserted},
    NamedToken<Token>{"del", Token::deleted},
    NamedToken<Token>{"moveFrom", Token::deleted},
    NamedToken<Token>{"tbl", Token::table},
    NamedToken<Token>{"tr", Token::row},
    NamedToken<Token>{"tc", Token::cell},
    NamedToken<Token>{"ruby", Token::ruby},
    NamedToken<Token>{"rt", Token::ruby_text},
    NamedToken<Token>{"footnote", Token::footnote},
    NamedToken<Token>{"endnote", Token::endnote},
    NamedToken<Token>{"comment", Token::comment},
    NamedToken<Token>{"txbxContent", Token::text_box},
    NamedToken<Token>{"AlternateContent", Token::alternate_content},
    NamedToken<Token>{"Choice", Token::choice},
    NamedToken<Token>{"Fallback", Token::fallback},
    NamedToken<Token>{"pPr", Token::paragraph_properties},
    NamedToken<Token>{"rPr", Token::run_properties},
    NamedToken<Token>{"trPr", Token::row_properties},
    NamedToken<Token>{"pStyle", Token::paragraph_style},
    NamedToken<Token>{"rStyle", Token::run_style},
    NamedToken<Token>{"ilvl", Token::number_level},
    NamedToken<Token>{"numId", Token::number_id},
    NamedToken<Token>{"vanish", Token::vanish},
    NamedToken<Token>{"framePr", Token::frame},
    NamedToken<Token>{"sectPr", Token::section},
    NamedToken<Token>{"gridSpan", Token::grid_span},
    NamedToken<Token>{"gridBefore", Token::grid_before},
    NamedToken<Token>{"hidden", Token::hidden_row},
    NamedToken<Token>{"tblDescription", Token::table_description},
    NamedToken<Token>{"docPr", Token::drawing_properties},
    NamedToken<Token>{"cNvPr", Token::drawing_properties},
    NamedToken<Token>{"shape", Token::vml_shape},
    NamedToken<Token>{"rect", Token::vml_shape},
    NamedToken<Token>{"roundrect", Token::vml_shape},
    NamedToken<Token>{"oval", Token::vml_shape},
    NamedToken<Token>{"group", Token::vml_shape},
    NamedToken<Token>{"textpath", Token::vml_text_path},
    NamedToken<Token>{"chart", Token::chart},
    NamedToken<Token>{"relIds", Token::diagram},
    NamedToken<Token>{"altChunk", Token::chunk},
    NamedToken<Token>{"tabs", Token::left_out},
    NamedToken<Token>{"sdtPr", Token::left_out},
    NamedToken<Token>{"sdtEndPr", Token::left_out},
    NamedToken<Token>{"rPrChange", Token::left_out},
    NamedToken<Token>{"pPrChange", Token::left_out},
    NamedToken<Token>{"tblPrChange", Token::left_out},
    NamedToken<Token>{"tblPrExChange", Token::left_out},
    NamedToken<Token>{"trPrChange", Token::left_out},
    NamedToken<Token>{"tcPrChange", Token::left_out},
    NamedToken<Token>{"ffData", Token::left_out},
    NamedToken<Token>{"delInstrText", Token::left_out},
    NamedToken<Token>{"binData", Token::left_out},
}};

constexpr std::string_view no_break_hyphen = "\xE2\x80\x91";
constexpr std::string_view soft_hyphen = "\xC2\xAD";

// Text that is kept until its element ends.
constexpr std::size_t most_kept_bytes = std::size_t{64} << 10;

/// Columns that a cell spans or that stand before a row, 1 and more.
unsigned column_count(const XmlElement& element) {
  return static_cast<unsigned>(std::max(1, whole_number(element.attribute("val")).value_or(1)));
}

bool is_wordprocessing(std::string_view uri) {
  return uri.find("wordprocessingml") != std::string_view::npos;
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
  const Token token = element_names.find(element.name());
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
  end_content(element_names.find(name));
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
