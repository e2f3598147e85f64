#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/core/text_sink.h"
#include "engine/html/html_text.h"
#include "engine/html/html_tokenizer.h"
#include "engine/readers/xml_names.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {

/// Lays out the text of any XML vocabulary.
///
/// All character data is text; white space collapses unless it is marked as kept. Where a paragraph
/// ends follows from the elements' names where they are common (see xml_names.h), and otherwise
/// from their places: an element in the middle of text is a part of it; elements that follow one
/// another, with nothing or a line end between them, are paragraphs each; with only blanks between
/// them, they are words. Table rows are rows.
///
/// Attributes are not shown but for those in no namespace that are written to be read: alt,
/// caption, description, label, summary, text (the outlines of OPML), title.
///
/// Elements of XHTML are read as pages are. So is text that itself holds a page in escaped form: in
/// feeds (RSS, Atom with type="html") and in business reports (XBRL). Property lists are read as
/// lines of key and value; their binary data is not shown.
class XmlText : public XmlHandler {
 public:
  explicit XmlText(TextSink& sink) : sink_(&sink), html_(sink) {}

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;
  void characters(std::string_view text) override;

  /// Tells that the document is at its end.
  void finish();

 private:
  enum class Vocabulary : std::uint8_t { other, feed, property_list, report };

  struct Open {
    XmlRole role = XmlRole::unknown;
    bool in_text = false;   ///< it stands in the middle of text, or in what does
    bool has_text = false;  ///< text of its own has been seen
    bool skipped = false;
    bool preserves = false;
    bool is_html = false;  ///< an element of XHTML
    bool escaped = false;  ///< its text is escaped HTML
  };

  /// What stands between the text so far and the next.
  enum class Gap : std::uint8_t {
    none,
    blank,
    soft_end,  ///< of a child: a paragraph's end unless its parent goes on with text
    soft,      ///< a paragraph's end
  };

  void start_html(const XmlElement& element);
  void break_block();
  void soften(Gap gap);
  void write(std::string_view utf8);
  void preserved(std::string_view utf8);
  void property_list_start(std::string_view name);
  void property_list_end(std::string_view name);
  void readable_attributes(const XmlElement& element);
  bool holds_escaped_html(const XmlElement& element) const;
  bool is_skipped(const XmlElement& element) const;

  TextSink* sink_;
  HtmlText html_;
  HtmlTag html_tag_;
  std::string lower_name_;
  std::unique_ptr<HtmlText> escaped_text_;
  std::unique_ptr<HtmlTokenizer> escaped_;
  std::size_t escaped_depth_ = 0;

  Vocabulary vocabulary_ = Vocabulary::other;
  std::vector<Open> stack_;
  std::size_t depth_ = 0;  ///< open elements, those that are too deep to be kept track of included
  std::size_t skipped_ = 0;
  std::size_t html_depth_ = 0;  ///< open elements of XHTML
  std::string line_;
  Gap gap_ = Gap::none;
  bool blank_seen_ = false;      ///< since the last text
  bool line_feed_seen_ = false;  ///< since the last tag
  bool at_line_begin_ = true;
};

}  // namespace trfilter
