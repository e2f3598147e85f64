#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/text_sink.h"

namespace trfilter::word {

/// What a story writes through: the sink, with the two things that WordprocessingML needs beyond
/// it. Text that is anchored within a paragraph (boxes, pictures' descriptions, charts) is put off
/// to the paragraph's end; and a list label or the tabs of a nested table's row are written only
/// when text follows.
class StoryOutput {
 public:
  explicit StoryOutput(TextSink& sink) : sink_(sink) {}

  const Options& options() const { return sink_.options(); }

  void text(std::string_view utf8) {
    if (due_) utf8 = write_due(utf8);
    if (utf8.empty()) return;
    if (!deferring()) {
      sink_.text(utf8);
    } else {
      record_text(utf8);
    }
  }
  void line();
  void paragraph();
  void begin_row();
  void cell(unsigned count);
  void row();
  /// Ends the page; a paragraph where text is put off.
  void page();

  void open(Region region);
  /// Closes the innermost open region of this kind.
  void close(Region region);

  bool is_open(Region region) const {
    return std::find(open_.begin(), open_.end(), region) != open_.end();
  }

  /// The label of the paragraph that begins; empty for none.
  void set_label(std::string_view label);

  /// Blanks before the next text are left out.
  void drop_blanks();

  /// A table within a table or a box: cells within a line, a paragraph's end behind each row.
  void begin_nested_table() { ++nested_tables_; }
  void nested_cell(unsigned count);
  void nested_row();
  void end_nested_table();

  /// What is written between the two is put off until `write_deferred`. Where that is going on
  /// already, it becomes paragraphs in place.
  void begin_deferred();
  void end_deferred();
  bool deferring() const { return !outside_.empty(); }
  void write_deferred();

 private:
  enum class Call : char {
    line = 'a',  // every code is a letter, none a control character
    paragraph,
    begin_row,
    cell,
    row,
    open,
    close,
  };

  enum class Newline : std::uint8_t { none, paragraph, row };

  struct Due {
    Newline newline = Newline::none;  ///< within a nested table, where a cell's last one is its end
    std::string label;
    unsigned tabs = 0;
    bool drops_blanks = false;

    bool any() const {
      return newline != Newline::none || !label.empty() || tabs != 0 || drops_blanks;
    }
  };

  /// Writes what waits for text. @return what is to be written of the text
  std::string_view write_due(std::string_view utf8);
  void write_waiting();
  void write_newline();
  void put_paragraph();
  void record_text(std::string_view utf8);
  void record(Call call, unsigned argument = 0);
  void replay(Call call, unsigned argument);
  bool shown() const { return deferring() || sink_.shown(); }

  TextSink& sink_;
  std::vector<Region> open_;
  std::string deferred_;  ///< text, and calls as a control character, the code and the argument
  unsigned nested_tables_ = 0;
  bool due_ = false;  ///< something is to be done before text
  Due waiting_;
  std::vector<Due> outside_;  ///< of what is put off: what the text around waits for
};

}  // namespace trfilter::word
