#include "engine/charset/decoder_module.h"

#include "engine/core/sibling_module.h"

namespace trfilter {

std::unique_ptr<CharacterDecoder> open_character_decoder(const Encoding& encoding,
                                                         BadBytes bad_bytes) {
  static auto* const make = reinterpret_cast<MakeCharacterDecoder*>(
      sibling_function("decode", "trfilter_character_decoder"));
  return std::unique_ptr<CharacterDecoder>(make(encoding, bad_bytes));
}

std::uint32_t guess_by_tables(Guess guess, std::string_view sample) {
  static auto* const guess_encoding =
      reinterpret_cast<GuessEncoding*>(sibling_function("decode", "trfilter_guess_encoding"));
  return guess_encoding(guess, sample);
}

}  // namespace trfilter
