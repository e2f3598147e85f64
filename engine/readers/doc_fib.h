#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace trfilter::doc {

/// Generations of the format that differ in their structures.
enum class Version : std::uint8_t {
  word_2,   ///< and before: text and its special characters are read, nothing else
  word_6,   ///< Word 6 and 95
  word_97,  ///< and later
};

/// The parts that a document's text consists of, one behind the other in its character positions.
enum class TextPart : std::uint8_t {
  body,
  footnotes,
  headers,
  macros,  ///< not in use
  comments,
  endnotes,
  boxes,
  header_boxes,
};
constexpr std::size_t text_part_count = 8;

/// Structures in the table stream; the numbers are the order of [MS-DOC] 2.5.6.
enum class Table : std::uint8_t {
  style_sheet = 1,
  footnote_references = 2,
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

struct Range {
  std::uint64_t offset = 0;
  std::uint64_t size = 0;  ///< 0: the document has no such structure
};

/// The file information block ([MS-DOC] 2.5).
class Fib {
 public:
  static constexpr std::size_t most_bytes = 2048;

  /// @param bytes  the begin of the main stream, `most_bytes` or what there is
  /// @throws EngineError code 4 for what is none
  explicit Fib(std::string_view bytes);

  Version version = Version::word_97;
  std::uint32_t language = 0;
  bool complex = false;  ///< saved by adding: text in many pieces
  bool encrypted = false;
  bool obfuscated = false;    ///< encrypted by XOR
  bool second_table = false;  ///< the table stream is 1Table
  bool extended = false;      ///< Word 95: characters of two bytes
  bool mac = false;           ///< Word 6: characters are those of the Macintosh
  std::uint32_t key = 0;      ///< the verifier of a password, or the size of the encryption header
  std::uint32_t text_begin = 0;
  std::uint32_t text_end = 0;
  std::array<std::uint32_t, text_part_count> counts{};  ///< characters of each part
  std::uint32_t first_character_page = 0;               ///< Word 6
  std::uint32_t first_paragraph_page = 0;
  std::uint32_t character_page_count = 0;
  std::uint32_t paragraph_page_count = 0;

  Range table(Table table) const { return tables_[static_cast<std::size_t>(table)]; }

  std::uint32_t count(TextPart part) const { return counts[static_cast<std::size_t>(part)]; }
  /// The first character position of a part.
  std::uint64_t begin_of(TextPart part) const;
  /// Characters of all parts.
  std::uint64_t total() const;

  /// Bytes of the main stream that encryption leaves as they are.
  std::uint64_t plain_bytes() const { return version == Version::word_97 ? 0x44 : 0x34; }

 private:
  static constexpr std::size_t table_count = 93;

  void read_counts(std::string_view bytes, std::size_t offset, std::size_t parts);

  std::array<Range, table_count> tables_{};
};

}  // namespace trfilter::doc
