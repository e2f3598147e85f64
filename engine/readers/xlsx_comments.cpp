#include "engine/readers/xlsx_comments.h"

#include "engine/core/engine_error.h"
#include "engine/readers/xlsx_shared_strings.h"
#include "engine/readers/xlsx_values.h"

namespace trfilter {
namespace {

constexpr std::size_t most_comment_text = std::size_t{16} << 20;
constexpr std::size_t most_authors = std::size_t{1} << 20;

}  // namespace

void CommentsHandler::start_element(const XmlElement& element) {
  const std::string_view name = element.name();
  if (name == "comment" || name == "threadedComment") {
    in_comment_ = true;
    threaded_ = name == "threadedComment";
    text_.clear();
    const auto author = xlsx_unsigned(element.attribute("authorId"));
    left_out_ =
        !threaded_ && author && *author < author_is_thread_.size() && author_is_thread_[*author];
  } else if (name == "author" || (name == "t" && in_comment_ && !threaded_) ||
             (name == "text" && threaded_)) {
    capture_ = phonetic_ == 0;
    raw_.clear();
  } else if (name == "rPh") {
    ++phonetic_;
  }
}

void CommentsHandler::end_element(std::string_view name, std::string_view /*uri*/) {
  if (name == "author") {
    if (author_is_thread_.size() < most_authors)
      author_is_thread_.push_back(raw_.starts_with("tc="));
    capture_ = false;
  } else if (name == "t" || (name == "text" && threaded_)) {
    if (capture_) append_xstring(text_, raw_);
    capture_ = false;
  } else if (name == "comment" || name == "threadedComment") {
    if (!left_out_ && !text_.empty()) {
      sink_.begin(Region::comment);
      sink_.text(text_);
      sink_.end(Region::comment);
      sink_.paragraph();
    }
    in_comment_ = false;
    threaded_ = false;
  } else if (name == "rPh") {
    if (phonetic_ > 0) --phonetic_;
  }
}

void CommentsHandler::characters(std::string_view text) {
  if (!capture_) return;
  raw_ += text;
  if (raw_.size() + text_.size() > most_comment_text) {
    throw EngineError(Code::corrupt, "a comment holds more than 16 MiB");
  }
}

}  // namespace trfilter
