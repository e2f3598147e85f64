#include "engine/charset/legacy_guess.h"

#include <uchardet.h>

#include <algorithm>
#include <memory>

namespace trfilter {
namespace {

struct DetectorCloser {
  void operator()(uchardet* detector) const { uchardet_delete(detector); }
};

}  // namespace

const Encoding& guess_legacy_encoding(std::string_view sample) {
  const std::unique_ptr<uchardet, DetectorCloser> detector(uchardet_new());
  uchardet_handle_data(detector.get(), sample.data(), sample.size());
  uchardet_data_end(detector.get());
  const Encoding* found = encoding_of_label(uchardet_get_charset(detector.get()));
  if (found == nullptr || found->kind == Encoding::Kind::utf8) return windows_1252_encoding();
  return *found;
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
    const bool letter =
        ((zone == 0x8 || zone == 0x9 || zone == 0xC || zone == 0xD) && low >= 1 && low <= 9) ||
        ((zone == 0xA || zone == 0xE) && low >= 2 && low <= 9);
    if (letter || zone == 0xF) ++letters;
  }
  const std::size_t size = head.size();
  if (size < 16 || blanks * 20 < size || ascii_blanks * 50 > size) return nullptr;
  if ((letters + blanks) * 10 < size * 8) return nullptr;
  return encoding_of_label("ibm500");
}

}  // namespace trfilter
