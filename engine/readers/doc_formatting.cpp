#include "engine/readers/doc_formatting.h"

#include <algorithm>
#include <limits>

#include "engine/core/fields.h"

namespace trfilter::doc {
namespace {

constexpr std::uint32_t page_number_mask = 0x3FFFFF;
// A paragraph's entry in a page: one byte of offset and a description of its height.
constexpr std::size_t word_97_entry = 13;
constexpr std::size_t word_6_entry = 7;

}  // namespace

Formatting::Formatting(const Stream& stream, Kind kind, const Fib& fib, std::string_view table)
    : stream_(&stream), kind_(kind), version_(fib.version) {
  const std::size_t number_size = version_ == Version::word_97 ? 4 : 2;
  if (table.size() < 4) return;
  const std::size_t count = (table.size() - 4) / (4 + number_size);
  pages_.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t at = (count + 1) * 4 + i * number_size;
    const std::uint32_t number =
        number_size == 4 ? le32(table, at) & page_number_mask : le16(table, at);
    const Page page{le32(table, i * 4), le32(table, i * 4 + 4), number};
    if (page.end <= page.begin || (!pages_.empty() && page.begin < pages_.back().end)) continue;
    pages_.push_back(page);
  }
  // Word 6 leaves pages out of the table when they follow each other.
  const bool characters = kind == Kind::characters;
  const std::uint32_t pages = characters ? fib.character_page_count : fib.paragraph_page_count;
  const std::uint32_t first = characters ? fib.first_character_page : fib.first_paragraph_page;
  if (version_ != Version::word_6 || pages <= pages_.size() || first == 0) return;
  pages_.clear();
  for (std::uint32_t i = 0; i < pages; ++i) {
    if (!load(first + i)) break;
    const std::size_t runs = byte_at(page_, page_size - 1);
    const Page page{le32(page_, 0), le32(page_, runs * 4), first + i};
    if (page.end <= page.begin || (!pages_.empty() && page.begin < pages_.back().end)) break;
    pages_.push_back(page);
  }
}

bool Formatting::load(std::uint32_t number) {
  if (number == loaded_) return true;
  stream_->read(std::uint64_t{number} * page_size, page_size, page_);
  loaded_ = page_.size() == page_size ? number : no_page;
  return loaded_ == number;
}

FormattedRun Formatting::find(std::uint64_t offset) {
  const auto page = std::upper_bound(
      pages_.begin(), pages_.end(), offset,
      [](std::uint64_t wanted, const Page& candidate) { return wanted < candidate.end; });
  FormattedRun run;
  run.begin = offset;
  run.end = page == pages_.end() ? std::numeric_limits<std::uint64_t>::max() : page->end;
  if (page == pages_.end()) return run;
  if (offset < page->begin) {
    run.end = page->begin;
    return run;
  }
  return load(page->number) ? run_of(*page, offset) : run;
}

FormattedRun Formatting::run_of(const Page& page, std::uint64_t offset) const {
  const std::size_t entry_size = kind_ == Kind::characters      ? 1
                                 : version_ == Version::word_97 ? word_97_entry
                                                                : word_6_entry;
  const std::size_t count =
      std::min<std::size_t>(byte_at(page_, page_size - 1), (page_size - 5) / (4 + entry_size));
  std::size_t low = 0;
  std::size_t high = count;
  while (low < high) {  // the first run that ends behind the offset
    const std::size_t middle = low + (high - low) / 2;
    if (offset < le32(page_, (middle + 1) * 4)) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  FormattedRun run;
  run.begin = offset;
  run.end = page.end;
  if (low == count) return run;
  const std::uint64_t begin = le32(page_, low * 4);
  if (offset < begin) {
    run.end = begin;
    return run;
  }
  run.begin = begin;
  run.end = le32(page_, (low + 1) * 4);
  const std::size_t at = std::size_t{2} * byte_at(page_, (count + 1) * 4 + low * entry_size);
  if (at == 0) return run;
  if (kind_ == Kind::characters) {
    read_characters(at, run);
  } else {
    read_paragraph(at, run);
  }
  return run;
}

void Formatting::read_characters(std::size_t at, FormattedRun& run) const {
  const std::size_t size = byte_at(page_, at);
  if (has(page_, at + 1, size)) run.modifiers = std::string_view(page_).substr(at + 1, size);
}

void Formatting::read_paragraph(std::size_t at, FormattedRun& run) const {
  std::size_t size = std::size_t{2} * byte_at(page_, at);
  std::size_t begin = at + 1;
  if (version_ == Version::word_97) {
    if (size == 0) {
      size = std::size_t{2} * byte_at(page_, begin);
      ++begin;
    } else {
      --size;
    }
  }
  if (size < 2 || !has(page_, begin, size)) return;
  run.style = static_cast<std::uint16_t>(le16(page_, begin));
  run.modifiers = std::string_view(page_).substr(begin + 2, size - 2);
}

}  // namespace trfilter::doc
