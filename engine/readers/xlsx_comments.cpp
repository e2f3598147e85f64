#include "engine/readers/xlsx_comments.h"

#include "engine/core/engine_error.h"
#include "engine/readers/xlsx_shared_strings.h"
#include "engine/readers/xlsx_values.h"

namespace trfilter {
namespace {

constexpr std::size_t most_comment_text = std::size_t{16} << 20;
constexpr std::size_t most_authors = std::size_t{1} << 16;
constexpr std::size_t longest_author = 1024;

}  // namespace

void CommentsHandler::start_element(const XmlElement& element) {
  const std::string_view name = element.name();
  if (name == "comment" || name == "threadedComment") {
    in_comment_ = true;
    threaded_ = name == "threadedComment";
    text_.clear();
    const auto author = xlsx_unsigned(element.attribute("authorId"));
    author_.clear();
    if (!threaded_ && author && *author < authors_.size()) author_ = authors_[*author];
    left_out_ = author_.starts_with("tc=");
    if (threaded_) {
      const auto person = persons_.find(element.attribute("personId"));
      if (person != persons_.end()) author_ = person->second;
    }
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
    // A long name is none, and takes no memory.
    if (authors_.size() < most_authors) {
      authors_.push_back(raw_.size() <= longest_author ? raw_ : std::string());
    }
    capture_ = false;
  } else if (name == "t" || (name == "text" && threaded_)) {
    if (capture_) append_xstring(text_, raw_);
    capture_ = false;
  } else if (name == "comment" || name == "threadedComment") {
    if (!left_out_ && !text_.empty()) {
      sink_.begin(Region::comment);
      sink_.text(comment_label(author_, text_));
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

void PersonsHandler::start_element(const XmlElement& element) {
  if (element.name() != "person" || names.size() == most_authors) return;
  const std::string_view name = element.attribute("displayName");
  if (name.size() <= longest_author) {
    names.emplace(std::string(element.attribute("id")), std::string(name));
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
