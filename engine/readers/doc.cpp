// Word documents before Office Open XML: Word 97 to 2003 ([MS-DOC]), Word 6 and 95 (compound files
// or the main stream alone), and of Word 1 and 2 the text without its formatting.
//
// Order of the text: as in the reader of docx. The sections, each as its headers, body and footers;
// then footnotes, endnotes and comments in their order. Text boxes and the words and descriptions
// of drawn shapes stand behind the paragraph that they are anchored in.
//
// Encrypted documents are read with their password: XOR obfuscation, RC4 and RC4 CryptoAPI
// ([MS-OFFCRYPTO] 2.3.5 to 2.3.7).
//
// Not handled: spanned cells (each is one cell), macros and glossaries.
//
// Bounds: text is read in windows of 16 KiB, formatting a page of 512 bytes at a time. Kept are the
// tables of pieces, pages, styles, fonts and lists, each no longer than its bytes in the document.

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "engine/compound/compound_file.h"
#include "engine/compound/stream_source.h"
#include "engine/core/fields.h"
#include "engine/core/reader.h"
#include "engine/office_crypt/stream_cipher.h"
#include "engine/office_crypt/xor_obfuscation.h"
#include "engine/readers/doc_anchors.h"
#include "engine/readers/doc_comments.h"
#include "engine/readers/doc_headers.h"
#include "engine/readers/doc_members.h"
#include "engine/readers/doc_source.h"
#include "engine/readers/doc_story.h"

namespace trfilter {
namespace {

using namespace doc;

constexpr std::string_view compound_signature = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";
constexpr std::uint32_t cipher_block = 512;
constexpr std::uint64_t most_header_bytes = 4096;

/// The whole input as a stream.
class DocumentSource final : public ByteSource {
 public:
  explicit DocumentSource(Document& document) : document_(document) {}
  std::uint64_t size() const override { return document_.size(); }
  std::size_t read_at(std::uint64_t offset, std::span<char> out) override {
    return document_.read_at(offset, out);
  }

 private:
  Document& document_;
};

class DocReader final : public Reader, private SectionListener {
 public:
  explicit DocReader(const ReaderContext& context) {
    open_streams(context);
    const Fib fib(main_.read(0, Fib::most_bytes));
    if (fib.version == Version::word_97) open_tables(fib);
    if (fib.encrypted) decrypt(fib, context.options.password);
    const Stream& table = fib.version == Version::word_97 ? table_ : main_;
    source_.emplace(main_, table, data_, context.limits);
  }

  bool step(TextSink& sink) override {
    if (!output_) start(sink);
    if (body_) {
      if (body_->step()) return true;
      body_.reset();
      while (section_ < headers_->section_count()) end_section();
      return true;
    }
    if (next_note_ < notes_.size()) {
      const Note& note = notes_[next_note_++];
      put_story(note.span, note.region, note.anchors, note.label);
      return true;
    }
    if (source_->damaged()) {
      throw EngineError(Code::corrupt, "the document is damaged: its text may be incomplete");
    }
    return false;
  }

  void properties(Properties& properties) override {
    if (file_) add_property_sets(*file_, CompoundEntry::root, properties);
  }

  std::unique_ptr<Subfiles> subfiles() override {
    return find_members(file_ ? &*file_ : nullptr, *source_);
  }

 private:
  /// What is shown behind the body.
  struct Note {
    Span span;
    std::optional<Region> region;
    const Anchors* anchors = nullptr;
    std::string label = {};  ///< stands before a comment
  };

  void open_streams(const ReaderContext& context) {
    std::array<char, compound_signature.size()> begin{};
    const std::size_t got = context.document.read_at(0, begin);
    if (std::string_view(begin.data(), got) != compound_signature) {
      main_ = Stream(std::make_unique<DocumentSource>(context.document));
      return;
    }
    file_.emplace(context.document, context.limits);
    if (file_->find("\tDRMContent")) {
      throw EngineError(Code::password_protected, "the document is under rights management");
    }
    main_ = stream("WordDocument");
    if (!main_.present()) throw EngineError(Code::corrupt, "there is no main stream");
    data_ = stream("Data");
  }

  Stream stream(std::string_view name) const {
    const auto entry = file_->find(name);
    if (!entry || file_->entries()[*entry].storage) return {};
    return Stream(std::make_unique<StreamSource>(file_->open(*entry)));
  }

  void open_tables(const Fib& fib) {
    if (!file_) return;
    table_ = stream(fib.second_table ? "1Table" : "0Table");
    if (!table_.present()) table_ = stream(fib.second_table ? "0Table" : "1Table");
  }

  void decrypt(const Fib& fib, std::string_view password) {
    Decrypt undo;
    std::uint64_t plain_table = 0;
    if (fib.version != Version::word_97 || fib.obfuscated) {
      const XorObfuscation obfuscation(password);
      const auto high = static_cast<std::uint16_t>(fib.key >> 16);
      const auto low = static_cast<std::uint16_t>(fib.key & 0xFFFF);
      if (!obfuscation.opens(low, high)) obfuscation.verify(high, low);
      undo = [obfuscation](std::uint64_t offset, std::span<char> bytes) {
        obfuscation.decrypt(offset, bytes);
      };
    } else {
      plain_table = fib.key;
      const std::shared_ptr<StreamCipher> cipher = open_stream_cipher(
          table_.read(0, std::min<std::uint64_t>(fib.key, most_header_bytes)), password);
      undo = [cipher](std::uint64_t offset, std::span<char> bytes) {
        cipher->decrypt_at(offset, bytes, cipher_block);
      };
    }
    main_.set_decryption(undo, fib.plain_bytes());
    table_.set_decryption(undo, plain_table);
    data_.set_decryption(undo, 0);
  }

  void start(TextSink& sink) {
    output_.emplace(sink);
    const Options& options = sink.options();
    headers_.emplace(*source_, options.header_and_footer || options.header_and_footer_tags);
    find_boxes();
    add_notes(TextPart::footnotes, Table::footnote_texts, Region::footnote);
    add_notes(TextPart::endnotes, Table::endnote_texts, Region::endnote);
    add_notes(TextPart::comments, Table::comment_texts, Region::comment);
    begin_section();
    SectionListener* const listener = this;
    body_ = std::make_unique<Story>(*source_, *output_, body(), listener, &anchors_);
  }

  /// A part of the text, as far as it is there.
  Span part(TextPart part) const {
    const Fib& fib = source_->fib();
    const std::uint64_t begin = fib.begin_of(part);
    const std::uint64_t end = begin + fib.count(part);
    return {static_cast<std::uint32_t>(std::min<std::uint64_t>(begin, source_->end())),
            static_cast<std::uint32_t>(std::min<std::uint64_t>(end, source_->end()))};
  }

  /// The body; all there is when the document states no length.
  Span body() const {
    return source_->fib().total() == 0 ? Span{0, source_->end()} : part(TextPart::body);
  }

  void find_boxes() {
    std::vector<Span> unanchored;
    std::vector<Span> unanchored_in_headers;
    if (source_->fib().version == Version::word_97) {
      const Shapes shapes = read_shapes(source_->table(Table::drawings));
      anchors_ =
          read_anchors(source_->table(Table::body_anchors), part(TextPart::body),
                       source_->table(Table::box_texts), part(TextPart::boxes), shapes, unanchored);
      header_anchors_ = read_anchors(source_->table(Table::header_anchors), part(TextPart::headers),
                                     source_->table(Table::header_box_texts),
                                     part(TextPart::header_boxes), shapes, unanchored_in_headers);
    } else {
      unanchored.push_back(part(TextPart::boxes));
      unanchored_in_headers.push_back(part(TextPart::header_boxes));
    }
    for (const Span& box : unanchored) notes_.push_back({box, std::nullopt});
    for (const Span& box : unanchored_in_headers) notes_.push_back({box, Region::header});
  }

  void add_notes(TextPart text_part, Table table, Region region) {
    const Span all = part(text_part);
    if (all.begin == all.end) return;
    std::vector<Span> spans = spans_of(source_->table(table), all, 0);
    if (spans.empty()) spans.push_back(all);
    std::vector<std::string> labels;
    if (region == Region::comment) labels = comment_labels(*source_, spans.size());
    labels.resize(spans.size());
    for (std::size_t i = 0; i < spans.size(); ++i) {
      notes_.push_back({spans[i], region, nullptr, std::move(labels[i])});
    }
  }

  void put_story(Span span, std::optional<Region> region, const Anchors* anchors,
                 std::string_view label = {}) {
    if (span.begin >= span.end) return;
    output_->paragraph();
    if (region) {
      output_->open(*region);
      output_->text(label);
      output_->drop_blanks();
    }
    Story(*source_, *output_, span, nullptr, anchors).run();
    if (region) output_->close(*region);
    output_->paragraph();
  }

  bool ends_section(std::uint32_t position) const override {
    return headers_->ends_section(position);
  }

  void section_ended() override {
    end_section();
    begin_section();
  }

  void begin_section() {
    for (const Span& span : headers_->headers(section_)) {
      put_story(span, Region::header, &header_anchors_);
    }
  }

  void end_section() {
    for (const Span& span : headers_->footers(section_)) {
      put_story(span, Region::footer, &header_anchors_);
    }
    ++section_;
  }

  std::optional<CompoundFile> file_;  ///< none for a main stream alone
  Stream main_;
  Stream table_;
  Stream data_;
  std::optional<Source> source_;

  std::optional<word::StoryOutput> output_;
  std::optional<Headers> headers_;
  Anchors anchors_;
  Anchors header_anchors_;
  std::unique_ptr<Story> body_;
  std::size_t section_ = 0;
  std::vector<Note> notes_;
  std::size_t next_note_ = 0;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(doc, trfilter::DocReader)
