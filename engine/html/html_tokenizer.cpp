#include "engine/html/html_tokenizer.h"

#include <algorithm>
#include <array>

#include "engine/html/html_entities.h"

namespace trfilter {
namespace {

constexpr std::size_t longest_name = 64;
constexpr std::size_t longest_attributes = std::size_t{1} << 20;
constexpr std::size_t most_attributes = 512;

constexpr std::string_view blanks = " \t\n\f\r";
constexpr std::string_view comment_begin = "--";
constexpr std::string_view cdata_begin = "[CDATA[";
constexpr std::string_view cdata_end = "]]>";
constexpr std::string_view document_type_begin = "doctype";

bool is_blank(char c) {
  return c == ' ' || c == '\n' || c == '\t' || c == '\f' || c == '\r';
}
bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool is_reference_byte(char c) {
  return is_letter(c) || (c >= '0' && c <= '9') || c == '#';
}
char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

void append_lower(std::string& out, std::string_view text) {
  for (const char c : text) out.push_back(lower(c));
}

bool equals_ignoring_case(std::string_view text, std::string_view lower_case) {
  return std::ranges::equal(text, lower_case, {}, lower);
}

}  // namespace

const HtmlTag::Attribute* HtmlTag::find(std::string_view name) const {
  for (const Attribute& attribute : attributes_) {
    const auto length = attribute.name_end - attribute.name_begin;
    if (std::string_view(bytes_).substr(attribute.name_begin, length) == name) return &attribute;
  }
  return nullptr;
}

std::string_view HtmlTag::attribute(std::string_view name) const {
  const Attribute* found = find(name);
  if (found == nullptr) return {};
  return std::string_view(bytes_).substr(found->name_end, found->value_end - found->name_end);
}

bool HtmlTag::has_attribute(std::string_view name) const {
  return find(name) != nullptr;
}

void HtmlTag::assign(std::string_view lower_case_name, bool self_closing) {
  name_ = lower_case_name;
  self_closing_ = self_closing;
  bytes_.clear();
  attributes_.clear();
}

void HtmlTag::add(std::string_view lower_case_name, std::string_view value) {
  const std::size_t begin = bytes_.size();
  bytes_.append(lower_case_name);
  const std::size_t name_end = bytes_.size();
  bytes_.append(value);
  attributes_.push_back({begin, name_end, bytes_.size()});
}

void HtmlTokenizer::feed(std::string_view utf8) {
  while (!utf8.empty()) utf8.remove_prefix(advance(utf8));
}

void HtmlTokenizer::finish() {
  switch (state_) {
    case State::reference: {
      resolved_.clear();
      const std::size_t taken = resolve_reference(pending_, ReferencePlace::text, resolved_);
      emit(resolved_);
      emit(std::string_view(pending_).substr(taken));
      break;
    }
    case State::tag_open:
      emit("<");
      break;
    case State::end_tag_open:
      emit("</");
      break;
    case State::raw_text:
    case State::cdata:
      emit(pending_);
      break;
    case State::tag_name:
    case State::before_attribute:
    case State::attribute_name:
    case State::after_attribute_name:
    case State::before_value:
    case State::value_double_quoted:
    case State::value_single_quoted:
    case State::value_unquoted:
    case State::self_closing_slash:
      // A document cut off within a tag.
      end_of_tag();
      break;
    default:
      break;
  }
  pending_.clear();
  state_ = State::data;
}

std::size_t HtmlTokenizer::advance(std::string_view rest) {
  switch (state_) {
    case State::data:
      return data(rest);
    case State::reference:
      return reference(rest);
    case State::tag_open:
      return tag_open(rest);
    case State::end_tag_open:
      return end_tag_open(rest);
    case State::tag_name:
      return tag_name(rest);
    case State::before_attribute:
      return before_attribute(rest);
    case State::attribute_name:
      return attribute_name(rest);
    case State::after_attribute_name:
      return after_attribute_name(rest);
    case State::before_value:
      return before_value(rest);
    case State::value_double_quoted:
      return quoted_value(rest, '"');
    case State::value_single_quoted:
      return quoted_value(rest, '\'');
    case State::value_unquoted:
      return unquoted_value(rest);
    case State::self_closing_slash:
      return self_closing_slash(rest);
    case State::markup_declaration:
      return markup_declaration(rest);
    case State::comment:
      return comment(rest);
    case State::instruction:
      return instruction(rest);
    case State::document_type:
      return document_type(rest);
    case State::cdata:
      return cdata(rest);
    case State::raw_text:
      return raw_text(rest);
    case State::bogus_comment: {
      const std::size_t end = rest.find('>');
      if (end == std::string_view::npos) return rest.size();
      state_ = State::data;
      return end + 1;
    }
    case State::plain_text:
      emit(rest);
      return rest.size();
  }
  return rest.size();
}

void HtmlTokenizer::emit(std::string_view text) {
  if (!text.empty() && raw_ != Raw::hidden) handler_->text(text);
}

std::size_t HtmlTokenizer::data(std::string_view rest) {
  std::size_t end = 0;
  while (end < rest.size() && rest[end] != '<' && rest[end] != '&') ++end;
  emit(rest.substr(0, end));
  if (end == rest.size()) return end;
  if (rest[end] == '<') {
    state_ = State::tag_open;
  } else {
    state_ = State::reference;
    pending_ = "&";
  }
  return end + 1;
}

std::size_t HtmlTokenizer::reference(std::string_view rest) {
  std::size_t end = 0;
  while (end < rest.size() && pending_.size() + end < longest_reference &&
         is_reference_byte(rest[end])) {
    ++end;
  }
  const bool complete = end < rest.size() || pending_.size() + end == longest_reference;
  std::size_t taken = end;
  if (end < rest.size() && rest[end] == ';') ++taken;
  pending_.append(rest.substr(0, taken));
  if (!complete) return taken;
  state_ = raw_ == Raw::no ? State::data : State::raw_text;
  resolved_.clear();
  const std::size_t used = resolve_reference(pending_, ReferencePlace::text, resolved_);
  emit(resolved_);
  emit(std::string_view(pending_).substr(used));
  pending_.clear();
  return taken;
}

std::size_t HtmlTokenizer::tag_open(std::string_view rest) {
  const char c = rest.front();
  if (is_letter(c)) {
    begin_tag(false);
    return 0;
  }
  if (c == '/') {
    state_ = State::end_tag_open;
    return 1;
  }
  if (c == '!') {
    state_ = State::markup_declaration;
    pending_.clear();
    return 1;
  }
  if (c == '?') {
    state_ = State::instruction;
    pending_.clear();
    return 1;
  }
  state_ = State::data;
  emit("<");
  return 0;
}

std::size_t HtmlTokenizer::end_tag_open(std::string_view rest) {
  if (is_letter(rest.front())) {
    begin_tag(true);
    return 0;
  }
  state_ = rest.front() == '>' ? State::data : State::bogus_comment;
  return rest.front() == '>' ? 1 : 0;
}

void HtmlTokenizer::begin_tag(bool end) {
  state_ = State::tag_name;
  tag_is_end_ = end;
  tag_.name_.clear();
  tag_.bytes_.clear();
  tag_.attributes_.clear();
  tag_.self_closing_ = false;
  attribute_open_ = false;
}

std::size_t HtmlTokenizer::tag_name(std::string_view rest) {
  std::size_t end = 0;
  while (end < rest.size() && !is_blank(rest[end]) && rest[end] != '/' && rest[end] != '>') ++end;
  const std::size_t room = longest_name - std::min(longest_name, tag_.name_.size());
  append_lower(tag_.name_, rest.substr(0, std::min(end, room)));
  if (end == rest.size()) return end;
  state_ = State::before_attribute;
  return end;
}

std::size_t HtmlTokenizer::before_attribute(std::string_view rest) {
  end_attribute();
  const std::size_t at = rest.find_first_not_of(blanks);
  if (at == std::string_view::npos) return rest.size();
  if (rest[at] == '>') {
    end_of_tag();
    return at + 1;
  }
  if (rest[at] == '/') {
    state_ = State::self_closing_slash;
    return at + 1;
  }
  begin_attribute();
  if (rest[at] == '=') {
    // The standard takes it for the first letter of a name.
    append_to_attribute("=");
    tag_.attributes_.back().name_end = tag_.bytes_.size();
    state_ = State::attribute_name;
    return at + 1;
  }
  state_ = State::attribute_name;
  return at;
}

void HtmlTokenizer::begin_attribute() {
  attribute_open_ = true;
  value_has_reference_ = false;
  attribute_dropped_ = tag_.attributes_.size() >= most_attributes;
  const std::size_t at = tag_.bytes_.size();
  if (!attribute_dropped_) tag_.attributes_.push_back({at, at, at});
}

void HtmlTokenizer::append_to_attribute(std::string_view bytes) {
  if (attribute_dropped_) return;
  const std::size_t room = longest_attributes - std::min(longest_attributes, tag_.bytes_.size());
  tag_.bytes_.append(bytes.substr(0, room));
  tag_.attributes_.back().value_end = tag_.bytes_.size();
}

void HtmlTokenizer::end_attribute() {
  if (!attribute_open_) return;
  attribute_open_ = false;
  if (attribute_dropped_ || !value_has_reference_) return;
  HtmlTag::Attribute& attribute = tag_.attributes_.back();
  const std::string_view value = std::string_view(tag_.bytes_).substr(attribute.name_end);
  resolved_.clear();
  std::size_t from = 0;
  for (std::size_t at = value.find('&'); at != std::string_view::npos; at = value.find('&', at)) {
    resolved_.append(value, from, at - from);
    const std::size_t used =
        resolve_reference(value.substr(at), ReferencePlace::attribute, resolved_);
    from = at + used;
    at += std::max<std::size_t>(used, 1);
  }
  resolved_.append(value.substr(from));
  tag_.bytes_.resize(attribute.name_end);
  tag_.bytes_.append(resolved_);
  attribute.value_end = tag_.bytes_.size();
}

std::size_t HtmlTokenizer::attribute_name(std::string_view rest) {
  std::size_t end = 0;
  while (end < rest.size() && !is_blank(rest[end]) && rest[end] != '/' && rest[end] != '>' &&
         rest[end] != '=') {
    ++end;
  }
  if (!attribute_dropped_) {
    HtmlTag::Attribute& attribute = tag_.attributes_.back();
    const std::size_t length = attribute.name_end - attribute.name_begin;
    const std::size_t room = longest_name - std::min(longest_name, length);
    append_lower(tag_.bytes_, rest.substr(0, std::min(end, room)));
    attribute.name_end = attribute.value_end = tag_.bytes_.size();
  }
  if (end == rest.size()) return end;
  state_ = State::after_attribute_name;
  return end;
}

std::size_t HtmlTokenizer::after_attribute_name(std::string_view rest) {
  const std::size_t at = rest.find_first_not_of(blanks);
  if (at == std::string_view::npos) return rest.size();
  if (rest[at] == '=') {
    state_ = State::before_value;
    return at + 1;
  }
  state_ = State::before_attribute;
  return at;
}

std::size_t HtmlTokenizer::before_value(std::string_view rest) {
  const std::size_t at = rest.find_first_not_of(blanks);
  if (at == std::string_view::npos) return rest.size();
  switch (rest[at]) {
    case '"':
      state_ = State::value_double_quoted;
      return at + 1;
    case '\'':
      state_ = State::value_single_quoted;
      return at + 1;
    case '>':
      state_ = State::before_attribute;
      return at;
    default:
      state_ = State::value_unquoted;
      return at;
  }
}

std::size_t HtmlTokenizer::quoted_value(std::string_view rest, char quote) {
  const std::size_t end = std::min(rest.find(quote), rest.size());
  const std::string_view value = rest.substr(0, end);
  value_has_reference_ = value_has_reference_ || value.find('&') != std::string_view::npos;
  append_to_attribute(value);
  if (end == rest.size()) return end;
  state_ = State::before_attribute;
  return end + 1;
}

std::size_t HtmlTokenizer::unquoted_value(std::string_view rest) {
  std::size_t end = 0;
  while (end < rest.size() && !is_blank(rest[end]) && rest[end] != '>') ++end;
  const std::string_view value = rest.substr(0, end);
  value_has_reference_ = value_has_reference_ || value.find('&') != std::string_view::npos;
  append_to_attribute(value);
  if (end == rest.size()) return end;
  state_ = State::before_attribute;
  return end;
}

std::size_t HtmlTokenizer::self_closing_slash(std::string_view rest) {
  if (rest.front() == '>') {
    tag_.self_closing_ = syntax_ == Syntax::xml || foreign_depth_ != 0;
    end_of_tag();
    return 1;
  }
  state_ = State::before_attribute;
  return 0;
}

void HtmlTokenizer::end_of_tag() {
  end_attribute();
  state_ = State::data;
  const std::string_view name = tag_.name_;
  const bool foreign = name == "svg" || name == "math";
  if (tag_is_end_) {
    if (foreign && foreign_depth_ != 0) --foreign_depth_;
    handler_->end_tag(name);
    return;
  }
  handler_->start_tag(tag_);
  if (tag_.self_closing_) return;
  if (foreign) ++foreign_depth_;
  if (name == "script" || name == "style" || name == "iframe" || name == "noembed") {
    raw_ = Raw::hidden;
  } else if (name == "xmp") {
    raw_ = Raw::shown;
  } else if ((name == "title" || name == "textarea") && foreign_depth_ == 0 &&
             syntax_ == Syntax::html) {
    raw_ = Raw::with_references;
  } else {
    if (name == "plaintext" && syntax_ == Syntax::html) state_ = State::plain_text;
    return;
  }
  raw_name_ = name;
  pending_.clear();
  state_ = State::raw_text;
}

std::size_t HtmlTokenizer::markup_declaration(std::string_view rest) {
  // What it is shows within the next seven bytes.
  pending_.push_back(rest.front());
  const std::string_view so_far = pending_;
  if (so_far == comment_begin) {
    state_ = State::comment;
    return 1;
  }
  const bool cdata_allowed = syntax_ == Syntax::xml || foreign_depth_ != 0;
  if (so_far == cdata_begin && cdata_allowed) {
    state_ = State::cdata;
    pending_.clear();
    return 1;
  }
  if (equals_ignoring_case(so_far, document_type_begin)) {
    state_ = State::document_type;
    bracket_depth_ = 0;
    return 1;
  }
  const auto may_become = [&](std::string_view what) {
    return so_far.size() < what.size() &&
           equals_ignoring_case(so_far, what.substr(0, so_far.size()));
  };
  if (may_become(comment_begin) || (cdata_allowed && cdata_begin.starts_with(so_far)) ||
      may_become(document_type_begin)) {
    return 1;
  }
  state_ = State::bogus_comment;
  const bool ends_here = so_far.find('>') != std::string_view::npos;
  if (ends_here) state_ = State::data;
  return 1;
}

std::size_t HtmlTokenizer::comment(std::string_view rest) {
  // The last bytes of the comment are kept in pending_: "-->" and "--!>" end it.
  std::size_t at = 0;
  while (true) {
    const std::size_t end = rest.find('>', at);
    const std::string_view before = rest.substr(at, std::min(end, rest.size()) - at);
    if (before.size() >= 3) {
      pending_ = before.substr(before.size() - 3);
    } else {
      pending_.append(before);
      if (pending_.size() > 3) pending_.erase(0, pending_.size() - 3);
    }
    if (end == std::string_view::npos) return rest.size();
    if (pending_.ends_with("--") || pending_ == "--!") {
      state_ = State::data;
      return end + 1;
    }
    pending_ = ">";
    at = end + 1;
  }
}

std::size_t HtmlTokenizer::instruction(std::string_view rest) {
  const std::size_t end = rest.find('>');
  if (end == std::string_view::npos) {
    pending_ = rest.substr(rest.size() - 1);
    return rest.size();
  }
  const char before = end == 0 ? (pending_.empty() ? '\0' : pending_.back()) : rest[end - 1];
  pending_ = ">";
  if (syntax_ == Syntax::html || before == '?') state_ = State::data;
  return end + 1;
}

std::size_t HtmlTokenizer::document_type(std::string_view rest) {
  for (std::size_t at = 0; at < rest.size(); ++at) {
    if (rest[at] == '[' && syntax_ == Syntax::xml) ++bracket_depth_;
    if (rest[at] == ']' && bracket_depth_ != 0) --bracket_depth_;
    if (rest[at] == '>' && bracket_depth_ == 0) {
      state_ = State::data;
      return at + 1;
    }
  }
  return rest.size();
}

std::size_t HtmlTokenizer::cdata(std::string_view rest) {
  if (pending_.empty()) {
    const std::size_t end = std::min(rest.find(']'), rest.size());
    emit(rest.substr(0, end));
    if (end < rest.size()) pending_ = "]";
    return std::min(end + 1, rest.size());
  }
  pending_.push_back(rest.front());
  if (pending_ == cdata_end) {
    pending_.clear();
    state_ = State::data;
    return 1;
  }
  while (!pending_.empty() && !cdata_end.starts_with(pending_)) {
    emit(std::string_view(pending_).substr(0, 1));
    pending_.erase(0, 1);
  }
  return 1;
}

std::size_t HtmlTokenizer::raw_text(std::string_view rest) {
  if (pending_.empty()) {
    std::size_t end = 0;
    if (raw_ == Raw::with_references) {
      while (end < rest.size() && rest[end] != '<' && rest[end] != '&') ++end;
    } else {
      end = std::min(rest.find('<'), rest.size());
    }
    emit(rest.substr(0, end));
    if (end == rest.size()) return end;
    pending_ = rest[end];
    if (rest[end] == '&') state_ = State::reference;
    return end + 1;
  }
  // pending_ is a begin of "</name"; the byte behind it must end the name.
  const std::size_t length = raw_name_.size() + 2;
  const char c = rest.front();
  if (pending_.size() < length) {
    const std::size_t at = pending_.size();
    const char wanted = at == 1 ? '/' : raw_name_[at - 2];
    if (lower(c) == wanted) {
      pending_.push_back(c);
      return 1;
    }
  } else if (is_blank(c) || c == '/' || c == '>') {
    pending_.clear();
    begin_tag(true);
    tag_.name_ = raw_name_;
    raw_ = Raw::no;
    state_ = State::before_attribute;
    return 0;
  }
  const std::string text = std::move(pending_);
  pending_.clear();
  emit(text);
  return 0;
}

}  // namespace trfilter
