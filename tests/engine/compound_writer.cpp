#include "tests/engine/compound_writer.h"

#include <algorithm>
#include <stdexcept>

#include "engine/core/utf8.h"

namespace trfilter::test {
namespace {

constexpr std::size_t sector_size = 512;
constexpr std::size_t small_sector_size = 64;
constexpr std::size_t small_stream_end = 4096;
constexpr std::size_t header_table_sectors = 109;
constexpr std::size_t entry_size = 128;
constexpr std::size_t most_name_units = 31;

constexpr std::uint32_t table_sector = 0xFFFFFFFD;
constexpr std::uint32_t end_of_chain = 0xFFFFFFFE;
constexpr std::uint32_t free_sector = 0xFFFFFFFF;

void put16(std::string& out, std::uint32_t value) {
  out += static_cast<char>(value & 0xFF);
  out += static_cast<char>(value >> 8 & 0xFF);
}

void put32(std::string& out, std::uint32_t value) {
  put16(out, value & 0xFFFF);
  put16(out, value >> 16);
}

void pad(std::string& out, std::size_t unit, char with = '\0') {
  out.resize((out.size() + unit - 1) / unit * unit, with);
}

/// Adds the chain of a stream of `size` bytes to a table. @return its first sector
std::uint32_t add_chain(std::vector<std::uint32_t>& table, std::size_t size, std::size_t sector) {
  if (size == 0) return end_of_chain;
  const auto first = static_cast<std::uint32_t>(table.size());
  for (std::size_t done = sector; done < size; done += sector) {
    table.push_back(static_cast<std::uint32_t>(table.size()) + 1);
  }
  table.push_back(end_of_chain);
  return first;
}

char16_t upper(char16_t unit) {
  return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - u'a' + u'A') : unit;
}

}  // namespace

CompoundWriter::CompoundWriter(const ClassId& class_id) {
  nodes_.push_back({u"Root Entry", true, class_id, {}, {}});
}

std::size_t CompoundWriter::node_of(std::string_view path) {
  std::size_t at = 0;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('/'), path.size());
    const std::u16string name = utf8_to_utf16(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
    if (name.size() > most_name_units) throw std::invalid_argument("a name is too long");
    const auto& children = nodes_[at].children;
    const auto found = std::find_if(children.begin(), children.end(),
                                    [&](std::size_t child) { return nodes_[child].name == name; });
    if (found != children.end()) {
      at = *found;
      continue;
    }
    nodes_[at].children.push_back(nodes_.size());
    at = nodes_.size();
    nodes_.push_back({name, true, {}, {}, {}});
  }
  return at;
}

CompoundWriter& CompoundWriter::add(std::string_view path, std::string_view content) {
  Node& node = nodes_[node_of(path)];
  node.storage = false;
  node.content = content;
  return *this;
}

CompoundWriter& CompoundWriter::add_storage(std::string_view path, const ClassId& class_id) {
  nodes_[node_of(path)].class_id = class_id;
  return *this;
}

/// Makes a balanced tree of siblings. @return its root
std::uint32_t CompoundWriter::link_children(const std::vector<std::size_t>& sorted,
                                            std::size_t begin, std::size_t end,
                                            std::vector<Links>& links) {
  if (begin == end) return free_sector;
  const std::size_t middle = begin + (end - begin) / 2;
  links[sorted[middle]].left = link_children(sorted, begin, middle, links);
  links[sorted[middle]].right = link_children(sorted, middle + 1, end, links);
  return static_cast<std::uint32_t>(sorted[middle]);
}

std::vector<CompoundWriter::Links> CompoundWriter::links() const {
  std::vector<Links> links(nodes_.size(), Links{free_sector, free_sector, free_sector});
  for (std::size_t i = 0; i < nodes_.size(); ++i) {
    std::vector<std::size_t> sorted = nodes_[i].children;
    // [MS-CFB] 2.6.4: shorter names come first, then by units in upper case.
    std::sort(sorted.begin(), sorted.end(), [&](std::size_t a, std::size_t b) {
      const std::u16string& left = nodes_[a].name;
      const std::u16string& right = nodes_[b].name;
      if (left.size() != right.size()) return left.size() < right.size();
      return std::lexicographical_compare(
          left.begin(), left.end(), right.begin(), right.end(),
          [](char16_t x, char16_t y) { return upper(x) < upper(y); });
    });
    links[i].child = link_children(sorted, 0, sorted.size(), links);
  }
  return links;
}

std::string CompoundWriter::bytes() const {
  std::vector<std::uint32_t> table;
  std::vector<std::uint32_t> small_table;
  std::string data;
  std::string small_data;
  std::vector<std::uint32_t> starts(nodes_.size(), 0);
  for (std::size_t i = 1; i < nodes_.size(); ++i) {
    const Node& node = nodes_[i];
    if (node.storage) continue;
    const bool small = node.content.size() < small_stream_end;
    const std::size_t sector = small ? small_sector_size : sector_size;
    starts[i] = add_chain(small ? small_table : table, node.content.size(), sector);
    std::string& into = small ? small_data : data;
    into += node.content;
    pad(into, sector);
  }
  starts[0] = add_chain(table, small_data.size(), sector_size);
  data += small_data;
  pad(data, sector_size);

  const auto small_table_sectors = (small_table.size() * 4 + sector_size - 1) / sector_size;
  const std::uint32_t small_table_start =
      add_chain(table, small_table_sectors * sector_size, sector_size);
  for (const std::uint32_t entry : small_table) put32(data, entry);
  while (data.size() % sector_size != 0) put32(data, free_sector);

  const std::uint32_t directory_start = add_chain(table, nodes_.size() * entry_size, sector_size);
  const std::vector<Links> links = this->links();
  for (std::size_t i = 0; i < nodes_.size(); ++i) {
    const Node& node = nodes_[i];
    std::string entry;
    for (const char16_t unit : node.name) put16(entry, unit);
    pad(entry, 64);
    put16(entry, static_cast<std::uint32_t>(node.name.size() * 2 + 2));
    entry += static_cast<char>(i == 0 ? 5 : node.storage ? 1 : 2);
    entry += '\1';  // black
    put32(entry, links[i].left);
    put32(entry, links[i].right);
    put32(entry, links[i].child);
    for (const unsigned char byte : node.class_id) entry += static_cast<char>(byte);
    entry.append(4 + 8 + 8, '\0');
    put32(entry, starts[i]);
    put32(entry, static_cast<std::uint32_t>(i == 0 ? small_data.size() : node.content.size()));
    put32(entry, 0);
    data += entry;
  }
  pad(data, sector_size);

  // The table's own sectors come last, and it has entries for them.
  const std::size_t first_table_sector = table.size();
  std::size_t table_sectors = 1;
  while (table_sectors * (sector_size / 4) < first_table_sector + table_sectors) ++table_sectors;
  if (table_sectors > header_table_sectors) throw std::length_error("too much for the header");
  table.resize(first_table_sector + table_sectors, table_sector);
  for (const std::uint32_t entry : table) put32(data, entry);
  while (data.size() % sector_size != 0) put32(data, free_sector);

  std::string header("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8);
  header.append(16, '\0');
  for (const std::uint32_t value : {0x3Eu, 3u, 0xFFFEu, 9u, 6u}) put16(header, value);
  header.append(10, '\0');
  put32(header, static_cast<std::uint32_t>(table_sectors));
  put32(header, directory_start);
  put32(header, 0);
  put32(header, small_stream_end);
  put32(header, small_table_start);
  put32(header, static_cast<std::uint32_t>(small_table_sectors));
  put32(header, end_of_chain);
  put32(header, 0);
  for (std::size_t i = 0; i < header_table_sectors; ++i) {
    put32(header,
          i < table_sectors ? static_cast<std::uint32_t>(first_table_sector + i) : free_sector);
  }
  return header + data;
}

}  // namespace trfilter::test
