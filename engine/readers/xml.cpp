// XML of any vocabulary (XML 1.0, https://www.w3.org/TR/xml/): publishing formats, feeds, outlines,
// subtitles, drawings, property lists, business reports, configuration and data. How its text is
// laid out stands in xml_text.h.
//
// Not handled: DTDs and entities outside of the document, which are never read; style sheets.
// Several documents one behind another, as logs and exports hold them, are read as one. What is not
// well-formed is read on as tolerantly as HTML is, and then reported as damaged.
//
// Bounds: the document is read twice when it does not state its encoding, in blocks; libxml2 keeps
// the token at hand, 10 MB at the most, and nothing is kept here but the names' roles of the open
// elements.

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "engine/charset/charset_detector.h"
#include "engine/core/reader.h"
#include "engine/html/html_tokenizer.h"
#include "engine/readers/xml_properties.h"
#include "engine/readers/xml_text.h"
#include "engine/xml/inline_files.h"
#include "engine/xml/xml_encoding.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {
namespace {

constexpr std::size_t step_size = std::size_t{64} << 10;

// Properties stand at the begin.
constexpr std::uint64_t properties_size = std::uint64_t{256} << 10;

std::string_view local_name(std::string_view name) {
  const std::size_t colon = name.rfind(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

/// Goes on where the XML parser has given up: takes tags as they come and keeps ends in pairs with
/// begins.
class TolerantElements : public HtmlTokenHandler {
 public:
  TolerantElements(XmlHandler& handler, const Limits& limits)
      : handler_(&handler), limits_(&limits) {}

  void start_tag(const HtmlTag& tag) override {
    const std::string_view name = local_name(tag.name());
    handler_->start_element(XmlElement(name, {}, nullptr, 0));
    if (tag.self_closing()) {
      handler_->end_element(name, {});
      return;
    }
    limits_->check_depth(static_cast<unsigned>(open_.size()));
    open_.emplace_back(name);
  }

  void end_tag(std::string_view name) override {
    name = local_name(name);
    if (std::ranges::find(open_, name) == open_.end()) return;
    while (true) {
      const std::string ended = std::move(open_.back());
      open_.pop_back();
      handler_->end_element(ended, {});
      if (ended == name) return;
    }
  }

  void text(std::string_view utf8) override { handler_->characters(utf8); }

 private:
  XmlHandler* handler_;
  const Limits* limits_;
  std::vector<std::string> open_;
};

/// The encoding of a document that does not say it rightly; null when what it says will do.
const Encoding* better_encoding(const ReaderContext& context) {
  const Encoding* const told = encoding_of_number(context.options.source_encoding);
  if (told != nullptr && context.options.source_encoding_overrides) return told;
  const XmlEncoding stated = xml_encoding(context.document.head(xml_declaration_size));
  if (told != nullptr) return stated.stated ? nullptr : told;
  if (stated.encoding->kind != Encoding::Kind::utf8 || stated.mark_length != 0) return nullptr;
  const DetectedCharset found = detect_charset(context.document, context.options, context.limits);
  return found.encoding->is_ascii_superset() && found.encoding->kind != Encoding::Kind::utf8
             ? found.encoding
             : nullptr;
}

class XmlReader : public Reader {
 public:
  explicit XmlReader(const ReaderContext& context)
      : context_(context),
        document_(context.document),
        limits_(context.limits),
        cursor_(context.document),
        encoding_(better_encoding(context)) {}

  bool step(TextSink& sink) override {
    if (!parser_) {
      text_ = std::make_unique<XmlText>(sink);
      parser_ = std::make_unique<XmlParser>(*text_, limits_);
      parser_->allow_more_roots();
      if (encoding_ != nullptr) parser_->set_encoding(*encoding_);
    }
    block_.resize(step_size);
    const std::size_t count = cursor_.read(block_);
    const std::string_view bytes = std::string_view(block_).substr(0, count);
    const bool last = count == 0 || cursor_.at_end();
    if (tokenizer_) {
      tokenizer_->feed(parser_->decode(bytes, last));
    } else {
      parser_->feed(bytes);
      if (last) parser_->finish();
      if (parser_->stopped()) read_on();
    }
    limits_.check_time();
    if (!last) return true;
    if (tokenizer_) tokenizer_->finish();
    text_->finish();
    if (!parser_->well_formed()) throw EngineError(Code::corrupt, "the XML is not well-formed");
    return false;
  }

  void properties(Properties& properties) override {
    XmlProperties facts(properties);
    parse(facts, properties_size, false);
  }

  std::unique_ptr<Subfiles> subfiles() override {
    return inline_files(
        [this](XmlHandler& handler, const bool& done) { parse(handler, document_.size(), done); },
        context_);
  }

 private:
  /// Pushes the document's begin through a handler, until `done` becomes true.
  void parse(XmlHandler& handler, std::uint64_t most, const bool& done) {
    XmlParser parser(handler, limits_);
    if (encoding_ != nullptr) parser.set_encoding(*encoding_);
    DocumentCursor cursor(document_);
    std::string block(step_size, '\0');
    while (!done && cursor.offset() < most) {
      const std::size_t count = cursor.read(block);
      if (count == 0) break;
      parser.feed(std::string_view(block).substr(0, count));
      limits_.check_time();
    }
  }

  /// Reads on behind an error that the parser cannot go on behind.
  void read_on() {
    tolerant_ = std::make_unique<TolerantElements>(*text_, limits_);
    tokenizer_ = std::make_unique<HtmlTokenizer>(*tolerant_, HtmlTokenizer::Syntax::xml);
    tokenizer_->feed(parser_->unread());
  }

  const ReaderContext context_;
  Document& document_;
  Limits& limits_;
  DocumentCursor cursor_;
  const Encoding* encoding_;
  std::unique_ptr<XmlText> text_;
  std::unique_ptr<XmlParser> parser_;
  std::unique_ptr<TolerantElements> tolerant_;
  std::unique_ptr<HtmlTokenizer> tokenizer_;
  std::string block_;
};

}  // namespace

TRFILTER_READER(xml, XmlReader)

}  // namespace trfilter
