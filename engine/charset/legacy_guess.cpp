#include "engine/charset/legacy_guess.h"

#include <algorithm>

#include "engine/charset/decoder_module.h"

namespace trfilter {

const Encoding& guess_legacy_encoding(std::string_view sample) {
  const bool ascii =
      std::ranges::none_of(sample, [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
  if (ascii) return windows_1252_encoding();
  const Encoding* const guessed = encoding_of_number(guess_by_tables(Guess::legacy, sample));
  return guessed != nullptr ? *guessed : windows_1252_encoding();
}

const Encoding* guess_stateful_encoding(std::string_view head) {
  const auto has = [&](std::string_view sequence) {
    return head.find(sequence) != std::string_view::npos;
  };
  if (has("\x1B$)C")) return encoding_of_label("iso-2022-kr");
  if (has("\x1B$)A") || has("\x1B$)G")) return encoding_of_label("iso-2022-cn");
  if (has("\x1B$B") || has("\x1B$@") || has("\x1B(J") || has("\x1B(I") || has("\x1B$(D")) {
    return encoding_of_label("iso-2022-jp");
  }
  if (has("~{") && has("~}")) return encoding_of_label("hz-gb-2312");
  return nullptr;
}

const Encoding* guess_utf16_encoding(std::string_view head) {
  head = head.substr(0, head.size() / 2 * 2);
  const auto is_control = [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\f' && byte != '\r' &&
           byte != 0x1B;
  };
  const auto controls = static_cast<std::size_t>(std::ranges::count_if(head, is_control));
  const auto printable = static_cast<std::size_t>(
      std::ranges::count_if(head, [](char c) { return c >= 0x20 && c < 0x7F; }));
  if (head.size() < 4 || controls * 50 < head.size()) return nullptr;
  // ASCII with some controls in it; of UTF-16, half the bytes at the most look like it.
  if (printable * 10 > head.size() * 8) return nullptr;
  return encoding_of_number(guess_by_tables(Guess::utf16, head));
}

const Encoding* guess_ebcdic_encoding(std::string_view head) {
  std::size_t blanks = 0;
  std::size_t letters = 0;
  std::size_t ascii_blanks = 0;
  for (const char c : head) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte == 0x20) ++ascii_blanks;
    if (byte == 0x40) ++blanks;
    const unsigned low = byte & 0x0Fu;
    const unsigned zone = byte >> 4;
    const bool first_rows = zone == 0x8 || zone == 0x9 || zone == 0xC || zone == 0xD;
    const bool last_row = zone == 0xA || zone == 0xE;
    const bool letter = (first_rows && low >= 1 && low <= 9) || (last_row && low >= 2 && low <= 9);
    if (letter || zone == 0xF) ++letters;
  }
  const std::size_t size = head.size();
  if (size < 16 || blanks * 20 < size || ascii_blanks * 50 > size) return nullptr;
  if ((letters + blanks) * 10 < size * 8) return nullptr;
  return encoding_of_number(guess_by_tables(Guess::ebcdic, head));
}

}  // namespace trfilter
