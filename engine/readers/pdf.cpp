// PDF documents (ISO 32000), format 230, through poppler's core.
//
// A page's text is taken from the character codes that its content and its annotations draw, with
// their places, and read in an order that is chosen page by page (pdf_reading_order). Form fields'
// values and free text annotations are text of the page; remarks follow it as comments. Characters
// without a meaning (a font without a character map) leave nothing.
//
// Not handled: attachments and bookmarks, XMP metadata, text that is only painted as shapes or
// pictures.
//
// Bounds: a step is a page; a page of more than PageText::max_clusters characters is written in
// parts. The time limit is kept inside a page too. Recursion of forms and resources is the
// library's to bound.

#include <Annot.h>
#include <ErrorCodes.h>
#include <GlobalParams.h>
#include <PDFDoc.h>
#include <Page.h>

#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "engine/core/reader.h"
#include "engine/readers/pdf_page_text.h"
#include "engine/readers/pdf_page_writer.h"
#include "engine/readers/pdf_properties.h"
#include "engine/readers/pdf_reading_order.h"
#include "engine/readers/pdf_stream.h"
#include "engine/readers/pdf_strings.h"
#include "engine/readers/pdf_text_device.h"

namespace trfilter {
namespace {

using pdf::PageText;

/// Damage that the library has met on this thread since it was last asked.
thread_local bool damage_met = false;

void note_error(ErrorCategory category, Goffset /*position*/, const char* /*message*/) {
  if (category == errSyntaxError || category == errIO) damage_met = true;
}

/// Sets the library up once for the process. It keeps its own locks from then on.
void start_library() {
  static std::once_flag once;
  std::call_once(once, [] {
    setErrorCallback(note_error);
    globalParams = std::make_unique<GlobalParams>();
    globalParams->setErrQuiet(false);
  });
}

class PdfReader final : public Reader {
 public:
  explicit PdfReader(const ReaderContext& context)
      : context_(context), source_{context.document, nullptr}, device_(page_text_, [this] {
          write_collected();
        }) {
    start_library();
    open();
    page_count_ = document_->getNumPages();
    if (page_count_ <= 0) throw EngineError(Code::corrupt, "the document has no pages");
  }

  bool step(TextSink& sink) override {
    context_.limits.check_time();
    sink_ = &sink;
    if (next_page_ <= page_count_) {
      read_page(next_page_++);
      if (failure_) std::rethrow_exception(failure_);
      if (source_.failure) std::rethrow_exception(source_.failure);
    }
    if (next_page_ <= page_count_) return true;
    if (unreadable_pages_ != 0) {
      throw EngineError(Code::corrupt, std::to_string(unreadable_pages_) + " pages cannot be read");
    }
    return false;
  }

  void properties(Properties& properties) override {
    pdf::add_properties(*document_, context_.options.custom_pdf_metadata, properties);
  }

 private:
  void open();
  bool open_with(const std::optional<std::string>& password);
  void read_page(int number);
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
  int unreadable_pages_ = 0;

  PageText page_text_;
  pdf::TextDevice device_;
  TextSink* sink_ = nullptr;
  std::exception_ptr failure_;  ///< what a callback could not throw through the library
};

bool PdfReader::open_with(const std::optional<std::string>& password) {
  std::optional<GooString> secret;
  if (password) secret.emplace(*password);
  reconstructed_ = false;
  // The document takes over a reference to the stream, and deletes it.
  document_ = std::make_unique<PDFDoc>(pdf::open_stream(source_).release(), secret, secret, nullptr,
                                       [this] { reconstructed_ = true; });
  if (source_.failure) std::rethrow_exception(source_.failure);
  return document_->isOk();
}

void PdfReader::open() {
  const std::string& password = context_.options.password;
  if (!password.empty() && open_with(password)) return;
  // Documents for all have an empty password and refuse every other.
  if (open_with(std::nullopt)) return;
  const int error = document_->getErrorCode();
  if (error == errEncrypted) {
    throw EngineError(Code::password_protected,
                      "the password is missing or wrong, or the encryption unknown");
  }
  throw EngineError(Code::corrupt, "no document can be made out (" + std::to_string(error) + ")");
}

void PdfReader::read_page(int number) {
  Page* page = document_->getPage(number);
  if (page == nullptr || !page->isOk()) {
    ++unreadable_pages_;
    return;
  }
  page_text_.clear();
  constexpr double points_per_inch = 72;
  document_->displayPage(&device_, number, points_per_inch, points_per_inch, 0, true, false, false,
                         abort_page, this, draw_annotation, this);
  if (failure_) return;
  context_.limits.check_time();
  write_collected();
  write_comments(*page);
  sink_->page();
}

bool PdfReader::abort_page(void* self) {
  auto& reader = *static_cast<PdfReader*>(self);
  if (reader.failure_) return true;
  try {
    reader.context_.limits.check_time();
  } catch (...) {
    reader.failure_ = std::current_exception();
  }
  return reader.failure_ != nullptr;
}

bool PdfReader::draw_annotation(Annot* annotation, void* self) {
  auto& reader = *static_cast<PdfReader*>(self);
  if (abort_page(self) || annotation->getType() == Annot::typePopup) return false;
  reader.device_.begin_annotation();
  return true;
}

void PdfReader::write_collected() {
  if (failure_) return;
  try {
    page_text_.finish();
    const auto order = pdf::reading_order(page_text_, context_.options.pdf_reading);
    pdf::write_page(page_text_, order, *sink_);
    page_text_.clear();
  } catch (...) {
    failure_ = std::current_exception();
  }
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
    if (sink_->begin(Region::comment)) sink_->text(text);
    sink_->paragraph();
    sink_->end(Region::comment);
  }
}

}  // namespace
}  // namespace trfilter

TRFILTER_READER(pdf, trfilter::PdfReader)
