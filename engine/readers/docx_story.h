#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/drawing/math_structure.h"
#include "engine/opc/opc_package.h"
#include "engine/readers/docx_numbering.h"
#include "engine/readers/docx_styles.h"
#include "engine/word/field_stack.h"
#include "engine/word/story_output.h"
#include "engine/word/table_stack.h"

namespace trfilter::docx {

/// What the stories of a document share. All of it outlives them.
struct StoryContext {
  OpcPackage& package;
  const Styles& styles;
  word::ListNumbering& numbering;
  TextSink& sink;
};

/// Told by the main story where its sections end.
class SectionListener {
 public:
  virtual ~SectionListener() = default;
  /// The last paragraph of a section that is not the document's last one has been written.
  virtual void section_ended() = 0;
};

enum class StoryToken : unsigned char;  // docx_token.h

/// Turns a part of WordprocessingML (the body, a header, all footnotes ...) into text.
class Story final : public XmlHandler {
 public:
  /// @param part      the part's name, for its relationships
  /// @param listener  null for every part but the main one
  Story(const StoryContext& context, std::string part, SectionListener* listener = nullptr);

  void start_element(const XmlElement& element) override;
  void end_element(std::string_view name, std::string_view uri) override;
  void characters(std::string_view text) override;

  /// Closes what the part left open; behind the last element.
  void finish();

 private:
  /// A paragraph and its run; a text box holds paragraphs within one.
  struct Paragraph {
    const Style* style = nullptr;
    std::optional<int> number_id;
    std::optional<int> number_level;
    bool mark_deleted = false;
    bool mark_hidden = false;
    bool drop_cap = false;
    bool ends_section = false;
    // The run.
    bool in_run = false;
    bool hidden = false;
    std::optional<bool> vanish;
    bool style_vanish = false;
  };

  /// A text box is a story within the story.
  struct Box {
    std::size_t paragraphs;
    std::size_t tables;
    std::size_t fields;
  };

  enum class Capture : unsigned char { none, text, trimmed_text, instruction, phonetic };

  void start_content(StoryToken token, const XmlElement& element);
  void start_property(StoryToken token, const XmlElement& element);
  void start_object(StoryToken token, const XmlElement& element);
  void end_content(StoryToken token);

  void start_paragraph();
  void end_paragraph_properties();
  void end_paragraph();
  void start_run();
  void end_run();
  void set_run_hidden(bool hidden);
  bool style_vanishes() const;

  void start_box();
  void end_box();

  void start_text(const XmlElement& element);
  void line_break(const XmlElement& element);
  void symbol(const XmlElement& element);
  void field_character(const XmlElement& element);

  void start_note(const XmlElement& element, Region region);
  void alternative_text(std::string_view text);
  void deferred_lines(std::string_view lines);
  template <typename Show>
  void deferred_part(Show show);
  void revision(StoryToken token, bool start);
  const OpcRelationship* relationship(std::string_view id);

  StoryContext context_;
  std::string part_;
  SectionListener* listener_;
  word::StoryOutput output_;
  std::optional<OpcRelationships> relationships_;
  MathStructure math_;

  std::vector<Paragraph> paragraphs_;
  word::TableStack tables_;
  std::vector<Box> boxes_;
  word::FieldStack fields_;
  std::vector<bool> choice_taken_;  ///< of each mc:AlternateContent around

  unsigned skipped_ = 0;  ///< depth within an element that is left out
  unsigned in_paragraph_properties_ = 0;
  unsigned in_run_properties_ = 0;
  bool in_row_properties_ = false;
  std::optional<Region> note_region_;

  Capture capture_ = Capture::none;
  std::string captured_;
  std::string phonetic_;
  std::string last_alternative_text_;
};

}  // namespace trfilter::docx
