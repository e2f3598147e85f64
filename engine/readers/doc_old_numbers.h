#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/word/list_numbering.h"

namespace trfilter::doc {

class Source;

/// The numbers of paragraphs in Word 6 and 95. A paragraph (or its style) says of which kind its
/// number is, and describes it itself (ANLD); what the levels of an outline look like, its section
/// says (OLST).
class OldNumbers {
 public:
  /// Counts a paragraph.
  /// @param kind        0: no number; 1 to 9: a level of the outline; 10: a sequence of paragraphs;
  ///                    11: a bullet; 12: passed over by the sequence
  /// @param descriptor  the paragraph's own description
  /// @return its label with a blank behind, valid until the next call; empty for none
  std::string_view next_label(Source& source, std::uint32_t position, std::uint32_t kind,
                              std::string_view descriptor);

 private:
  void enter_section(Source& source, std::uint32_t position);

  word::ListNumbering numbering_;
  std::optional<std::string> sections_;  ///< the table of sections, once a number has been met
  std::optional<std::size_t> section_;   ///< the one that the outline's levels are of
  bool described_ = false;               ///< that section describes them
};

}  // namespace trfilter::doc
