#include "engine/mapi/compressed_rtf.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "engine/core/fields.h"

namespace trfilter::mapi {
namespace {

constexpr std::size_t header_size = 16;
constexpr std::size_t magic_offset = 8;
constexpr std::uint32_t compressed = 0x75465A4C;    // "LZFu"
constexpr std::uint32_t uncompressed = 0x414C454D;  // "MELA"

constexpr std::size_t dictionary_size = 4096;

// What the dictionary begins with, [MS-OXRTFCP] 2.1.3.1.3.
constexpr std::string_view first_words =
    "{\\rtf1\\ansi\\mac\\deff0\\deftab720{\\fonttbl;}{\\f0\\fnil \\froman \\fswiss \\fmodern "
    "\\fscript \\fdecor MS Sans SerifSymbolArialTimes New RomanCourier{\\colortbl\\red0\\green0"
    "\\blue0\r\n\\par \\pard\\plain\\f0\\fs20\\b\\i\\u\\tab\\tx";

}  // namespace

std::string unpack_rtf(std::string_view packed, Limits& limits) {
  if (packed.size() < header_size) return {};
  const std::uint32_t magic = le32(packed, magic_offset);
  const std::size_t raw_size = le32(packed, sizeof(std::uint32_t));
  const std::string_view contents = packed.substr(header_size);
  if (magic == uncompressed) return std::string(contents.substr(0, raw_size));
  if (magic != compressed) return {};

  std::array<char, dictionary_size> dictionary{};
  std::ranges::copy(first_words, dictionary.begin());
  std::size_t write_offset = first_words.size();
  std::string out;
  std::size_t charged = 0;
  const auto put = [&](char byte) {
    out.push_back(byte);
    dictionary[write_offset] = byte;
    write_offset = (write_offset + 1) % dictionary_size;
  };
  std::size_t at = 0;
  while (at < contents.size()) {
    const auto control = static_cast<unsigned char>(contents[at++]);
    for (unsigned bit = 0; bit < 8 && at < contents.size(); ++bit) {
      if ((control >> bit & 1) == 0) {
        put(contents[at++]);
        continue;
      }
      if (contents.size() - at < 2) return out;
      const auto reference = static_cast<unsigned>(static_cast<unsigned char>(contents[at]) << 8 |
                                                   static_cast<unsigned char>(contents[at + 1]));
      at += 2;
      std::size_t offset = reference >> 4;
      if (offset == write_offset) return out;  // the end's mark
      const std::size_t length = (reference & 0xF) + 2;
      for (std::size_t i = 0; i < length; ++i) {
        put(dictionary[offset]);
        offset = (offset + 1) % dictionary_size;
      }
    }
    if (out.size() - charged >= dictionary_size) {
      limits.charge_unpacked(out.size() - charged);
      charged = out.size();
    }
  }
  return out;
}

}  // namespace trfilter::mapi
