#include "engine/readers/pptx_shapes.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "engine/drawing/drawing_parts.h"
#include "engine/xml/name_table.h"

namespace trfilter::pptx {

enum class ShapeToken : std::uint8_t {
  other,
  slide,
  shape,
  shape_properties,
  placeholder,
  text_body,
  paragraph,
  paragraph_properties,
  auto_number,
  run,
  text,
  line_break,
  field,
  row,
  cell,
  table,
  chart,
  diagram,
  alternate_content,
  choice,
  fallback,
  left_out,
};

namespace {

using Token = ShapeToken;

constexpr NameTable element_names{std::array{
    NamedToken<Token>{"sld", Token::slide},
    NamedToken<Token>{"sp", Token::shape},
    NamedToken<Token>{"pic", Token::shape},
    NamedToken<Token>{"cxnSp", Token::shape},
    NamedToken<Token>{"grpSp", Token::shape},
    NamedToken<Token>{"graphicFrame", Token::shape},
    NamedToken<Token>{"contentPart", Token::shape},
    NamedToken<Token>{"cNvPr", Token::shape_properties},
    NamedToken<Token>{"ph", Token::placeholder},
    NamedToken<Token>{"txBody", Token::text_body},
    NamedToken<Token>{"p", Token::paragraph},
    NamedToken<Token>{"pPr", Token::paragraph_properties},
    NamedToken<Token>{"buAutoNum", Token::auto_number},
    NamedToken<Token>{"r", Token::run},
    NamedToken<Token>{"t", Token::text},
    NamedToken<Token>{"br", Token::line_break},
    NamedToken<Token>{"fld", Token::field},
    NamedToken<Token>{"tr", Token::row},
    NamedToken<Token>{"tc", Token::cell},
    NamedToken<Token>{"tbl", Token::table},
    NamedToken<Token>{"chart", Token::chart},
    NamedToken<Token>{"relIds", Token::diagram},
    NamedToken<Token>{"AlternateContent", Token::alternate_content},
    NamedToken<Token>{"Choice", Token::choice},
    NamedToken<Token>{"Fallback", Token::fallback},
    NamedToken<Token>{"lstStyle", Token::left_out},
    NamedToken<Token>{"txStyles", Token::left_out},
    NamedToken<Token>{"timing", Token::left_out},
    NamedToken<Token>{"extLst", Token::left_out},
}};

bool is_true(std::string_view text) {
  return text == "1" || text == "true";
}
bool is_false(std::string_view text) {
  return text == "0" || text == "false";
}

int whole_number(std::string_view text, int otherwise) {
  int value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  return result.ec == std::errc{} ? value : otherwise;
}

/// The style of an automatic number (20.1.10.61), e.g. "romanLcParenBoth".
NumberStyle number_style(std::string_view name) {
  if (name.starts_with("alphaLc")) return NumberStyle::lower_letter;
  if (name.starts_with("alphaUc")) return NumberStyle::upper_letter;
  if (name.starts_with("romanLc")) return NumberStyle::lower_roman;
  if (name.starts_with("romanUc")) return NumberStyle::upper_roman;
  if (name.starts_with("circleNum")) return NumberStyle::circled;
  if (name.starts_with("arabicDb")) return NumberStyle::full_width;
  if (name.starts_with("ea1")) return NumberStyle::cjk_counting;
  return NumberStyle::decimal;
}

void append_auto_number(std::string& out, std::string_view style, int number) {
  const bool in_parentheses = style.ends_with("ParenBoth");
  if (in_parentheses) out += '(';
  append_number(out, number_style(style), number);
  if (in_parentheses || style.ends_with("ParenR")) out += ')';
  if (style.ends_with("Period")) out += '.';
  if (style.ends_with("Minus")) out += '-';
  out += ' ';
}

}  // namespace

ShapesHandler::ShapesHandler(OpcPackage& package, TextSink& sink, std::string name, ShapePart part)
    : package_(package), sink_(sink), name_(std::move(name)), part_(part) {}

void ShapesHandler::start_element(const XmlElement& element) {
  if (skipped_ != 0) {
    ++skipped_;
    return;
  }
  const Token token = element_names.find(element.name());
  switch (token) {
    case Token::slide:
      start_part(element);
      break;
    case Token::shape:
      package_.limits().check_depth(static_cast<unsigned>(shapes_.size()));
      shapes_.emplace_back();
      break;
    case Token::shape_properties:
      start_properties(element);
      break;
    case Token::placeholder:
      start_placeholder(element.attribute("type"));
      break;
    case Token::text_body:
      counters_ = {};
      break;
    case Token::paragraph:
      start_paragraph();
      break;
    case Token::paragraph_properties:
      start_paragraph_properties(element);
      break;
    case Token::auto_number:
      start_numbering(element);
      break;
    case Token::run:
      start_run();
      break;
    case Token::text:
      in_text_ = shapes_left_out_ == 0;
      break;
    case Token::line_break:
      if (shapes_left_out_ == 0) sink_.line();
      break;
    case Token::field:
      start_field(element);
      break;
    case Token::row:
      sink_.begin_row();
      break;
    case Token::chart:
    case Token::diagram:
      start_object(token, element);
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
    case Token::left_out:
      skipped_ = 1;
      break;
    default:
      break;
  }
  if (MathStructure::is_math(element.uri()) && shapes_left_out_ == 0) {
    sink_.text(math_.start(element));
  }
}

void ShapesHandler::end_element(std::string_view name, std::string_view uri) {
  if (skipped_ != 0) {
    --skipped_;
    return;
  }
  if (MathStructure::is_math(uri) && shapes_left_out_ == 0) sink_.text(math_.end(name));
  switch (element_names.find(name)) {
    case Token::shape:
      end_shape();
      break;
    case Token::paragraph:
      // Without text it has no number.
      if (std::exchange(label_due_, false)) --counters_[level_].number;
      sink_.paragraph();
      break;
    case Token::text:
      in_text_ = false;
      break;
    case Token::field:
      if (std::exchange(in_date_, false)) sink_.end(Region::date_time_result);
      break;
    case Token::cell:
      sink_.cell();
      break;
    case Token::row:
      sink_.row();
      break;
    case Token::alternate_content:
      if (!choice_taken_.empty()) choice_taken_.pop_back();
      break;
    default:
      break;
  }
}

void ShapesHandler::characters(std::string_view text) {
  if (!in_text_) return;
  if (std::exchange(label_due_, false)) sink_.text(label_);
  sink_.text(text);
}

void ShapesHandler::finish() {
  if (std::exchange(in_date_, false)) sink_.end(Region::date_time_result);
  while (!shapes_.empty()) end_shape();
  sink_.paragraph();
  if (std::exchange(hidden_part_, false)) sink_.end(Region::hidden);
}

void ShapesHandler::start_part(const XmlElement& element) {
  if (hidden_part_ || !is_false(element.attribute("show"))) return;
  hidden_part_ = true;
  sink_.begin(Region::hidden);
}

void ShapesHandler::start_properties(const XmlElement& element) {
  if (shapes_.empty()) return;
  Shape& shape = shapes_.back();
  const std::string_view description = element.attribute("descr");
  shape.alternative_text = description.empty() ? element.attribute("title") : description;
  if (shape.hidden || !is_true(element.attribute("hidden"))) return;
  shape.hidden = true;
  sink_.begin(Region::hidden);
}

void ShapesHandler::start_placeholder(std::string_view type) {
  if (shapes_.empty() || shapes_.back().region || shapes_.back().left_out) return;
  Shape& shape = shapes_.back();
  const bool header = type == "hdr";
  const bool footer = type == "ftr" || type == "dt" || type == "sldNum";
  const bool shown = part_ == ShapePart::slide ||
                     (part_ == ShapePart::notes && type != "sldImg" && type != "sldNum") ||
                     (part_ == ShapePart::print_master && (header || footer));
  if (!shown) {
    shape.left_out = true;
    ++shapes_left_out_;
  } else if (header || footer) {
    shape.region = header ? Region::header : Region::footer;
    sink_.begin(*shape.region);
  }
}

void ShapesHandler::end_shape() {
  if (shapes_.empty()) return;
  const Shape shape = std::move(shapes_.back());
  shapes_.pop_back();
  sink_.paragraph();
  if (shapes_left_out_ == 0 && !shape.alternative_text.empty()) {
    sink_.begin(Region::alternative_text);
    sink_.text(shape.alternative_text);
    sink_.end(Region::alternative_text);
    sink_.paragraph();
  }
  if (shape.left_out) --shapes_left_out_;
  if (shape.region) sink_.end(*shape.region);
  if (shape.hidden) sink_.end(Region::hidden);
}

void ShapesHandler::start_paragraph() {
  level_ = 0;
  numbered_ = label_due_ = false;
}

void ShapesHandler::start_paragraph_properties(const XmlElement& element) {
  const int level = whole_number(element.attribute("lvl"), 0);
  level_ = static_cast<std::size_t>(std::clamp(level, 0, int{level_count} - 1));
}

void ShapesHandler::start_numbering(const XmlElement& element) {
  const std::string_view style = element.attribute("type");
  const int start = whole_number(element.attribute("startAt"), 1);
  Counter& counter = counters_[level_];
  if (counter.style != style || counter.number < start) {
    counter.style = style;
    counter.number = start - 1;
  }
  ++counter.number;
  label_.clear();
  append_auto_number(label_, style, counter.number);
  numbered_ = label_due_ = true;
}

void ShapesHandler::start_run() {
  // A paragraph of a higher level, or one without a number, ends the count of those below.
  for (std::size_t i = level_ + (numbered_ ? 1 : 0); i < level_count; ++i) counters_[i] = {};
}

void ShapesHandler::start_field(const XmlElement& element) {
  start_run();
  const std::string_view type = element.attribute("type");
  if (in_date_ || !type.starts_with("datetime") || shapes_left_out_ != 0) return;
  sink_.begin(Region::date_time_code);
  sink_.text(type);
  sink_.end(Region::date_time_code);
  sink_.begin(Region::date_time_result);
  in_date_ = true;
}

void ShapesHandler::start_object(Token token, const XmlElement& element) {
  const bool chart = token == Token::chart;
  const OpcRelationship* part = relationship(element.attribute(chart ? "id" : "dm"));
  if (part == nullptr || shapes_left_out_ != 0) return;
  sink_.paragraph();
  if (chart) {
    show_chart_part(package_, part->target, sink_, ChartTextHandler::Values::shown);
  } else {
    show_diagram_part(package_, part->target, sink_);
  }
}

const OpcRelationship* ShapesHandler::relationship(std::string_view id) {
  if (id.empty()) return nullptr;
  if (!relationships_) relationships_ = package_.relationships(name_);
  const OpcRelationship* found = relationships_->by_id(id);
  return found == nullptr || found->external ? nullptr : found;
}

void CommentsHandler::start_element(const XmlElement& element) {
  const std::string_view name = element.name();
  if (name == "text" || name == "t") {
    in_text_ = true;
  } else if (name == "br") {
    sink_.line();
  } else if (name == "cm" || name == "reply") {
    const auto author = authors_.find(element.attribute("authorId"));
    labels_.push_back(author == authors_.end() ? std::string() : comment_label(author->second));
  }
}

void CommentsHandler::end_element(std::string_view name, std::string_view) {
  if (name == "text" || name == "t") in_text_ = false;
  if (name == "text" || name == "p") sink_.paragraph();
  if ((name == "cm" || name == "reply") && !labels_.empty()) labels_.pop_back();
}

void CommentsHandler::characters(std::string_view text) {
  if (!in_text_) return;
  if (!labels_.empty()) sink_.text(std::exchange(labels_.back(), {}));
  sink_.text(text);
}

void AuthorsHandler::start_element(const XmlElement& element) {
  constexpr std::size_t most_authors = std::size_t{1} << 16;
  constexpr std::size_t longest_name = 1024;
  if (element.name() != "cmAuthor" && element.name() != "author") return;
  const std::string_view name = element.attribute("name");
  if (names.size() < most_authors && name.size() <= longest_name) {
    names.emplace(std::string(element.attribute("id")), std::string(name));
  }
}

}  // namespace trfilter::pptx
