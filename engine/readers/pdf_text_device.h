#pragma once

#include <OutputDev.h>

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "engine/readers/pdf_page_text.h"
#include "engine/readers/pdf_stream.h"

namespace trfilter::pdf {

/// The library's drawing surface for text alone: takes each drawn character code's meaning and
/// place. Nothing is thrown through the library: a failure goes to the stream source, which ends
/// then.
class TextDevice final : public OutputDev {
 public:
  /// Saved graphics states in each other; beyond it the page's content is cut off.
  static constexpr std::size_t max_saved_states = std::size_t{1} << 16;

  /// @param page  receives the text of the page that is being drawn
  /// @param on_full  called when the page holds all it may; must write out and clear it
  TextDevice(PageText& page, StreamSource& source, std::function<void()> on_full);

  /// Whether marked content is told apart, for reading by the structure tree.
  void set_tagged(bool on) { tagged_ = on; }
  /// Text from now on is an annotation's.
  void begin_annotation();
  /// Whether the last page's content was cut off at a bound.
  bool cut_off() const { return cut_off_; }
  /// Of the page drawn last, in points.
  double page_height() const { return height_; }

  bool upsideDown() override { return true; }
  bool useDrawChar() override { return true; }
  bool interpretType3Chars() override { return false; }
  bool needNonText() override { return false; }
  /// Forms are drawn like the page; once the source has ended they are left out.
  bool useDrawForm() override;

  void saveState(GfxState* state) override;
  void restoreState(GfxState* state) override;
  void startPage(int number, GfxState* state, XRef* references) override;
  void beginString(GfxState* state, const GooString* string) override;
  void drawChar(GfxState* state, double x, double y, double dx, double dy, double origin_x,
                double origin_y, CharCode code, int bytes, const Unicode* characters,
                int count) override;
  void beginActualText(GfxState* state, const GooString* text) override;
  void endActualText(GfxState* state) override;
  void beginMarkedContent(const char* name, Dict* properties) override;
  void endMarkedContent(GfxState* state) override;

 private:
  struct MarkedContent {
    std::int32_t identifier = -1;
    bool artifact = false;
  };

  template <typename Work>
  void guarded(Work work) noexcept;
  void draw(const Drawn& drawn, std::span<const Unicode> characters);

  PageText* page_;
  StreamSource* source_;
  std::function<void()> on_full_;
  std::string text_;  ///< of the character code being drawn
  double width_ = 0;  ///< of the page
  double height_ = 0;
  std::size_t saved_states_ = 0;
  bool cut_off_ = false;

  unsigned replacement_depth_ = 0;  ///< replacement texts that are open in each other
  bool replacement_due_ = false;    ///< the outermost one's text has not been placed yet
  std::string replacement_;

  bool tagged_ = false;
  std::vector<MarkedContent> marked_content_;
};

}  // namespace trfilter::pdf
