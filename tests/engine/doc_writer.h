#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace trfilter::test {

/// Numbers as Word documents have them: least significant byte first.
std::string le(std::uint64_t value, std::size_t bytes);

/// A single property modification of Word 97, its operand `bytes` long.
std::string sprm(std::uint16_t code, std::uint32_t operand, std::size_t bytes = 1);

/// Builds Word documents in memory ([MS-DOC]; Word 6 by its own structures), also ones that are
/// wrong on purpose.
class DocWriter {
 public:
  enum Part : std::size_t {
    body,
    footnotes,
    headers,
    macros,
    comments,
    endnotes,
    boxes,
    header_boxes,
    part_count
  };

  /// Numbers of structures in the table stream.
  enum Table : std::size_t {
    style_sheet = 1,
    footnote_texts = 3,
    comment_references = 4,
    comment_texts = 5,
    sections = 6,
    header_texts = 11,
    character_pages = 12,
    paragraph_pages = 13,
    fonts = 15,
    document_properties = 31,
    pieces = 33,
    comment_authors = 36,
    body_anchors = 40,
    header_anchors = 41,
    endnote_texts = 47,
    drawings = 50,
    box_texts = 56,
    header_box_texts = 58,
    lists = 73,
    list_overrides = 74,
  };

  struct Streams {
    std::string main;
    std::string table;
    std::string data;
  };

  explicit DocWriter(bool word_6 = false) : word_6_(word_6) {}

  /// Text of the part that was chosen last goes there; the body at first.
  DocWriter& part(Part part);

  /// Adds text with modifications of its characters. A Word 6 document takes each unit as a byte.
  DocWriter& text(std::u16string_view units, std::string modifiers = {});

  /// Ends a paragraph by a mark.
  /// @param modifiers  of the paragraph
  DocWriter& end(std::string modifiers = {}, std::uint16_t style = 0, char16_t mark = u'\r',
                 std::string mark_modifiers = {});

  /// A whole paragraph.
  DocWriter& paragraph(std::u16string_view units, std::string modifiers = {},
                       std::uint16_t style = 0) {
    return text(units).end(std::move(modifiers), style);
  }

  /// Sets a structure of the table stream.
  DocWriter& table(Table number, std::string bytes);
  /// Bytes behind a structure that its size does not count.
  DocWriter& behind(Table number, std::string bytes);
  DocWriter& data(std::string bytes);

  /// Adds bytes to the main stream. @return where they are
  std::uint32_t add_main(std::string_view bytes);

  /// Text is written in bytes of windows-1252; all of it must have such.
  DocWriter& narrow();
  /// The text lies in pieces of this many characters, the last one first.
  DocWriter& scattered(std::size_t characters);
  /// Sets bits of the flags at offset 10.
  DocWriter& flags(std::uint16_t bits);
  DocWriter& language(std::uint16_t language);
  DocWriter& key(std::uint32_t key);
  /// Leaves out the pages of formatting.
  DocWriter& unformatted();

  /// Characters of a part so far.
  std::uint32_t length(Part part) const { return static_cast<std::uint32_t>(parts_[part].size()); }

  /// Where the text begins in the main stream.
  static std::uint32_t text_offset();

  Streams streams() const;
  /// The document as a compound file.
  std::string bytes() const;
  static std::string bytes(const Streams& streams);

  /// A table of positions with data behind them.
  static std::string positions(const std::vector<std::uint32_t>& positions,
                               std::string_view data = {});

  struct Style {
    unsigned kind = 1;  ///< 1 of paragraphs, 2 of characters
    unsigned base = 0xFFF;
    std::string paragraph = {};
    std::string characters = {};
  };
  DocWriter& styles(const std::vector<Style>& styles);

  /// @param character_sets  one for each name
  DocWriter& font_table(const std::vector<std::string>& names,
                        const std::vector<unsigned>& character_sets);

 private:
  struct Formatted {
    std::uint32_t end;  ///< characters, within the part
    std::uint16_t style;
    std::string modifiers;
  };
  struct Run {
    std::uint64_t begin;
    std::uint64_t end;
    std::string bytes;
  };

  std::string pages(std::vector<Run> runs, bool paragraphs, std::string& main) const;
  std::vector<Run> runs(const std::vector<Formatted> (&of_parts)[part_count], bool paragraphs,
                        const std::vector<std::uint64_t>& offsets) const;

  bool word_6_;
  Part part_ = body;
  std::u16string parts_[part_count];
  std::vector<Formatted> characters_[part_count];
  std::vector<Formatted> paragraphs_[part_count];
  std::map<std::size_t, std::string> tables_;
  std::map<std::size_t, std::string> behind_;
  std::string data_;
  std::string added_;
  bool narrow_ = false;
  bool formatted_ = true;
  std::size_t piece_size_ = 0;
  std::uint16_t flags_ = 0;
  std::uint16_t language_ = 0x0409;
  std::uint32_t key_ = 0;
};

}  // namespace trfilter::test
