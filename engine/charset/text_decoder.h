#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "engine/charset/decoder_module.h"
#include "engine/charset/encoding.h"

namespace trfilter {

/// Converts a document's bytes to valid UTF-8, block by block; characters may lie across blocks.
/// What is no character of the encoding becomes U+FFFD.
class TextDecoder {
 public:
  /// @throws EngineError code 6 when the conversion table cannot be opened
  explicit TextDecoder(const Encoding& encoding);
  TextDecoder(TextDecoder&&) noexcept;
  TextDecoder& operator=(TextDecoder&&) noexcept;
  ~TextDecoder();

  const Encoding& encoding() const { return *encoding_; }

  /// Converts the next bytes. Bytes that are UTF-8 already are not copied.
  /// @param last  whether the document ends with them
  /// @return valid UTF-8, until the next call or the end of `bytes`, whichever comes first
  std::string_view decode(std::string_view bytes, bool last);

 private:
  struct ByteTable;

  std::string_view decode_utf8(std::string_view bytes, bool last);
  void append_repaired(std::string_view bytes, bool last);

  const Encoding* encoding_;
  std::unique_ptr<ByteTable> bytes_;           ///< for single-byte sets
  std::unique_ptr<CharacterDecoder> decoder_;  ///< for what is neither these nor UTF-8
  std::string carry_;                          ///< UTF-8: the begin of a character that goes on
  std::string out_;
};

/// Makes one line feed of each carriage return, line feed and pair of both, across blocks.
class LineEndings {
 public:
  /// @return the text, until the next call or the end of `text`, whichever comes first
  std::string_view normalize(std::string_view text);

 private:
  bool after_carriage_return_ = false;
  std::string out_;
};

}  // namespace trfilter
