// HTML of any age, XHTML, browsers' bookmark files: HTML standard (https://html.spec.whatwg.org/),
// read without a tree by engine/html/. What of a page is text stands in html_text.h, how its
// encoding is found in html_charset.h.
//
// Not handled: what scripts write, style sheets (an inline style and the `hidden` attribute hide),
// frames but those whose document stands in the page (srcdoc).
//
// Bounds: the document is read twice, in blocks, and nothing is kept but the tag at hand and the
// open elements down to a depth of 1,024.

#include <algorithm>
#include <memory>
#include <string>

#include "engine/charset/text_decoder.h"
#include "engine/core/reader.h"
#include "engine/html/html_charset.h"
#include "engine/html/html_properties.h"
#include "engine/html/html_text.h"
#include "engine/html/html_tokenizer.h"

namespace trfilter {
namespace {

constexpr std::size_t step_size = std::size_t{64} << 10;

// Properties stand in the head.
constexpr std::uint64_t head_size = std::uint64_t{1} << 20;

/// A document's text in UTF-8, block by block, without NUL characters and carriage returns.
class PageSource {
 public:
  PageSource(Document& document, const DetectedCharset& charset)
      : cursor_(document, charset.mark_length), decoder_(*charset.encoding) {}

  std::uint64_t offset() const { return cursor_.offset(); }
  bool at_end() const { return last_; }

  std::string_view next() {
    block_.resize(step_size);
    const std::size_t count = cursor_.read(block_);
    last_ = count == 0 || cursor_.at_end();
    std::string_view text = decoder_.decode(std::string_view(block_).substr(0, count), last_);
    text = line_endings_.normalize(text);
    if (text.find('\0') == std::string_view::npos) return text;
    without_nul_ = text;
    std::erase(without_nul_, '\0');
    return without_nul_;
  }

 private:
  DocumentCursor cursor_;
  TextDecoder decoder_;
  LineEndings line_endings_;
  std::string block_;
  std::string without_nul_;
  bool last_ = false;
};

class HtmlReader : public Reader {
 public:
  explicit HtmlReader(const ReaderContext& context)
      : document_(context.document),
        limits_(context.limits),
        charset_(detect_html_charset(context.document, context.options, context.limits)),
        syntax_(context.detection.format == Format::xhtml ? HtmlTokenizer::Syntax::xml
                                                          : HtmlTokenizer::Syntax::html),
        source_(context.document, charset_) {}

  bool step(TextSink& sink) override {
    if (!text_) {
      text_ = std::make_unique<HtmlText>(sink);
      tokenizer_ = std::make_unique<HtmlTokenizer>(*text_, syntax_);
    }
    tokenizer_->feed(source_.next());
    limits_.check_time();
    if (!source_.at_end()) return true;
    tokenizer_->finish();
    text_->finish();
    return false;
  }

  void properties(Properties& properties) override {
    HtmlProperties facts(properties);
    HtmlTokenizer tokenizer(facts, syntax_);
    PageSource source(document_, charset_);
    while (!source.at_end() && !facts.complete() && source.offset() < head_size) {
      tokenizer.feed(source.next());
      limits_.check_time();
    }
    tokenizer.finish();
    facts.finish();
  }

 private:
  Document& document_;
  Limits& limits_;
  DetectedCharset charset_;
  HtmlTokenizer::Syntax syntax_;
  PageSource source_;
  std::unique_ptr<HtmlText> text_;
  std::unique_ptr<HtmlTokenizer> tokenizer_;
};

}  // namespace

TRFILTER_READER(html, HtmlReader)

}  // namespace trfilter
