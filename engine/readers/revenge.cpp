// Documents of the office programs that the libraries over librevenge read: WordPerfect, Works and
// its kin, 1-2-3, Quattro Pro, Visio, Publisher, CorelDRAW, PageMaker, QuarkXPress, FreeHand,
// iWork, StarOffice up to 5.2 and programs of the classic Macintosh. revenge_library.cpp says which
// library reads which format.
//
// A library reads a document in one go and tells its text as events. They are laid out as they come
// (revenge_story), the text is put away (revenge_recording) and given piece by piece afterwards.
// Compound files keep their property sets and the file that they wrap, packages their own
// properties and their pictures.
//
// Not handled: text on master pages, the results of page number fields, versions that the libraries
// do not know, tracked changes.
//
// Bounds: the text takes 1 MiB of memory and a temporary file; a stream within a document is
// unpacked up to 256 MiB. What a library makes of a document in memory is its own; worksheets of
// more than 32 MiB are refused for it. The time limit is kept at every event and every reading:
// after it the library finds its input at the end.

#include <libxml/xmlerror.h>
#include <libxml/xmlversion.h>

#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "engine/compound/compound_file.h"
#include "engine/compound/embedded_objects.h"
#include "engine/core/reader.h"
#include "engine/opc/opc_package.h"
#include "engine/readers/revenge_damage.h"
#include "engine/readers/revenge_iwork.h"
#include "engine/readers/revenge_library.h"
#include "engine/readers/revenge_packed.h"
#include "engine/readers/revenge_recording.h"

namespace trfilter {
namespace {

using revenge::Outcome;

constexpr std::string_view compound_signature = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";

bool is_iwork(Format format) {
  switch (format) {
    case Format::pages:
    case Format::numbers:
    case Format::keynote:
    case Format::pages_2013:
    case Format::numbers_2013:
    case Format::keynote_2013:
      return true;
    default:
      return false;
  }
}

bool is_visio_package(Format format) {
  switch (format) {
    case Format::visio_drawing:
    case Format::visio_drawing_macro:
    case Format::visio_stencil:
    case Format::visio_stencil_macro:
    case Format::visio_template:
    case Format::visio_template_macro:
      return true;
    default:
      return false;
  }
}

/// Some of the libraries leave it to libxml2 to print what is wrong with a document.
class SilentXml {
 public:
  SilentXml() : handler_(xmlStructuredError), context_(xmlStructuredErrorContext) {
    xmlSetStructuredErrorFunc(nullptr, ignore);
  }
  SilentXml(const SilentXml&) = delete;
  SilentXml& operator=(const SilentXml&) = delete;
  ~SilentXml() { xmlSetStructuredErrorFunc(context_, handler_); }

 private:
#if LIBXML_VERSION >= 21200
  static void ignore(void*, const xmlError*) {}
#else
  static void ignore(void*, xmlError*) {}
#endif

  xmlStructuredErrorFunc handler_;
  void* context_;
};

class RevengeReader final : public Reader {
 public:
  explicit RevengeReader(const ReaderContext& context)
      : context_(context),
        state_(context.limits),
        recording_(context.options, context.limits),
        story_(recording_, state_),
        packed_objects_(state_, story_) {
    const Format format = context.detection.format;
    if (context.document.head(compound_signature.size()) == compound_signature) {
      compound_ = std::make_unique<CompoundFile>(context.document, context.limits);
    } else if (is_visio_package(format)) {
      opc_ = std::make_unique<OpcPackage>(context.document, context.limits);
    } else if (is_iwork(format)) {
      package_ = std::make_unique<ZipPackage>(context.document, context.limits);
      if ((context.detection.attributes & Detection::encrypted) != 0) {
        throw EngineError(Code::password_protected, "encrypted iWork documents cannot be read");
      }
    }
  }

  bool step(TextSink& sink) override {
    read();
    if (recording_.give(sink)) return true;
    state_.rethrow();
    if (outcome_ == Outcome::damaged || state_.damaged()) {
      throw EngineError(Code::corrupt, "the document is damaged");
    }
    return false;
  }

  void properties(Properties& properties) override {
    if (compound_) add_property_sets(*compound_, CompoundEntry::root, properties);
    if (opc_) opc_->properties(properties);
    if (package_) revenge::add_iwork_properties(*package_, context_.limits, properties);
    try {
      read();
      state_.rethrow();
    } catch (const EngineError& error) {
      // What stands outside of the text holds.
      if (error.code() == Code::timed_out || properties.items().empty()) throw;
    }
    metadata_.write(properties, is_iwork(context_.detection.format));
  }

  std::unique_ptr<Subfiles> subfiles() override {
    if (opc_) return opc_->files(context_);
    if (package_) return revenge::iwork_files(*package_, context_.limits);
    return compound_ ? wrapped_file_of(*compound_) : nullptr;
  }

 private:
  /// Reads the whole document, once.
  void read();

  const ReaderContext context_;
  std::unique_ptr<CompoundFile> compound_;
  std::unique_ptr<OpcPackage> opc_;
  std::unique_ptr<ZipPackage> package_;

  revenge::ParseState state_;
  revenge::Recording recording_;
  revenge::Story story_;
  revenge::LibraryObjects packed_objects_;
  revenge::Metadata metadata_;
  std::optional<Outcome> outcome_;
};

void RevengeReader::read() {
  if (!outcome_) {
    outcome_ = Outcome::damaged;
    if (!compound_ &&
        revenge::is_cut_short(context_.document, context_.detection.format, context_.limits)) {
      state_.note_damage();
    }
    const SilentXml silent;
    revenge::InputStream input(context_.document, state_);
    try {
      outcome_ =
          revenge::read_with_library(input, context_, {state_, story_, metadata_, packed_objects_});
    } catch (const EngineError&) {
      state_.fail(std::current_exception());
    } catch (const std::bad_alloc&) {
      state_.fail(std::current_exception());
    } catch (...) {
      // Of the library's own, which has given up.
    }
    if (package_ && *outcome_ != Outcome::complete && !recording_.has_text()) {
      state_.guard(
          [&] { revenge::salvage_iwork_text(*package_, context_.limits, recording_.sink()); });
    }
    story_.finish();
  }
  if (recording_.has_text()) return;
  state_.rethrow();
  switch (*outcome_) {
    case Outcome::complete:
      if (!state_.damaged()) return;
      [[fallthrough]];
    case Outcome::damaged:
      throw EngineError(Code::corrupt, "nothing of the document can be read");
    case Outcome::unsupported:
      throw EngineError(Code::unsupported_format, "a version or kind that cannot be read");
    case Outcome::password:
      throw EngineError(Code::password_protected, "the password is missing or wrong");
  }
}

}  // namespace
}  // namespace trfilter

TRFILTER_READER(revenge, trfilter::RevengeReader)
