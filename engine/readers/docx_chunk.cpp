#include "engine/readers/docx_chunk.h"

#include <string>

#include "engine/charset/text_decoder.h"
#include "engine/core/engine_error.h"
#include "engine/html/html_charset.h"
#include "engine/html/html_text.h"
#include "engine/html/html_tokenizer.h"

namespace trfilter::docx {
namespace {

constexpr std::size_t most_chunk_bytes = std::size_t{64} << 20;

void show_html(std::string bytes, Limits& limits, TextSink& sink, HtmlTokenizer::Syntax syntax) {
  Document document = Document::from_memory(std::move(bytes));
  const DetectedCharset charset = detect_html_charset(document, sink.options(), limits);
  TextDecoder decoder(*charset.encoding);
  LineEndings line_endings;
  HtmlText text(sink);
  HtmlTokenizer tokenizer(text, syntax);
  std::string page(
      line_endings.normalize(decoder.decode(document.bytes().substr(charset.mark_length), true)));
  std::erase(page, '\0');
  tokenizer.feed(page);
  tokenizer.finish();
  text.finish();
}

}  // namespace

void show_chunk(OpcPackage& package, std::string_view part, TextSink& sink) {
  const std::string type = package.content_type(part);
  const bool html = type == "text/html";
  const bool xhtml = type == "application/xhtml+xml";
  if (!html && !xhtml && type != "text/plain") return;
  std::string bytes;
  try {
    bytes = package.zip().read_all(part, most_chunk_bytes);
  } catch (const EngineError& error) {
    if (error.code() != Code::corrupt) throw;
    package.note_damage();
    return;
  }
  if (html || xhtml) {
    show_html(std::move(bytes), package.limits(), sink,
              xhtml ? HtmlTokenizer::Syntax::xml : HtmlTokenizer::Syntax::html);
  } else {
    sink.text(bytes);
  }
}

}  // namespace trfilter::docx
