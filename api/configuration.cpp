#include "api/configuration.h"

#include <utility>

#include "api/configuration_implementation.h"
#include "api/engine_abi.h"
#include "api/engine_call.h"
#include "api/session_implementation.h"

namespace tarnis::v1 {

using internal::ConfigurationImplementation;
using internal::FilterConfigArgs;
using internal::SessionImplementation;
using internal::Setters;

namespace {

template <class T>
void set_option(ConfigurationImplementation& implementation, int id, T& field, T value) {
  field = value;
  implementation.apply(id, FilterConfigArgs{static_cast<int>(value), nullptr});
}

void set_text_option(ConfigurationImplementation& implementation, int id, int accompanying_value,
                     std::string& field, std::string value) {
  field = std::move(value);
  implementation.apply(id, FilterConfigArgs{accompanying_value, field.c_str()});
}

}  // namespace

Configuration::Configuration() : implementation_(std::make_unique<ConfigurationImplementation>()) {}

Configuration::Configuration(const Configuration& other)
    : implementation_(std::make_unique<ConfigurationImplementation>(*other.implementation_)) {}

Configuration& Configuration::operator=(Configuration other) {
  SessionImplementation* const session = implementation_->session();
  std::swap(implementation_, other.implementation_);
  implementation_->link_to_session(session);
  return *this;
}

Configuration::~Configuration() = default;

Configuration& Configuration::temporary_directory(std::string value) {
  set_text_option(*implementation_, TR_OPTION_TEMPORARY_DIRECTORY, 0,
                  implementation_->settings.temporary_directory, std::move(value));
  return *this;
}

const std::string& Configuration::temporary_directory() const {
  return implementation_->settings.temporary_directory;
}

Configuration& Configuration::password(std::string value) {
  set_text_option(*implementation_, TR_OPTION_PASSWORD, 1, implementation_->settings.password,
                  std::move(value));
  return *this;
}

const std::string& Configuration::password() const {
  return implementation_->settings.password;
}

Configuration& Configuration::pdf_logical_reading(LogicalPDFDirection value) {
  set_option(*implementation_, TR_OPTION_PDF_LOGICAL_READING,
             implementation_->settings.pdf_logical_reading, value);
  return *this;
}

LogicalPDFDirection Configuration::pdf_logical_reading() const {
  return implementation_->settings.pdf_logical_reading;
}

Configuration& Configuration::revision_marks(bool value) {
  set_option(*implementation_, TR_OPTION_REVISION_MARKS, implementation_->settings.revision_marks,
             value);
  return *this;
}

bool Configuration::revision_marks() const {
  return implementation_->settings.revision_marks;
}

Configuration& Configuration::skip_thumbnail(bool value) {
  set_option(*implementation_, TR_OPTION_SKIP_THUMBNAIL, implementation_->settings.skip_thumbnail,
             value);
  return *this;
}

bool Configuration::skip_thumbnail() const {
  return implementation_->settings.skip_thumbnail;
}

Configuration& Configuration::hidden_text(bool value) {
  set_option(*implementation_, TR_OPTION_HIDDEN_TEXT, implementation_->settings.hidden_text, value);
  return *this;
}

bool Configuration::hidden_text() const {
  return implementation_->settings.hidden_text;
}

Configuration& Configuration::skip_comments(bool value) {
  set_option(*implementation_, TR_OPTION_SKIP_COMMENTS, implementation_->settings.skip_comments,
             value);
  return *this;
}

bool Configuration::skip_comments() const {
  return implementation_->settings.skip_comments;
}

Configuration& Configuration::date_time_field_codes(bool value) {
  set_option(*implementation_, TR_OPTION_DATE_TIME_FIELD_CODES,
             implementation_->settings.date_time_field_codes, value);
  return *this;
}

bool Configuration::date_time_field_codes() const {
  return implementation_->settings.date_time_field_codes;
}

Configuration& Configuration::skip_embedded_fonts(bool value) {
  set_option(*implementation_, TR_OPTION_SKIP_EMBEDDED_FONTS,
             implementation_->settings.skip_embedded_fonts, value);
  return *this;
}

bool Configuration::skip_embedded_fonts() const {
  return implementation_->settings.skip_embedded_fonts;
}

Configuration& Configuration::filename_field_code(bool value) {
  set_option(*implementation_, TR_OPTION_FILENAME_FIELD_CODE,
             implementation_->settings.filename_field_code, value);
  return *this;
}

bool Configuration::filename_field_code() const {
  return implementation_->settings.filename_field_code;
}

Configuration& Configuration::soft_hyphens(bool value) {
  set_option(*implementation_, TR_OPTION_SOFT_HYPHENS, implementation_->settings.soft_hyphens,
             value);
  return *this;
}

bool Configuration::soft_hyphens() const {
  return implementation_->settings.soft_hyphens;
}

Configuration& Configuration::custom_pdf_metadata(bool value) {
  set_option(*implementation_, TR_OPTION_CUSTOM_PDF_METADATA,
             implementation_->settings.custom_pdf_metadata, value);
  return *this;
}

bool Configuration::custom_pdf_metadata() const {
  return implementation_->settings.custom_pdf_metadata;
}

Configuration& Configuration::tagged_pdf_content(bool value) {
  set_option(*implementation_, TR_OPTION_TAGGED_PDF_CONTENT,
             implementation_->settings.tagged_pdf_content, value);
  return *this;
}

bool Configuration::tagged_pdf_content() const {
  return implementation_->settings.tagged_pdf_content;
}

Configuration& Configuration::target_encoding(Encoding value) {
  set_option(*implementation_, TR_OPTION_TARGET_ENCODING, implementation_->settings.target_encoding,
             value);
  return *this;
}

Encoding Configuration::target_encoding() const {
  return implementation_->settings.target_encoding;
}

Configuration& Configuration::character_set_detection(bool value) {
  set_option(*implementation_, TR_OPTION_CHARACTER_SET_DETECTION,
             implementation_->settings.character_set_detection, value);
  return *this;
}

bool Configuration::character_set_detection() const {
  return implementation_->settings.character_set_detection;
}

Configuration& Configuration::extraction_timeout(long seconds) {
  implementation_->settings.extraction_timeout = seconds;
  implementation_->apply(Setters::extraction_timeout, [seconds](SessionImplementation* session) {
    internal::notify_engine<TR_SLOT_SET_EXTRACTION_TIMEOUT>(*session, seconds);
  });
  return *this;
}

long Configuration::extraction_timeout() const {
  return implementation_->settings.extraction_timeout;
}

Configuration& Configuration::timeout(long seconds) {
  implementation_->settings.timeout = seconds;
  implementation_->apply(Setters::timeout, [seconds](SessionImplementation* session) {
    internal::notify_engine<TR_SLOT_SET_TIMEOUT>(*session, seconds);
  });
  return *this;
}

long Configuration::timeout() const {
  return implementation_->settings.timeout;
}

Configuration& Configuration::source_encoding(Encoding value) {
  implementation_->settings.source_encoding = value;
  implementation_->apply(Setters::source_encoding, [value](SessionImplementation* session) {
    internal::notify_engine<TR_SLOT_SET_SOURCE_ENCODING>(*session,
                                                         static_cast<std::uint32_t>(value));
  });
  return *this;
}

Encoding Configuration::source_encoding() const {
  return implementation_->settings.source_encoding;
}

Configuration& Configuration::out_of_process_log(bool value) {
  implementation_->settings.out_of_process_log = value;
  implementation_->switch_flags(value, TR_FLAG_OUT_OF_PROCESS_LOG_ON,
                                TR_FLAG_OUT_OF_PROCESS_LOG_OFF);
  return *this;
}

bool Configuration::out_of_process_log() const {
  return implementation_->settings.out_of_process_log;
}

Configuration& Configuration::out_of_process_memory_log(bool value) {
  implementation_->settings.out_of_process_memory_log = value;
  implementation_->switch_flags(value, TR_FLAG_OUT_OF_PROCESS_MEMORY_LOG_ON,
                                TR_FLAG_OUT_OF_PROCESS_MEMORY_LOG_OFF);
  return *this;
}

bool Configuration::out_of_process_memory_log() const {
  return implementation_->settings.out_of_process_memory_log;
}

Configuration& Configuration::header_and_footer(bool value) {
  implementation_->settings.header_and_footer = value;
  implementation_->switch_flags(value, TR_FLAG_HEADER_AND_FOOTER, 0);
  return *this;
}

bool Configuration::header_and_footer() const {
  return implementation_->settings.header_and_footer;
}

Configuration& Configuration::header_and_footer_tags(bool value) {
  implementation_->settings.header_and_footer_tags = value;
  implementation_->switch_flags(value, TR_FLAG_HEADER_AND_FOOTER_TAGS, 0);
  return *this;
}

bool Configuration::header_and_footer_tags() const {
  return implementation_->settings.header_and_footer_tags;
}

Configuration& Configuration::unicode_byte_order_marker(bool value) {
  implementation_->settings.unicode_byte_order_marker = value;
  implementation_->switch_flags(value, TR_FLAG_UNICODE_BYTE_ORDER_MARKER, 0);
  return *this;
}

bool Configuration::unicode_byte_order_marker() const {
  return implementation_->settings.unicode_byte_order_marker;
}

Configuration& Configuration::no_encoding_conversion(bool value) {
  implementation_->settings.no_encoding_conversion = value;
  implementation_->switch_flags(value, TR_FLAG_NO_ENCODING_CONVERSION, 0);
  return *this;
}

bool Configuration::no_encoding_conversion() const {
  return implementation_->settings.no_encoding_conversion;
}

Configuration& Configuration::formatted_mail(bool value) {
  implementation_->settings.formatted_mail = value;
  return *this;
}

bool Configuration::formatted_mail() const {
  return implementation_->settings.formatted_mail;
}

}  // namespace tarnis::v1
