// Rows of fields (RFC 4180 and its relatives). Prose has commas too, programs have semicolons,
// tables of Markdown have bars: only rows that agree in their number of fields are taken for data.

#include <algorithm>
#include <array>

#include "engine/core/fields.h"
#include "engine/detect/text_kinds.h"

namespace trfilter::detection {
namespace {

constexpr std::size_t most_rows = 32;
constexpr std::size_t longest_field = 400;

struct Rows {
  std::array<std::size_t, most_rows> fields{};
  std::size_t count = 0;
  std::size_t separators = 0;
  std::size_t before_blank = 0;  ///< separators that a blank follows
  std::size_t first_empty = 0;   ///< rows whose first field is empty
  std::size_t last_empty = 0;    ///< rows whose last field is empty
  std::size_t quoted = 0;        ///< fields in quotes
  bool broken = false;           ///< has what no such row has
};

/// Reads up to `most_rows` rows; a last row without its end only counts when nothing follows.
Rows read_rows(std::string_view text, char separator, bool whole) {
  Rows rows;
  std::size_t at = 0;
  while (at < text.size() && rows.count < most_rows) {
    if (text[at] == '\r' || text[at] == '\n') {
      ++at;
      continue;
    }
    std::size_t fields = 1;
    std::size_t field_begin = at;
    bool first_empty = false;
    bool in_quotes = false;
    bool ended = false;
    std::size_t quoted = 0;
    for (; at < text.size() && !ended; ++at) {
      const char c = text[at];
      if (in_quotes) {
        // A doubled quote closes and opens again at once.
        if (c == '"') in_quotes = false;
        continue;
      }
      if (c == '"' && at == field_begin) {
        in_quotes = true;
        ++quoted;
      } else if (c == '"' && at > field_begin && text[at - 1] == '"' && text[field_begin] == '"') {
        in_quotes = true;
      } else if (c == separator) {
        if (fields == 1) first_empty = at == field_begin;
        ++fields;
        if (at + 1 < text.size() && text[at + 1] == ' ') ++rows.before_blank;
        field_begin = at + 1;
      } else if (c == '\r' || c == '\n') {
        ended = true;
        if (field_begin == at) ++rows.last_empty;
      } else if (at - field_begin > longest_field) {
        rows.broken = true;
        return rows;
      }
    }
    if (!ended && !whole) break;
    rows.fields[rows.count++] = fields;
    rows.separators += fields - 1;
    rows.quoted += quoted;
    if (first_empty) ++rows.first_empty;
  }
  return rows;
}

bool agree(const Rows& rows, char separator) {
  if (rows.broken || rows.count < 2 || rows.separators == 0) return false;
  // The number of fields that most rows have; the first row, often a title, may differ.
  const auto begin = rows.fields.begin();
  const auto end = begin + static_cast<std::ptrdiff_t>(rows.count);
  std::size_t usual = 0;
  std::size_t times = 0;
  for (auto it = begin; it != end; ++it) {
    const auto same = static_cast<std::size_t>(std::count(begin, end, *it));
    if (same > times) {
      times = same;
      usual = *it;
    }
  }
  if (usual < 2) return false;
  // Indented lines, and statements that end with the separator.
  if (rows.first_empty * 2 > rows.count && rows.quoted == 0) return false;
  if (usual == 2 && rows.last_empty * 2 > rows.count) return false;
  // Lists in prose have a blank behind each comma.
  const bool like_prose = separator == ',' && rows.before_blank * 2 > rows.separators;
  if (times * 10 < rows.count * 9) {
    // A few ragged rows are forgiven where there are many fields.
    return usual >= 3 && times * 10 >= rows.count * 6 && rows.count >= 4 && !like_prose;
  }
  if (like_prose) return rows.count >= 4 && times == rows.count;
  if (usual >= 3) return rows.count >= 3 || (rows.count == 2 && usual >= 4);
  return rows.count >= 4 && times == rows.count;
}

}  // namespace

bool is_delimited(const TextHead& text) {
  std::string_view sample = text.begin();
  const bool whole = text.whole() && sample.size() <= TextHead::sample_size;
  sample = sample.substr(0, TextHead::sample_size);
  if (sample.empty()) return false;
  // Program text, lists and tables of Markdown begin with what no first field does.
  if (std::string_view("{}[]()#*-|<>/\\=;%@").find(sample.front()) != npos) return false;
  for (const char separator : {',', '\t', ';', '|'}) {
    if (sample.find(separator) == npos) continue;
    if (agree(read_rows(sample, separator, whole), separator)) return true;
  }
  return false;
}

}  // namespace trfilter::detection
