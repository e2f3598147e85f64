#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/readers/doc_fib.h"
#include "engine/readers/doc_stream.h"

namespace trfilter::doc {

/// A stretch of the main stream whose text has the same formatting.
struct FormattedRun {
  std::uint64_t begin = 0;  ///< bytes of the main stream
  std::uint64_t end = 0;
  std::uint16_t style = 0;     ///< of a paragraph
  std::string_view modifiers;  ///< until the next look-up
};

/// The formatting of characters or of paragraphs: pages of 512 bytes within the main stream
/// ([MS-DOC] 2.9.33 ChpxFkp and 2.9.174 PapxFkp) and the table that finds them.
class Formatting {
 public:
  enum class Kind : std::uint8_t { characters, paragraphs };

  /// None: all text is unformatted.
  Formatting() = default;

  /// @param stream  the main stream; outlives the object
  /// @param table   the bin table
  Formatting(const Stream& stream, Kind kind, const Fib& fib, std::string_view table);

  bool empty() const { return pages_.empty(); }

  /// The run that an offset lies in; one without modifiers where nothing is known. Its end is
  /// beyond `offset`.
  FormattedRun find(std::uint64_t offset);

 private:
  static constexpr std::size_t page_size = 512;
  static constexpr std::uint32_t no_page = 0xFFFFFFFF;

  struct Page {
    std::uint32_t begin;
    std::uint32_t end;
    std::uint32_t number;
  };

  bool load(std::uint32_t number);
  FormattedRun run_of(const Page& page, std::uint64_t offset) const;
  void read_characters(std::size_t at, FormattedRun& run) const;
  void read_paragraph(std::size_t at, FormattedRun& run) const;

  const Stream* stream_ = nullptr;
  Kind kind_ = Kind::characters;
  Version version_ = Version::word_97;
  std::vector<Page> pages_;
  std::uint32_t loaded_ = no_page;
  std::string page_;
};

}  // namespace trfilter::doc
