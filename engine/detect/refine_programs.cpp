// Second looks at fonts, programs and object modules.

#include <algorithm>
#include <array>

#include "engine/core/fields.h"
#include "engine/detect/families.h"
#include "engine/detect/refinements.h"

namespace trfilter::detection {
namespace {

constexpr Detection nothing{};

}  // namespace

/// A table of tables: a number of them that fits the search fields, names in ASCII.
Detection refine_truetype(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t tables = be16(head, 4);
  if (tables == 0 || tables > 128 || !has(head, 0, 28)) return nothing;
  for (std::size_t at = 12; at < 16; ++at) {
    const std::uint32_t c = byte_at(head, at);
    if (c < 0x20 || c >= 0x7F) return nothing;
  }
  std::uint32_t power = 1;
  while (power * 2 <= tables) power *= 2;
  const bool search = be16(head, 6) == power * 16 || be16(head, 6) == 0;
  return search && be32(head, 20) < content.size() ? found(format) : nothing;
}

Detection refine_program(Content& content, Format format) {
  const std::string_view head = content.head();
  // Pages of 512 bytes, paragraphs of header; text that begins with MZ has letters there.
  const std::uint32_t pages = le16(head, 4);
  const std::uint32_t last_page = le16(head, 2);
  const std::uint32_t header = le16(head, 8);
  return has(head, 0, 28) && pages != 0 && last_page <= 512 && header != 0 && header < 0x1000
             ? found(format)
             : nothing;
}

Detection refine_elf(Content& content, Format) {
  const std::string_view head = content.head();
  const bool big = byte_at(head, 5) == 2;
  const bool wide = byte_at(head, 4) == 2;
  const auto half = [&](std::size_t at) { return big ? be16(head, at) : le16(head, at); };
  const auto word = [&](std::size_t at) { return big ? be32(head, at) : le32(head, at); };
  const std::uint32_t type = half(16);
  if (type == 1) return found(Format::elf_relocatable);
  if (type == 2 || type == 4) return found(Format::elf_executable);
  if (type != 3) return nothing;
  // A shared object that names an interpreter is a program that may be loaded anywhere.
  const std::uint64_t table = wide ? (big ? be64(head, 32) : le64(head, 32)) : word(28);
  const std::size_t size = half(wide ? 54 : 42);
  const std::size_t count = std::min<std::size_t>(half(wide ? 56 : 44), 64);
  for (std::size_t i = 0; i < count && table < head.size(); ++i) {
    constexpr std::uint32_t interpreter = 3;
    if (word(static_cast<std::size_t>(table) + i * size) == interpreter) {
      return found(Format::elf_executable);
    }
  }
  return found(Format::elf_library);
}

Detection refine_java_class(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t major = be16(head, 6);
  return major >= 45 && major < 256 ? found(format, Detection::version_of(major, be16(head, 4)))
                                    : nothing;
}

/// COFF of the machines that had Unix: sections, an optional header of the usual size, and the flag
/// of an executable.
Detection refine_coff(Content& content, Format format) {
  const std::string_view head = content.head();
  const bool big = byte_at(head, 0) == 0x01;
  const auto half = [&](std::size_t at) { return big ? be16(head, at) : le16(head, at); };
  const std::uint32_t symbols = big ? be32(head, 8) : le32(head, 8);
  constexpr std::uint32_t executable_flag = 2;
  const bool sound = half(2) >= 1 && half(2) <= 32 && half(16) == 28 && symbols <= content.size() &&
                     (half(18) & executable_flag) != 0;
  return sound ? found(format) : nothing;
}

/// OMF: a record that holds the module's name and nothing else.
Detection refine_object_module(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t length = le16(head, 1);
  const std::uint32_t name = byte_at(head, 3);
  if (name == 0 || length != name + 2 || !has(head, 4, name)) return nothing;
  const std::string_view text = head.substr(4, name);
  const bool printable =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < '\x7F'; });
  // Another record of the format follows: a comment, a list of names.
  const std::uint32_t next = byte_at(head, 3 + length);
  return printable && (next == 0x88 || next == 0x96) ? found(format) : nothing;
}

/// OMF library: a page size that is a power of two, a dictionary within the file.
Detection refine_object_library(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t page = le16(head, 1) + 3;
  const std::uint32_t dictionary = le32(head, 3);
  const bool sound = page >= 16 && page <= 32768 && (page & (page - 1)) == 0 &&
                     dictionary % 512 == 0 && dictionary != 0 && dictionary < content.size() &&
                     byte_at(head, page) == 0x80;
  return sound ? found(format) : nothing;
}

/// A DOS device driver: attributes, two entry points within the file, a name.
Detection refine_device_driver(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::uint32_t strategy = le16(head, 6);
  const std::uint32_t interrupt = le16(head, 8);
  if (strategy < 18 || interrupt < 18 || strategy >= content.size() ||
      interrupt >= content.size() || strategy == interrupt) {
    return nothing;
  }
  constexpr std::uint32_t character_device = 0x8000;
  if ((le16(head, 4) & character_device) == 0) return nothing;
  for (std::size_t at = 10; at < 18; ++at) {
    const std::uint32_t c = byte_at(head, at);
    if (c < 0x20 || c >= 0x7F) return nothing;
  }
  return found(format);
}

}  // namespace trfilter::detection
