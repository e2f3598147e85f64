#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "engine/core/document.h"
#include "engine/readers/rtf_words.h"

namespace trfilter::rtf {

struct Token {
  enum class Kind : std::uint8_t {
    end_of_input,
    group_begin,
    group_end,
    word,    ///< a control word, known or not
    symbol,  ///< a backslash and one character that is no letter
    byte,    ///< a character given as two hexadecimal digits
    text,    ///< a run of ASCII text, without control characters
    bytes,   ///< a run of bytes from 0x80 on
  };

  Kind kind = Kind::end_of_input;
  unsigned char character = 0;  ///< of a symbol or byte
  bool has_parameter = false;
  std::int32_t parameter = 0;  ///< of a word; without one 0
  Word word;
  std::string_view run;  ///< of text or bytes; valid until the next call
};

/// Cuts a document into tokens, reading it in blocks of 64 KiB. Line ends and other control
/// characters that mean nothing are dropped, `\bin` data is passed over.
class Tokeniser {
 public:
  /// @param offset  where the first token begins
  Tokeniser(Document& document, std::uint64_t offset);

  Token next();

  /// Bytes of the document that have been taken so far.
  std::uint64_t offset() const { return cursor_.offset() - static_cast<std::uint64_t>(end_ - at_); }

  enum class Skipped : std::uint8_t { at_group_end, at_bound, at_end_of_input };

  /// Passes over the rest of the current group, up to but not including its closing brace.
  /// @param open   groups that are open inside it; 0 at first, kept by the caller between calls
  /// @param bound  offset at which to pause
  Skipped skip_group(std::uint64_t& open, std::uint64_t bound);

 private:
  static constexpr std::size_t block_size = std::size_t{64} << 10;
  static constexpr std::size_t kept = 16;  ///< bytes of the block before, for stepping back

  bool fill();
  int get();
  int peek();
  Token control();
  Token control_word(int first);
  Token hexadecimal();
  Token run_of_bytes();
  void skip_bytes(std::int32_t count);

  DocumentCursor cursor_;
  std::array<char, kept + block_size> buffer_{};
  const char* at_;
  const char* end_;
};

}  // namespace trfilter::rtf
