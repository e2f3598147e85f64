#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "engine/charset/converter.h"
#include "engine/charset/encoding.h"

namespace trfilter {

/// One set of 8-bit or multi-byte characters. ASCII stands for itself in every one but the symbol
/// fonts', which are no code pages.
class CodePage {
 public:
  /// @throws EngineError code 6 when the conversion table cannot be opened
  explicit CodePage(const Encoding& encoding);
  CodePage(const CodePage&) = delete;
  CodePage& operator=(const CodePage&) = delete;

  /// Whether a character may take more than one byte.
  bool multi_byte() const { return multi_byte_; }

  /// Decodes bytes and appends them as UTF-8; what is no character becomes U+FFFD, but in
  /// multi-byte sets a lone bad byte is taken for the Western set's.
  /// @param last  whether no more bytes of this run follow; else a begun character waits for them
  void decode(std::string_view bytes, std::string& out, bool last) const;

 private:
  UniqueConverter converter_;  ///< of a multi-byte set
  bool multi_byte_;
  std::array<char16_t, 256> characters_{};  ///< of a single-byte set
};

/// The code pages of a document, each made when it is first asked for.
class CodePages {
 public:
  /// @return null for a number that is not known
  const CodePage* find(std::int32_t number);

 private:
  std::unordered_map<std::int32_t, std::unique_ptr<CodePage>> pages_;
};

/// The code page that a font's character set stands for.
/// @return 0 for the document's own, and for sets without a code page
std::int32_t code_page_of_character_set(std::int32_t character_set);

}  // namespace trfilter
