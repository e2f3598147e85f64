// Second looks at text.

#include <algorithm>
#include <array>

#include "engine/core/fields.h"
#include "engine/detect/families.h"
#include "engine/detect/refinements.h"

namespace trfilter::detection {
namespace {

constexpr Detection nothing{};

std::string_view first_lines(const TextHead& text, std::size_t bytes) {
  return text.begin().substr(0, bytes);
}

}  // namespace

Detection refine_ami_pro(const TextHead& text, Format format) {
  const std::string_view lines = first_lines(text, 1024);
  if (!contains(lines, "[sty]") && !contains(lines, "[files]") && !contains(lines, "[charset]")) {
    return nothing;
  }
  return found(format);
}

Detection refine_armored_message(const TextHead&, Format format) {
  return found(format, 0, Detection::encrypted);
}

/// "rem" opens the first line; a command of the interpreter follows soon.
Detection refine_batch_file(const TextHead& text, Format format) {
  constexpr std::array<std::string_view, 8> commands{"\nset ",  "\nSET ",  "\nif ",   "\nIF ",
                                                     "\ngoto ", "\ncall ", "\n@echo", "\necho off"};
  const std::string_view lines = first_lines(text, 2048);
  const bool any = std::any_of(commands.begin(), commands.end(),
                               [&](std::string_view command) { return contains(lines, command); });
  return any ? found(format) : nothing;
}

/// A comment before the first section.
Detection refine_dxf(const TextHead& text, Format format) {
  const std::string_view lines = first_lines(text, 4096);
  return contains(lines, "\nSECTION\r\n") || contains(lines, "\nSECTION\n") ? found(format)
                                                                            : nothing;
}

/// Commands of two capitals with numbers, each closed by a semicolon, several in a row.
Detection refine_hpgl(const TextHead& text, Format format) {
  constexpr std::array<std::string_view, 22> commands{
      "AA", "AR", "CI", "CO", "DF", "FT", "IN", "IP", "IW", "LT", "PA",
      "PD", "PR", "PS", "PU", "PW", "RO", "SC", "SI", "SP", "VS", "WU"};
  std::string_view rest = first_lines(text, 2048);
  constexpr int enough = 4;
  for (int count = 0; count < enough; ++count) {
    const std::size_t end = rest.find(';');
    if (end == npos || end < 2) return nothing;
    const std::string_view command = rest.substr(0, 2);
    if (std::find(commands.begin(), commands.end(), command) == commands.end()) return nothing;
    if (rest.substr(2, end - 2).find_first_not_of("0123456789,-+. \r\n") != npos) return nothing;
    rest.remove_prefix(end + 1);
    rest.remove_prefix(std::min(rest.find_first_not_of(" \r\n"), rest.size()));
  }
  return found(format);
}

Detection refine_postscript_text(const TextHead& text, Format format) {
  const std::string_view lines = first_lines(text, 4096);
  if (lines.starts_with("%!PS-Adobe-") || lines.starts_with("%!PS")) return found(format);
  // "%!" alone: some operator of the language.
  return contains(lines, " def") || contains(lines, "showpage") || contains(lines, "%%")
             ? found(format)
             : nothing;
}

Detection refine_shar(const TextHead& text, Format format) {
  return contains(first_lines(text, 1024), "shell archive") ? found(format) : nothing;
}

Detection refine_sylk(const TextHead& text, Format format) {
  const std::string_view lines = first_lines(text, 2048);
  const bool records = contains(lines, "\nB;") || contains(lines, "\nC;") ||
                       contains(lines, "\nP;") || contains(lines, "\nF;") ||
                       contains(lines, "\nE") || contains(lines, "\rC;") || contains(lines, "\rP;");
  return records ? found(format) : nothing;
}

/// "begin 644 name": an octal mode of three or four digits, then a line that says its own length.
Detection refine_uuencoded(const TextHead& text, Format format) {
  const std::string_view lines = first_lines(text, 1024);
  std::size_t at = 6;
  while (byte_at(lines, at) >= '0' && byte_at(lines, at) <= '7') ++at;
  if (at < 9 || at > 10 || byte_at(lines, at) != ' ') return nothing;
  const std::size_t end = lines.find('\n', at);
  if (end == npos || end == at + 1) return nothing;
  std::string_view data = lines.substr(end + 1);
  data = data.substr(0, data.find_first_of("\r\n"));
  const bool encoded =
      std::all_of(data.begin(), data.end(), [](char c) { return c >= ' ' && c <= '`'; });
  // Three bytes make four characters; blanks at the end may be lost, a check sum may follow.
  const std::size_t bytes = (byte_at(data, 0) - 0x20) & 0x3F;
  const std::size_t characters = (bytes + 2) / 3 * 4;
  return encoded && !data.empty() && data.size() <= characters + 2 ? found(format) : nothing;
}

Detection refine_xbm(const TextHead& text, Format format) {
  const std::string_view lines = first_lines(text, 1024);
  return contains(lines, "_width ") && contains(lines, "_height ") && contains(lines, "_bits[]")
             ? found(format)
             : nothing;
}

}  // namespace trfilter::detection
