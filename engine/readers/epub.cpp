// Electronic publications: EPUB 2 and 3 (https://www.w3.org/TR/epub-33/), format 431.
//
// The text is that of the publication's documents in the order of its spine, each as a page of HTML
// is read (engine/html/), without their titles and without the table of contents, which repeats
// what follows. A publication without a spine is read in the order of its list of files.
//
// Not handled: scripts, spoken text, several renditions (the first is read). Encrypted publications
// are refused with code 8; hidden fonts alone are no encryption.
//
// Bounds: documents are read as they are unpacked, in pieces of 64 KiB; kept is the list of files.

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "engine/charset/text_decoder.h"
#include "engine/core/embedded_files.h"
#include "engine/core/reader.h"
#include "engine/html/html_text.h"
#include "engine/html/html_tokenizer.h"
#include "engine/opc/opc_package.h"
#include "engine/readers/epub_package.h"
#include "engine/xml/xml_encoding.h"
#include "engine/zip/package_files.h"

namespace trfilter {
namespace {

using epub::ContainerHandler;
using epub::EncryptionHandler;
using epub::Item;
using epub::PackageHandler;

constexpr std::size_t piece_size = std::size_t{64} << 10;

/// A page's text without the title of its head.
class ChapterText final : public HtmlTokenHandler {
 public:
  explicit ChapterText(TextSink& sink) : text_(sink) {}

  void start_tag(const HtmlTag& tag) override {
    if (tag.name() == "head") in_head_ = !tag.self_closing();
    if (tag.name() == "body") in_head_ = false;
    if (!in_head_) text_.start_tag(tag);
  }
  void end_tag(std::string_view name) override {
    if (!in_head_) text_.end_tag(name);
    if (name == "head") in_head_ = false;
  }
  void text(std::string_view utf8) override {
    if (!in_head_) text_.text(utf8);
  }
  void finish() { text_.finish(); }

 private:
  HtmlText text_;
  bool in_head_ = false;
};

/// One document of the spine on its way to the sink.
class Chapter {
 public:
  Chapter(std::unique_ptr<ZipPackage::Part> part, bool xml, TextSink& sink)
      : part_(std::move(part)),
        text_(sink),
        tokenizer_(text_, xml ? HtmlTokenizer::Syntax::xml : HtmlTokenizer::Syntax::html),
        buffer_(piece_size) {}

  /// @return whether there is more
  bool step() {
    const std::size_t count = part_->read(buffer_);
    std::string_view bytes(buffer_.data(), count);
    if (!decoder_) {
      const XmlEncoding encoding = xml_encoding(bytes.substr(0, xml_declaration_size));
      decoder_ = std::make_unique<TextDecoder>(*encoding.encoding);
      bytes.remove_prefix(std::min(encoding.mark_length, bytes.size()));
    }
    std::string text(line_endings_.normalize(decoder_->decode(bytes, count == 0)));
    std::erase(text, '\0');
    tokenizer_.feed(text);
    return count != 0;
  }

  void finish() {
    tokenizer_.finish();
    text_.finish();
  }

 private:
  std::unique_ptr<ZipPackage::Part> part_;
  ChapterText text_;
  HtmlTokenizer tokenizer_;
  std::unique_ptr<TextDecoder> decoder_;
  LineEndings line_endings_;
  std::vector<char> buffer_;
};

bool is_page(std::string_view media_type) {
  constexpr std::array types = std::to_array<std::string_view>(
      {"application/xhtml+xml", "text/html", "application/x-dtbook+xml", "image/svg+xml",
       "text/x-oeb1-document"});
  return std::ranges::find(types, media_type) != types.end();
}

bool is_font(std::string_view media_type) {
  return media_type.starts_with("font/") || media_type.find("font") != std::string_view::npos ||
         media_type == "application/vnd.ms-opentype";
}

/// Files that make the pages what they are, and are nothing to a reader of their own.
bool is_machinery(std::string_view media_type) {
  constexpr std::array types = std::to_array<std::string_view>(
      {"application/x-dtbncx+xml", "text/css", "text/x-oeb1-css", "text/javascript",
       "application/javascript", "application/ecmascript", "application/smil+xml",
       "application/pls+xml", "application/oebps-page-map+xml"});
  return std::ranges::find(types, media_type) != types.end();
}

class EpubReader final : public Reader {
 public:
  explicit EpubReader(const ReaderContext& context)
      : context_(context), zip_(context.document, context.limits), package_(nullptr) {
    EncryptionHandler encryption;
    parse("META-INF/encryption.xml", encryption);
    if (encryption.encrypted) {
      throw EngineError(Code::password_protected, "the publication is encrypted");
    }
    ContainerHandler container;
    parse("META-INF/container.xml", container);
    package_part_ = container.package_document;
    if (!zip_.contains(package_part_)) {
      const auto& names = zip_.names();
      const auto found = std::ranges::find_if(
          names, [](const std::string& name) { return name.ends_with(".opf"); });
      if (found == names.end()) {
        throw EngineError(Code::corrupt, "the publication has no package document");
      }
      damaged_ = true;
      package_part_ = *found;
    }
    damaged_ |= !parse(package_part_, package_);
    find_chapters();
  }

  bool step(TextSink& sink) override {
    context_.limits.check_time();
    if (chapter_) {
      bool more = false;
      try {
        more = chapter_->step();
      } catch (const EngineError& error) {
        if (error.code() != Code::corrupt && error.code() != Code::unknown_compression) throw;
        damaged_ = true;
      }
      if (!more) {
        chapter_->finish();
        chapter_.reset();
      }
      return true;
    }
    if (next_ < chapters_.size()) {
      begin(chapters_[next_++], sink);
      return true;
    }
    if (damaged_ || zip_.damaged() || chapters_.empty()) {
      throw EngineError(Code::corrupt, "the publication is damaged: its text may be incomplete");
    }
    return false;
  }

  void properties(Properties& properties) override {
    PackageHandler handler(&properties);
    parse(package_part_, handler);
  }

  std::unique_ptr<Subfiles> subfiles() override {
    auto files = std::make_unique<EmbeddedFiles>();
    std::unordered_set<std::string> added;
    for (const Item& item : package_.items) {
      if (is_machinery(item.media_type) ||
          (is_page(item.media_type) && item.media_type != "image/svg+xml")) {
        continue;
      }
      if (is_font(item.media_type) && context_.options.skip_embedded_fonts) continue;
      if (item.href.find("://") != std::string::npos) {
        if (added.insert(item.href).second) files->add_external(item.href);
        continue;
      }
      const std::string part = find_part_name(zip_, package_part_, item.href);
      if (zip_.contains(part) && added.insert(part).second) add_package_file(*files, zip_, part);
    }
    if (files->count() == 0) return nullptr;
    files->settle_names(context_.limits);
    return files;
  }

 private:
  /// @return false when the part is missing or damaged; what was read before the damage is good
  bool parse(std::string_view part, XmlHandler& handler) {
    std::vector<char> buffer(piece_size);
    try {
      const auto opened = zip_.open(part);
      if (!opened) return false;
      XmlParser parser(handler, context_.limits);
      while (const std::size_t count = opened->read(buffer)) parser.feed({buffer.data(), count});
      parser.finish();
      return parser.well_formed();
    } catch (const EngineError& error) {
      if (error.code() != Code::corrupt && error.code() != Code::unknown_compression) throw;
      return false;
    }
  }

  void find_chapters() {
    std::unordered_map<std::string_view, const Item*> by_id;
    for (const Item& item : package_.items) by_id.emplace(item.id, &item);
    for (const std::string& id : package_.spine) {
      const auto found = by_id.find(id);
      if (found == by_id.end()) {
        damaged_ = true;
      } else if (!found->second->navigation && is_page(found->second->media_type)) {
        chapters_.push_back(found->second);
      }
    }
    if (!chapters_.empty()) return;
    for (const Item& item : package_.items) {
      if (is_page(item.media_type) && item.media_type != "image/svg+xml") {
        chapters_.push_back(&item);
      }
    }
  }

  void begin(const Item* item, TextSink& sink) {
    std::unique_ptr<ZipPackage::Part> part;
    try {
      part = zip_.open(find_part_name(zip_, package_part_, item->href));
    } catch (const EngineError& error) {
      if (error.code() != Code::corrupt && error.code() != Code::unknown_compression) throw;
    }
    if (part) {
      chapter_ = std::make_unique<Chapter>(std::move(part), item->media_type != "text/html", sink);
    } else {
      damaged_ = true;
    }
  }

  const ReaderContext context_;
  ZipPackage zip_;
  std::string package_part_;
  PackageHandler package_;
  std::vector<const Item*> chapters_;
  std::size_t next_ = 0;
  std::unique_ptr<Chapter> chapter_;
  bool damaged_ = false;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(epub, trfilter::EpubReader)
