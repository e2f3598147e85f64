#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "engine/readers/doc_anchors.h"
#include "engine/readers/doc_source.h"
#include "engine/word/field_stack.h"
#include "engine/word/story_output.h"
#include "engine/word/table_stack.h"

namespace trfilter::doc {

/// Told by the main story where its sections end.
class SectionListener {
 public:
  virtual ~SectionListener() = default;
  /// Whether a section that is not the last one ends before this position.
  virtual bool ends_section(std::uint32_t position) const = 0;
  /// The last paragraph of such a section has been written.
  virtual void section_ended() = 0;
};

/// Turns a stretch of a document's text (the body, a header, a footnote ...) into text.
class Story final {
 public:
  /// What all arguments refer to outlives the story.
  /// @param listener  null for every story but the main one
  /// @param anchors   null where nothing can be anchored
  Story(Source& source, word::StoryOutput& output, Span span, SectionListener* listener = nullptr,
        const Anchors* anchors = nullptr);

  /// Writes some kilobytes. @return whether more is to come
  bool step();

  /// Writes all that is left.
  void run();

  /// Leaves out the mark of a note and the blanks behind it.
  void drop_mark();

 private:
  void find_open_fields();
  void start_paragraph(std::uint32_t position);
  void put_label(std::uint32_t position);
  void end_paragraph(const CharacterProperties& mark);
  void enter_tables(unsigned depth);
  void leave_tables(unsigned depth);
  void begin_row();
  void end_row();
  void end_cell();

  void set_regions(const CharacterProperties& run);
  void close_regions();
  void put_run(const TextRun& run);
  void put_wide(const TextRun& run);
  void put_narrow(const TextRun& run);
  void put_special(char32_t character, std::uint32_t position, const CharacterProperties& run);
  void put_symbol(const CharacterProperties& run);
  void put_anchored(std::uint32_t position);
  void put_description(std::string_view description);
  void flush();
  void finish();

  Source& source_;
  word::StoryOutput& output_;
  Span span_;
  SectionListener* listener_;
  const Anchors* anchors_;
  std::uint32_t at_;
  bool finished_ = false;

  word::TableStack tables_;
  std::vector<bool> row_open_;  ///< of each table
  word::FieldStack fields_;
  std::unordered_set<std::uint32_t> open_fields_;  ///< begins of fields that never end

  /// Where the data of the field are whose instruction is being read, when it is one of a form.
  std::optional<std::uint32_t> form_;

  bool in_paragraph_ = false;
  ParagraphProperties paragraph_;
  std::optional<Region> revision_;  ///< open
  bool hidden_ = false;             ///< open
  bool after_cell_ = false;         ///< no text since a cell's end in an unformatted table
  char16_t high_surrogate_ = 0;
  std::string text_;  ///< of the run, not yet written
};

}  // namespace trfilter::doc
