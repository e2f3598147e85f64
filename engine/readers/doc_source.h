#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/charset/code_page.h"
#include "engine/core/limits.h"
#include "engine/readers/doc_fib.h"
#include "engine/readers/doc_fonts.h"
#include "engine/readers/doc_formatting.h"
#include "engine/readers/doc_old_numbers.h"
#include "engine/readers/doc_pieces.h"
#include "engine/readers/doc_stream.h"
#include "engine/readers/doc_styles.h"
#include "engine/word/list_numbering.h"

namespace trfilter::doc {

/// What text depends on of a paragraph's properties.
struct ParagraphProperties {
  std::uint16_t style = 0;
  unsigned table_depth = 0;
  bool row_end = false;
  bool inner_cell_end = false;
  bool inner_row_end = false;
  bool drop_cap = false;
  std::uint32_t list_id = 0;
  std::optional<std::uint32_t> list_level;
  std::optional<std::uint32_t> old_number_kind;
  std::string old_number;  ///< of Word 6
};

/// What text depends on of a character's properties.
struct CharacterProperties {
  bool hidden = false;
  bool inserted = false;
  bool deleted = false;
  bool special = false;
  bool binary_data = false;
  bool ole_object = false;
  std::optional<std::uint32_t> picture_location;
  std::optional<std::uint16_t> font;
  bool symbol = false;
  std::uint16_t symbol_font = 0;
  char32_t symbol_character = 0;
};

/// Characters that lie one behind the other in the main stream and have the same properties.
struct TextRun {
  std::uint32_t begin = 0;  ///< character positions
  std::uint32_t end = 0;
  bool wide = false;
  std::string_view bytes;  ///< until the next run is read
  CharacterProperties properties;
};

/// A Word document by its character positions: text with its properties.
class Source {
 public:
  /// @param main      the main stream
  /// @param table     the table stream; that of Word 6 is the main stream
  /// @param data      the data stream
  /// All streams outlive the object.
  Source(const Stream& main, const Stream& table, const Stream& data, Limits& limits);

  const Fib& fib() const { return fib_; }
  const Stream& main() const { return *main_; }
  const Stream& data() const { return *data_; }
  const std::vector<Font>& fonts() const { return fonts_; }
  word::ListNumbering& numbering() { return numbering_; }
  OldNumbers& old_numbers() { return old_numbers_; }
  Limits& limits() { return *limits_; }

  /// Whether something of the text or its properties is not there.
  bool damaged() const { return damaged_; }
  /// The character position behind the last one that is there.
  std::uint32_t end() const { return pieces_.end(); }

  /// A structure of the table stream; empty when the document has none.
  std::string table(Table table) const;

  /// The run at a position or behind it.
  /// @param limit  no run goes on beyond this position
  /// @return none when no text is left before the limit
  std::optional<TextRun> run_at(std::uint32_t position, std::uint32_t limit);

  /// The properties of the paragraph that holds a position.
  ParagraphProperties paragraph_at(std::uint32_t position);
  bool has_paragraphs() const { return !paragraphs_.empty(); }

  /// The properties of characters as a list of modifications states them.
  CharacterProperties character_properties(std::string_view modifiers, std::uint16_t style) const;

  /// Appends 8-bit text as UTF-8.
  void append_narrow(std::string_view bytes, const CharacterProperties& properties,
                     std::string& out);
  /// The font of characters; null when it is not known.
  const Font* font_of(const CharacterProperties& properties) const;

  /// Calls back for the properties of each run of the document.
  template <typename Visit>
  void visit_runs(Visit visit) {
    std::uint32_t at = 0;
    while (const auto run = run_at(at, end())) {
      visit(*run);
      at = run->end;
    }
  }

 private:
  void apply(std::string_view modifiers, ParagraphProperties& into) const;
  std::string_view window(std::uint64_t offset, std::size_t count);

  const Stream* main_;
  const Stream* table_;
  const Stream* data_;
  Limits* limits_;
  Fib fib_;
  Pieces pieces_;
  Formatting characters_;
  Formatting paragraphs_;
  Styles styles_;
  std::vector<Font> fonts_;
  word::ListNumbering numbering_;
  OldNumbers old_numbers_;
  CodePages code_pages_;
  std::int32_t code_page_ = 0;  ///< of 8-bit text in fonts that name none
  bool damaged_ = false;

  std::uint64_t window_begin_ = 0;
  std::string window_;
  std::string scratch_;
  std::uint16_t style_ = 0;  ///< of the paragraph asked for last: its characters' default
};

}  // namespace trfilter::doc
