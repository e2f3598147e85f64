#include "engine/compound/compound_output.h"

#include <algorithm>
#include <bit>
#include <span>
#include <utility>

#include "engine/core/utf8.h"

namespace trfilter {
namespace {

constexpr std::uint32_t list_sector = 0xFFFFFFFC;
constexpr std::uint32_t table_sector = 0xFFFFFFFD;
constexpr std::uint32_t free_sector = 0xFFFFFFFF;
constexpr std::uint64_t small_stream_end = 4096;
constexpr unsigned small_shift = 6;
constexpr std::uint64_t header_table_sectors = 109;
constexpr std::uint64_t entry_size = 128;
constexpr std::size_t most_name_units = 31;
constexpr unsigned shift_of_version_3 = 9;
constexpr unsigned shift_of_version_4 = 12;
constexpr std::uint64_t most_bytes_of_version_3 = std::uint64_t{1} << 31;
constexpr std::size_t block_size = std::size_t{64} << 10;

/// Collects small fields into blocks for an output.
class Fields {
 public:
  explicit Fields(ByteOutput& output) : output_(output) {}

  void put(std::uint64_t value, unsigned bytes) {
    for (unsigned i = 0; i < bytes; ++i) block_ += static_cast<char>(value >> (8 * i));
    if (block_.size() >= block_size) flush();
  }

  /// Fills up to a whole number of units, counted from the first field on.
  void pad(std::uint64_t unit, std::uint32_t with) {
    while ((written_ + block_.size()) % unit != 0) put(with, 4);
  }

  void flush() {
    output_.write(block_);
    written_ += block_.size();
    block_.clear();
  }

 private:
  ByteOutput& output_;
  std::string block_;
  std::uint64_t written_ = 0;
};

std::uint64_t units_of(std::uint64_t bytes, unsigned shift) {
  return (bytes + (std::uint64_t{1} << shift) - 1) >> shift;
}

/// A chain of sectors that follow each other.
void put_chain(Fields& fields, std::uint64_t first, std::uint64_t count) {
  for (std::uint64_t i = 1; i < count; ++i) fields.put(first + i, 4);
  if (count != 0) fields.put(end_of_chain, 4);
}

/// The order of names compares in upper case ([MS-CFB] 2.6.4); the letters of the alphabets whose
/// cases lie a fixed way apart will do.
char16_t upper(char16_t unit) {
  const auto within = [unit](char16_t first, char16_t last) {
    return unit >= first && unit <= last;
  };
  if (within(u'a', u'z') || (within(0xE0, 0xFE) && unit != 0xF7) ||
      (within(0x3B1, 0x3C9) && unit != 0x3C2) || within(0x430, 0x44F)) {
    return static_cast<char16_t>(unit - 0x20);
  }
  return within(0x450, 0x45F) ? static_cast<char16_t>(unit - 0x50) : unit;
}

bool before(const std::u16string& left, const std::u16string& right) {
  if (left.size() != right.size()) return left.size() < right.size();
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                      [](char16_t a, char16_t b) { return upper(a) < upper(b); });
}

/// Writes all of a stream, filled up to whole sectors; zeros stand for what can no longer be read.
void write_stream(CompoundStream& stream, std::uint64_t size, unsigned shift, ByteOutput& output) {
  std::string block;
  const std::uint64_t padded = units_of(size, shift) << shift;
  for (std::uint64_t done = 0; done < padded; done += block.size()) {
    block.assign(static_cast<std::size_t>(std::min<std::uint64_t>(block_size, padded - done)),
                 '\0');
    const auto wanted = static_cast<std::size_t>(
        std::min<std::uint64_t>(block.size(), size > done ? size - done : 0));
    stream.read_at(done, std::span(block).first(wanted));
    output.write(block);
  }
}

}  // namespace

CompoundOutput::CompoundOutput(const ClassId& class_id) {
  Node& node = nodes_.emplace_back();
  node.name = u"Root Entry";
  node.class_id = class_id;
}

std::size_t CompoundOutput::add(std::size_t parent, std::string_view name,
                                const ClassId& class_id) {
  const std::size_t number = nodes_.size();
  Node& node = nodes_.emplace_back();
  node.name = utf8_to_utf16(name).substr(0, most_name_units);
  node.class_id = class_id;
  nodes_[parent].children.push_back(static_cast<std::uint32_t>(number));
  return number;
}

std::size_t CompoundOutput::add_storage(std::size_t parent, std::string_view name,
                                        const ClassId& class_id) {
  return add(parent, name, class_id);
}

void CompoundOutput::add_stream(std::size_t parent, std::string_view name,
                                std::unique_ptr<CompoundStream> stream) {
  Node& node = nodes_[add(parent, name, {})];
  node.size = stream->stored_size();
  node.stream = std::move(stream);
}

bool CompoundOutput::is_small(const Node& node) const {
  return node.stream && node.size < small_stream_end;
}

/// Makes a balanced tree of a storage's entries. The nodes of its last level are red where that
/// level is not full, so that every way down passes as many black ones.
void CompoundOutput::link_siblings(Node& storage) {
  std::vector<std::uint32_t>& sorted = storage.children;
  std::stable_sort(sorted.begin(), sorted.end(), [this](std::uint32_t a, std::uint32_t b) {
    return before(nodes_[a].name, nodes_[b].name);
  });
  const bool full = std::has_single_bit(sorted.size() + 1);
  const int last_level = static_cast<int>(std::bit_width(sorted.size()));
  struct Part {
    std::size_t begin;
    std::size_t end;
    int level;
    std::uint32_t* link;
  };
  std::vector<Part> ahead{{0, sorted.size(), 1, &storage.child}};
  while (!ahead.empty()) {
    const Part part = ahead.back();
    ahead.pop_back();
    if (part.begin == part.end) {
      *part.link = DirectoryEntry::none;
      continue;
    }
    const std::size_t middle = part.begin + (part.end - part.begin) / 2;
    *part.link = sorted[middle];
    Node& node = nodes_[sorted[middle]];
    node.red = !full && part.level == last_level;
    ahead.push_back({part.begin, middle, part.level + 1, &node.left});
    ahead.push_back({middle + 1, part.end, part.level + 1, &node.right});
  }
}

CompoundOutput::Layout CompoundOutput::lay_out() {
  std::uint64_t bytes = 0;
  for (Node& node : nodes_) {
    link_siblings(node);
    bytes += node.size;
  }
  Layout layout;
  layout.shift = bytes < most_bytes_of_version_3 ? shift_of_version_3 : shift_of_version_4;
  const unsigned per_sector_shift = layout.shift - 2;

  for (Node& node : nodes_) {
    if (!is_small(node)) continue;
    node.start = node.size == 0 ? end_of_chain : static_cast<std::uint32_t>(layout.small_sectors);
    layout.small_sectors += units_of(node.size, small_shift);
  }
  layout.directory_sectors = units_of(nodes_.size() * entry_size, layout.shift);
  layout.small_table_sectors = units_of(layout.small_sectors * 4, layout.shift);
  layout.small_content = units_of(layout.small_sectors << small_shift, layout.shift);
  for (const Node& node : nodes_) {
    if (node.stream && !is_small(node)) layout.streams += units_of(node.size, layout.shift);
  }

  // The table has entries for its own sectors and for those that list them.
  const std::uint64_t content =
      layout.directory_sectors + layout.small_table_sectors + layout.small_content + layout.streams;
  const std::uint64_t per_list = (std::uint64_t{1} << per_sector_shift) - 1;
  for (std::uint64_t needed = 1; needed != layout.table_sectors;) {
    layout.table_sectors = needed;
    const std::uint64_t listed = needed - std::min(needed, header_table_sectors);
    layout.list_sectors = (listed + per_list - 1) / per_list;
    needed = units_of((content + needed + layout.list_sectors) * 4, layout.shift);
  }

  std::uint64_t next = layout.table_sectors + layout.list_sectors + layout.directory_sectors +
                       layout.small_table_sectors;
  nodes_[root].start = layout.small_content == 0 ? end_of_chain : static_cast<std::uint32_t>(next);
  nodes_[root].size = layout.small_sectors << small_shift;
  next += layout.small_content;
  for (Node& node : nodes_) {
    if (!node.stream) continue;
    if (is_small(node)) continue;
    node.start = static_cast<std::uint32_t>(next);
    next += units_of(node.size, layout.shift);
  }
  return layout;
}

void CompoundOutput::write_header(const Layout& layout, ByteOutput& output) const {
  const bool version_3 = layout.shift == shift_of_version_3;
  const std::uint64_t directory = layout.table_sectors + layout.list_sectors;
  Fields header(output);
  header.put(0xE11AB1A1E011CFD0, 8);
  header.put(0, 8);
  header.put(0, 8);
  header.put(0x3E, 2);
  header.put(version_3 ? 3 : 4, 2);
  header.put(0xFFFE, 2);
  header.put(layout.shift, 2);
  header.put(small_shift, 2);
  header.put(0, 6);
  header.put(version_3 ? 0 : layout.directory_sectors, 4);
  header.put(layout.table_sectors, 4);
  header.put(directory, 4);
  header.put(0, 4);
  header.put(small_stream_end, 4);
  header.put(layout.small_table_sectors == 0 ? end_of_chain : directory + layout.directory_sectors,
             4);
  header.put(layout.small_table_sectors, 4);
  header.put(layout.list_sectors == 0 ? end_of_chain : layout.table_sectors, 4);
  header.put(layout.list_sectors, 4);
  for (std::uint64_t i = 0; i < header_table_sectors; ++i) {
    header.put(i < layout.table_sectors ? i : free_sector, 4);
  }
  header.pad(std::uint64_t{1} << layout.shift, 0);
  header.flush();
}

void CompoundOutput::write_tables(const Layout& layout, ByteOutput& output) const {
  const std::uint64_t sector_size = std::uint64_t{1} << layout.shift;
  Fields table(output);
  for (std::uint64_t i = 0; i < layout.table_sectors; ++i) table.put(table_sector, 4);
  for (std::uint64_t i = 0; i < layout.list_sectors; ++i) table.put(list_sector, 4);
  std::uint64_t first = layout.table_sectors + layout.list_sectors;
  const auto put = [&](std::uint64_t count) {
    put_chain(table, first, count);
    first += count;
  };
  put(layout.directory_sectors);
  put(layout.small_table_sectors);
  put(layout.small_content);
  for (const Node& node : nodes_) {
    if (node.stream && !is_small(node)) put(units_of(node.size, layout.shift));
  }
  table.pad(sector_size, free_sector);

  const std::uint64_t per_list = sector_size / 4 - 1;
  std::uint64_t listed = header_table_sectors;
  for (std::uint64_t list = 0; list < layout.list_sectors; ++list) {
    for (std::uint64_t i = 0; i < per_list; ++i, ++listed) {
      table.put(listed < layout.table_sectors ? listed : free_sector, 4);
    }
    const bool last = list + 1 == layout.list_sectors;
    table.put(last ? end_of_chain : layout.table_sectors + list + 1, 4);
  }
  table.flush();
}

void CompoundOutput::write_directory(const Layout& layout, ByteOutput& output) const {
  Fields directory(output);
  for (std::size_t number = 0; number < nodes_.size(); ++number) {
    const Node& node = nodes_[number];
    for (std::size_t i = 0; i < most_name_units + 1; ++i) {
      directory.put(i < node.name.size() ? node.name[i] : 0u, 2);
    }
    directory.put(node.name.size() * 2 + 2, 2);
    directory.put(number == root ? 5 : node.stream ? 2 : 1, 1);
    directory.put(node.red ? 0 : 1, 1);
    directory.put(node.left, 4);
    directory.put(node.right, 4);
    directory.put(node.child, 4);
    for (const unsigned char byte : node.class_id) directory.put(byte, 1);
    directory.put(0, 4);
    directory.put(0, 8);
    directory.put(0, 8);
    directory.put(node.stream || number == root ? node.start : 0, 4);
    directory.put(node.size, 8);
  }
  // Unused entries have no siblings and no children: [MS-CFB] 2.6.3.
  const std::uint64_t per_sector = (std::uint64_t{1} << layout.shift) / entry_size;
  for (std::uint64_t i = nodes_.size(); i % per_sector != 0; ++i) {
    for (unsigned field = 0; field < entry_size / 4; ++field) {
      directory.put(field >= 17 && field < 20 ? DirectoryEntry::none : 0, 4);
    }
  }
  directory.flush();

  Fields table(output);
  std::uint64_t first = 0;
  for (const Node& node : nodes_) {
    if (!is_small(node)) continue;
    const std::uint64_t count = units_of(node.size, small_shift);
    put_chain(table, first, count);
    first += count;
  }
  table.pad(std::uint64_t{1} << layout.shift, free_sector);
  table.flush();
}

void CompoundOutput::write_streams(const Layout& layout, ByteOutput& output) const {
  for (const Node& node : nodes_) {
    if (is_small(node)) write_stream(*node.stream, node.size, small_shift, output);
  }
  const std::uint64_t rest =
      (layout.small_content << layout.shift) - (layout.small_sectors << small_shift);
  output.write(std::string(static_cast<std::size_t>(rest), '\0'));
  for (const Node& node : nodes_) {
    if (node.stream && !is_small(node)) write_stream(*node.stream, node.size, layout.shift, output);
  }
}

void CompoundOutput::write(ByteOutput& output) {
  const Layout layout = lay_out();
  write_header(layout, output);
  write_tables(layout, output);
  write_directory(layout, output);
  write_streams(layout, output);
}

}  // namespace trfilter
