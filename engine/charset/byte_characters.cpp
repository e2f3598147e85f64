#include "engine/charset/byte_characters.h"

#include <algorithm>
#include <span>

#include "engine/core/engine_error.h"

namespace trfilter {

const ByteCharacters& byte_characters(const Encoding& encoding) {
  const std::span rows(byte_characters_rows, byte_characters_count);
  const auto found = std::ranges::find(rows, encoding.number, &ByteCharactersRow::number);
  if (found == rows.end()) {
    throw EngineError(Code::general, "no table of the set's characters");
  }
  return found->characters;
}

}  // namespace trfilter
