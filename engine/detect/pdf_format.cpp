// PDF (ISO 32000): the version of the header, and whether the trailer names an encryption.

#include <charconv>
#include <string>

#include "engine/core/fields.h"
#include "engine/detect/families.h"

namespace trfilter::detection {
namespace {

constexpr std::size_t dictionary_bytes = 4096;

/// The dictionary after the cross-reference table or in the head of the cross-reference stream that
/// `startxref` points to.
std::string trailer_at(Content& content, std::uint64_t offset) {
  std::string bytes = content.read(offset, dictionary_bytes);
  constexpr std::string_view spaces = " \t\r\n\f";
  std::size_t at = bytes.find_first_not_of(spaces);
  if (at == std::string::npos) return {};
  if (!matches(bytes, at, "xref")) {
    const std::size_t end = bytes.find("stream");
    bytes.resize(std::min(end, bytes.size()));
    return bytes;
  }
  // Sections of "first count" and count lines of 20 bytes, until the word trailer.
  std::uint64_t place = offset + at + 4;
  constexpr int most_sections = 256;
  for (int section = 0; section < most_sections; ++section) {
    bytes = content.read(place, 64);
    at = bytes.find_first_not_of(spaces);
    if (at == std::string::npos) return {};
    if (matches(bytes, at, "trailer")) {
      bytes = content.read(place + at, dictionary_bytes);
      bytes.resize(std::min(bytes.find("startxref"), bytes.size()));
      return bytes;
    }
    const std::size_t blank = bytes.find(' ', at);
    if (blank == std::string::npos) return {};
    std::uint32_t count = 0;
    const char* const end = bytes.data() + bytes.size();
    const auto [after, error] = std::from_chars(bytes.data() + blank + 1, end, count);
    if (error != std::errc()) return {};
    place += static_cast<std::size_t>(after - bytes.data());
    bytes = content.read(place, 8);
    at = bytes.find_first_not_of(spaces);
    if (at == std::string::npos) return {};
    place += at + std::uint64_t{count} * 20;
  }
  return {};
}

bool encrypted(Content& content, std::uint64_t header) {
  const std::string tail = content.tail(2048);
  const std::size_t mark = tail.rfind("startxref");
  if (mark == std::string::npos) return false;
  const std::size_t digits = tail.find_first_of("0123456789", mark);
  if (digits == std::string::npos) return false;
  std::uint64_t offset = 0;
  const auto result = std::from_chars(tail.data() + digits, tail.data() + tail.size(), offset);
  if (result.ec == std::errc()) {
    // Offsets count from the header; some producers count what stands before it.
    for (const std::uint64_t base : {header, std::uint64_t{0}}) {
      const std::string trailer = trailer_at(content, base + offset);
      if (contains(trailer, "/Encrypt")) return true;
      if (contains(trailer, "/Root")) return false;
    }
  }
  const std::size_t trailer = tail.rfind("trailer");
  return trailer != std::string::npos &&
         contains(std::string_view(tail).substr(trailer), "/Encrypt");
}

}  // namespace

Detection identify_pdf(Content& content, std::uint64_t offset) {
  const std::string header = content.read(offset, 8);
  const std::uint32_t major = byte_at(header, 5) - '0';
  const std::uint32_t minor = byte_at(header, 7) - '0';
  const bool stated = major <= 9 && minor <= 9 && byte_at(header, 6) == '.';
  return found(Format::pdf, stated ? Detection::version_of(major, minor) : 0,
               encrypted(content, offset) ? Detection::encrypted : 0);
}

}  // namespace trfilter::detection
