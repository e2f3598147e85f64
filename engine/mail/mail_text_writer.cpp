#include "engine/mail/mail_text_writer.h"

#include <algorithm>

#include "engine/charset/utf8_scan.h"
#include "engine/html/html_charset.h"
#include "engine/html/html_text.h"
#include "engine/html/html_tokenizer.h"
#include "engine/mail/mail_charset.h"

namespace trfilter {
namespace {

// A line of flowed text that is longer is written as it comes: it is no line of RFC 3676.
constexpr std::size_t longest_flowed_line = std::size_t{64} << 10;

// What separates a signature from the text above it ends with a blank and yet ends its line.
constexpr std::string_view signature_separator = "-- ";

/// Whether the bytes stand for themselves in whatever set the text may be.
bool is_plainly_ascii(std::string_view bytes) {
  return is_ascii(bytes) && bytes.find('\0') == std::string_view::npos &&
         bytes.find('\x1B') == std::string_view::npos;
}

}  // namespace

/// The text of HTML, with or without its title.
class MailTextWriter::Html : public HtmlTokenHandler {
 public:
  Html(TextSink& sink, Title shows_title) : text_(sink), tokenizer_(*this), title_(shows_title) {}

  void feed(std::string_view utf8, bool last) {
    tokenizer_.feed(utf8);
    if (!last) return;
    tokenizer_.finish();
    text_.finish();
  }

  void start_tag(const HtmlTag& tag) override {
    if (tag.name() == title && title_ == Title::left_out) {
      in_title_ = true;
    } else {
      text_.start_tag(tag);
    }
  }
  void end_tag(std::string_view name) override {
    if (name == title && title_ == Title::left_out) {
      in_title_ = false;
    } else {
      text_.end_tag(name);
    }
  }
  void text(std::string_view utf8) override {
    if (!in_title_) text_.text(utf8);
  }

 private:
  static constexpr std::string_view title = "title";

  HtmlText text_;
  HtmlTokenizer tokenizer_;
  Title title_;
  bool in_title_ = false;
};

MailTextWriter::MailTextWriter(const MailBody& form, const Options& options, TextSink& sink,
                               Title title)
    : options_(&options),
      sink_(&sink),
      charset_(form.charset),
      flowed_(form.kind == MailBody::Kind::plain && form.flowed),
      delete_space_(form.delete_space) {
  if (form.kind == MailBody::Kind::html) html_ = std::make_unique<Html>(sink, title);
}

MailTextWriter::~MailTextWriter() = default;

void MailTextWriter::feed(std::string_view bytes, bool last) {
  std::string_view text = line_endings_.normalize(decoded(bytes, last));
  if (text.find_first_of(std::string_view("\0\f", 2)) != std::string_view::npos) {
    clean_ = text;
    std::erase_if(clean_, [](char c) { return c == '\0' || c == '\f'; });
    text = clean_;
  }
  if (html_) {
    html_->feed(text, last);
  } else {
    plain(text, last);
  }
}

std::string_view MailTextWriter::decoded(std::string_view bytes, bool last) {
  if (!decoder_) {
    const Encoding* declared = encoding_of_label(charset_);
    const bool superset = declared == nullptr || declared->is_ascii_superset();
    // Whatever set it is: text without a byte beyond ASCII reads the same.
    if (superset && is_plainly_ascii(bytes)) {
      if (html_ && declared == nullptr && charset_.empty()) {
        charset_ = declared_encoding_label(bytes);
      }
      return bytes;
    }
    if (html_ && declared == nullptr) charset_ = declared_encoding_label(bytes);
    const Encoding& encoding = mail_encoding(bytes, last, charset_, *options_);
    decoder_.emplace(encoding);
    if (const ByteOrderMark mark = byte_order_mark_of(bytes); mark.encoding == &encoding) {
      bytes.remove_prefix(mark.length);
    }
  }
  return decoder_->decode(bytes, last);
}

void MailTextWriter::plain(std::string_view text, bool last) {
  if (!flowed_) {
    lines(text);
    return;
  }
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos || line_.size() + end > longest_flowed_line) {
      line_ += text.substr(0, end);
      if (line_.size() > longest_flowed_line) {
        lines(line_);
        line_.clear();
      }
      if (end == std::string_view::npos) break;
      text.remove_prefix(end);
      continue;
    }
    line_ += text.substr(0, end);
    flowed_line(line_);
    line_.clear();
    text.remove_prefix(end + 1);
  }
  if (last && !line_.empty()) flowed_line(line_);
}

/// RFC 3676, 4: quote marks, then at most one blank that stuffs the line.
void MailTextWriter::flowed_line(std::string_view line) {
  const std::size_t quoting = std::min(line.find_first_not_of('>'), line.size());
  std::string_view content = line.substr(quoting);
  if (content.starts_with(' ')) content.remove_prefix(1);
  const bool separator = content == signature_separator;
  const bool continues = goes_on_ && quoting == quoting_ && !separator;
  const bool ends = separator || !content.ends_with(' ');
  if (!ends && delete_space_) content.remove_suffix(1);
  if (!continues) {
    if (goes_on_) lines("\n");
    if (quoting != 0) {
      lines(line.substr(0, quoting));
      lines(" ");
    }
  }
  lines(content);
  goes_on_ = !ends;
  quoting_ = quoting;
  if (ends) lines("\n");
}

void MailTextWriter::lines(std::string_view text) {
  const std::size_t end = text.find_last_not_of('\n') + 1;
  std::string_view shown = text.substr(0, end);
  if (!begun_) {
    shown.remove_prefix(std::min(shown.find_first_not_of('\n'), shown.size()));
    if (shown.empty()) return;
    begun_ = true;
  }
  if (!shown.empty()) {
    for (; line_feeds_due_ != 0; --line_feeds_due_) sink_->line();
    sink_->text(shown);
  }
  line_feeds_due_ += text.size() - end;
}

}  // namespace trfilter
