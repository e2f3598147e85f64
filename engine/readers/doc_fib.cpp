#include "engine/readers/doc_fib.h"

#include <algorithm>
#include <numeric>

#include "engine/core/engine_error.h"
#include "engine/core/fields.h"

namespace trfilter::doc {
namespace {

// FibBase.
constexpr std::uint32_t word_1_magic = 0xA59B;
constexpr std::uint32_t word_2_magic = 0xA5DB;
constexpr std::uint32_t word_6_magic = 0xA5DC;
constexpr std::uint32_t word_97_magic = 0xA5EC;
constexpr std::uint32_t first_word_97 = 0xC0;
constexpr std::uint32_t complex_flag = 0x0004;
constexpr std::uint32_t encrypted_flag = 0x0100;
constexpr std::uint32_t second_table_flag = 0x0200;
constexpr std::uint32_t extended_flag = 0x1000;
constexpr std::uint32_t obfuscated_flag = 0x8000;
constexpr std::uint32_t mac_character_set = 0x0100;
constexpr std::size_t base_size = 32;

// Where the counts of characters stand.
constexpr std::size_t word_97_counts = 76;
constexpr std::size_t word_6_counts = 0x34;

// The pairs of offset and size: Word 97 has them in one row, Word 6 has other fields in between.
constexpr std::size_t word_97_table_count = 152;
constexpr std::size_t word_97_tables = 154;
constexpr std::size_t word_6_tables = 0x58;
constexpr std::size_t word_6_first_part = 38;
constexpr std::size_t word_6_page_numbers = 0x18A;
constexpr std::size_t word_6_later_tables = 0x192;
constexpr std::size_t word_6_last_table = 59;
// Two unused structures stand behind the first two of the later ones.
constexpr std::size_t anchors_first = 40;
constexpr std::size_t behind_unused = 42;

Range range_at(std::string_view bytes, std::size_t offset) {
  return {le32(bytes, offset), le32(bytes, offset + 4)};
}

}  // namespace

Fib::Fib(std::string_view bytes) {
  if (bytes.size() < base_size) throw EngineError(Code::corrupt, "the document's header is cut");
  const std::uint32_t magic = le16(bytes, 0);
  const std::uint32_t file_version = le16(bytes, 2);
  if (magic == word_1_magic || magic == word_2_magic) {
    version = Version::word_2;
  } else if (magic == word_6_magic || (file_version != 0 && file_version < first_word_97)) {
    version = Version::word_6;
  } else if (magic != word_97_magic) {
    throw EngineError(Code::corrupt, "the document has no file information block");
  }
  language = le16(bytes, 6);
  const std::uint32_t flags = le16(bytes, 10);
  complex = (flags & complex_flag) != 0;
  encrypted = (flags & encrypted_flag) != 0;
  second_table = (flags & second_table_flag) != 0;
  extended = (flags & extended_flag) != 0;
  obfuscated = (flags & obfuscated_flag) != 0;
  key = le32(bytes, 14);
  mac = version != Version::word_97 && le16(bytes, 20) == mac_character_set;
  text_begin = le32(bytes, 24);
  text_end = le32(bytes, 28);

  switch (version) {
    case Version::word_2:
      read_counts(bytes, word_6_counts, static_cast<std::size_t>(TextPart::endnotes));
      break;
    case Version::word_6:
      read_counts(bytes, word_6_counts, text_part_count);
      for (std::size_t i = 0; i < word_6_first_part; ++i) {
        tables_[i] = range_at(bytes, word_6_tables + i * 8);
      }
      first_character_page = le16(bytes, word_6_page_numbers);
      first_paragraph_page = le16(bytes, word_6_page_numbers + 2);
      character_page_count = le16(bytes, word_6_page_numbers + 4);
      paragraph_page_count = le16(bytes, word_6_page_numbers + 6);
      for (std::size_t i = anchors_first; i <= word_6_last_table; ++i) {
        const std::size_t unused = i < behind_unused ? 0 : 2;
        tables_[i] = range_at(bytes, word_6_later_tables + (i - anchors_first + unused) * 8);
      }
      break;
    case Version::word_97: {
      read_counts(bytes, word_97_counts, text_part_count);
      const std::size_t count =
          std::min<std::size_t>(le16(bytes, word_97_table_count), table_count);
      for (std::size_t i = 0; i < count; ++i) {
        tables_[i] = range_at(bytes, word_97_tables + i * 8);
      }
      break;
    }
  }
}

void Fib::read_counts(std::string_view bytes, std::size_t offset, std::size_t parts) {
  constexpr std::uint32_t most = 0x7FFFFFFF;
  for (std::size_t i = 0; i < parts; ++i) {
    const std::uint32_t stated = le32(bytes, offset + i * 4);
    counts[i] = stated > most ? 0 : stated;
  }
}

std::uint64_t Fib::begin_of(TextPart part) const {
  return std::accumulate(counts.begin(), counts.begin() + static_cast<int>(part), std::uint64_t{0});
}

std::uint64_t Fib::total() const {
  return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
}

}  // namespace trfilter::doc
