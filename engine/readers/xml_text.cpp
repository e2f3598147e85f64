#include "engine/readers/xml_text.h"

#include <algorithm>

namespace trfilter {
namespace {

// Elements in each other beyond this are a part of the text around them.
constexpr std::size_t deepest = 4096;

constexpr std::size_t line_size = std::size_t{4} << 10;

bool is_blank(char c) {
  return c == ' ' || c == '\n' || c == '\t' || c == '\r';
}

bool is_blank_text(std::string_view text) {
  return std::ranges::all_of(text, is_blank);
}

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || static_cast<unsigned char>(c) >= 0x80;
}

}  // namespace

void XmlText::break_block() {
  if (!line_.empty()) sink_->clean_text(line_);
  line_.clear();
  sink_->paragraph();
  gap_ = Gap::none;
  blank_seen_ = false;
  at_line_begin_ = true;
}

void XmlText::soften(Gap gap) {
  gap_ = std::max(gap_, gap);
}

void XmlText::write(std::string_view utf8) {
  if (!line_.empty() && line_.size() + utf8.size() > line_size) {
    sink_->clean_text(line_);
    line_.clear();
  }
  if (gap_ >= Gap::soft_end) {
    break_block();
  } else if ((blank_seen_ || gap_ == Gap::blank) && !at_line_begin_) {
    line_.push_back(' ');
  }
  gap_ = Gap::none;
  blank_seen_ = false;
  at_line_begin_ = false;
  line_.append(utf8);
}

void XmlText::preserved(std::string_view utf8) {
  if (gap_ >= Gap::soft_end) break_block();
  gap_ = Gap::none;
  blank_seen_ = false;
  line_.append(utf8);
  at_line_begin_ = utf8.back() == '\n';
  if (line_.size() > line_size) {
    sink_->clean_text(line_);
    line_.clear();
  }
}

bool XmlText::is_skipped(const XmlElement& element) const {
  if (is_office_2003_data(element.name(), element.uri())) return true;
  const std::string_view name = element.name();
  if (vocabulary_ == Vocabulary::property_list) return name == "data";
  // Pictures of a FictionBook and of a flat package, in base64.
  if (name == "binary" && element.has_attribute("content-type")) return true;
  if (name == "binaryData") return true;
  return element.uri() == xml_namespace::svg && (name == "style" || name == "script");
}

bool XmlText::holds_escaped_html(const XmlElement& element) const {
  const std::string_view name = element.name();
  if (element.uri() == xml_namespace::atom) return element.attribute("type") == "html";
  if (vocabulary_ == Vocabulary::feed) {
    if (element.uri() == xml_namespace::rss_content) return name == "encoded";
    return name == "description" || name == "title" || name == "summary";
  }
  return vocabulary_ == Vocabulary::report && depth_ == 2 &&
         element.uri() != xml_namespace::xbrl_instance;
}

void XmlText::readable_attributes(const XmlElement& element) {
  for (int i = 0; i < element.attribute_count(); ++i) {
    const XmlElement::Attribute attribute = element.attribute_at(i);
    if (!attribute.uri.empty() || !is_readable_attribute(attribute.name)) continue;
    if (std::ranges::none_of(attribute.value, is_letter)) continue;
    const bool in_text = !stack_.empty() && stack_.back().has_text;
    soften(in_text ? Gap::blank : Gap::soft);
    const bool alternative = attribute.name == "alt";
    if (alternative) {
      if (!line_.empty()) sink_->clean_text(line_);
      line_.clear();
      if (gap_ == Gap::soft) break_block();
      sink_->begin(Region::alternative_text);
    }
    characters(attribute.value);
    if (alternative) {
      if (!line_.empty()) sink_->clean_text(line_);
      line_.clear();
      sink_->end(Region::alternative_text);
    }
    soften(in_text ? Gap::blank : Gap::soft);
  }
}

void XmlText::start_html(const XmlElement& element) {
  if (html_depth_++ == 0) {
    if (!stack_.empty() && stack_.back().has_text) {
      if (!line_.empty()) sink_->clean_text(line_);
      line_.clear();
    } else {
      break_block();
    }
  }
  lower_name_ = element.name();
  html_tag_.assign(lower_name_);
  for (int i = 0; i < element.attribute_count(); ++i) {
    const XmlElement::Attribute attribute = element.attribute_at(i);
    if (attribute.uri.empty()) html_tag_.add(attribute.name, attribute.value);
  }
  html_.start_tag(html_tag_);
}

void XmlText::property_list_start(std::string_view name) {
  if (name == "key") {
    sink_->row();
    sink_->begin_row();
  } else if (name == "dict" || name == "array") {
    sink_->row();
  } else if (name == "true" || name == "false") {
    sink_->text(name);
  }
}

void XmlText::property_list_end(std::string_view name) {
  if (name == "key") {
    sink_->cell();
  } else if (name != "data") {
    sink_->row();
  }
}

void XmlText::start_element(const XmlElement& element) {
  ++depth_;
  if (escaped_ != nullptr) return;
  if (skipped_ != 0) {
    ++skipped_;
    return;
  }
  if (depth_ == 1) {
    const std::string_view root = element.name();
    vocabulary_ = root == "rss" || root == "RDF" ? Vocabulary::feed
                  : root == "plist"              ? Vocabulary::property_list
                  : element.uri() == xml_namespace::xbrl_instance && root == "xbrl"
                      ? Vocabulary::report
                      : Vocabulary::other;
  }
  if (is_skipped(element)) {
    skipped_ = 1;
    return;
  }
  if (stack_.size() >= deepest) return;
  Open open;
  if (html_depth_ != 0 || element.uri() == xml_namespace::xhtml) {
    open.is_html = true;
    start_html(element);
    stack_.push_back(open);
    return;
  }
  if (vocabulary_ == Vocabulary::property_list) {
    open.preserves = element.name() == "string" || element.name() == "key";
    property_list_start(element.name());
    stack_.push_back(open);
    return;
  }
  const Open parent = stack_.empty() ? Open{} : stack_.back();
  const bool word_2003 = element.uri() == xml_namespace::word_2003;
  open.role = element.uri() == xml_namespace::mathml ? XmlRole::inline_
              : word_2003                            ? word_2003_role_of(element.name())
                                                     : xml_role_of(element.name());
  if (word_2003 && element.name() == "tab") characters("\t");
  open.in_text = parent.has_text || (parent.in_text && open.role != XmlRole::block);
  open.preserves = parent.preserves || open.role == XmlRole::preserved;
  if (element.attribute("space") == "preserve") open.preserves = true;
  if (element.attribute("space") == "default") open.preserves = false;
  switch (open.role) {
    case XmlRole::block:
    case XmlRole::preserved:
      break_block();
      break;
    case XmlRole::row:
      break_block();
      sink_->begin_row();
      break;
    case XmlRole::cell:
      if (!line_.empty()) sink_->clean_text(line_);
      line_.clear();
      gap_ = Gap::none;
      at_line_begin_ = true;
      break;
    case XmlRole::line_end:
      if (gap_ >= Gap::soft_end) break_block();
      if (!line_.empty()) sink_->clean_text(line_);
      line_.clear();
      if (sink_->has_text()) sink_->line();
      at_line_begin_ = true;
      blank_seen_ = false;
      break;
    case XmlRole::inline_:
      break;
    case XmlRole::unknown:
      if (parent.has_text) break;
      if (open.in_text) {
        soften(Gap::blank);
      } else if (gap_ == Gap::soft_end && blank_seen_ && !line_feed_seen_) {
        gap_ = Gap::blank;
      } else {
        soften(Gap::soft);
      }
      break;
  }
  line_feed_seen_ = false;
  readable_attributes(element);
  if (holds_escaped_html(element)) {
    break_block();
    escaped_text_ = std::make_unique<HtmlText>(*sink_);
    escaped_ = std::make_unique<HtmlTokenizer>(*escaped_text_);
    escaped_depth_ = depth_;
  }
  stack_.push_back(open);
}

void XmlText::end_element(std::string_view name, std::string_view) {
  const std::size_t depth = depth_--;
  if (escaped_ != nullptr) {
    if (depth != escaped_depth_) return;
    escaped_->finish();
    escaped_text_->finish();
    escaped_.reset();
    escaped_text_.reset();
    at_line_begin_ = true;
    gap_ = Gap::none;
    blank_seen_ = false;
  }
  if (skipped_ != 0) {
    --skipped_;
    return;
  }
  if (depth > stack_.size()) return;
  const Open open = stack_.back();
  stack_.pop_back();
  if (open.is_html) {
    html_.end_tag(name);
    if (--html_depth_ == 0) {
      html_.flush();
      const bool in_text = !stack_.empty() && stack_.back().has_text;
      if (!in_text) html_.finish();
      at_line_begin_ = !in_text;
    }
    return;
  }
  if (vocabulary_ == Vocabulary::property_list) {
    property_list_end(name);
    return;
  }
  switch (open.role) {
    case XmlRole::block:
    case XmlRole::preserved:
      break_block();
      break;
    case XmlRole::row:
      if (!line_.empty()) sink_->clean_text(line_);
      line_.clear();
      sink_->row();
      gap_ = Gap::none;
      at_line_begin_ = true;
      break;
    case XmlRole::cell:
      if (!line_.empty()) sink_->clean_text(line_);
      line_.clear();
      sink_->cell();
      gap_ = Gap::none;
      blank_seen_ = false;
      at_line_begin_ = true;
      break;
    case XmlRole::unknown:
      if (!stack_.empty() && stack_.back().has_text) break;
      soften(open.in_text ? Gap::blank : Gap::soft_end);
      break;
    case XmlRole::inline_:
    case XmlRole::line_end:
      break;
  }
  line_feed_seen_ = false;
}

void XmlText::characters(std::string_view text) {
  if (text.empty() || skipped_ != 0) return;
  if (escaped_ != nullptr) {
    escaped_->feed(text);
    return;
  }
  if (html_depth_ != 0) {
    html_.text(text);
    return;
  }
  if (vocabulary_ == Vocabulary::property_list) {
    if (!stack_.empty() && stack_.back().preserves) {
      sink_->text(text);
    } else if (!is_blank_text(text)) {
      sink_->text(text);
    }
    return;
  }
  if (!stack_.empty() && stack_.back().preserves) {
    preserved(text);
    return;
  }
  std::size_t at = 0;
  while (at < text.size()) {
    if (is_blank(text[at])) {
      blank_seen_ = true;
      for (; at < text.size() && is_blank(text[at]); ++at) {
        if (text[at] == '\n') line_feed_seen_ = true;
      }
      continue;
    }
    std::size_t end = at + 1;
    while (end < text.size() &&
           (!is_blank(text[end]) ||
            (text[end] == ' ' && end + 1 < text.size() && !is_blank(text[end + 1])))) {
      ++end;
    }
    // Text behind a child: the child was a part of it.
    if (gap_ == Gap::soft_end) gap_ = Gap::none;
    for (std::size_t i = stack_.size(); i-- > 0 && !stack_[i].has_text;) {
      stack_[i].has_text = true;
      if (stack_[i].role != XmlRole::inline_) break;
    }
    write(text.substr(at, end - at));
    at = end;
  }
}

void XmlText::finish() {
  if (escaped_ != nullptr) {
    escaped_->finish();
    escaped_text_->finish();
  }
  if (html_depth_ != 0) html_.finish();
  break_block();
}

}  // namespace trfilter
