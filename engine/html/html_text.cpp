#include "engine/html/html_text.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace trfilter {
namespace {

// Elements in each other beyond this are read, but no longer kept track of, as browsers do.
constexpr std::size_t deepest = 512;

// Documents of frames in each other, beyond which they are not shown.
constexpr unsigned deepest_frame = 8;

// Text handed to the sink at once.
constexpr std::size_t line_size = std::size_t{4} << 10;

constexpr unsigned most_columns = 64;

// Bounds of the search for an open element.
constexpr unsigned any_scope = 1u << 0;
constexpr unsigned at_list = 1u << 1;
constexpr unsigned at_table = 1u << 2;
constexpr unsigned at_cell = 1u << 3;

constexpr std::size_t none = static_cast<std::size_t>(-1);

constexpr std::string_view opening_quote = "\xE2\x80\x9C";
constexpr std::string_view closing_quote = "\xE2\x80\x9D";

bool is_blank(char c) {
  return c == ' ' || c == '\n' || c == '\t' || c == '\f' || c == '\r';
}

std::uint32_t hash_of(std::string_view name) {
  std::uint32_t hash = 2166136261u;
  for (const char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
  return hash;
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Whether an inline style has `property: value`.
bool style_has(std::string_view style, std::string_view property, std::string_view value) {
  while (!style.empty()) {
    const std::size_t end = std::min(style.find(';'), style.size());
    std::string declaration;
    for (const char c : style.substr(0, std::min<std::size_t>(end, 256))) {
      if (!is_blank(c)) declaration.push_back(lower(c));
    }
    style.remove_prefix(std::min(end + 1, style.size()));
    const std::string_view view = declaration;
    if (view.starts_with(property) && view.substr(property.size()).starts_with(':') &&
        view.substr(property.size() + 1).starts_with(value)) {
      return true;
    }
  }
  return false;
}

bool is_hidden(const HtmlTag& tag) {
  if (tag.has_attribute("hidden")) return true;
  const std::string_view style = tag.attribute("style");
  if (style.empty()) return false;
  return style_has(style, "display", "none") || style_has(style, "visibility", "hidden");
}

}  // namespace

void HtmlText::flush() {
  if (line_.empty()) return;
  sink_->clean_text(line_);
  line_.clear();
}

void HtmlText::break_block() {
  if (!is_written()) return;
  flush();
  sink_->paragraph();
  at_line_begin_ = true;
  blank_due_ = false;
}

void HtmlText::write(std::string_view utf8) {
  if (blank_due_ && !at_line_begin_) line_.push_back(' ');
  blank_due_ = false;
  at_line_begin_ = false;
  line_.append(utf8);
  if (line_.size() >= line_size) flush();
}

/// What follows stands apart from what is before.
void HtmlText::separate() {
  if (is_written() && preserving_ == 0) blank_due_ = true;
}

void HtmlText::text(std::string_view utf8) {
  if (!is_written() || utf8.empty()) return;
  if (preserving_ != 0) {
    if (drop_line_feed_ && utf8.front() == '\n') utf8.remove_prefix(1);
    drop_line_feed_ = false;
    if (utf8.empty()) return;
    if (blank_due_ && !at_line_begin_) line_.push_back(' ');
    blank_due_ = false;
    line_.append(utf8);
    at_line_begin_ = utf8.back() == '\n';
    if (line_.size() >= line_size) flush();
    return;
  }
  std::size_t at = 0;
  while (at < utf8.size()) {
    if (is_blank(utf8[at])) {
      blank_due_ = true;
      while (at < utf8.size() && is_blank(utf8[at])) ++at;
      continue;
    }
    // A run of words with single blanks between them.
    std::size_t end = at + 1;
    while (end < utf8.size() &&
           (!is_blank(utf8[end]) ||
            (utf8[end] == ' ' && end + 1 < utf8.size() && !is_blank(utf8[end + 1])))) {
      ++end;
    }
    write(utf8.substr(at, end - at));
    at = end;
  }
}

void HtmlText::alternative_text(std::string_view text_of_picture) {
  if (!is_written() || text_of_picture.empty()) return;
  flush();
  const unsigned preserving = preserving_;
  preserving_ = 0;
  if (sink_->begin(Region::alternative_text)) {
    text(text_of_picture);
    flush();
  }
  sink_->end(Region::alternative_text);
  preserving_ = preserving;
}

void HtmlText::field(const HtmlTag& tag) {
  std::string type(tag.attribute("type").substr(0, 16));
  std::ranges::transform(type, type.begin(), lower);
  for (const std::string_view unseen :
       {"hidden", "password", "checkbox", "radio", "file", "range", "color"}) {
    if (type == unseen) return;
  }
  if (type == "image") {
    alternative_text(tag.attribute("alt"));
    return;
  }
  std::string_view value = tag.attribute("value");
  if (value.empty()) value = tag.attribute("placeholder");
  if (value.empty()) return;
  separate();
  text(value);
  separate();
}

void HtmlText::frame_document(std::string_view html) {
  if (!is_written() || html.empty() || frame_depth_ == deepest_frame) return;
  break_block();
  HtmlText inner(*sink_);
  inner.frame_depth_ = frame_depth_ + 1;
  HtmlTokenizer tokenizer(inner);
  tokenizer.feed(html);
  tokenizer.finish();
  inner.finish();
}

std::size_t HtmlText::find_open(HtmlElement element, std::uint32_t name_hash,
                                unsigned bounds) const {
  if (open_count_[static_cast<std::size_t>(element)] == 0) return none;
  for (std::size_t at = stack_.size(); at-- > 0;) {
    const Open& open = stack_[at];
    if (open.element == element && (element != HtmlElement::other || open.name_hash == name_hash)) {
      return at;
    }
    const bool is_table = open.element == HtmlElement::table;
    const bool is_cell = open.element == HtmlElement::cell;
    const bool is_box =
        is_cell || open.element == HtmlElement::caption || open.element == HtmlElement::button;
    if (open.element == HtmlElement::template_) return none;
    if ((bounds & at_table) != 0 && is_table) return none;
    if ((bounds & any_scope) != 0 && (is_table || is_box)) return none;
    if ((bounds & at_cell) != 0 && is_cell) return none;
    if ((bounds & at_list) != 0 && open.element == HtmlElement::list) return none;
  }
  return none;
}

void HtmlText::close_top() {
  const Open open = stack_.back();
  stack_.pop_back();
  --open_count_[static_cast<std::size_t>(open.element)];
  switch (open.element) {
    case HtmlElement::cell:
      if (is_written()) {
        flush();
        if (open.cell_is_block) {
          sink_->paragraph();
        } else {
          sink_->cell(open.columns);
        }
        at_line_begin_ = true;
        blank_due_ = false;
      }
      break;
    case HtmlElement::row:
      if (is_written()) {
        flush();
        sink_->row();
        at_line_begin_ = true;
        blank_due_ = false;
      }
      break;
    case HtmlElement::table:
      break_block();
      // The cell around it is text in paragraphs.
      for (std::size_t at = stack_.size(); at-- > 0;) {
        if (stack_[at].element == HtmlElement::table) break;
        if (stack_[at].element == HtmlElement::cell) stack_[at].cell_is_block = true;
      }
      break;
    case HtmlElement::q:
      if (is_written()) write(closing_quote);
      break;
    default:
      break;
  }
  if (open.skipped) --skipped_;
  if (open.preserves) --preserving_;
  if (open.hidden) {
    flush();
    sink_->end(Region::hidden);
  }
}

void HtmlText::close_until(std::size_t size) {
  while (stack_.size() > size) close_top();
}

void HtmlText::close_one_of(std::initializer_list<HtmlElement> elements, unsigned bounds) {
  std::size_t innermost = none;
  for (const HtmlElement element : elements) {
    const std::size_t at = find_open(element, 0, bounds);
    if (at != none && (innermost == none || at < innermost)) innermost = at;
  }
  if (innermost != none) close_until(innermost);
}

/// Start tags that end what is open before them (HTML standard, section "Tree construction").
void HtmlText::close_implied(HtmlElement element) {
  switch (element) {
    case HtmlElement::li:
      close_one_of({HtmlElement::li}, any_scope | at_list);
      break;
    case HtmlElement::definition:
      close_one_of({HtmlElement::definition}, any_scope | at_list);
      break;
    case HtmlElement::option:
      close_one_of({HtmlElement::option}, any_scope);
      break;
    case HtmlElement::optgroup:
      close_one_of({HtmlElement::option, HtmlElement::optgroup}, any_scope);
      break;
    case HtmlElement::cell:
      close_one_of({HtmlElement::cell, HtmlElement::caption}, at_table);
      break;
    case HtmlElement::row:
      close_one_of({HtmlElement::cell, HtmlElement::caption, HtmlElement::row}, at_table);
      break;
    case HtmlElement::row_group:
      close_one_of(
          {HtmlElement::cell, HtmlElement::caption, HtmlElement::row, HtmlElement::row_group},
          at_table);
      break;
    default:
      break;
  }
}

void HtmlText::open(const HtmlTag& tag, const HtmlElementRow& row) {
  if (stack_.size() >= deepest && row.element == HtmlElement::other) return;
  if (stack_.size() >= 2 * deepest) return;
  Open open{row.element, hash_of(tag.name())};
  if (row.has(HtmlElementRow::hidden) || is_hidden(tag)) {
    flush();
    open.hidden = true;
    open.skipped = !sink_->begin(Region::hidden);
  }
  open.skipped = open.skipped || row.has(HtmlElementRow::skipped);
  open.preserves = row.has(HtmlElementRow::preserves);
  if (row.element == HtmlElement::cell) {
    const std::string_view span = tag.attribute("colspan");
    unsigned columns = 1;
    const auto read = std::from_chars(span.data(), span.data() + span.size(), columns);
    if (read.ec == std::errc::result_out_of_range) columns = most_columns;
    open.columns = static_cast<std::uint16_t>(std::clamp(columns, 1u, most_columns));
  }
  if (open.skipped) ++skipped_;
  if (open.preserves) {
    ++preserving_;
    drop_line_feed_ = true;
  }
  stack_.push_back(open);
  ++open_count_[static_cast<std::size_t>(row.element)];
}

void HtmlText::start_tag(const HtmlTag& tag) {
  const HtmlElementRow& row = html_element_of(tag.name());
  drop_line_feed_ = false;
  if (row.has(HtmlElementRow::block) && row.element != HtmlElement::option &&
      row.element != HtmlElement::title) {
    close_one_of({HtmlElement::p}, any_scope);
  }
  if (row.element == HtmlElement::select) close_one_of({HtmlElement::select}, any_scope);
  close_implied(row.element);
  if (row.has(HtmlElementRow::block)) break_block();
  if (row.has(HtmlElementRow::box)) separate();
  if (row.element == HtmlElement::row || row.element == HtmlElement::cell) {
    if (is_written()) {
      flush();
      at_line_begin_ = true;
      blank_due_ = false;
      if (row.element == HtmlElement::row) sink_->begin_row();
    }
  }
  switch (row.element) {
    case HtmlElement::br:
      if (is_written() && !is_hidden(tag)) {
        flush();
        if (sink_->has_text()) sink_->line();
        at_line_begin_ = true;
        blank_due_ = false;
      }
      return;
    case HtmlElement::img:
    case HtmlElement::area:
      if (!is_hidden(tag)) alternative_text(tag.attribute("alt"));
      return;
    case HtmlElement::input:
      if (!is_hidden(tag)) field(tag);
      return;
    default:
      break;
  }
  if (tag.name() == "iframe" && !is_hidden(tag)) frame_document(tag.attribute("srcdoc"));
  if (row.has(HtmlElementRow::empty) || tag.self_closing()) return;
  open(tag, row);
  if (row.element == HtmlElement::q && is_written()) write(opening_quote);
}

void HtmlText::end_tag(std::string_view name) {
  const HtmlElementRow& row = html_element_of(name);
  drop_line_feed_ = false;
  if (row.element == HtmlElement::br) {
    // "</br>" is read as "<br>".
    if (is_written()) {
      flush();
      if (sink_->has_text()) sink_->line();
      at_line_begin_ = true;
      blank_due_ = false;
    }
    return;
  }
  unsigned bounds = any_scope;
  if (row.element == HtmlElement::table || row.element == HtmlElement::html ||
      row.element == HtmlElement::body || row.element == HtmlElement::template_) {
    bounds = 0;
  } else if (row.element == HtmlElement::cell || row.element == HtmlElement::row ||
             row.element == HtmlElement::row_group || row.element == HtmlElement::caption) {
    bounds = at_table;
  } else if (row.element == HtmlElement::li) {
    bounds = any_scope | at_list;
  }
  const bool body_end = row.element == HtmlElement::body || row.element == HtmlElement::html;
  const std::size_t at = body_end ? none : find_open(row.element, hash_of(name), bounds);
  if (at != none) {
    // The elements inside end first; the block's own end is a paragraph's end of the same
    // visibility.
    close_until(at + 1);
    if (row.has(HtmlElementRow::block)) break_block();
    close_top();
  } else if (row.has(HtmlElementRow::block)) {
    break_block();
  }
  if (row.has(HtmlElementRow::box)) separate();
}

void HtmlText::finish() {
  close_until(0);
  flush();
  sink_->paragraph();
  at_line_begin_ = true;
  blank_due_ = false;
}

}  // namespace trfilter
