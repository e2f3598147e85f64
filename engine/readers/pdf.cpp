// PDF documents (ISO 32000), format 230, through poppler's core.
//
// A page's text is taken from the character codes that its content and its annotations draw, with
// their places, and read in an order that is chosen page by page (pdf_reading_order). Form fields'
// values and free text annotations are text of the page; remarks follow it as comments. Characters
// without a meaning (a font without a character map) leave nothing.
//
// Not handled: bookmarks, forms that exist as XFA alone (their pages
// hold a notice instead), text that is only painted as shapes or pictures.
//
// Bounds: a step is a page; a page of more than PageText::max_clusters characters is written in
// parts. The time limit is kept inside a page too. Recursion of forms and resources is the
// library's to bound.

#include <Annot.h>
#include <ErrorCodes.h>
#include <GlobalParams.h>
#include <OptionalContent.h>
#include <PDFDoc.h>
#include <Page.h>

#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/core/reader.h"
#include "engine/readers/pdf_files.h"
#include "engine/readers/pdf_page_text.h"
#include "engine/readers/pdf_page_writer.h"
#include "engine/readers/pdf_properties.h"
#include "engine/readers/pdf_reading_order.h"
#include "engine/readers/pdf_stream.h"
#include "engine/readers/pdf_strings.h"
#include "engine/readers/pdf_structure.h"
#include "engine/readers/pdf_text_device.h"

namespace trfilter {
namespace {

using pdf::PageText;

/// What the library has reported on this thread since it was last asked.
struct Reports {
  bool wrong_stream = false;  ///< a compressed stream holds what cannot be
  bool short_stream = false;  ///< a compressed stream ends before its end
  bool missing_mapping =
      false;  ///< the character maps of an East Asian collection are not installed
};
thread_local Reports reports;

/// The library reports much that loses no text, and names the rest in words alone.
void note_error(ErrorCategory category, Goffset /*position*/, const char* message) {
  if (category != errSyntaxError || message == nullptr) return;
  const std::string_view text = message;
  const auto mentions = [text](std::string_view words) {
    return text.find(words) != std::string_view::npos;
  };
  if (mentions("flate stream") || mentions("LZW stream")) {
    (text.starts_with("Unexpected end") ? reports.short_stream : reports.wrong_stream) = true;
  } else if (mentions("Missing language pack")) {
    reports.missing_mapping = true;
  }
}

/// Sets the library up once for the process. It keeps its own locks from then on.
void start_library() {
  static std::once_flag once;
  std::call_once(once, [] {
    setErrorCallback(note_error);
    globalParams = std::make_unique<GlobalParams>();
  });
}

class PdfReader final : public Reader {
 public:
  explicit PdfReader(const ReaderContext& context)
      : context_(context),
        source_{context.document, context.limits, nullptr, false},
        device_(page_text_, source_, [this] { write_collected(); }) {
    start_library();
    open();
    page_count_ = document_->getNumPages();
    rethrow_failure();
    if (page_count_ <= 0) throw EngineError(Code::corrupt, "the document has no pages");
    find_layers();
    device_.set_tagged(context.options.tagged_pdf_content);
  }

  bool step(TextSink& sink) override {
    context_.limits.check_time();
    sink_ = &sink;
    if (next_page_ <= page_count_) {
      read_page(next_page_++);
    }
    if (next_page_ <= page_count_) return true;
    if (damaged_pages_ != 0) {
      throw EngineError(Code::corrupt,
                        std::to_string(damaged_pages_) + " pages cannot be read as a whole");
    }
    if (missing_mapping_) {
      throw EngineError(Code::no_reader,
                        "the character maps of East Asian collections are not installed");
    }
    return false;
  }

  void properties(Properties& properties) override {
    pdf::add_properties(*document_, context_.options.custom_pdf_metadata, context_.limits,
                        properties);
    rethrow_failure();
  }

  std::unique_ptr<Subfiles> subfiles() override {
    return pdf::files(*document_, source_, [this](const std::function<void()>& read_stream) {
      reports = {};
      read_stream();
      rethrow_failure();
      if (reports.wrong_stream || reports.short_stream) {
        throw EngineError(Code::corrupt, "an embedded file is damaged");
      }
    });
  }

 private:
  void open();
  bool open_with(const std::optional<std::string>& password);
  void rethrow_failure() const {
    if (source_.failure) std::rethrow_exception(source_.failure);
  }
  void find_layers();
  void switch_layers(bool on);
  void read_page(int number);
  void draw_page(int number);
  bool lost_contents(Page& page) const;
  void write_collected();
  void write_comments(Page& page);
  static bool abort_page(void* self);
  static bool draw_annotation(Annot* annotation, void* self);

  const ReaderContext context_;
  pdf::StreamSource source_;
  std::unique_ptr<PDFDoc> document_;
  bool reconstructed_ = false;
  int page_count_ = 0;
  int next_page_ = 1;
  int damaged_pages_ = 0;
  bool missing_mapping_ = false;

  std::vector<OptionalContentGroup*> layers_off_;
  std::optional<pdf::StructureTree> structure_;
  std::span<const std::int32_t> marked_content_;  ///< of the page that is being read

  PageText page_text_;
  pdf::TextDevice device_;
  TextSink* sink_ = nullptr;
};

bool PdfReader::open_with(const std::optional<std::string>& password) {
  std::optional<GooString> secret;
  if (password) secret.emplace(*password);
  reconstructed_ = false;
  // The document takes over a reference to the stream, and deletes it.
  auto stream = std::make_unique<pdf::DocumentStream>(
      source_, 0, false, static_cast<Goffset>(context_.document.size()), Object(objNull));
  document_ = std::make_unique<PDFDoc>(stream.release(), secret, secret, nullptr,
                                       [this] { reconstructed_ = true; });
  rethrow_failure();
  return document_->isOk();
}

void PdfReader::open() {
  const std::string& password = context_.options.password;
  if (!password.empty() && open_with(password)) return;
  if (const auto bytes = pdf::password_bytes(password); bytes && open_with(bytes)) return;
  // Documents for all have an empty password and refuse every other.
  if (open_with(std::nullopt)) return;
  const int error = document_->getErrorCode();
  if (error == errEncrypted) {
    throw EngineError(Code::password_protected,
                      "the password is missing or wrong, or the encryption unknown");
  }
  throw EngineError(Code::corrupt, "no document can be made out (" + std::to_string(error) + ")");
}

void PdfReader::find_layers() {
  OCGs* layers = document_->getOptContentConfig();
  if (layers == nullptr || !layers->isOk()) return;
  for (const auto& [reference, layer] : layers->getOCGs()) {
    if (layer->getState() == OptionalContentGroup::Off) layers_off_.push_back(layer.get());
  }
}

void PdfReader::switch_layers(bool on) {
  for (OptionalContentGroup* layer : layers_off_) {
    layer->setState(on ? OptionalContentGroup::On : OptionalContentGroup::Off);
  }
}

void PdfReader::draw_page(int number) {
  constexpr double points_per_inch = 72;
  document_->displayPage(&device_, number, points_per_inch, points_per_inch, 0, true, false, false,
                         abort_page, this, draw_annotation, this);
}

void PdfReader::read_page(int number) {
  Page* page = document_->getPage(number);
  if (page == nullptr || !page->isOk()) {
    ++damaged_pages_;
    return;
  }
  if (context_.options.tagged_pdf_content) {
    if (!structure_) structure_.emplace(*document_);
    marked_content_ = structure_->marked_content(page->getRef().num);
  }
  reports = {};
  page_text_.begin_page();
  draw_page(number);
  if (!layers_off_.empty() && context_.options.hidden_text && !source_.ended) {
    // What is drawn now and was not drawn before is hidden.
    page_text_.set_hidden(true);
    switch_layers(true);
    draw_page(number);
    switch_layers(false);
  }
  source_.ended = false;
  rethrow_failure();
  if (device_.cut_off() || reports.wrong_stream || (reports.short_stream && reconstructed_) ||
      lost_contents(*page))
    ++damaged_pages_;
  missing_mapping_ |= reports.missing_mapping;
  write_collected();
  write_comments(*page);
  sink_->page();
}

bool PdfReader::lost_contents(Page& page) const {
  if (!page.getContents().isNull()) return false;
  const Object dictionary = document_->getXRef()->fetch(page.getRef());
  return dictionary.isDict() && dictionary.dictLookupNF("Contents").isRef();
}

bool PdfReader::abort_page(void* self) {
  auto& reader = *static_cast<PdfReader*>(self);
  try {
    reader.context_.limits.check_time();
  } catch (...) {
    reader.source_.fail(std::current_exception());
  }
  return reader.source_.ended;
}

bool PdfReader::draw_annotation(Annot* annotation, void* self) {
  if (abort_page(self) || annotation->getType() == Annot::typePopup) return false;
  static_cast<PdfReader*>(self)->device_.begin_annotation();
  return true;
}

void PdfReader::write_collected() {
  page_text_.finish();
  std::vector<std::uint32_t> order;
  std::optional<float> middle;
  if (!marked_content_.empty()) {
    order = pdf::structure_order(page_text_, marked_content_);
    if (!order.empty()) middle = static_cast<float>(device_.page_height() / 2);
  }
  if (order.empty()) order = pdf::reading_order(page_text_, context_.options.pdf_reading);
  pdf::write_page(page_text_, order, middle, *sink_);
  page_text_.clear();
}

void PdfReader::write_comments(Page& page) {
  Annots* annotations = page.getAnnots();
  if (annotations == nullptr) return;
  for (Annot* annotation : annotations->getAnnots()) {
    const auto* markup = dynamic_cast<const AnnotMarkup*>(annotation);
    if (markup == nullptr || markup->getType() == Annot::typeFreeText ||
        markup->getContents() == nullptr)
      continue;
    const std::string text = pdf::text_string(markup->getContents()->toStr());
    if (text.empty()) continue;
    sink_->paragraph();
    if (sink_->begin(Region::comment)) {
      const GooString* author = markup->getLabel();
      if (author != nullptr) sink_->text(comment_label(pdf::text_string(author->toStr()), text));
      sink_->text(text);
    }
    sink_->paragraph();
    sink_->end(Region::comment);
  }
}

}  // namespace
}  // namespace trfilter

TRFILTER_READER(pdf, trfilter::PdfReader)
