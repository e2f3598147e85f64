#include "engine/abi/session.h"

#include <dlfcn.h>

#include <filesystem>

#include "engine/abi/callback_source.h"
#include "engine/core/engine_error.h"
#include "engine/core/limits.h"
#include "engine/opening/local_opener.h"
#include "engine/worker/remote_opener.h"

namespace trfilter {
namespace {

/// The folder that this library was loaded from, independent of the current directory.
std::string engine_directory() {
  static const char here = 0;
  Dl_info info{};
  if (::dladdr(&here, &info) == 0 || info.dli_fname == nullptr) {
    throw EngineError(Code::general, "the engine cannot find its own folder");
  }
  return std::filesystem::canonical(info.dli_fname).parent_path().string();
}

std::string text_of(const void* pointer) {
  return pointer == nullptr ? std::string() : std::string(static_cast<const char*>(pointer));
}

}  // namespace

Session::Session(std::uint32_t target_encoding, std::uint32_t flags) {
  options_.target_encoding = target_encoding;
  if ((flags & TR_FLAG_IN_PROCESS) == TR_FLAG_IN_PROCESS) {
    opener_ = std::make_unique<LocalOpener>(engine_directory());
  } else {
    opener_ = std::make_unique<RemoteOpener>(engine_directory());
  }
}

void Session::set_log(std::uint32_t flags) {
  if ((flags & TR_FLAG_OUT_OF_PROCESS_LOG_ON) != 0) options_.worker_log = true;
  if ((flags & TR_FLAG_OUT_OF_PROCESS_LOG_OFF) != 0) options_.worker_log = false;
  if ((flags & TR_FLAG_OUT_OF_PROCESS_MEMORY_LOG_ON) != 0) options_.worker_memory_log = true;
  if ((flags & TR_FLAG_OUT_OF_PROCESS_MEMORY_LOG_OFF) != 0) options_.worker_memory_log = false;
}

Options Session::options_for(std::uint32_t flags) const {
  Options options = options_;
  options.header_and_footer = (flags & TR_FLAG_HEADER_AND_FOOTER) != 0;
  options.header_and_footer_tags = (flags & TR_FLAG_HEADER_AND_FOOTER_TAGS) != 0;
  options.byte_order_mark = (flags & TR_FLAG_UNICODE_BYTE_ORDER_MARKER) != 0;
  options.no_encoding_conversion = (flags & TR_FLAG_NO_ENCODING_CONVERSION) != 0;
  return options;
}

void Session::set_option(std::uint32_t id, std::uint32_t value, const void* pointer) {
  const bool on = value != 0;
  switch (id) {
    case TR_OPTION_TEMPORARY_DIRECTORY:
      options_.temporary_directory = text_of(pointer);
      return;
    case TR_OPTION_PASSWORD:
      options_.password = text_of(pointer);
      return;
    case TR_OPTION_PDF_LOGICAL_READING:
      options_.pdf_reading = static_cast<PdfReading>(value);
      return;
    case TR_OPTION_REVISION_MARKS:
      options_.revision_marks = on;
      return;
    case TR_OPTION_SKIP_THUMBNAIL:
      options_.skip_thumbnail = on;
      return;
    case TR_OPTION_HIDDEN_TEXT:
      options_.hidden_text = on;
      return;
    case TR_OPTION_SKIP_COMMENTS:
      options_.skip_comments = on;
      return;
    case TR_OPTION_DATE_TIME_FIELD_CODES:
      options_.date_time_field_codes = on;
      return;
    case TR_OPTION_SKIP_EMBEDDED_FONTS:
      options_.skip_embedded_fonts = on;
      return;
    case TR_OPTION_FILENAME_FIELD_CODE:
      options_.filename_field_code = on;
      return;
    case TR_OPTION_SOFT_HYPHENS:
      options_.soft_hyphens = on;
      return;
    case TR_OPTION_CUSTOM_PDF_METADATA:
      options_.custom_pdf_metadata = on;
      return;
    case TR_OPTION_TAGGED_PDF_CONTENT:
      options_.tagged_pdf_content = on;
      return;
    case TR_OPTION_TARGET_ENCODING:
      options_.target_encoding = value;
      return;
    case TR_OPTION_CHARACTER_SET_DETECTION:
      options_.detect_character_set = on;
      return;
    default:
      throw EngineError(Code::invalid_argument, "unknown option id");
  }
}

void Session::enter_container() {
  if (open_containers_ >= Limits::Bounds{}.open_containers) {
    throw EngineError(Code::nested_too_deep, "too many containers are open in each other");
  }
  if (open_containers_ == 0) {
    Limits::Bounds bounds;
    bounds.time = Limits::time_of_seconds(0);
    nest_limits_ = Limits(bounds);
    nest_size_ = nest_members_ = 0;
  }
  ++open_containers_;
}

void Session::add_container_size(std::uint64_t bytes) {
  // What is larger than all that has come out so far has not come out.
  if (bytes > nest_members_) nest_size_ += bytes;
  nest_limits_.set_document_size(nest_size_);
}

void Session::charge_members(std::uint64_t bytes) {
  nest_members_ += bytes;
  nest_limits_.charge_unpacked(bytes);
}

void Session::get_summary(tag_InputStream& stream, tag_TRSummaryInfoEx& record) {
  record = {};
  Properties properties;
  opener_->open(std::make_unique<CallbackSource>(stream), options_, Purpose::properties)
      ->properties(properties);
  auto block = std::make_unique<SummaryBlock>(properties);
  if (block->elements().empty()) return;
  record.count = static_cast<std::uint32_t>(block->elements().size());
  record.elements = block->elements().data();
  summaries_[record.elements] = std::move(block);
}

void Session::free_summary(tag_TRSummaryInfoEx& record) {
  summaries_.erase(record.elements);
  record = {};
}

}  // namespace trfilter
