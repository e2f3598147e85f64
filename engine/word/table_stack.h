#pragma once

#include <optional>
#include <vector>

#include "engine/word/story_output.h"

namespace trfilter::word {

/// The tables that are open (ECMA-376 part 1, 17.4). The outermost is rows and cells; a table
/// within a cell or a text box is lines, with tabs between its cells.
class TableStack {
 public:
  /// `output` outlives the stack.
  explicit TableStack(StoryOutput& output) : output_(output) {}

  std::size_t size() const { return tables_.size(); }

  /// @param nested  whether it stands within a cell or a text box
  void begin(bool nested);
  void end();
  /// Forgets tables until there are no more than `size`.
  void close(std::size_t size);

  void begin_row();
  /// The row's properties are complete.
  void end_row_properties();
  void end_row();
  void begin_cell();
  void end_cell();

  // Properties of the row or the cell that has begun; without a table they mean nothing.
  void set_cell_span(unsigned columns);
  void set_cells_before(unsigned columns);
  void set_row_region(Region region);

 private:
  struct Table {
    bool nested = false;
    unsigned cell_span = 1;
    unsigned cells_before = 0;
    std::optional<Region> row_region;
    bool row_region_open = false;
  };

  void put_cells(const Table& table, unsigned count);

  StoryOutput& output_;
  std::vector<Table> tables_;
};

}  // namespace trfilter::word
