#pragma once

#include <cstdint>
#include <string>

namespace trfilter {

/// Order in which a PDF page is read.
enum class PdfReading : std::uint32_t {
  automatic = 0,
  raw = 1,
  left_to_right = 2,
  right_to_left = 3
};

/// The host's settings for one document. Copied from the session when a stream is opened, so that a
/// reader never sees them change.
struct Options {
  static constexpr std::uint32_t utf8 = 53;
  static constexpr std::int64_t default_timeout_seconds = 350;

  // What of a document is shown.
  bool header_and_footer = false;
  bool header_and_footer_tags = false;  ///< headers and footers stand between tags
  bool revision_marks = false;          ///< false: the final text; true: both states, marked
  bool hidden_text = false;
  bool skip_comments = false;
  bool date_time_field_codes = false;  ///< the code of a date or time field instead of its result
  bool filename_field_code = false;    ///< the same for file name fields
  bool soft_hyphens = false;           ///< true: U+00AD is kept
  bool skip_thumbnail = false;
  bool skip_embedded_fonts = false;
  bool custom_pdf_metadata = false;
  bool tagged_pdf_content = false;
  PdfReading pdf_reading = PdfReading::automatic;

  // Character sets, by the engine's numbers.
  bool byte_order_mark = false;         ///< text starts with one
  bool no_encoding_conversion = false;  ///< plain text stays in its own set, all else is UTF-8
  bool detect_character_set = true;
  std::uint32_t source_encoding = 0;  ///< of text that does not declare one; 0: found in it
  /// It overrides what the document declares, too: a document around it says so.
  bool source_encoding_overrides = false;
  std::uint32_t target_encoding = utf8;

  std::string password;
  std::string temporary_directory;  ///< empty: the system's
  std::int64_t timeout_seconds = default_timeout_seconds;
  std::int64_t extraction_timeout_seconds = default_timeout_seconds;

  bool worker_log = false;         ///< out of process: events are logged
  bool worker_memory_log = false;  ///< ... with the worker's memory
};

}  // namespace trfilter
