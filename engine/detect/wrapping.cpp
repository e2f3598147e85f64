// MacBinary: 128 bytes of header, the data fork, the resource fork, each padded to 128 bytes. From
// the second version on the header has a check sum, the first is known by its zeros. AppleSingle
// and AppleDouble (RFC 1740): a table of entries, of which the data fork is number 1.

#include "engine/detect/wrapping.h"

#include <algorithm>
#include <array>
#include <string>

#include "engine/core/fields.h"

namespace trfilter {
namespace {

constexpr std::size_t binary_header = 128;

/// CRC of XMODEM over the first 124 bytes, as MacBinary II has it.
std::uint32_t header_sum(std::string_view header) {
  std::uint32_t sum = 0;
  for (std::size_t at = 0; at < 124; ++at) {
    sum ^= byte_at(header, at) << 8;
    for (int bit = 0; bit < 8; ++bit) sum = (sum & 0x8000) != 0 ? (sum << 1) ^ 0x1021 : sum << 1;
    sum &= 0xFFFF;
  }
  return sum;
}

std::uint64_t padded(std::uint64_t size) {
  return (size + binary_header - 1) / binary_header * binary_header;
}

std::optional<Wrapping> find_binary(std::string_view header, std::uint64_t file_size) {
  const std::uint32_t name = byte_at(header, 1);
  if (byte_at(header, 0) != 0 || name == 0 || name > 63) return {};
  if (byte_at(header, 74) != 0 || byte_at(header, 82) != 0) return {};
  const std::string_view file_name = header.substr(2, name);
  if (std::any_of(file_name.begin(), file_name.end(),
                  [](char c) { return static_cast<unsigned char>(c) < ' '; })) {
    return {};
  }
  const std::uint64_t data = be32(header, 83);
  const std::uint64_t resources = be32(header, 87);
  if (data == 0 || binary_header + data > file_size) return {};
  const bool summed = be16(header, 124) != 0 && be16(header, 124) == header_sum(header);
  if (!summed) {
    const std::string_view zeros = header.substr(99, 27);
    const std::uint64_t whole = binary_header + padded(data) + padded(resources);
    const bool first_version =
        std::all_of(zeros.begin(), zeros.end(), [](char c) { return c == '\0'; });
    if (!first_version || (file_size != whole && file_size != binary_header + data + resources)) {
      return {};
    }
  }
  return Wrapping{Format::macbinary, Detection::mac_binary, binary_header, data};
}

std::optional<Wrapping> find_apple(Document& document, std::string_view header) {
  const bool single = byte_at(header, 3) == 0;
  Wrapping wrapping{single ? Format::apple_single : Format::apple_double,
                    single ? Detection::apple_single : Detection::apple_double, 0, 0};
  const std::uint32_t version = be32(header, 4);
  if (version != 0x00010000 && version != 0x00020000) return {};
  constexpr std::uint32_t most_entries = 64;
  const std::uint32_t count = std::min(be16(header, 24), most_entries);
  std::string entries(std::size_t{count} * 12, '\0');
  entries.resize(document.read_at(26, entries));
  for (std::size_t at = 0; has(entries, at, 12); at += 12) {
    constexpr std::uint32_t data_fork = 1;
    if (be32(entries, at) != data_fork) continue;
    wrapping.offset = be32(entries, at + 4);
    wrapping.size = be32(entries, at + 8);
    if (wrapping.offset >= document.size()) wrapping.offset = wrapping.size = 0;
  }
  return wrapping;
}

}  // namespace

std::optional<Wrapping> find_wrapping(Document& document) {
  const std::string_view header = document.head(binary_header);
  if (matches(header, 0, literal("\0\x05\x16\0")) ||
      matches(header, 0, literal("\0\x05\x16\x07"))) {
    return find_apple(document, header);
  }
  if (header.size() < binary_header || header[0] != '\0') return {};
  return find_binary(header, document.size());
}

}  // namespace trfilter
