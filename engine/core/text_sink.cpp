#include "engine/core/text_sink.h"

#include <array>
#include <cstring>

#include "engine/core/utf8.h"

namespace trfilter {
namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";
constexpr std::string_view soft_hyphen = "\xC2\xAD";
constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

// Tracked changes carry the marks of the word-wise difference notation.
constexpr std::string_view insertion_begin = "{+";
constexpr std::string_view insertion_end = "+}";
constexpr std::string_view deletion_begin = "[-";
constexpr std::string_view deletion_end = "-]";

constexpr std::string_view header_begin = "<header>";
constexpr std::string_view header_end = "</header>";
constexpr std::string_view footer_begin = "<footer>";
constexpr std::string_view footer_end = "</footer>";

// Text of one step; beyond that it waits in a file.
constexpr std::size_t most_in_memory = std::size_t{4} << 20;

}  // namespace

TextSink::TextSink(const Options& options, Limits& limits) : options_(&options), limits_(&limits) {
  if (options.byte_order_mark && !options.no_encoding_conversion) out_ = byte_order_mark;
}

void TextSink::text(std::string_view utf8) {
  if (utf8.empty() || suppressed_ != 0) return;
  while (!utf8.empty()) {
    const std::size_t clean = clean_utf8_prefix(utf8);
    append(utf8.substr(0, clean));
    utf8.remove_prefix(clean);
    if (utf8.empty()) break;
    if (utf8.front() == '\0' || utf8.front() == '\r') {
      utf8.remove_prefix(1);
      continue;
    }
    append(replacement);
    utf8.remove_prefix(1);
  }
}

void TextSink::clean_text(std::string_view utf8) {
  if (utf8.empty() || suppressed_ != 0) return;
  append(utf8);
}

void TextSink::verbatim(std::string_view bytes) {
  if (bytes.empty()) return;
  put(bytes);
  line_empty_ = true;
}

void TextSink::character(char32_t code_point) {
  std::array<char, 4> bytes{};
  text(std::string_view(bytes.data(), encode_utf8(code_point, bytes)));
}

void TextSink::line() {
  if (suppressed_ != 0) return;
  flush_break();
  put("\n");
}

void TextSink::paragraph() {
  if (suppressed_ != 0) return;
  if (!line_empty_ && tabs_due_ == 0 && newline_due_ == Newline::none) {
    newline_due_ = Newline::paragraph;
  }
}

void TextSink::begin_row() {
  if (suppressed_ != 0) return;
  if (newline_due_ == Newline::paragraph) newline_due_ = Newline::row;
}

void TextSink::cell(unsigned count) {
  if (suppressed_ != 0) return;
  if (newline_due_ == Newline::paragraph) newline_due_ = Newline::none;
  tabs_due_ += count;
}

void TextSink::row() {
  if (suppressed_ != 0) return;
  tabs_due_ = 0;
  if (!line_empty_) newline_due_ = Newline::row;
}

void TextSink::page() {
  if (suppressed_ != 0) return;
  tabs_due_ = 0;
  if (has_text_) page_due_ = true;
}

bool TextSink::begin(Region region) {
  const bool shown_here = is_shown(region);
  if (shown_here && suppressed_ == 0) {
    switch (region) {
      case Region::inserted:
        if (options_->revision_marks) marks_due_ += insertion_begin;
        break;
      case Region::deleted:
        marks_due_ += deletion_begin;
        break;
      case Region::header:
        if (options_->header_and_footer_tags) marks_due_ += header_begin;
        break;
      case Region::footer:
        if (options_->header_and_footer_tags) marks_due_ += footer_begin;
        break;
      default:
        break;
    }
  }
  if (!shown_here) ++suppressed_;
  return shown();
}

void TextSink::end(Region region) {
  const bool shown_here = is_shown(region);
  if (!shown_here) {
    --suppressed_;
    return;
  }
  if (suppressed_ != 0) return;
  switch (region) {
    case Region::inserted:
      if (options_->revision_marks) end_mark(insertion_begin, insertion_end);
      break;
    case Region::deleted:
      end_mark(deletion_begin, deletion_end);
      break;
    case Region::header:
      if (options_->header_and_footer_tags) end_mark(header_begin, header_end);
      break;
    case Region::footer:
      if (options_->header_and_footer_tags) end_mark(footer_begin, footer_end);
      break;
    default:
      break;
  }
}

bool TextSink::is_shown(Region region) const {
  switch (region) {
    case Region::header:
    case Region::footer:
      return options_->header_and_footer || options_->header_and_footer_tags;
    case Region::comment:
      return !options_->skip_comments;
    case Region::hidden:
      return options_->hidden_text;
    case Region::deleted:
      return options_->revision_marks;
    case Region::field_code:
      return false;
    case Region::date_time_code:
      return options_->date_time_field_codes;
    case Region::date_time_result:
      return !options_->date_time_field_codes;
    case Region::filename_code:
      return options_->filename_field_code;
    case Region::filename_result:
      return !options_->filename_field_code;
    case Region::footnote:
    case Region::endnote:
    case Region::speaker_note:
    case Region::alternative_text:
    case Region::inserted:
      return true;
  }
  return true;
}

void TextSink::flush_break() {
  if (page_due_) {
    if (!line_empty_) put("\n");
    put("\f");
    line_empty_ = true;
  } else if (newline_due_ != Newline::none) {
    put("\n");
  }
  newline_due_ = Newline::none;
  page_due_ = false;
  if (tabs_due_ != 0) {
    out_.append(tabs_due_, '\t');
    tabs_due_ = 0;
    line_empty_ = false;
  }
  if (!marks_due_.empty()) {
    put(marks_due_);
    marks_due_.clear();
  }
}

void TextSink::end_mark(std::string_view begin, std::string_view end) {
  if (const std::size_t due = marks_due_.rfind(begin); due != std::string::npos) {
    marks_due_.erase(due, begin.size());
  } else {
    put(end);
  }
}

void TextSink::append(std::string_view clean) {
  if (!options_->soft_hyphens) {
    for (std::size_t at = clean.find(soft_hyphen); at != std::string_view::npos;
         at = clean.find(soft_hyphen)) {
      write(clean.substr(0, at));
      clean.remove_prefix(at + soft_hyphen.size());
    }
  }
  write(clean);
}

void TextSink::write(std::string_view kept) {
  if (kept.empty()) return;
  flush_break();
  put(kept);
}

void TextSink::put(std::string_view bytes) {
  out_.append(bytes);
  line_empty_ = bytes.back() == '\n';
  has_text_ = true;
  if (out_.size() > most_in_memory) spill();
}

std::string comment_label(std::string_view author, std::string_view text) {
  constexpr std::string_view blanks(" \t\r\n\0", 5);
  constexpr std::size_t longest_name = 256;
  const std::size_t begin = author.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  author = author.substr(begin, author.find_last_not_of(blanks) + 1 - begin);
  if (author.size() > longest_name) return {};
  const bool repeated = text.starts_with(author) && text.substr(author.size()).starts_with(':');
  return repeated ? std::string() : std::string(author) + ": ";
}

void TextSink::finish() {
  tabs_due_ = 0;
  page_due_ = false;
  newline_due_ = Newline::none;
  if (!has_text_ || line_empty_) return;
  // Past every bound, as reading may have failed at one.
  out_.push_back('\n');
  line_empty_ = true;
}

void TextSink::spill() {
  limits_->charge_output(out_.size());
  if (!spool_) spool_.emplace(options_->temporary_directory);
  spool_->append(out_);
  spooled_.push_back(out_.size());
  out_.clear();
}

void TextSink::take(std::string& into) {
  if (!spool_) limits_->charge_output(out_.size());
  take_remainder(into);
}

void TextSink::take_remainder(std::string& into) {
  if (!spool_) {
    into.clear();
    into.swap(out_);
    return;
  }
  // Piece by piece as it went there: each ends with a whole character.
  into.resize(spooled_.front());
  spool_->read_at(spool_read_, into);
  spool_read_ += into.size();
  spooled_.pop_front();
  if (!spooled_.empty()) return;
  spool_.reset();
  spool_read_ = 0;
}

std::string TextSink::take_all() {
  std::string all;
  std::string piece;
  while (size() > 0) {
    take(piece);
    all += piece;
  }
  return all;
}

}  // namespace trfilter
