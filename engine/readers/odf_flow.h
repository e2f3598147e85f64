#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/text_sink.h"

namespace trfilter {

/// What would have been told to a sink, kept to be told later.
class TextRecord {
 public:
  void text(std::string_view utf8);
  void line() { add(Kind::line); }
  void paragraph() { add(Kind::paragraph); }
  void begin_row() { add(Kind::begin_row); }
  void cell(unsigned count) { add(Kind::cell, count); }
  void row() { add(Kind::row); }
  void page() { add(Kind::page); }
  void begin(Region region) { add(Kind::begin, static_cast<std::uint32_t>(region)); }
  void end(Region region) { add(Kind::end, static_cast<std::uint32_t>(region)); }

  /// Tells all of it to a sink or another record.
  template <typename Target>
  void replay(Target& target) const;

  /// Takes a paragraph's end off the end.
  void drop_last_paragraph();

  bool has_text() const { return !bytes_.empty(); }
  const std::string& bytes() const { return bytes_; }
  /// Memory in bytes that it stands for.
  std::size_t size() const { return bytes_.size() + steps_.size() * sizeof(Step); }

 private:
  enum class Kind : std::uint8_t { text, line, paragraph, begin_row, cell, row, page, begin, end };
  struct Step {
    Kind kind;
    std::uint32_t value;  ///< bytes of text, count of cells, or the region
  };
  void add(Kind kind, std::uint32_t value = 0) { steps_.push_back({kind, value}); }

  std::string bytes_;
  std::vector<Step> steps_;
};

template <typename Target>
void TextRecord::replay(Target& target) const {
  std::string_view rest = bytes_;
  for (const Step& step : steps_) {
    switch (step.kind) {
      case Kind::text:
        target.text(rest.substr(0, step.value));
        rest.remove_prefix(step.value);
        break;
      case Kind::line:
        target.line();
        break;
      case Kind::paragraph:
        target.paragraph();
        break;
      case Kind::begin_row:
        target.begin_row();
        break;
      case Kind::cell:
        target.cell(step.value);
        break;
      case Kind::row:
        target.row();
        break;
      case Kind::page:
        target.page();
        break;
      case Kind::begin:
        target.begin(static_cast<Region>(step.value));
        break;
      case Kind::end:
        target.end(static_cast<Region>(step.value));
        break;
    }
  }
}

/// The flow of a document's text towards the sink, with what stands aside of it: an anchor (a
/// paragraph, a table's row) stays whole, and notes, comments and frames that begin within it
/// (detours) follow behind its end. A capture takes text away altogether, to be shown elsewhere or
/// again. Anchors, detours and captures nest, and end in the reverse order of their begins.
class TextFlow {
 public:
  /// Bytes that are held back; a detour, an anchor's detours or a capture beyond it are shown where
  /// they stand.
  static constexpr std::size_t most_held = std::size_t{4} << 20;
  /// Deeper anchors, detours and captures are shown where they stand.
  static constexpr std::size_t most_frames = 64;

  void set_sink(TextSink& sink) { sink_ = &sink; }
  TextSink& sink() { return *sink_; }

  void text(std::string_view utf8);
  void line();
  void paragraph();
  void begin_row();
  void cell(unsigned count);
  void row();
  void page();
  void begin(Region region);
  void end(Region region);

  void begin_anchor();
  /// Shows the detours that began within. To be called after the anchor's own end is told.
  void end_anchor();

  void begin_detour();
  void end_detour();

  enum class Excess : std::uint8_t { shown, dropped };
  /// @param excess  what becomes of a capture of more than `most_held`
  void begin_capture(Excess excess);
  /// @return what was captured; nothing of it when it was too much and has been shown
  TextRecord end_capture();
  /// Shows a record.
  void show(const TextRecord& record);

  /// Bytes told so far, whether shown or not.
  std::uint64_t told() const { return told_; }

 private:
  enum class Kind : std::uint8_t { anchor, detour, capture, bounded_capture };
  struct Frame {
    Kind kind;
    bool passes_through;  ///< text within goes where text before it went
    TextRecord* target_before;
    std::unique_ptr<TextRecord> record;  ///< of an anchor: its detours; made when needed
  };

  void push(Kind kind, bool takes_text);
  Frame pop();
  void check_held();
  Frame* anchor_of_detour();

  template <typename Function>
  void tell(Function function);

  TextSink* sink_ = nullptr;
  TextRecord* target_ = nullptr;  ///< null: the sink
  std::vector<Frame> frames_;
  std::size_t frames_beyond_ = 0;
  std::uint64_t told_ = 0;
};

}  // namespace trfilter
