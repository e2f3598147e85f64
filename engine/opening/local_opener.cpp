#include "engine/opening/local_opener.h"

#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "engine/core/engine_error.h"
#include "engine/core/text_sink.h"
#include "engine/detect/detect.h"
#include "engine/detect/wrapping.h"
#include "engine/opening/error_code.h"
#include "engine/opening/target_encoding.h"

namespace trfilter {
namespace {

/// A part of another source, for a document within a wrapping.
class PartSource : public ByteSource {
 public:
  PartSource(ByteSource& whole, std::uint64_t offset, std::uint64_t size)
      : whole_(&whole), offset_(offset), size_(size) {}

  std::uint64_t size() const override { return size_; }

  std::size_t read_at(std::uint64_t offset, std::span<char> out) override {
    if (offset >= size_) return 0;
    const auto count = std::min<std::uint64_t>(out.size(), size_ - offset);
    return whole_->read_at(offset_ + offset, out.first(static_cast<std::size_t>(count)));
  }

  const char* in_place() const override {
    const char* const whole = whole_->in_place();
    return whole == nullptr ? nullptr : whole + offset_;
  }
  std::uint64_t await(std::uint64_t end) override {
    return std::min(size_, whole_->await(offset_ + end) - offset_);
  }

 private:
  ByteSource* whole_;
  std::uint64_t offset_;
  std::uint64_t size_;
};

constexpr std::uint64_t wrapped =
    Detection::mac_binary | Detection::apple_single | Detection::apple_double;

Limits limits_for(const Options& options) {
  Limits::Bounds bounds;
  bounds.time = Limits::time_of_seconds(options.timeout_seconds);
  return Limits(bounds);
}

/// An input with everything that its reader works with: opened, detected, and its reader chosen.
class LocalDocument : public OpenedDocument {
 public:
  LocalDocument(const ReaderModules& modules, std::unique_ptr<ByteSource> source,
                const Options& options, Purpose purpose)
      : options_(options),
        target_(target_for(modules, purpose)),
        limits_(limits_for(options)),
        source_(std::move(source)),
        document_(whole(), options.temporary_directory) {
    if (document_.size() == 0) throw EngineError(Code::empty_file, "the input is empty");
    limits_.set_document_size(document_.size());
    detection_ = trfilter::detect(document_, &modules);
    if (detection_.format == Format::none) {
      throw EngineError(Code::not_recognized, "the input is of no known format");
    }
    if ((detection_.attributes & wrapped) != 0) unwrap();
    reader_ = modules.open(ReaderContext{document_, options_, limits_, detection_, modules});
    if (purpose == Purpose::text) sink_.emplace(options_, limits_);
    if (purpose == Purpose::members) {
      subfiles_ = reader_->subfiles();
      if (subfiles_) limits_.check_members(subfiles_->count());
    }
  }

  Format format() const override { return detection_.format; }

  std::string_view next_text() override {
    if (!sink_) throw EngineError(Code::invalid_argument, "not opened for its text");
    if (failure_) throw EngineError(*failure_);
    std::string_view text;
    // A set with shifts may keep back all of a short text.
    do {
      fill();
      text = target_->encode(chunk_, !more_);
    } while (text.empty() && more_);
    if (text.empty() && failure_) throw EngineError(*failure_);
    return text;
  }

  void properties(Properties& properties) override { reader_->properties(properties); }

  std::size_t member_count() override { return subfiles_ ? subfiles_->count() : 0; }
  Subfile describe(std::size_t index) override { return subfiles_->describe(index); }
  Subfiles::Extraction extract(std::size_t index, ByteOutput& output,
                               bool formatted_mail) override {
    limits_.restart_clock(Limits::time_of_seconds(options_.extraction_timeout_seconds));
    return subfiles_->extract(index, output, formatted_mail);
  }
  void mail_fields(std::size_t index, Properties& fields) override {
    subfiles_->mail_fields(index, fields);
  }

 private:
  std::optional<TargetEncoding> target_for(const ReaderModules& modules, Purpose purpose) {
    if (purpose != Purpose::text) return std::nullopt;
    return std::make_optional<TargetEncoding>(modules, options_);
  }

  std::unique_ptr<ByteSource> whole() {
    return std::make_unique<PartSource>(*source_, 0, source_->size());
  }

  /// Detection speaks of the document within a wrapping, and so does reading from here on.
  void unwrap() {
    const auto wrapping = find_wrapping(document_);
    if (!wrapping || wrapping->size == 0) return;
    document_ = Document(std::make_unique<PartSource>(*source_, wrapping->offset, wrapping->size),
                         options_.temporary_directory);
  }

  /// Pulls the reader's steps until a chunk is full.
  void fill() {
    try {
      while (more_ && sink_->size() < TextSink::chunk_size) {
        more_ = reader_->step(*sink_);
        limits_.check_time();
        if (!more_) sink_->finish();
      }
      sink_->take(chunk_);
    } catch (...) {
      failure_.emplace(code_of_current_exception(), "reading ended with an error");
      more_ = false;
      sink_->finish();
      sink_->take_remainder(chunk_);
    }
  }

  Options options_;
  std::optional<TargetEncoding> target_;
  Limits limits_;
  std::unique_ptr<ByteSource> source_;
  Document document_;
  Detection detection_;
  std::unique_ptr<Reader> reader_;
  std::unique_ptr<Subfiles> subfiles_;  ///< null: no members
  std::optional<TextSink> sink_;
  bool more_ = true;
  std::optional<EngineError> failure_;
  std::string chunk_;
};

}  // namespace

Detection LocalOpener::detect(std::unique_ptr<ByteSource> source, const Options& options) {
  Document document(std::move(source), options.temporary_directory);
  return trfilter::detect(document, &modules_);
}

std::unique_ptr<OpenedDocument> LocalOpener::open(std::unique_ptr<ByteSource> source,
                                                  const Options& options, Purpose purpose) {
  return std::make_unique<LocalDocument>(modules_, std::move(source), options, purpose);
}

}  // namespace trfilter
