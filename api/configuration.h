#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "api/encoding.h"
#include "api/export.h"

namespace tarnis::v1 {

namespace internal {
class ConfigurationImplementation;
}

/// The order in which the text of a PDF page is read; the values are the engine's numbers.
enum class LogicalPDFDirection : std::uint32_t {
  automatic = 0,
  raw = 1,  ///< as the document stores it
  left_to_right = 2,
  right_to_left = 3
};

/// How documents are to be filtered. Changes made before a session exists are recorded and sent to
/// the engine when the session starts; the configuration of a session sends each change at once.
///
/// A copy is linked to the same session as its original, and must not be changed once that session
/// has ended. The engine's answers to settings are not examined.
class TARNIS_EXPORT Configuration {
 public:
  Configuration();
  Configuration(const Configuration& other);
  /// Takes over the settings of `other` but keeps its own link: a session's configuration sends all
  /// of the new settings to its engine.
  Configuration& operator=(Configuration other);
  ~Configuration();

  /// Directory of the engine's temporary files. Empty by default: the engine's choice.
  Configuration& temporary_directory(std::string value);
  const std::string& temporary_directory() const;

  /// The password of documents and containers that ask for one. Empty by default.
  Configuration& password(std::string value);
  const std::string& password() const;

  /// Automatic by default.
  Configuration& pdf_logical_reading(LogicalPDFDirection value);
  LogicalPDFDirection pdf_logical_reading() const;

  /// Whether deleted and inserted text of tracked changes is marked in the output.
  Configuration& revision_marks(bool value);
  bool revision_marks() const;

  Configuration& skip_thumbnail(bool value);
  bool skip_thumbnail() const;

  /// Whether text that the document hides is put out.
  Configuration& hidden_text(bool value);
  bool hidden_text() const;

  Configuration& skip_comments(bool value);
  bool skip_comments() const;

  /// Whether date and time fields show their codes in place of their results.
  Configuration& date_time_field_codes(bool value);
  bool date_time_field_codes() const;

  Configuration& skip_embedded_fonts(bool value);
  bool skip_embedded_fonts() const;

  /// Whether file name fields show their code in place of their result.
  Configuration& filename_field_code(bool value);
  bool filename_field_code() const;

  /// Whether soft hyphens stay in the text.
  Configuration& soft_hyphens(bool value);
  bool soft_hyphens() const;

  Configuration& custom_pdf_metadata(bool value);
  bool custom_pdf_metadata() const;

  Configuration& tagged_pdf_content(bool value);
  bool tagged_pdf_content() const;

  /// The character set of the output. UTF-8 by default.
  Configuration& target_encoding(Encoding value);
  Encoding target_encoding() const;

  /// Whether the engine guesses the character set of plain text. True by default.
  Configuration& character_set_detection(bool value);
  bool character_set_detection() const;

  /// Time allowed for one extraction, in seconds. 350 by default.
  Configuration& extraction_timeout(long seconds);
  long extraction_timeout() const;

  /// Time allowed for filtering one document, in seconds. 350 by default.
  Configuration& timeout(long seconds);
  long timeout() const;

  /// The character set of documents that do not name theirs. Automatic by default.
  Configuration& source_encoding(Encoding value);
  Encoding source_encoding() const;

  /// Whether the engine's worker process writes a log.
  Configuration& out_of_process_log(bool value);
  bool out_of_process_log() const;

  /// Whether that log tells of memory.
  Configuration& out_of_process_memory_log(bool value);
  bool out_of_process_memory_log() const;

  Configuration& header_and_footer(bool value);
  bool header_and_footer() const;

  /// Whether headers and footers are marked as such in the output.
  Configuration& header_and_footer_tags(bool value);
  bool header_and_footer_tags() const;

  Configuration& unicode_byte_order_marker(bool value);
  bool unicode_byte_order_marker() const;

  Configuration& no_encoding_conversion(bool value);
  bool no_encoding_conversion() const;

  /// Whether mail messages are extracted as formatted mail.
  Configuration& formatted_mail(bool value);
  bool formatted_mail() const;

  /// Never null; belongs to this object.
  internal::ConfigurationImplementation* implementation() { return implementation_.get(); }
  const internal::ConfigurationImplementation* implementation() const {
    return implementation_.get();
  }

 private:
  std::unique_ptr<internal::ConfigurationImplementation> implementation_;
};

}  // namespace tarnis::v1
