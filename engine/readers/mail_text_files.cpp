#include "engine/readers/mail_text_files.h"

#include <algorithm>
#include <utility>

namespace trfilter::mail {
namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::size_t most_files = 10'000;
constexpr std::string_view uu_begin = "begin ";
constexpr std::string_view uu_end = "end";
constexpr std::string_view yenc_begin = "=ybegin ";
constexpr std::string_view yenc_end = "=yend";

/// Whether a line can be one of uuencoded data: its first character counts the bytes behind it.
bool is_uu_line(std::string_view line) {
  if (line.empty()) return false;
  const auto count = static_cast<std::size_t>((line.front() - ' ') & 63);
  const std::size_t characters = (count + 2) / 3 * 4;
  const bool plausible = line.front() >= ' ' && line.front() <= '`';
  // Blanks at the end may have been lost, a check character may have been added.
  return plausible && line.size() <= characters + 3 && (count == 0 || line.size() > 1);
}

/// The name behind "begin 644 "; empty when the line is no such line.
std::string_view uu_name(std::string_view line) {
  std::string_view rest = line.substr(uu_begin.size());
  const std::size_t digits = rest.find_first_not_of("01234567");
  if (digits == npos || digits < 3 || digits > 5 || rest[digits] != ' ') return {};
  return rest.substr(digits + 1);
}

std::string_view yenc_name(std::string_view line) {
  constexpr std::string_view key = " name=";
  const std::size_t at = line.find(key);
  return at == npos ? std::string_view{} : line.substr(at + key.size());
}

}  // namespace

std::vector<TextFile> find_text_files(Document& document, Limits& limits, const Stretch& body) {
  std::vector<TextFile> files;
  LineFinder lines(document, limits, body);
  TextFile open;
  bool is_open = false;
  bool has_ended = false;
  for (bool more = lines.find(""); more && files.size() < most_files; more = lines.next()) {
    const std::string_view line = lines.line();
    if (has_ended) {
      open.stretch.end = lines.offset();
      files.push_back(std::exchange(open, {}));
      has_ended = false;
    }
    if (is_open) {
      const bool uu = open.encoding == TransferEncoding::uuencode;
      has_ended = uu ? line == uu_end : line.starts_with(yenc_end);
      is_open = !has_ended && (!uu || line.empty() || is_uu_line(line));
      if (is_open || has_ended) continue;
    }
    const bool uu = line.starts_with(uu_begin);
    if (!uu && !line.starts_with(yenc_begin)) continue;
    const std::string_view name = uu ? uu_name(line) : yenc_name(line);
    if (name.empty()) continue;
    if (uu) {
      const std::string_view head = lines.head();
      const std::size_t end = head.find(body.line_end);
      if (end == npos || !is_uu_line(line_of(head.substr(end + 1), body.line_end))) continue;
    }
    open = {{lines.offset(), body.end, body.line_end},
            uu ? TransferEncoding::uuencode : TransferEncoding::yenc,
            std::string(name)};
    is_open = true;
  }
  if (has_ended) files.push_back(std::move(open));
  return files;
}

}  // namespace trfilter::mail
