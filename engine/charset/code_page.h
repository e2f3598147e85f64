#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "engine/charset/byte_characters.h"
#include "engine/charset/decoder_module.h"
#include "engine/charset/encoding.h"
#include "engine/charset/text_decoder.h"

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
  bool multi_byte() const { return characters_ == nullptr; }

  /// Decodes bytes and appends them as UTF-8; what is no character becomes U+FFFD, but in
  /// multi-byte sets a lone bad byte is taken for the Western set's.
  /// @param last  whether no more bytes of this run follow; else a begun character waits for them
  void decode(std::string_view bytes, std::string& out, bool last) const;

 private:
  std::unique_ptr<CharacterDecoder> decoder_;   ///< of a multi-byte set
  std::unique_ptr<TextDecoder> utf8_;           ///< where the set is UTF-8
  const ByteCharacters* characters_ = nullptr;  ///< of a single-byte set
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
