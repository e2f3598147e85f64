#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "engine/core/limits.h"
#include "engine/core/text_sink.h"
#include "engine/readers/odf_flow.h"
#include "engine/readers/odf_lists.h"
#include "engine/readers/odf_names.h"
#include "engine/readers/odf_styles.h"
#include "engine/readers/odf_tables.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {

/// Shows the text of one XML document of OpenDocument: content.xml, styles.xml (of which it shows
/// the page headers and footers, each text once), or a flat document. Styles are collected on the
/// way.
class OdfContentHandler final : public XmlHandler {
 public:
  /// Bytes of deleted text that are kept for the place where it stood; more is left out.
  static constexpr std::size_t most_deleted = std::size_t{16} << 20;
  static constexpr unsigned most_blanks = 1024;  ///< of one text:s

  /// Called with the reference of an embedded object where it stands.
  using ShowObject = std::function<void(std::string_view reference)>;

  /// The arguments outlive the handler.
  OdfContentHandler(TextFlow& flow, OdfStyles& styles, Limits& limits, ShowObject show_object);

  /// Shows page footers, which stand before the text of a document.
  void show_footers();

  /// Ends what is still open when the document ends before its elements do.
  void finish();

  /// Whether there was a root element of OpenDocument or of MathML.
  bool is_open_document() const { return is_open_document_; }

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;
  void characters(std::string_view text) override;

 private:
  struct Open {
    OdfElement kind;
    bool text_before;  ///< whether text was of a paragraph around the element
    bool has_region = false;
    Region region = Region::hidden;
    bool is_detour = false;
    bool is_paragraph = false;  ///< that was begun
  };

  struct Paragraph {
    std::string label;  ///< still to be shown
    bool at_start = true;
    bool blank_due = false;  ///< shown when text follows
    bool hidden = false;     ///< by a field within
  };

  bool shows_paragraphs() const { return in_body_ || in_page_text_; }

  void start_structure(const XmlElement& element, Open& open);
  void start_text(const XmlElement& element, Open& open);
  void start_drawing(const XmlElement& element, Open& open);
  void end_known(Open& open);

  void begin_region(Open& open, Region region);
  void begin_aside(Open& open);
  void begin_paragraph(Open& open, std::string label);
  void end_paragraph();
  void begin_page_text(const XmlElement& element, Open& open);
  void end_page_text(bool header);
  void begin_field(Open& open, Region code_region, Region result_region, std::string_view code);
  void show_deletion(std::string_view id);
  void begin_insertion(std::string_view id);
  void end_insertion(std::string_view id);
  void end_collecting();
  void text(std::string_view utf8);
  void begin_verbatim();
  void verbatim(std::string_view utf8);

  TextFlow& flow_;
  OdfStyles& styles_;
  OdfLists lists_;
  OdfTables tables_;
  Limits& limits_;
  ShowObject show_object_;

  std::vector<Open> open_;
  unsigned skipped_depth_ = 0;
  bool is_open_document_ = false;
  bool in_text_ = false;  ///< character data are of the innermost paragraph
  std::vector<Paragraph> paragraphs_;
  bool in_body_ = false;
  bool in_page_text_ = false;
  bool in_chart_ = false;
  unsigned pages_ = 0;

  enum class Collecting : std::uint8_t { nothing, image_text, placeholder, author };
  Collecting collecting_ = Collecting::nothing;
  std::string collected_;

  std::string region_id_;  ///< of the open changed region
  std::unordered_set<std::string> insertions_;
  std::unordered_map<std::string, TextRecord> deletions_;
  std::size_t deleted_size_ = 0;
  std::vector<std::string> open_insertions_;

  std::unordered_set<std::string> page_texts_;
  std::vector<TextRecord> footers_;
};

}  // namespace trfilter
