// Second looks at page descriptions and packages.

#include "engine/core/fields.h"
#include "engine/detect/families.h"
#include "engine/detect/refinements.h"

namespace trfilter::detection {
namespace {

constexpr Detection nothing{};

/// A digit's value, or more than 9.
std::uint32_t digit_at(std::string_view bytes, std::size_t offset) {
  return byte_at(bytes, offset) - std::uint32_t{'0'};
}

/// "major.minor" in single digits; 0 when it is something else.
std::uint64_t version_at(std::string_view bytes, std::size_t offset) {
  const std::uint32_t major = digit_at(bytes, offset);
  const std::uint32_t minor = digit_at(bytes, offset + 2);
  if (major > 9 || minor > 9 || byte_at(bytes, offset + 1) != '.') return 0;
  return Detection::version_of(major, minor);
}

}  // namespace

Detection refine_binary_begin(Content& content, Format format) {
  for (const char c : content.head().substr(0, 64)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x09 || (byte > 0x0D && byte < 0x20 && byte != 0x1B)) return found(format);
  }
  return nothing;
}

Detection refine_zip(Content& content, Format) {
  return identify_zip(content);
}
Detection refine_compound(Content& content, Format) {
  return identify_compound(content);
}
Detection refine_pdf(Content& content, Format) {
  return identify_pdf(content, 0);
}

Detection refine_rtf(Content& content, Format format) {
  const std::uint32_t version = digit_at(content.head(), 5);
  return found(format, version <= 9 ? Detection::version_of(version) : 0);
}

/// What a printer job is switched to decides; the switch stands behind a few lines of settings.
Detection refine_printer_job(Content& content, Format format) {
  const std::string_view head = content.head().substr(0, 4096);
  if (const std::size_t at = head.find("%PDF-"); at != npos) return identify_pdf(content, at);
  if (contains(head, "POSTSCRIPT") || contains(head, "%!PS")) return found(Format::postscript);
  if (contains(head, "HPGL")) return found(Format::hpgl_2);
  return found(format);
}

/// Escape sequences of a printer: a parameter character, a group, a number and a closing capital.
Detection refine_printer_language(Content& content, Format format) {
  const std::string_view head = content.head();
  std::size_t at = byte_at(head, 1) == 'E' ? 2 : 0;
  if (at == 2 && byte_at(head, 2) != 0x1B) return nothing;
  if (byte_at(head, at) != 0x1B) return nothing;
  const char parameter = static_cast<char>(byte_at(head, at + 1));
  if (parameter == '%') return found(format);
  if (parameter != '&' && parameter != '*' && parameter != '(' && parameter != ')') return nothing;
  at += 2;
  for (std::size_t length = 0; length < 16; ++length, ++at) {
    const std::uint32_t c = byte_at(head, at);
    if (c >= '@' && c <= '^') return found(format);
    const bool inner = (c >= '0' && c <= '9') || (c >= '`' && c <= '~') || c == '-' || c == '+';
    if (!inner) return nothing;
  }
  return nothing;
}

Detection refine_postscript(Content& content, Format format) {
  const std::string_view head = content.head();
  const std::string_view line =
      head.substr(0, std::min(head.find_first_of("\r\n"), std::size_t{80}));
  return found(contains(line, " EPSF-") ? Format::eps : format, version_at(head, 11));
}

Detection refine_framemaker_book(Content& content, Format format) {
  return digit_at(content.head(), 6) <= 9 ? found(format) : nothing;
}

Detection refine_mif(Content& content, Format format) {
  return found(format, version_at(content.head(), 9));
}

}  // namespace trfilter::detection
