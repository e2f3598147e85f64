// Plain text in any character set, the marked-up kinds that people read as they are (Markdown,
// reStructuredText, JSON, subtitles, source code) among it, and comma-separated values.
//
// Text is shown as it stands: lines stay lines, whatever ends them (CR LF, LF, CR), blanks and tabs
// stay. Only a form feed, which begins a page, and the byte-order mark are no text. The character
// set is found from the whole document (engine/charset/); EBCDIC text has its own.
//
// Records of comma-separated values (RFC 4180) become rows, their fields cells; see
// delimited_text.h.
//
// Font metrics (AFM) are text whose header says what the font is.
//
// A host that wants no conversion gets the document's bytes as they stand.
//
// Bounds: the document is read twice, in blocks; nothing is kept but a sample of its bytes.

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

#include "engine/charset/charset_detector.h"
#include "engine/charset/legacy_guess.h"
#include "engine/charset/text_decoder.h"
#include "engine/core/reader.h"
#include "engine/readers/plain_text_delimited.h"
#include "engine/readers/plain_text_metrics.h"

namespace trfilter {
namespace {

constexpr Format ebcdic_format{218};

// Bytes of one step: large enough that the document's cache is passed by.
constexpr std::size_t step_size = std::size_t{256} << 10;

DetectedCharset ebcdic_charset(Document& document) {
  DetectedCharset charset;
  charset.encoding = guess_ebcdic_encoding(document.head(Document::cache_block));
  if (charset.encoding == nullptr) charset.encoding = encoding_of_label("ibm500");
  return charset;
}

/// The end of the last whole character of valid UTF-8 that may be cut off within one.
std::size_t whole_characters(std::string_view bytes) {
  std::size_t end = bytes.size();
  for (unsigned i = 0; i < 3 && end > 0; ++i) {
    const auto byte = static_cast<unsigned char>(bytes[end - 1]);
    if (byte < 0x80) return end;
    --end;
    if (byte >= 0xC0) {
      const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
      return bytes.size() - end >= length ? bytes.size() : end;
    }
  }
  return bytes.size();
}

class PlainTextReader : public Reader {
 public:
  explicit PlainTextReader(const ReaderContext& context)
      : document_(context.document),
        options_(context.options),
        limits_(context.limits),
        cursor_(context.document),
        delimited_(context.detection.format == Format::csv),
        metrics_(context.detection.format == Format::font_metrics),
        verbatim_(context.options.no_encoding_conversion) {
    if (verbatim_) return;
    const bool ebcdic = context.detection.format == ebcdic_format &&
                        encoding_of_number(context.options.source_encoding) == nullptr;
    charset_ =
        ebcdic ? ebcdic_charset(document_) : detect_charset(document_, context.options, limits_);
    decoder_.emplace(*charset_.encoding);
    cursor_.seek(charset_.mark_length);
  }

  bool step(TextSink& sink) override {
    block_.resize(static_cast<std::size_t>(std::min<std::uint64_t>(step_size, document_.size())));
    const std::size_t count = cursor_.read(block_);
    const bool last = count == 0 || cursor_.at_end();
    std::string_view bytes = std::string_view(block_).substr(0, count);
    if (verbatim_) {
      sink.verbatim(bytes);
      limits_.check_time();
      return !last;
    }
    if (charset_.valid_utf8 && !charset_.has_controls && !delimited_ &&
        charset_.encoding->kind == Encoding::Kind::utf8) {
      // A character that the block cuts off is read again with the next one.
      if (!last) {
        const std::size_t whole = whole_characters(bytes);
        cursor_.seek(cursor_.offset() - (bytes.size() - whole));
        bytes = bytes.substr(0, whole);
      }
      emit(bytes, sink, true);
    } else {
      std::string_view text = line_endings_.normalize(decoder_->decode(bytes, last));
      if (delimited_) {
        delimited_text_.feed(text, last, sink);
      } else {
        emit(text, sink, false);
      }
    }
    limits_.check_time();
    return !last;
  }

  /// Of text, only font metrics state anything.
  void properties(Properties& properties) override {
    if (!metrics_) return;
    const DetectedCharset charset = detect_charset(document_, options_, limits_);
    TextDecoder decoder(*charset.encoding);
    std::string_view head = document_.head(Document::cache_block);
    head.remove_prefix(std::min(charset.mark_length, head.size()));
    LineEndings line_endings;
    add_font_metrics(line_endings.normalize(decoder.decode(head, true)), properties);
  }

 private:
  /// Adds text; form feeds end pages.
  static void emit(std::string_view text, TextSink& sink, bool clean) {
    while (true) {
      const std::size_t feed = text.find('\f');
      const std::string_view page = text.substr(0, feed);
      if (clean) {
        sink.clean_text(page);
      } else {
        sink.text(page);
      }
      if (feed == std::string_view::npos) return;
      sink.page();
      text.remove_prefix(feed + 1);
    }
  }

  Document& document_;
  const Options& options_;
  Limits& limits_;
  DetectedCharset charset_;
  DocumentCursor cursor_;
  std::optional<TextDecoder> decoder_;
  LineEndings line_endings_;
  DelimitedText delimited_text_;
  bool delimited_;
  bool metrics_;
  bool verbatim_;
  std::string block_;
};

}  // namespace

TRFILTER_READER(plain_text, PlainTextReader)

}  // namespace trfilter
