#include "engine/detect/signatures.h"

#include <array>
#include <cstdint>
#include <string_view>

#include "engine/detect/families.h"
#include "engine/detect/fields.h"
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

constexpr std::array signatures{
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

constexpr std::array text_signatures{
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

/// Whether a row can match content whose first byte is `first`.
constexpr bool possible(const Signature& row, unsigned first) {
  if (row.offset != 0) return true;
  const unsigned mask = row.mask.empty() ? 0xFF : static_cast<unsigned char>(row.mask[0]);
  return (first & mask) == static_cast<unsigned char>(row.bytes[0]);
}

constexpr std::size_t count_possible() {
  std::size_t count = 0;
  for (unsigned first = 0; first < 256; ++first) {
    for (const Signature& row : signatures) count += possible(row, first) ? 1 : 0;
  }
  return count;
}

/// The rows to try for each first byte, in the table's order: `rows[begin[b]]` to `rows[begin[b +
/// 1]]`.
struct Dispatch {
  std::array<std::uint16_t, 257> begin{};
  std::array<std::uint16_t, count_possible()> rows{};
};

constexpr Dispatch dispatch = [] {
  Dispatch made;
  std::size_t count = 0;
  for (unsigned first = 0; first < 256; ++first) {
    made.begin[first] = static_cast<std::uint16_t>(count);
    for (std::size_t row = 0; row < signatures.size(); ++row) {
      if (possible(signatures[row], first)) made.rows[count++] = static_cast<std::uint16_t>(row);
    }
  }
  made.begin[256] = static_cast<std::uint16_t>(count);
  return made;
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
  for (std::size_t i = dispatch.begin[first]; i < dispatch.begin[first + 1]; ++i) {
    const Signature& row = signatures[dispatch.rows[i]];
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
