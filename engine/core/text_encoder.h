#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace trfilter {

/// Writes text in a character set, block by block. Made by the module `encode`, which alone links
/// the conversion tables: text that stays UTF-8 needs none.
///
/// A character that the set lacks is written as "?"; one that nothing shows (zero-width joiners,
/// variation selectors, a soft hyphen) is left out where the set lacks it.
class TextEncoder {
 public:
  TextEncoder() = default;
  TextEncoder(const TextEncoder&) = delete;
  TextEncoder& operator=(const TextEncoder&) = delete;
  virtual ~TextEncoder() = default;

  /// Whether the set has a byte-order mark: it is a form of Unicode.
  virtual bool has_byte_order_mark() const = 0;

  /// Appends `utf8`, valid UTF-8 that may be cut anywhere, in the set.
  /// @param last  whether the text ends with it; sets with shifts end in their first state
  virtual void encode(std::string_view utf8, bool last, std::string& out) = 0;
};

/// The function `trfilter_text_encoder` of the module.
/// @return null when there is no set of this number
using MakeTextEncoder = TextEncoder*(std::uint32_t number);

}  // namespace trfilter
