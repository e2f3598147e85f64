// Rich Text Format, as its public description, version 1.9.1, tells it, and [MS-OXRTFEX] for the
// text of mail messages that are HTML in their origin.
//
// The reader is a parser of our own in layers: rtf_tokens cuts the bytes, rtf_words knows the
// control words that bear on text, rtf_parser follows groups and destinations, rtf_flow keeps notes
// and text boxes out of running text, rtf_code_pages decodes characters, rtf_fields and
// rtf_information interpret fields and properties.
//
// What is shown: the body, headers and footers, foot- and endnotes, comments with their author,
// text boxes, word art, descriptions of pictures, results of fields and embedded objects, labels of
// lists as the producer has written them. A field without a result shows what its instruction says
// where that is text (symbols, equations, form fields). Of HTML inside of RTF the RTF form is
// shown: tags are dropped, what only RTF readers are to see (`\htmlrtf`) gives the line ends and
// characters that the tags stood for.
//
// Pictures and embedded objects are members (rtf_files.h).
//
// Not handled: numbers of automatic lists without a written
// label, page numbers and automatic note numbers, the Johab, Arabic and Hebrew Macintosh code
// pages.
//
// Bounds: 64 KiB of the document and 1 MiB of waiting notes at a time, groups nest to the depth of
// `Limits`, 32,768 fonts, property values of 1 MiB (what is beyond is dropped).
//
// The end: bytes after the last closing brace are ignored. A document that ends inside of a group
// is damaged (code 4, after its text), but for a missing last brace alone after the end of a
// paragraph.

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "engine/core/engine_error.h"
#include "engine/core/reader.h"
#include "engine/readers/rtf_files.h"
#include "engine/readers/rtf_parser.h"

namespace trfilter {
namespace {

/// Where the document begins: producers and mail systems put little in front of it.
std::uint64_t begin_of(Document& document) {
  constexpr std::size_t searched = 1024;
  const std::size_t at = document.head(searched).find("{\\rtf");
  if (at == std::string_view::npos) {
    throw EngineError(Code::corrupt, "the document does not begin as Rich Text Format");
  }
  return at;
}

class RtfReader : public Reader {
 public:
  explicit RtfReader(const ReaderContext& context)
      : context_(context),
        begin_(begin_of(context.document)),
        parser_(context.document, context.options, context.limits, begin_) {}

  bool step(TextSink& sink) override { return parser_.read_text(sink); }

  void properties(Properties& properties) override {
    rtf::Parser(context_.document, context_.options, context_.limits, begin_)
        .read_properties(properties);
  }

  std::unique_ptr<Subfiles> subfiles() override { return rtf::files(context_, begin_); }

 private:
  ReaderContext context_;
  std::uint64_t begin_;
  rtf::Parser parser_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(rtf, trfilter::RtfReader)
