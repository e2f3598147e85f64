#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/charset/code_page.h"
#include "engine/core/limits.h"
#include "engine/core/options.h"
#include "engine/readers/rtf_fields.h"
#include "engine/readers/rtf_flow.h"
#include "engine/readers/rtf_information.h"
#include "engine/readers/rtf_tokens.h"

namespace trfilter::rtf {

/// Follows groups, destinations and the properties that bear on text, and says what the text is.
/// One parser either reads the text or collects properties.
class Parser {
 public:
  /// @param offset  of the brace that begins the document
  Parser(Document& document, const Options& options, Limits& limits, std::uint64_t offset);

  /// Reads some 64 KiB of the document.
  /// @return whether more is to come
  /// @throws EngineError code 4 when the document ends inside of a group or nests too deep; its
  /// text
  ///         has been added before
  bool read_text(TextSink& sink);

  /// Reads up to where the document's text begins and adds what stands before it. A damaged
  /// document gives what is there.
  void read_properties(Properties& properties);

 private:
  enum class Destination : std::uint8_t {
    body,
    ignored,  ///< text is dropped, but words count
    font_table,
    field_instruction,
    form_item,
    annotation_author,
    shape_property_name,
    shape_property_value,
    information,
    information_value,
  };

  /// What has to be done when a group ends.
  enum class AtEnd : std::uint8_t {
    nothing,
    region,
    note,
    text_box_property,
    field,
    field_instruction,
    information_text,
    information_time,
    property_name,
    property_value,
  };

  struct Font {
    std::string name;
    std::int32_t character_set = character_set_unknown;
    std::int32_t code_page = 0;  ///< stated for this font alone; 0: none

    unsigned encoding_age = 0;  ///< when the two below were found; 0: never
    const CodePage* page = nullptr;
    bool symbols = false;  ///< its characters are symbols that are known
  };

  struct Group {
    Destination destination = Destination::body;
    AtEnd at_end = AtEnd::nothing;
    Region region{};             ///< to end with the group
    std::uint8_t marks = 0;      ///< of `Mark`
    bool in_body = true;         ///< what is shown stands in the body, even if text is dropped here
    bool fresh = true;           ///< nothing has come yet but perhaps the asterisk
    bool asterisk = false;       ///< the next word begins a destination that may be unknown
    bool alternate = false;      ///< the groups inside give the same text twice
    bool needs_unicode = false;  ///< is one of those
    std::int32_t value = 0;      ///< of an information word
    std::int32_t table_level = 0;
    std::int32_t characters_to_skip = 1;  ///< after a `\u`
    std::int32_t field = -1;              ///< index of the innermost field
    Font* font = nullptr;                 ///< null: the default font
  };

  enum Mark : std::uint8_t { hidden = 1, deleted = 2, inserted = 4 };

  struct Table {
    bool in_row = false;
    bool in_nested_row = false;
  };

  static constexpr std::int32_t character_set_unknown = -1;
  static constexpr std::int32_t character_set_symbol = 2;
  static constexpr std::size_t most_fonts = 32'768;
  static constexpr std::size_t longest_value = std::size_t{1} << 20;
  static constexpr std::size_t text_at_once = std::size_t{16} << 10;

  // rtf_parser.cpp: groups, words, ends of paragraphs and what is larger.
  bool handle(const Token& token);
  void begin_group();
  void end_group();
  void finish();
  void skip_rest_of_group();
  void symbol(unsigned char character);
  void word(const Token& token);
  void property_word(const Token& token);
  void information_word(const Token& token);
  void set_mark(Mark mark, const Token& token);
  void end_of_paragraph();
  void end_of_section();
  void end_of_page();
  void end_of_cell(bool nested);
  void end_of_row(bool nested);

  // rtf_parser_destinations.cpp: begins and ends of destinations.
  void begin_destination(const Token& token);
  void begin_information_destination(const Token& token);
  void begin_region(Region region);
  void begin_note(std::optional<Region> region);
  void end_field();
  void end_field_instruction();
  void end_shape_property();

  // rtf_parser_text.cpp: characters, fonts, marks.
  void put_text(std::string_view run);
  void put_bytes(std::string_view run);
  void put_byte(unsigned char byte);
  void put_character(char32_t character);
  void put_unicode(std::int32_t parameter);
  void put_symbols(std::string_view run);
  bool prepare_text();
  void flush_bytes();
  void flush_text();
  void hand_over_text();
  void flush_body();
  void set_open_marks(std::uint8_t marks);
  void settle_section();
  void settle_page_region();
  bool take_skipped(std::string_view& run);
  Font* font_of(std::int32_t number);
  const Font& encoding();
  void find_encoding(Font& font);
  const CodePage& document_code_page();

  Group& top() { return groups_.back(); }

  const Options* options_;
  Limits* limits_;
  Tokeniser tokeniser_;
  Flow flow_;
  Information* information_ = nullptr;  ///< set while properties are read

  std::vector<Group> groups_;
  std::uint64_t skipped_open_ = 0;  ///< groups open inside of the one that is being skipped

  // Text on its way: bytes of a multi-byte set, then UTF-8.
  std::string bytes_;
  const CodePage* bytes_page_ = nullptr;  ///< null: no bytes wait
  std::string text_;
  std::uint64_t text_shown_ = 0;  ///< bytes of body text so far

  CodePages pages_;
  std::unordered_map<std::int32_t, Font> fonts_;
  Font plain_font_;             ///< of the document's code page
  Font* table_font_ = nullptr;  ///< the font table's current entry

  std::vector<Table> tables_around_;  ///< of notes, headers and footers that are open
  std::vector<Field> fields_;
  std::string annotation_author_;
  std::string shape_property_name_;
  std::string shape_property_value_;
  std::string value_;  ///< of an information group

  char32_t high_surrogate_ = 0;  ///< waits for its other half
  std::int32_t to_skip_ = 0;     ///< characters that stand for a `\u` that has been read
  std::int32_t code_page_ = 1252;
  std::optional<CodePage> told_page_;  ///< the host's, of a document that declares none
  std::int32_t default_font_ = 0;
  unsigned encoding_age_ = 1;

  std::uint8_t text_marks_ = 0;  ///< of `text_`
  std::uint8_t open_marks_ = 0;  ///< regions open at the flow
  Table table_;
  std::optional<Region> page_region_due_;  ///< a header or footer that has had no text yet
  bool skipping_ = false;
  bool paragraph_was_last_ = false;  ///< the last token that counts ended a paragraph
  bool body_seen_ = false;
  bool raw_may_be_utf8_ = true;
  bool code_page_declared_ = false;
  bool own_character_set_named_ = false;  ///< some font names the document's own code page
  bool section_due_ = false;
  bool section_continues_ = false;
};

}  // namespace trfilter::rtf
