#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

#include "engine/core/limits.h"
#include "engine/core/options.h"
#include "engine/core/temporary_file.h"

namespace trfilter {

/// What a stretch of text is. The sink decides from the options which are shown, and how.
enum class Region : std::uint8_t {
  header,            ///< page header: shown with `header_and_footer`
  footer,            ///< page footer: the same
  footnote,          ///< shown
  endnote,           ///< shown
  comment,           ///< a reviewer's remark: shown unless `skip_comments`
  speaker_note,      ///< a slide's notes: shown
  alternative_text,  ///< what stands for a picture: shown
  hidden,            ///< hidden runs, rows, columns, sheets, slides: shown with `hidden_text`
  inserted,          ///< tracked insertion: shown, marked with `revision_marks`
  deleted,           ///< tracked deletion: shown and marked with `revision_marks` only
  field_code,        ///< a field's instruction: never shown
  date_time_code,    ///< the instruction of a date or time field: shown with its option ...
  date_time_result,  ///< ... instead of this, its result
  filename_code,     ///< the instruction of a file name field: shown with its option ...
  filename_result,   ///< ... instead of this, its result
};

/// Takes a document's text from a reader and lays it out as plain text in UTF-8; where it
/// leaves the engine it is brought into the target encoding.
///
/// A reader says what the text *is*: pieces of UTF-8 text, ends of lines, paragraphs, cells, rows
/// and pages, and regions. An end is written lazily, before the next text: runs of empty paragraphs
/// and trailing empty cells leave nothing behind. The layout is: one line a paragraph or row, a tab
/// between cells, a form feed between pages, a line feed at the end.
///
/// Invalid UTF-8 becomes U+FFFD a bad byte; NUL characters, carriage returns and, by the options,
/// soft hyphens are dropped. Text of which nothing is left is no text. Text that waits to be taken
/// goes to a temporary file beyond a few megabytes. One document has one sink; it is used by one
/// thread.
class TextSink {
 public:
  /// Text is handed over once this much is there; readers keep a step's text near it.
  static constexpr std::size_t chunk_size = std::size_t{64} << 10;

  TextSink(const Options& options, Limits& limits);

  /// Adds text of the current line; it may hold line feeds and tabs.
  void text(std::string_view utf8);

  /// Adds text that is UTF-8 for certain and free of NUL and carriage returns, without a check.
  void clean_text(std::string_view utf8);

  /// Adds bytes of a document that asks for no conversion, as they stand: in the document's own
  /// character set, line ends and marks included.
  void verbatim(std::string_view bytes);

  /// Adds one character; values that are no Unicode scalar value become U+FFFD.
  void character(char32_t code_point);

  /// Ends the line within a paragraph. Written as it stands: two make an empty line.
  void line();
  /// Ends the paragraph; of several in a row the first counts.
  void paragraph();
  /// Begins a table row; a paragraph's end before it stands. Needed where paragraphs may precede.
  void begin_row();
  /// Ends `count` cells of a table row. A paragraph's end right before it is the cell's own end.
  void cell(unsigned count = 1);
  /// Ends the table row with what cells are still open.
  void row();
  /// Ends the page, slide or sheet.
  void page();

  /// Opens a region. Regions nest; each `begin` has its `end`. One without text leaves no marks.
  /// @return whether its text is shown; a reader may skip the work when it is not
  bool begin(Region region);
  void end(Region region);

  /// Whether text added now would be shown.
  bool shown() const { return suppressed_ == 0; }
  const Options& options() const { return *options_; }

  /// Whether any visible text has been added since the begin.
  bool has_text() const { return has_text_; }

  /// Bytes that wait to be taken.
  std::uint64_t size() const { return out_.size() + (spool_ ? spool_->size() - spool_read_ : 0); }

  /// Writes what is due at the document's end: the last line's end.
  void finish();

  /// Hands over the text so far, or the next piece of much; `into` is replaced, its capacity
  /// reused.
  /// @throws EngineError code 16 beyond the bound of output, code 19 after the deadline
  void take(std::string& into);

  /// The same after reading has failed: past every bound, nothing more is counted.
  void take_remainder(std::string& into);

  /// Hands over all text at once, where it is known to be little.
  /// @throws as `take`
  std::string take_all();

 private:
  bool is_shown(Region region) const;
  void flush_break();
  void append(std::string_view clean);
  void write(std::string_view kept);
  void put(std::string_view bytes);
  void spill();
  void end_mark(std::string_view begin, std::string_view end);

  const Options* options_;
  Limits* limits_;
  std::string out_;
  std::optional<TemporaryFile> spool_;  ///< what comes before `out_`; counted as output already
  std::deque<std::size_t> spooled_;     ///< bytes of its pieces that wait
  std::uint64_t spool_read_ = 0;        ///< bytes of it that have been taken
  unsigned suppressed_ = 0;

  // The break to write before the next text.
  enum class Newline : std::uint8_t { none, paragraph, row };
  Newline newline_due_ = Newline::none;
  bool page_due_ = false;
  unsigned tabs_due_ = 0;
  std::string marks_due_;   ///< of the regions that have begun without text so far
  bool line_empty_ = true;  ///< nothing written on the current line yet
  bool has_text_ = false;
};

/// What stands before a comment's text: its author.
/// @param author  UTF-8; empty: nobody is named
/// @param text    the comment's; some programs begin it with its author
/// @return empty when there is nothing to say
std::string comment_label(std::string_view author, std::string_view text = {});

}  // namespace trfilter
