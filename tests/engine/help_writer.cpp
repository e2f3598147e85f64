#include "tests/engine/help_writer.h"

#include <cstddef>
#include <cstdint>

namespace trfilter::test {
namespace {

void append_number(std::string& out, std::uint64_t value, unsigned count) {
  for (unsigned i = 0; i < count; ++i) out += static_cast<char>(value >> (8 * i) & 0xFF);
}

/// A number in groups of seven bits, the first group first.
void append_groups(std::string& out, std::uint64_t value) {
  std::string groups;
  groups += static_cast<char>(value & 0x7F);
  while ((value >>= 7) != 0) groups.insert(groups.begin(), static_cast<char>(value | 0x80));
  out += groups;
}

}  // namespace

std::string help_file(const std::vector<std::pair<std::string, std::string>>& files) {
  constexpr std::size_t chunk_size = 0x1000;
  constexpr std::size_t header_size = 0x60;
  constexpr std::size_t section_size = 0x18;
  constexpr std::size_t directory_header_size = 0x54;
  constexpr std::uint64_t none = 0xFFFFFFFF;
  // What the two identifiers of the format end with.
  const std::string tail("\xFD\x01\x7C\xAA\x7B\xD0\x11\x9E\x0C\0\xA0\xC9\x22\xE6\xEC", 15);

  std::string entries;
  std::string content;
  for (const auto& [name, bytes] : files) {
    append_groups(entries, name.size());
    entries += name;
    append_groups(entries, 0);
    append_groups(entries, content.size());
    append_groups(entries, bytes.size());
    content += bytes;
  }
  std::string chunk = "PMGL";
  append_number(chunk, chunk_size - 20 - entries.size(), 4);
  append_number(chunk, 0, 4);
  append_number(chunk, none, 4);
  append_number(chunk, none, 4);
  chunk += entries;
  chunk.resize(chunk_size - 2);
  append_number(chunk, files.size(), 2);

  const std::size_t directory = header_size + section_size;
  const std::size_t content_offset = directory + directory_header_size + chunk_size;
  std::string file = "ITSF";
  append_number(file, 3, 4);
  append_number(file, header_size, 4);
  append_number(file, 1, 4);
  append_number(file, 0, 4);
  append_number(file, 0x409, 4);
  file += "\x10" + tail + "\x11" + tail;
  append_number(file, header_size, 8);
  append_number(file, section_size, 8);
  append_number(file, directory, 8);
  append_number(file, directory_header_size + chunk_size, 8);
  append_number(file, content_offset, 8);
  append_number(file, 0x1FE, 4);
  append_number(file, 0, 4);
  append_number(file, content_offset + content.size(), 8);
  append_number(file, 0, 8);
  file += "ITSP";
  append_number(file, 1, 4);
  append_number(file, directory_header_size, 4);
  append_number(file, 10, 4);
  append_number(file, chunk_size, 4);
  append_number(file, 2, 4);
  append_number(file, 1, 4);
  append_number(file, none, 4);
  append_number(file, 0, 4);
  append_number(file, 0, 4);
  append_number(file, none, 4);
  append_number(file, 1, 4);
  append_number(file, 0x409, 4);
  file += std::string(16, '\0');
  append_number(file, directory_header_size, 4);
  append_number(file, none, 4);
  append_number(file, none, 4);
  append_number(file, none, 4);
  return file + chunk + content;
}

}  // namespace trfilter::test
