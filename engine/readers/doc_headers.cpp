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

constexpr std::size_t parts_of_section = 6;
// Even, odd, even, odd, first, first.
constexpr std::array<bool, parts_of_section> is_footer = {false, false, true, true, false, true};
// Separators of footnotes and endnotes come first.
constexpr std::size_t separators = 6;
constexpr std::uint32_t part_mask = 0x3F;

}  // namespace

Headers::Headers(const Source& source, const Stream& main, bool shown) {
  const std::string table = source.table(Table::sections);
  const std::size_t count = table.size() < 4 ? 0 : (table.size() - 4) / (4 + section_size);
  for (std::size_t i = 1; i < count; ++i) ends_.insert(le32(table, i * 4));
  if (!shown) return;
  const Fib& fib = source.fib();
  const auto begin = static_cast<std::uint32_t>(
      std::min<std::uint64_t>(fib.begin_of(TextPart::headers), source.end()));
  const Span all{begin, static_cast<std::uint32_t>(std::min<std::uint64_t>(
                            std::uint64_t{begin} + fib.count(TextPart::headers), source.end()))};
  const std::vector<Span> spans = spans_of(source.table(Table::header_texts), all, 0);
  if (fib.version != Version::word_97) {
    read_word_6(source, main, table, spans);
    return;
  }
  for (std::size_t i = separators; i < spans.size(); ++i) {
    const std::size_t part = (i - separators) % parts_of_section;
    if (part == 0) sections_.emplace_back();
    sections_.back().push_back({spans[i], is_footer[part]});
  }
}

/// Word 6 has only those parts that there are; flags of the document and of its sections say which.
void Headers::read_word_6(const Source& source, const Stream& main, const std::string& table,
                          const std::vector<Span>& spans) {
  const std::uint32_t document = byte_at(source.table(Table::document_properties), 1);
  auto next = static_cast<std::size_t>(std::popcount(document & part_mask));
  const std::size_t count = table.size() < 4 ? 0 : (table.size() - 4) / (4 + section_size);
  for (std::size_t i = 0; i < count && next < spans.size(); ++i) {
    const std::uint32_t at =
        le32(table, (count + 1) * 4 + i * section_size + section_properties_at);
    const std::string size = main.read(at, 2);
    const std::string bytes = main.read(std::uint64_t{at} + 2, le16(size, 0));
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
