#include "engine/readers/doc_headers.h"

#include <algorithm>
#include <array>
#include <bit>

#include "engine/core/fields.h"
#include "engine/readers/doc_modifiers.h"

namespace trfilter::doc {
namespace {

constexpr std::size_t section_size = 12;  // [MS-DOC] 2.8.28: Sed
constexpr std::size_t section_properties_at = 2;

// The longest property, the description of the outline, takes 214 bytes.
constexpr std::size_t most_section_bytes = 2048;

constexpr std::size_t parts_of_section = 6;
// Even, odd, even, odd, first, first.
constexpr std::array<bool, parts_of_section> is_footer = {false, false, true, true, false, true};
// Separators of footnotes and endnotes come first.
constexpr std::size_t separators = 6;
constexpr std::uint32_t part_mask = 0x3F;

}  // namespace

Sections::Sections(std::string_view table)
    : table_(table), size_(table.size() < 4 ? 0 : (table.size() - 4) / (4 + section_size)) {}

std::uint32_t Sections::end(std::size_t section) const {
  return le32(table_, (section + 1) * 4);
}

std::size_t Sections::at(std::uint32_t position) const {
  std::size_t low = 0;
  std::size_t high = size_;
  while (low + 1 < high) {
    const std::size_t middle = (low + high) / 2;
    (end(middle - 1) <= position ? low : high) = middle;
  }
  return low;
}

std::string Sections::properties(const Source& source, std::size_t section) const {
  if (section >= size_) return {};
  const std::uint32_t at =
      le32(table_, (size_ + 1) * 4 + section * section_size + section_properties_at);
  const std::string size = source.main().read(at, 2);
  return source.main().read(std::uint64_t{at} + 2,
                            std::min<std::size_t>(le16(size, 0), most_section_bytes));
}

Headers::Headers(const Source& source, bool shown) {
  const std::string table = source.table(Table::sections);
  const Sections sections(table);
  for (std::size_t i = 0; i + 1 < sections.size(); ++i) ends_.insert(sections.end(i));
  if (!shown) return;
  const Fib& fib = source.fib();
  const auto begin = static_cast<std::uint32_t>(
      std::min<std::uint64_t>(fib.begin_of(TextPart::headers), source.end()));
  const Span all{begin, static_cast<std::uint32_t>(std::min<std::uint64_t>(
                            std::uint64_t{begin} + fib.count(TextPart::headers), source.end()))};
  const std::vector<Span> spans = spans_of(source.table(Table::header_texts), all, 0);
  if (fib.version != Version::word_97) {
    read_word_6(source, sections, spans);
    return;
  }
  for (std::size_t i = separators; i < spans.size(); ++i) {
    const std::size_t part = (i - separators) % parts_of_section;
    if (part == 0) sections_.emplace_back();
    sections_.back().push_back({spans[i], is_footer[part]});
  }
}

/// Word 6 has only those parts that there are; flags of the document and of its sections say which.
void Headers::read_word_6(const Source& source, const Sections& sections,
                          const std::vector<Span>& spans) {
  const std::uint32_t document = byte_at(source.table(Table::document_properties), 1);
  auto next = static_cast<std::size_t>(std::popcount(document & part_mask));
  for (std::size_t i = 0; i < sections.size() && next < spans.size(); ++i) {
    const std::string bytes = sections.properties(source, i);
    std::uint32_t kinds = 0;
    ModifierList modifiers(bytes, Version::word_6);
    while (const auto modifier = modifiers.next()) {
      if (modifier->property == Property::header_kinds) kinds = modifier->value();
    }
    sections_.emplace_back();
    for (std::size_t part = 0; part < parts_of_section && next < spans.size(); ++part) {
      if ((kinds >> part & 1) == 0) continue;
      sections_.back().push_back({spans[next++], is_footer[part]});
    }
  }
}

std::vector<Span> Headers::spans(std::size_t section, bool footer) const {
  std::vector<Span> result;
  if (section >= sections_.size()) return result;
  for (const Part& part : sections_[section]) {
    if (part.footer == footer && part.span.begin < part.span.end) result.push_back(part.span);
  }
  return result;
}

}  // namespace trfilter::doc
