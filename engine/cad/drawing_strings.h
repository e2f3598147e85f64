#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/charset/code_page.h"

namespace trfilter::cad {

/// The code page of Windows or DOS that a drawing's own number stands for; 1252 for one that is not
/// known.
std::int32_t code_page_of(unsigned number);

/// Brings the strings of a drawing to UTF-8, with the characters that they write as \U+XXXX.
class Strings {
 public:
  /// @param unicode    they are UTF-16, and the code page is not looked at
  Strings(bool unicode, std::int32_t code_page);

  bool unicode() const { return unicode_; }

  /// Up to the first NUL character.
  std::string utf8(std::string_view bytes);

 private:
  bool unicode_;
  CodePages pages_;
  const CodePage* page_ = nullptr;
};

/// Replaces each \U+XXXX by its character, and each \M+nXXXX by the one of a double-byte set.
std::string without_escapes(std::string_view text, CodePages& pages);

}  // namespace trfilter::cad
