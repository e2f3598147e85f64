#include "engine/readers/doc_comments.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "engine/core/fields.h"
#include "engine/core/text_sink.h"
#include "engine/core/utf8.h"

namespace trfilter::doc {
namespace {

// ATRDPre10 ([MS-DOC] 2.9.6); that of Word 6 has byte strings.
constexpr std::size_t reference_size = 30;
constexpr std::size_t author_at = 20;
constexpr std::size_t old_reference_size = 20;
constexpr std::size_t old_author_at = 10;
constexpr std::size_t most_authors = std::size_t{1} << 16;

/// A string with its count of characters before it: UTF-16, or bytes in Word 6. Advances.
std::string take_string(Source& source, std::string_view& bytes) {
  const bool wide = source.fib().version == Version::word_97;
  const std::size_t head = wide ? 2 : 1;
  const std::size_t count = wide ? le16(bytes, 0) : byte_at(bytes, 0);
  bytes.remove_prefix(std::min(head, bytes.size()));
  const std::string_view characters = bytes.substr(0, wide ? count * 2 : count);
  bytes.remove_prefix(characters.size());
  std::string text;
  if (!wide) {
    source.append_narrow(characters, {}, text);
    return text;
  }
  std::u16string units;
  for (std::size_t i = 0; i + 1 < characters.size(); i += 2) {
    units.push_back(static_cast<char16_t>(le16(characters, i)));
  }
  return utf16_to_utf8(units);
}

}  // namespace

std::vector<std::string> comment_labels(Source& source, std::size_t count) {
  const bool wide = source.fib().version == Version::word_97;
  std::vector<std::string> authors;
  const std::string names = source.table(Table::comment_authors);
  for (std::string_view rest = names; !rest.empty() && authors.size() < most_authors;) {
    source.limits().check_time();
    authors.push_back(take_string(source, rest));
  }
  const std::string table = source.table(Table::comment_references);
  const std::string_view references = table;
  const std::size_t size = wide ? reference_size : old_reference_size;
  const std::size_t stated = table.size() < 4 ? 0 : (table.size() - 4) / (4 + size);
  std::vector<std::string> labels;
  for (std::size_t i = 0; i < std::min(count, stated); ++i) {
    source.limits().check_time();
    const std::string_view reference = references.substr((stated + 1) * 4 + i * size, size);
    const std::size_t author = le16(reference, wide ? author_at : old_author_at);
    std::string_view initials = reference;
    labels.push_back(
        comment_label(author < authors.size() ? authors[author] : take_string(source, initials)));
  }
  return labels;
}

}  // namespace trfilter::doc
