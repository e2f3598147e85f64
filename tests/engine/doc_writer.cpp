#include "tests/engine/doc_writer.h"

#include <algorithm>
#include <utility>

#include "tests/engine/compound_writer.h"

namespace trfilter::test {
namespace {

constexpr std::size_t page_size = 512;
constexpr std::size_t added_at = 2048;
constexpr std::size_t added_room = 8192;
constexpr std::size_t text_at = added_at + added_room;

void put(std::string& into, std::size_t at, std::string_view bytes) {
  if (into.size() < at + bytes.size()) into.resize(at + bytes.size());
  into.replace(at, bytes.size(), bytes);
}

void pad(std::string& bytes, std::size_t unit) {
  bytes.resize((bytes.size() + unit - 1) / unit * unit);
}

}  // namespace

std::string le(std::uint64_t value, std::size_t bytes) {
  std::string out;
  for (; bytes != 0; --bytes, value >>= 8) out += static_cast<char>(value & 0xFF);
  return out;
}

std::string sprm(std::uint16_t code, std::uint32_t operand, std::size_t bytes) {
  return le(code, 2) + le(operand, bytes);
}

DocWriter& DocWriter::part(Part part) {
  part_ = part;
  return *this;
}

DocWriter& DocWriter::text(std::u16string_view units, std::string modifiers) {
  parts_[part_] += units;
  characters_[part_].push_back({length(part_), 0, std::move(modifiers)});
  return *this;
}

DocWriter& DocWriter::end(std::string modifiers, std::uint16_t style, char16_t mark,
                          std::string mark_modifiers) {
  text({&mark, 1}, std::move(mark_modifiers));
  paragraphs_[part_].push_back({length(part_), style, std::move(modifiers)});
  return *this;
}

DocWriter& DocWriter::table(Table number, std::string bytes) {
  tables_[number] = std::move(bytes);
  return *this;
}

DocWriter& DocWriter::behind(Table number, std::string bytes) {
  behind_[number] = std::move(bytes);
  return *this;
}

DocWriter& DocWriter::data(std::string bytes) {
  data_ = std::move(bytes);
  return *this;
}

std::uint32_t DocWriter::add_main(std::string_view bytes) {
  const auto at = static_cast<std::uint32_t>(added_at + added_.size());
  added_ += bytes;
  return at;
}

std::uint32_t DocWriter::text_offset() {
  return text_at;
}

DocWriter& DocWriter::narrow() {
  narrow_ = true;
  return *this;
}

DocWriter& DocWriter::scattered(std::size_t characters) {
  piece_size_ = characters;
  return *this;
}

DocWriter& DocWriter::flags(std::uint16_t bits) {
  flags_ |= bits;
  return *this;
}

DocWriter& DocWriter::language(std::uint16_t language) {
  language_ = language;
  return *this;
}

DocWriter& DocWriter::key(std::uint32_t key) {
  key_ = key;
  return *this;
}

DocWriter& DocWriter::unformatted() {
  formatted_ = false;
  return *this;
}

std::string DocWriter::positions(const std::vector<std::uint32_t>& positions,
                                 std::string_view data) {
  std::string bytes;
  for (const std::uint32_t position : positions) bytes += le(position, 4);
  return bytes + std::string(data);
}

DocWriter& DocWriter::styles(const std::vector<Style>& styles) {
  const auto list = [](const std::string& bytes) {
    std::string out = le(bytes.size(), 2) + bytes;
    if (out.size() % 2 != 0) out += '\0';
    return out;
  };
  std::string sheet = le(18, 2) + le(styles.size(), 2) + le(10, 2) + std::string(14, '\0');
  for (const Style& style : styles) {
    std::string bytes = le(0, 2) + le(style.kind | style.base << 4, 2) + le(2, 2) + le(0, 4);
    bytes += word_6_ ? std::string("\1S\0", 3) + '\0' : le(1, 2) + le('S', 2) + le(0, 2);
    if (style.kind == 1) bytes += list(le(0, 2) + style.paragraph);
    bytes += list(style.characters);
    sheet += le(bytes.size(), 2) + bytes;
  }
  return table(style_sheet, sheet);
}

DocWriter& DocWriter::font_table(const std::vector<std::string>& names,
                                 const std::vector<unsigned>& character_sets) {
  std::string bytes = word_6_ ? le(0, 2) : le(names.size(), 2) + le(0, 2);
  for (std::size_t i = 0; i < names.size(); ++i) {
    std::string font = std::string(3, '\0') + le(character_sets[i], 1) + le(0, 1);
    if (!word_6_) font += std::string(34, '\0');
    for (const char character : names[i] + std::string(1, '\0')) {
      font += le(static_cast<unsigned char>(character), word_6_ ? 1 : 2);
    }
    bytes += le(font.size(), 1) + font;
  }
  return table(fonts, bytes);
}

/// Where the characters of each part lie, as runs of formatting.
std::vector<DocWriter::Run> DocWriter::runs(const std::vector<Formatted> (&of_parts)[part_count],
                                            bool paragraphs,
                                            const std::vector<std::uint64_t>& offsets) const {
  const std::uint64_t width = narrow_ || word_6_ ? 1 : 2;
  std::vector<Run> result;
  std::size_t before = 0;
  for (std::size_t part = 0; part < part_count; ++part) {
    std::size_t begin = 0;
    for (const Formatted& formatted : of_parts[part]) {
      std::string bytes = formatted.modifiers;
      if (paragraphs) bytes = le(formatted.style, 2) + bytes;
      // A run that lies in several pieces is one in each of them.
      for (std::size_t at = begin; at < formatted.end; ++at) {
        const std::uint64_t offset = offsets[before + at];
        if (at != begin && result.back().end == offset) {
          result.back().end += width;
        } else {
          result.push_back({offset, offset + width, bytes});
        }
      }
      begin = formatted.end;
    }
    before += parts_[part].size();
  }
  std::sort(result.begin(), result.end(),
            [](const Run& a, const Run& b) { return a.begin < b.begin; });
  return result;
}

/// Appends pages of formatting to the main stream. @return the table that finds them
std::string DocWriter::pages(std::vector<Run> runs, bool paragraphs, std::string& main) const {
  const std::size_t entry_size = paragraphs ? (word_6_ ? 7 : 13) : 1;
  std::string firsts;
  std::string numbers;
  std::size_t next = 0;
  while (next < runs.size()) {
    std::string page(page_size, '\0');
    std::size_t low = 4;
    std::size_t high = page_size - 1;
    std::vector<std::pair<std::size_t, std::string>> entries;
    const std::size_t first = next;
    while (next < runs.size()) {
      std::string content = runs[next].bytes;
      if (!paragraphs) {
        content = le(content.size(), 1) + content;
      } else {
        // Odd sizes are stated with the first byte, even ones behind a byte of 0.
        if (word_6_) {
          if (content.size() % 2 != 0) content += '\0';
          content = le(content.size() / 2, 1) + content;
        } else if (content.size() % 2 != 0) {
          content = le((content.size() + 1) / 2, 1) + content;
        } else {
          content = le(0, 1) + le(content.size() / 2, 1) + content;
        }
      }
      const std::size_t at = (high - content.size()) / 2 * 2;
      if (low + 4 + entry_size > at || at > high) break;
      high = at;
      low += 4 + entry_size;
      entries.push_back({at, content});
      ++next;
    }
    const std::size_t count = next - first;
    for (std::size_t i = 0; i < count; ++i) {
      put(page, i * 4, le(runs[first + i].begin, 4));
      put(page, (count + 1) * 4 + i * entry_size, le(entries[i].first / 2, 1));
      put(page, entries[i].first, entries[i].second);
    }
    put(page, count * 4, le(runs[next - 1].end, 4));
    page[page_size - 1] = static_cast<char>(count);
    firsts += le(runs[first].begin, 4);
    numbers += le(main.size() / page_size, word_6_ ? 2 : 4);
    main += page;
  }
  return firsts + le(runs.empty() ? 0 : runs.back().end, 4) + numbers;
}

DocWriter::Streams DocWriter::streams() const {
  std::u16string all;
  for (const std::u16string& part : parts_) all += part;
  const std::size_t width = narrow_ || word_6_ ? 1 : 2;
  const std::size_t piece_size = piece_size_ == 0 ? all.size() : piece_size_;

  Streams result;
  std::string& main = result.main;
  put(main, added_at, added_);
  main.resize(text_at);
  std::vector<std::uint64_t> offsets(all.size());
  const std::size_t piece_count = piece_size == 0 ? 0 : (all.size() + piece_size - 1) / piece_size;
  std::vector<std::uint64_t> piece_offsets(piece_count);
  for (std::size_t piece = piece_count; piece-- != 0;) {
    piece_offsets[piece] = main.size();
    for (std::size_t i = piece * piece_size; i < std::min(all.size(), (piece + 1) * piece_size);
         ++i) {
      offsets[i] = main.size();
      main += le(all[i], width);
    }
  }
  const std::size_t text_end = main.size();
  pad(main, page_size);

  std::map<std::size_t, std::string> tables = tables_;
  if (formatted_) {
    tables[character_pages] = pages(runs(characters_, false, offsets), false, main);
    tables[paragraph_pages] = pages(runs(paragraphs_, true, offsets), true, main);
  }
  if (!tables.contains(Table::pieces) && (!word_6_ || piece_size_ != 0)) {
    std::string bounds;
    std::string descriptors;
    for (std::size_t piece = 0; piece < piece_count; ++piece) {
      bounds += le(piece * piece_size, 4);
      const std::uint64_t offset =
          narrow_ && !word_6_ ? piece_offsets[piece] * 2 | 0x40000000 : piece_offsets[piece];
      descriptors += le(0, 2) + le(offset, 4) + le(0, 2);
    }
    bounds += le(all.size(), 4);
    tables[Table::pieces] = "\2" + le(bounds.size() + descriptors.size(), 4) + bounds + descriptors;
  }

  std::string fib(added_at, '\0');
  put(fib, 0, le(word_6_ ? 0xA5DC : 0xA5EC, 2) + le(word_6_ ? 101 : 193, 2));
  put(fib, 6, le(language_, 2));
  put(fib, 10, le(flags_ | (word_6_ ? 0 : 0x1000), 2));
  put(fib, 14, le(key_, 4));
  put(fib, 24, le(text_at, 4) + le(text_end, 4));
  for (std::size_t part = 0; part < part_count; ++part) {
    put(fib, (word_6_ ? 0x34 : 76) + part * 4, le(parts_[part].size(), 4));
  }
  if (!word_6_) {
    put(fib, 32, le(14, 2));
    put(fib, 62, le(22, 2));
    put(fib, 152, le(93, 2));
  }
  std::string& stream = word_6_ ? main : result.table;
  if (!word_6_) stream.assign(256, '\0');
  for (const auto& [number, bytes] : tables) {
    const std::size_t at = !word_6_      ? 154 + number * 8
                           : number < 38 ? 0x58 + number * 8
                           : number < 42 ? 0x192 + (number - 40) * 8
                                         : 0x1B2 + (number - 42) * 8;
    put(fib, at, le(stream.size(), 4) + le(bytes.size(), 4));
    stream += bytes;
    if (const auto more = behind_.find(number); more != behind_.end()) stream += more->second;
  }
  put(main, 0, std::string_view(fib).substr(0, word_6_ ? 0x300 : 154 + 93 * 8));
  result.data = data_;
  return result;
}

std::string DocWriter::bytes(const Streams& streams) {
  CompoundWriter file;
  file.add("WordDocument", streams.main);
  if (!streams.table.empty()) file.add("0Table", streams.table);
  if (!streams.data.empty()) file.add("Data", streams.data);
  return file.bytes();
}

std::string DocWriter::bytes() const {
  return bytes(streams());
}

}  // namespace trfilter::test
