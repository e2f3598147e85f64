#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "engine/charset/encoding.h"

namespace trfilter {

/// Decodes a set whose characters have more than one byte, block by block. Made by the module
/// `decode`, which alone links the conversion tables: most documents need none.
class CharacterDecoder {
 public:
  CharacterDecoder() = default;
  CharacterDecoder(const CharacterDecoder&) = delete;
  CharacterDecoder& operator=(const CharacterDecoder&) = delete;
  virtual ~CharacterDecoder() = default;

  /// Appends the next bytes as UTF-8; a character may be cut at their end.
  /// @param last  whether no more bytes follow
  virtual void decode(std::string_view bytes, bool last, std::string& utf8) = 0;

  /// Whether nothing of a character or a shift is pending.
  virtual bool between_characters() const = 0;
};

/// What becomes of bytes that are no character.
enum class BadBytes : std::uint8_t {
  replaced,             ///< U+FFFD stands for them
  western_where_alone,  ///< a byte by itself is taken for a character of windows-1252
};

/// @throws EngineError code 13 when the module cannot be loaded, code 6 when it has no table of the
///         set
std::unique_ptr<CharacterDecoder> open_character_decoder(const Encoding& encoding,
                                                         BadBytes bad_bytes);

/// What the module's guesses look at; they answer with an encoding's number, 0 for none.
enum class Guess : std::uint8_t { legacy, utf16, ebcdic };

/// @throws EngineError code 13 as above
std::uint32_t guess_by_tables(Guess guess, std::string_view sample);

/// The module's functions `trfilter_character_decoder` and `trfilter_guess_encoding`.
using MakeCharacterDecoder = CharacterDecoder*(const Encoding& encoding, BadBytes bad_bytes);
using GuessEncoding = std::uint32_t(Guess guess, std::string_view sample);

}  // namespace trfilter
