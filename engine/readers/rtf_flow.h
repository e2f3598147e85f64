#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/text_sink.h"

namespace trfilter::rtf {

/// Hands text to the sink and keeps notes out of running text: a footnote, a comment or a text box
/// stands in the middle of a sentence of the file; it is shown below the paragraph or table row
/// that it belongs to. What waits is bounded by `most_waiting`: beyond it notes are shown where
/// they stand.
class Flow {
 public:
  static constexpr std::size_t most_waiting = std::size_t{1} << 20;  ///< bytes

  /// Sets where text goes. Without a sink nothing is kept.
  void attach(TextSink* sink) { sink_ = sink; }

  void text(std::string_view utf8);
  void line() { add(Event::Kind::line); }
  void paragraph() { add(Event::Kind::paragraph); }
  void begin_row() { add(Event::Kind::begin_row); }
  void cell() { add(Event::Kind::cell); }
  void row() { add(Event::Kind::row); }
  void page() { add(Event::Kind::page); }
  void begin(Region region) { add(Event::Kind::begin, region); }
  void end(Region region) { add(Event::Kind::end, region); }

  /// Text until `end_note` is a note; notes nest.
  /// @param around  regions of the text that it belongs to
  /// @param region  what the note is; none: text of its own, as a text box has
  void begin_note(std::vector<Region> around, std::optional<Region> region);

  /// Says what the innermost open note is, if it has begun as a footnote.
  void set_note_region(Region region);

  void end_note();

  bool in_note() const { return !open_.empty(); }

  /// Shows the notes that wait. Does nothing inside of a note.
  void show_notes();

  /// Shows all that waits, open notes too, at the document's end.
  void finish();

 private:
  struct Event {
    enum class Kind : std::uint8_t {
      text,
      line,
      paragraph,
      begin_row,
      cell,
      row,
      page,
      begin,
      end
    };
    Kind kind;
    Region region;
    std::size_t length;  ///< of text, in bytes
  };

  struct Note {
    std::vector<Region> regions;  ///< outermost first
    std::vector<Event> events;
    std::string text;
    bool begun = false;  ///< its begin has reached the sink
  };

  void add(Event::Kind kind, Region region = {});
  void play(const Event& event, std::string_view text);
  void play_begin(Note& note);
  void play_end(const Note& note);
  void play_events(Note& note);
  void show_in_place();

  TextSink* sink_ = nullptr;
  std::vector<Note> notes_;        ///< in the order in which they begin
  std::vector<std::size_t> open_;  ///< indices of notes that have not ended, innermost last
  std::size_t waiting_ = 0;        ///< bytes in `notes_`
  bool in_place_ = false;          ///< notes that are open go to the sink at once
};

}  // namespace trfilter::rtf
