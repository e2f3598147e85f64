#pragma once

#include <librevenge/librevenge.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/core/list_number.h"
#include "engine/core/text_sink.h"
#include "engine/readers/revenge_parse.h"
#include "engine/readers/revenge_recording.h"
#include "engine/word/story_output.h"
#include "engine/word/table_stack.h"

namespace trfilter::revenge {

/// A property as text; empty when it is not there. Valid as long as the result.
std::string property_text(const librevenge::RVNGPropertyList& list, const char* name);
/// A property as a number; `otherwise` when it is not there.
int property_number(const librevenge::RVNGPropertyList& list, const char* name, int otherwise);

/// Lays out what all kinds of librevenge's documents have in common, as its events come:
/// paragraphs, lists, tables, notes and boxes. What is anchored within a paragraph follows it. The
/// libraries' events need not be balanced: an end without its begin does nothing.
class Story {
 public:
  static constexpr std::size_t deepest = 256;  ///< levels of lists, tables, boxes in each other
  static constexpr std::size_t most_lists = 65'536;

  Story(Recording& recording, ParseState& state)
      : recording_(recording), limits_(state.limits()), output_(recording.sink()) {}

  TextSink& sink() { return recording_.sink(); }

  void text(std::string_view utf8);
  void tab() { text("\t"); }
  void line();
  /// The stored result of a field; most have none.
  void field(const librevenge::RVNGPropertyList& list);

  void open_paragraph(const librevenge::RVNGPropertyList& list);
  void close_paragraph();

  void open_list(const librevenge::RVNGPropertyList& list, bool ordered);
  void close_list();
  void open_item(const librevenge::RVNGPropertyList& list);

  /// What stands beside the text around it: a note, a comment, a box.
  void open_aside(std::optional<Region> region);
  void close_aside();

  /// Master pages and templates: their text is no document's.
  void open_skipped() { ++skipped_; }
  void close_skipped() {
    if (skipped_ != 0) --skipped_;
  }

  void open_table();
  void close_table();
  void open_row();
  void close_row();
  void open_cell(const librevenge::RVNGPropertyList& list);
  void close_cell();
  void covered_cell(const librevenge::RVNGPropertyList& list);

  /// A line of its own.
  void title(std::string_view text);
  /// Ends a page, a slide or a sheet; of an aside, a paragraph.
  void page();

  /// From here on text and ends of paragraphs go to `cell`, until null: asides do not.
  void capture(std::string* cell) { captured_ = cell; }
  /// Writes what was anchored in what has been written past the story.
  void write_anchored();

  /// Ends what is still open, and puts the text away.
  void finish();

 private:
  struct List {
    bool ordered = false;
    int id = 0;
    int level = 1;
    NumberStyle style = NumberStyle::none;
    std::string before;  ///< the number, or the bullet
    std::string after;
    int shown_levels = 1;
    std::int64_t next = 1;
  };
  struct Table {
    bool in_row = false;
    bool in_cell = false;
    unsigned column = 0;
  };
  struct Aside {
    std::optional<Region> region;
    bool deferred = false;
    std::size_t lists = 0;
    std::size_t tables = 0;
    std::string* captured = nullptr;
    unsigned paragraphs = 0;
  };

  bool skips() const { return skipped_ != 0; }
  std::string label() const;
  void move_to_column(Table& table, const librevenge::RVNGPropertyList& list);
  void put_cells(unsigned count);
  void close_tables(std::size_t size);

  Recording& recording_;
  Limits& limits_;
  word::StoryOutput output_;
  word::TableStack tables_{output_};
  std::vector<Table> open_tables_;  ///< what the stack does not know of its tables
  std::vector<List> lists_;
  std::map<std::pair<int, int>, std::int64_t> counted_;  ///< by list and level: the last number
  std::vector<Aside> asides_;
  unsigned paragraphs_ = 0;  ///< open ones, since the last aside
  unsigned skipped_ = 0;
  std::string* captured_ = nullptr;
};

}  // namespace trfilter::revenge
