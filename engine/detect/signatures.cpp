#include "engine/detect/signatures.h"

#include <array>
#include <cstdint>
#include <string_view>

#include "engine/core/fields.h"
#include "engine/detect/families.h"
#include "engine/detect/refinements.h"

namespace trfilter::detection {
namespace {

struct Signature {
  std::size_t offset;
  std::string_view bytes;
  std::string_view mask;  ///< as long as `bytes`, or empty: every bit counts
  Format format;
  Refinement refine;
};

struct TextSignature {
  std::string_view text;
  Format format;
  TextRefinement refine;
};

constexpr Refinement always = nullptr;
constexpr TextRefinement always_text = nullptr;

constexpr Signature signatures[] = {
#define SIGNATURE(offset, bytes, format, refine) \
  Signature{offset, literal(bytes), {}, Format::format, refine},
#define MASKED_SIGNATURE(offset, bytes, mask, format, refine) \
  Signature{offset, literal(bytes), literal(mask), Format::format, refine},
#define TEXT_SIGNATURE(text, format, refine)
#include "engine/detect/signatures.def"
#undef SIGNATURE
#undef MASKED_SIGNATURE
#undef TEXT_SIGNATURE
};

constexpr TextSignature text_signatures[] = {
#define SIGNATURE(offset, bytes, format, refine)
#define MASKED_SIGNATURE(offset, bytes, mask, format, refine)
#define TEXT_SIGNATURE(text, format, refine) TextSignature{literal(text), Format::format, refine},
#include "engine/detect/signatures.def"
#undef SIGNATURE
#undef MASKED_SIGNATURE
#undef TEXT_SIGNATURE
};

constexpr bool table_is_sound() {
  for (const Signature& row : signatures) {
    if (row.bytes.empty()) return false;
    if (!row.mask.empty() && row.mask.size() != row.bytes.size()) return false;
  }
  return true;
}
static_assert(table_is_sound());

constexpr std::size_t byte_values = 256;

/// Calls `take` with each first byte of a content that `row` can match.
template <typename Take>
constexpr void for_each_first_byte(const Signature& row, Take take) {
  const bool fixed = row.offset == 0 && row.mask.empty();
  if (fixed) {
    take(static_cast<unsigned char>(row.bytes[0]));
    return;
  }
  const unsigned mask = row.offset != 0 ? 0 : static_cast<unsigned char>(row.mask[0]);
  const unsigned wanted = row.offset != 0 ? 0 : static_cast<unsigned char>(row.bytes[0]);
  for (unsigned first = 0; first < byte_values; ++first) {
    if ((first & mask) == wanted) take(first);
  }
}

/// Where the rows of each first byte begin, and where the last ones end.
constexpr std::array<std::uint16_t, byte_values + 1> row_begins = [] {
  std::array<std::uint16_t, byte_values + 1> begins{};
  for (const Signature& row : signatures) {
    for_each_first_byte(row, [&](unsigned first) { ++begins[first + 1]; });
  }
  for (std::size_t first = 0; first < byte_values; ++first) {
    begins[first + 1] = static_cast<std::uint16_t>(begins[first + 1] + begins[first]);
  }
  return begins;
}();

/// The rows to try for each first byte, in the table's order.
constexpr std::array<std::uint16_t, row_begins[byte_values]> rows_by_first_byte = [] {
  std::array<std::uint16_t, row_begins[byte_values]> rows{};
  auto next = row_begins;
  std::uint16_t number = 0;
  for (const Signature& row : signatures) {
    for_each_first_byte(row, [&](unsigned first) { rows[next[first]++] = number; });
    ++number;
  }
  return rows;
}();

bool matches_masked(std::string_view head, const Signature& row) {
  if (!has(head, row.offset, row.bytes.size())) return false;
  for (std::size_t i = 0; i < row.bytes.size(); ++i) {
    if ((byte_at(head, row.offset + i) & byte_at(row.mask, i)) != byte_at(row.bytes, i))
      return false;
  }
  return true;
}

constexpr char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool begins_with(std::string_view text, std::string_view wanted) {
  if (text.size() < wanted.size()) return false;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    if (lower(text[i]) != lower(wanted[i])) return false;
  }
  return true;
}

}  // namespace

Detection match_signatures(Content& content) {
  const std::string_view head = content.head();
  const std::size_t first = byte_at(head, 0);
  for (std::size_t i = row_begins[first]; i < row_begins[first + 1]; ++i) {
    const Signature& row = signatures[rows_by_first_byte[i]];
    const bool matched =
        row.mask.empty() ? matches(head, row.offset, row.bytes) : matches_masked(head, row);
    if (!matched) continue;
    const Detection detection =
        row.refine == nullptr ? found(row.format) : row.refine(content, row.format);
    if (detection.format != Format::none) return detection;
  }
  return {};
}

Detection match_text_signatures(const TextHead& text) {
  const std::string_view begin = text.begin();
  for (const TextSignature& row : text_signatures) {
    if (!begins_with(begin, row.text)) continue;
    const Detection detection =
        row.refine == nullptr ? found(row.format) : row.refine(text, row.format);
    if (detection.format != Format::none) return detection;
  }
  return {};
}

}  // namespace trfilter::detection
