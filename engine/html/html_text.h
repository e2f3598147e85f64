#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/text_sink.h"
#include "engine/html/html_element.h"
#include "engine/html/html_tokenizer.h"

namespace trfilter {

/// Gives the text of HTML elements as a reader of the page sees it, without a tree.
///
/// - The title is the first paragraph. Blocks are paragraphs, list items among them (without
/// bullets or
///   numbers, as when a page is copied); <br> ends a line; white space collapses across elements as
///   in a browser, and is kept in <pre>, <textarea> and their like.
/// - Table rows are rows and their cells cells; a cell counts for the columns it spans. A cell that
/// holds
///   a table of its own, as in pages laid out by tables, is paragraphs.
/// - Pictures are their alternative text. Form fields are their values, or what their place holders
/// say;
///   lists to choose from are their choices; fields that nobody sees are nothing.
/// - A document that stands in the page itself, in a frame's `srcdoc`, is paragraphs of the page.
/// - Targets of links, scripts, style sheets, templates and frames are not shown. What the `hidden`
///   attribute or an inline style hides is hidden text.
/// - <noscript> and what stands for missing media is shown: there are neither scripts nor media
/// here.
class HtmlText : public HtmlTokenHandler {
 public:
  explicit HtmlText(TextSink& sink) : sink_(&sink) {}

  void start_tag(const HtmlTag& tag) override;
  void end_tag(std::string_view name) override;
  void text(std::string_view utf8) override;

  /// Closes what is still open. Needed where text follows that is not HTML.
  void finish();

  /// Hands text that waits for its line to be complete to the sink.
  void flush();

 private:
  /// An element that is open and matters for what follows.
  struct Open {
    HtmlElement element;
    std::uint32_t name_hash;     ///< tells unknown elements apart
    bool hidden = false;         ///< it opened a hidden region
    bool skipped = false;        ///< its text is not shown
    bool preserves = false;      ///< its white space is kept
    bool cell_is_block = false;  ///< a cell with a table in it
    std::uint16_t columns = 1;
  };

  void open(const HtmlTag& tag, const HtmlElementRow& row);
  void close_top();
  void close_until(std::size_t size);
  /// The place of the innermost open element of a kind, no further out than the innermost of
  /// `bounds`.
  std::size_t find_open(HtmlElement element, std::uint32_t name_hash, unsigned bounds) const;
  void close_implied(HtmlElement element);
  void close_one_of(std::initializer_list<HtmlElement> elements, unsigned bounds);

  void break_block();
  void write(std::string_view utf8);
  void separate();
  void field(const HtmlTag& tag);
  void alternative_text(std::string_view text);
  void frame_document(std::string_view html);
  bool is_written() const { return skipped_ == 0; }

  TextSink* sink_;
  unsigned frame_depth_ = 0;   ///< documents of frames around this one
  std::string line_;           ///< text not yet handed over
  bool at_line_begin_ = true;  ///< white space here is not shown
  bool blank_due_ = false;
  bool drop_line_feed_ = false;  ///< the one right behind <pre>
  unsigned skipped_ = 0;
  unsigned preserving_ = 0;
  std::vector<Open> stack_;
  std::array<std::uint32_t, html_element_count> open_count_{};
};

}  // namespace trfilter
